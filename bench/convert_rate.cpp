// What does it cost to change the sample rate, in nanoseconds of one core per output frame, beside the converters that
// one would take instead? Mono, 16-bit material, 100 ms of output at a time. Ours is read through its source interface
// (32-bit samples in memory on the input side); the peers convert 16-bit samples in memory.

#include <benchmark/benchmark.h>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}
#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "audio/convert_rate.h"
#include "audio/convert_rate_sink.h"
#include "foundation/vector_width.h"

namespace {

// A second of tones and noise at half of full scale.
std::vector<std::int16_t> Material(std::int32_t rateHz) {
  std::vector<std::int16_t> samples(static_cast<std::size_t>(rateHz));
  std::uint32_t noise = 1;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    noise = noise * 1664525 + 1013904223;
    const double t = static_cast<double>(i) / rateHz;
    const double tones = 6000.0 * std::sin(2764.6 * t) + 6000.0 * std::sin(9424.8 * t);
    samples[i] = static_cast<std::int16_t>(tones + static_cast<double>(noise >> 20));
  }
  return samples;
}

// The material over and over.
class Endless : public LSoundSourceBase {
 public:
  explicit Endless(std::int32_t rateHz) : LSoundSourceBase(rateHz, 1, kiv::kPeak16Bit) {
    for (const std::int16_t sample : Material(rateHz)) samples_.push_back(sample * 16);
  }
  void Read(std::int32_t* buffer, std::int32_t frames) override {
    while (frames > 0) {
      const auto n = static_cast<std::int32_t>(std::min(static_cast<std::size_t>(frames), samples_.size() - position_));
      std::copy_n(samples_.begin() + static_cast<std::ptrdiff_t>(position_), n, buffer);
      position_ = (position_ + static_cast<std::size_t>(n)) % samples_.size();
      buffer += n;
      frames -= n;
    }
  }
  std::int32_t GetPositionSample() const override { return 0; }
  std::int32_t GetEndSample() const override { return 0; }

 private:
  std::vector<std::int32_t> samples_;
  std::size_t position_ = 0;
};

void PerOutputFrame(benchmark::State& state, double frames) {
  state.counters["per_output_frame"] =
      benchmark::Counter(frames, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void ReadThrough(benchmark::State& state, LSoundSource& source) {
  const std::int32_t block = source->Rate() / 10;
  std::vector<std::int32_t> out(static_cast<std::size_t>(block));
  double frames = 0;
  for (auto _ : state) {
    source->Read(out.data(), block);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
    frames += block;
  }
  PerOutputFrame(state, frames);
}

void AsTheRuleAsks(benchmark::State& state, std::int32_t from, std::int32_t to, kiv::VectorWidth width) {
  kiv::ForceVectorWidth(width);
  LSoundSource input(new Endless(from));
  LSoundSource source = LSPConvertRate(to).OpenSource(input);
  ReadThrough(state, source);
  kiv::ForceNoVectorWidth();
}

void OneStage(benchmark::State& state, std::int32_t from, std::int32_t to, kiv::VectorWidth width) {
  kiv::ForceVectorWidth(width);
  LSoundSource input(new Endless(from));
  LSoundSource source(new LSRCConvertRate(input, to, false));
  ReadThrough(state, source);
  kiv::ForceNoVectorWidth();
}

// Counts and drops.
class Drain : public LSoundSinkBase {
 public:
  explicit Drain(std::int32_t rateHz) : LSoundSinkBase(rateHz, 1) {}
  void Write(std::int32_t const* buffer, std::int32_t frames) override {
    benchmark::DoNotOptimize(buffer);
    position_ += frames;
  }
};

void Sink(benchmark::State& state, std::int32_t from, std::int32_t to) {
  LSoundSink output(new Drain(to));
  LSoundSink sink = LSinkConvertRate(from).OpenSink(output);
  const std::int32_t block = from / 10;
  std::vector<std::int32_t> in;
  for (const std::int16_t sample : Material(from)) in.push_back(sample * 16);
  double frames = 0;
  for (auto _ : state) {
    sink->Write(in.data(), block);
    frames += to / 10.0;
  }
  PerOutputFrame(state, frames);
}

void Swresample(benchmark::State& state, int from, int to) {
  SwrContext* context = nullptr;
  AVChannelLayout mono = AV_CHANNEL_LAYOUT_MONO;
  if (swr_alloc_set_opts2(&context, &mono, AV_SAMPLE_FMT_S16, to, &mono, AV_SAMPLE_FMT_S16, from, 0, nullptr) < 0 ||
      swr_init(context) < 0) {
    state.SkipWithError("swresample does not open");
    return;
  }
  const std::vector<std::int16_t> in = Material(from);
  std::vector<std::int16_t> out(static_cast<std::size_t>(to));
  auto const* const inBytes = reinterpret_cast<std::uint8_t const*>(in.data());
  auto* const outBytes = reinterpret_cast<std::uint8_t*>(out.data());
  double frames = 0;
  for (auto _ : state) {
    std::uint8_t const* input = inBytes;
    std::uint8_t* output = outBytes;
    frames += swr_convert(context, &output, to, &input, from / 10);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  swr_free(&context);
  PerOutputFrame(state, frames);
}

void SoxrLowQuality(benchmark::State& state, int from, int to) {
  const soxr_io_spec_t io = soxr_io_spec(SOXR_INT16_I, SOXR_INT16_I);
  const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_LQ, 0);
  soxr_t resampler = soxr_create(from, to, 1, nullptr, &io, &quality, nullptr);
  if (resampler == nullptr) {
    state.SkipWithError("soxr does not open");
    return;
  }
  const std::vector<std::int16_t> in = Material(from);
  std::vector<std::int16_t> out(static_cast<std::size_t>(to));
  double frames = 0;
  for (auto _ : state) {
    std::size_t used = 0;
    std::size_t made = 0;
    soxr_process(resampler, in.data(), static_cast<std::size_t>(from / 10), &used, out.data(), out.size(), &made);
    frames += static_cast<double>(made);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  soxr_delete(resampler);
  PerOutputFrame(state, frames);
}

constexpr auto kAvx2 = kiv::VectorWidth::Avx2;
constexpr auto kSse2 = kiv::VectorWidth::Sse2;
constexpr auto kScalar = kiv::VectorWidth::Scalar;

BENCHMARK_CAPTURE(Swresample, 44100_to_8000, 44100, 8000);
BENCHMARK_CAPTURE(AsTheRuleAsks, 44100_to_8000_avx2, 44100, 8000, kAvx2);
BENCHMARK_CAPTURE(AsTheRuleAsks, 44100_to_8000_sse2, 44100, 8000, kSse2);
BENCHMARK_CAPTURE(AsTheRuleAsks, 44100_to_8000_scalar, 44100, 8000, kScalar);
BENCHMARK_CAPTURE(OneStage, 44100_to_8000_avx2, 44100, 8000, kAvx2);
BENCHMARK_CAPTURE(OneStage, 44100_to_8000_sse2, 44100, 8000, kSse2);
BENCHMARK_CAPTURE(OneStage, 44100_to_8000_scalar, 44100, 8000, kScalar);

BENCHMARK_CAPTURE(SoxrLowQuality, 8000_to_44100, 8000, 44100);
BENCHMARK_CAPTURE(Swresample, 8000_to_44100, 8000, 44100);
BENCHMARK_CAPTURE(AsTheRuleAsks, 8000_to_44100_avx2, 8000, 44100, kAvx2);
BENCHMARK_CAPTURE(AsTheRuleAsks, 8000_to_44100_sse2, 8000, 44100, kSse2);
BENCHMARK_CAPTURE(AsTheRuleAsks, 8000_to_44100_scalar, 8000, 44100, kScalar);

BENCHMARK_CAPTURE(Sink, 44100_to_8000, 44100, 8000);
BENCHMARK_CAPTURE(Sink, 8000_to_44100, 8000, 44100);

}  // namespace
