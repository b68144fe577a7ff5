// What the processing stages cost, per frame of one channel, beside copying the same memory once.
//
// The input of the single stages delivers at no cost (the buffer stays as it is), so what is measured is the stage.
// The argument is the number of frames of a Read: 800 is one block of a telephone device, 8 Mi frames do not fit any
// cache. The whole chain reads noise at 8000 Hz; "core" is the share of a processor core that a playing prompt costs.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <utility>
#include <vector>

#include "audio/processing/compressor.h"
#include "audio/processing/gain.h"
#include "audio/processing/high_pass.h"
#include "audio/processing/peak_limit.h"

namespace {

constexpr std::int32_t kRateHz = 8000;
constexpr double kThirdPerDB = 0.9261187281287935;
constexpr std::int64_t kDeviceBlock = 800;
constexpr std::int64_t kBeyondCaches = 8 << 20;

// Delivers what the buffer holds.
class FreeSource : public LSoundSourceBase {
 public:
  FreeSource() : LSoundSourceBase(kRateHz, 1, kiv::kPeakRaised) {}
  void Read(std::int32_t* /*buffer*/, std::int32_t /*frames*/) override {}
  std::int32_t GetPositionSample() const override { return 0; }
  std::int32_t GetEndSample() const override { return 0; }
};

// Noise of that peak, over and over.
class NoiseSource : public LSoundSourceBase {
 public:
  explicit NoiseSource(std::int32_t peak) : LSoundSourceBase(kRateHz, 1, kiv::kPeakRaised), noise_(kRateHz) {
    std::uint32_t state = 1;
    for (std::int32_t& v : noise_) {
      state = state * 1664525U + 1013904223U;
      v = static_cast<std::int32_t>(state >> 8) % (2 * peak + 1) - peak;
    }
  }
  void Read(std::int32_t* buffer, std::int32_t frames) override {
    while (frames > 0) {
      const std::int32_t n = std::min(frames, kRateHz - position_);
      std::copy_n(noise_.data() + position_, n, buffer);
      buffer += n;
      frames -= n;
      position_ = (position_ + n) % kRateHz;
    }
  }
  std::int32_t GetPositionSample() const override { return 0; }
  std::int32_t GetEndSample() const override { return 0; }

 private:
  std::vector<std::int32_t> noise_;
  std::int32_t position_ = 0;
};

void CountFrames(benchmark::State& state, std::int64_t frames) {
  state.SetItemsProcessed(state.iterations() * frames);
  state.counters["s_per_frame"] = benchmark::Counter(static_cast<double>(state.iterations() * frames),
                                                     benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void Copy(benchmark::State& state) {
  const auto frames = static_cast<std::size_t>(state.range(0));
  const std::vector<std::int32_t> from(frames, 12345);
  std::vector<std::int32_t> to(frames, 1);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), frames * sizeof(std::int32_t));
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  CountFrames(state, state.range(0));
}

using Wrap = std::function<LSoundSource(LSoundSource&)>;

void ReadAll(benchmark::State& state, LSoundSource stage, const std::function<void(std::vector<std::int32_t>&)>& fill) {
  std::vector<std::int32_t> buffer(static_cast<std::size_t>(state.range(0)));
  fill(buffer);
  for (auto _ : state) {
    stage->Read(buffer.data(), static_cast<std::int32_t>(state.range(0)));
    benchmark::DoNotOptimize(buffer.data());
    benchmark::ClobberMemory();
  }
  CountFrames(state, state.range(0));
}

void FillWithNoise(std::vector<std::int32_t>& buffer) {
  LSoundSource noise(new NoiseSource(400000));
  noise->Read(buffer.data(), static_cast<std::int32_t>(buffer.size()));
}

void OverFreeSource(benchmark::State& state, const Wrap& wrap) {
  LSoundSource input(new FreeSource);
  ReadAll(state, wrap(input), FillWithNoise);
}
void OverNoise(benchmark::State& state, std::int32_t peak, const Wrap& wrap) {
  LSoundSource input(new NoiseSource(peak));
  ReadAll(state, wrap(input), FillWithNoise);
}

LSoundSource Limit(LSoundSource& input) {
  return LSPPeakLimit(kiv::kPeak16Bit).OpenSource(input);
}
LSoundSource Compress(LSoundSource& input) {
  return LSPCompressor(-30, kThirdPerDB, 50, 127).OpenSource(input);
}
LSoundSource WholeChain(LSoundSource& input) {
  LSoundSource chain = LSPHighPass(300).OpenSource(input);
  chain = Compress(chain);
  chain = LSPGain(6).OpenSource(chain);
  return Limit(chain);
}

void Gain(benchmark::State& state) {
  OverFreeSource(state, [](LSoundSource& input) { return LSPGain(-3).OpenSource(input); });
}
// Cut-offs at both ends of what the setting sensibly takes.
void HighPass300(benchmark::State& state) {
  OverNoise(state, 400000, [](LSoundSource& input) { return LSPHighPass(300).OpenSource(input); });
}
void HighPass20(benchmark::State& state) {
  OverNoise(state, 400000, [](LSoundSource& input) { return LSPHighPass(20).OpenSource(input); });
}
// The noise input of the high-pass and of the stages at work, alone.
void NoiseInput(benchmark::State& state) {
  OverNoise(state, 400000, [](LSoundSource& input) { return input; });
}
void LimiterAtUnity(benchmark::State& state) {
  OverFreeSource(state, Limit);
}
void LimiterAtWork(benchmark::State& state) {
  OverNoise(state, 2000000, Limit);
}
void Compressor(benchmark::State& state) {
  OverNoise(state, 400000, Compress);
}
void PlayingPrompt(benchmark::State& state) {
  OverNoise(state, 400000, WholeChain);
  state.counters["core"] = benchmark::Counter(static_cast<double>(state.iterations() * state.range(0)) / kRateHz,
                                              benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

BENCHMARK(Copy)->Arg(kDeviceBlock)->Arg(kBeyondCaches);
BENCHMARK(Gain)->Arg(kDeviceBlock)->Arg(kBeyondCaches);
BENCHMARK(LimiterAtUnity)->Arg(kDeviceBlock)->Arg(kBeyondCaches);
BENCHMARK(NoiseInput)->Arg(kDeviceBlock)->Arg(kBeyondCaches);
BENCHMARK(HighPass300)->Arg(kDeviceBlock)->Arg(kBeyondCaches);
BENCHMARK(HighPass20)->Arg(kDeviceBlock)->Arg(kBeyondCaches);
BENCHMARK(LimiterAtWork)->Arg(kDeviceBlock);
BENCHMARK(Compressor)->Arg(kDeviceBlock);
BENCHMARK(PlayingPrompt)->Arg(kDeviceBlock);

}  // namespace
