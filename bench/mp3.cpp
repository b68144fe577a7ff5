// How much processor time a sample costs when an MP3 file is decoded from memory: ours at every vector width beside
// libmpg123 (its AVX, its x86-64 and its plain C core) and libavcodec's float decoder, on ten minutes of 44.1 kHz joint
// stereo at 128 kbit/s and of 22.05 kHz mono at 48 kbit/s. Read per_sample: the
// time of a sample of one channel.

#include <benchmark/benchmark.h>
#include <mpg123.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <numbers>
#include <string>
#include <vector>

#include "audio/mp3/header.h"
#include "audio/mp3/mp3_file.h"
#include "foundation/vector_width.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {

constexpr int kSeconds = 600;

struct Material {
  const char* name;
  int rate;
  int channels;
  const char* options;
};
constexpr Material kMaterials[] = {{"stereo_44100_128", 44100, 2, "-m j -b 128"},
                                   {"mono_22050_48", 22050, 1, "-m m -b 48"}};

// Something like a small band: a bass, changing chords with overtones panned apart, a drum on every beat, a hiss.
std::vector<std::int16_t> Music(const Material& material) {
  std::vector<std::int16_t> samples;
  const int frames = kSeconds * material.rate;
  samples.reserve(static_cast<std::size_t>(frames) * static_cast<std::size_t>(material.channels));
  constexpr double kTurn = 2 * std::numbers::pi;
  constexpr double kRoots[] = {110.0, 146.8, 98.0, 130.8, 82.4, 123.5};
  std::uint32_t noise = 1;
  double hiss = 0;
  for (int i = 0; i < frames; ++i) {
    const double t = double(i) / material.rate;
    const double beat = std::fmod(t, 0.5);
    const double root = kRoots[static_cast<int>(t / 2) % 6] * (1 + 0.002 * std::sin(kTurn * 5 * t));
    const double pluck = std::exp(-beat * 4);
    double left = 0.25 * std::sin(kTurn * root / 2 * t) * pluck;
    double right = left;
    for (int voice = 0; voice < 3; ++voice) {
      const double hz = root * (voice == 0 ? 2 : voice == 1 ? 2.52 : 3);
      double tone = 0;
      for (int k = 1; k <= 6; ++k) tone += std::sin(kTurn * hz * k * t) / (k * k) * (0.4 + 0.6 * pluck);
      left += tone * 0.10 * (1 - 0.3 * voice);
      right += tone * 0.10 * (0.4 + 0.3 * voice);
    }
    noise = noise * 1664525 + 1013904223;
    const double white = static_cast<std::int32_t>(noise) / 2147483648.0;
    hiss = 0.7 * hiss + 0.3 * white;
    const double drum = std::exp(-beat * 60) * (0.3 * white + 0.4 * std::sin(kTurn * 60 * beat));
    left += drum + 0.02 * hiss;
    right += drum + 0.02 * white;
    if (material.channels == 1) {
      samples.push_back(static_cast<std::int16_t>(std::lround(16000 * (left + right) / 2)));
    } else {
      samples.push_back(static_cast<std::int16_t>(std::lround(16000 * left)));
      samples.push_back(static_cast<std::int16_t>(std::lround(16000 * right)));
    }
  }
  return samples;
}

std::string ReadFile(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// Encoded at the first call ever and kept in the build tree.
const std::string& Encoded(int index) {
  static std::string encoded[2];
  std::string& bytes = encoded[index];
  if (!bytes.empty()) return bytes;
  const Material& material = kMaterials[index];
  const std::string path = std::string(KIV_BENCH_FOLDER) + "/" + material.name + ".mp3";
  bytes = ReadFile(path);
  if (!bytes.empty()) return bytes;
  const std::vector<std::int16_t> samples = Music(material);
  const std::string raw = path + ".pcm";
  std::ofstream stream(raw, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(samples.data()), static_cast<std::streamsize>(samples.size() * 2));
  stream.close();
  const std::string khz = std::to_string(material.rate / 1000.0);
  const std::string command = "lame --quiet -r -s " + khz + " --resample " + khz + " " + material.options + " " + raw +
                              " " + path + ".new 2>/dev/null && mv " + path + ".new " + path;
  if (std::system(command.c_str()) != 0) std::fprintf(stderr, "%s failed\n", command.c_str());
  std::remove(raw.c_str());
  bytes = ReadFile(path);
  return bytes;
}

void Report(benchmark::State& state, std::int64_t samples) {
  const Material& material = kMaterials[state.range(0)];
  // Some leave out the last frames or the tag frame.
  if (samples < std::int64_t{material.rate} * material.channels * (kSeconds - 1)) {
    state.SkipWithError("too few samples");
  }
  state.counters["per_sample"] = benchmark::Counter(
      static_cast<double>(samples), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void Ours(benchmark::State& state) {
  const std::string& bytes = Encoded(static_cast<int>(state.range(0)));
  kiv::ForceVectorWidth(static_cast<kiv::VectorWidth>(state.range(1)));
  const int descriptor = memfd_create("bench", MFD_CLOEXEC);
  if (write(descriptor, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) return;
  const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
  std::vector<std::int32_t> buffer(8192 * 2);
  std::int64_t samples = 0;
  for (auto _ : state) {
    LSoundSource source = LMP3File::OpenSource(path.c_str());
    while (source->GetPositionSample() < source->GetEndSample()) source->Read(buffer.data(), 1152 * 7);
    samples = std::int64_t{source->GetEndSample()} * source->Channels();
    benchmark::DoNotOptimize(buffer.data());
  }
  close(descriptor);
  kiv::ForceNoVectorWidth();
  Report(state, samples);
}

void Mpg123(benchmark::State& state, const char* core) {
  const std::string& bytes = Encoded(static_cast<int>(state.range(0)));
  mpg123_init();
  std::int64_t samples = 0;
  for (auto _ : state) {
    samples = 0;
    mpg123_handle* const handle = mpg123_new(core, nullptr);
    if (handle == nullptr) {
      state.SkipWithError("no such core");
      break;
    }
    mpg123_param(handle, MPG123_REMOVE_FLAGS, MPG123_GAPLESS, 0);
    mpg123_param(handle, MPG123_ADD_FLAGS, MPG123_QUIET | MPG123_FORCE_FLOAT, 0);
    mpg123_open_feed(handle);
    mpg123_feed(handle, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    for (;;) {
      off_t number = 0;
      unsigned char* audio = nullptr;
      std::size_t count = 0;
      const int result = mpg123_decode_frame(handle, &number, &audio, &count);
      samples += static_cast<std::int64_t>(count / sizeof(float));
      if (result != MPG123_OK && result != MPG123_NEW_FORMAT) break;
    }
    mpg123_delete(handle);
  }
  Report(state, samples);
}

void Libavcodec(benchmark::State& state) {
  const std::string& bytes = Encoded(static_cast<int>(state.range(0)));
  std::int64_t samples = 0;
  for (auto _ : state) {
    samples = 0;
    AVCodecContext* context = avcodec_alloc_context3(avcodec_find_decoder_by_name("mp3float"));
    if (avcodec_open2(context, nullptr, nullptr) != 0) {
      state.SkipWithError("no such decoder");
      break;
    }
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
    const std::uint8_t* const end = data + bytes.size();
    MP3Header header;
    while (end - data > 1500 && header.Parse(std::uint32_t{data[0]} << 24 | std::uint32_t{data[1]} << 16 |
                                             std::uint32_t{data[2]} << 8 | data[3])) {
      // The decoder reads only this; the bytes after it are the padding that it wants.
      packet->data = const_cast<std::uint8_t*>(data);
      packet->size = header.FrameBytes();
      data += packet->size;
      if (avcodec_send_packet(context, packet) == 0 && avcodec_receive_frame(context, frame) == 0) {
        samples += std::int64_t{frame->nb_samples} * header.Channels();
      }
    }
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&context);
  }
  Report(state, samples);
}

void OnBoth(benchmark::internal::Benchmark* bench) {
  bench->ArgName("material")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
}
void OnBothAtEveryWidth(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"material", "width"})->Unit(benchmark::kMillisecond);
  for (const int material : {0, 1}) {
    for (const int width : {2, 1, 0}) bench->Args({material, width});
  }
}

BENCHMARK(Ours)->Apply(OnBothAtEveryWidth);
BENCHMARK_CAPTURE(Mpg123, AVX, "AVX")->Apply(OnBoth);
BENCHMARK_CAPTURE(Mpg123, x86_64, "x86-64")->Apply(OnBoth);
BENCHMARK_CAPTURE(Mpg123, generic, "generic")->Apply(OnBoth);
BENCHMARK(Libavcodec)->Apply(OnBoth);

}  // namespace
