// What moving 32-bit samples through a 16-bit WAV file costs, beside libsndfile doing the same: same samples, same
// block size, a file in memory, so that no disk is measured. Sample conversion beside a memory copy.
//
// The argument of the file benchmarks is the block size in frames; they handle a minute of telephone audio an
// iteration.

#include <benchmark/benchmark.h>
#include <sndfile.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "audio/sample_format.h"
#include "audio/wave_file.h"

namespace {

constexpr std::int32_t kRateHz = 8000;
constexpr std::int32_t kFrames = 60 * kRateHz;

void Require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "bench_wave: %s\n", what);
  std::exit(1);
}

// A file that lives in memory only.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("bench", MFD_CLOEXEC)) { Require(descriptor_ >= 0, "no memory file"); }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

// Speech-like enough: every value of the low 16 bits' range occurs, none is outside of it.
std::vector<std::int32_t> Signal(std::int32_t samples) {
  std::vector<std::int32_t> signal;
  std::uint32_t state = 1;
  for (std::int32_t i = 0; i < samples; ++i) {
    state = state * 1664525U + 1013904223U;
    signal.push_back(static_cast<std::int32_t>(state >> 12) - 524288);
  }
  return signal;
}

void WriteOurs(const std::string& path, const std::vector<std::int32_t>& signal, std::int32_t block) {
  LSoundSink sink = LWaveFile::OpenSinkPCM(path.c_str(), kRateHz, 1, 16, 0);
  for (std::int32_t at = 0; at < kFrames; at += block) sink->Write(signal.data() + at, std::min(block, kFrames - at));
  Require(sink->Error() == kSinkGood, "our write failed");
}

void WriteSndfile(const std::string& path, const std::vector<std::int32_t>& signal, std::int32_t block) {
  SF_INFO info{};
  info.samplerate = kRateHz;
  info.channels = 1;
  info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  SNDFILE* const file = sf_open(path.c_str(), SFM_WRITE, &info);
  Require(file != nullptr, "libsndfile cannot write");
  sf_count_t done = 0;
  for (std::int32_t at = 0; at < kFrames; at += block) {
    done += sf_writef_int(file, signal.data() + at, std::min(block, kFrames - at));
  }
  Require(done == kFrames, "libsndfile's write failed");
  sf_close(file);
}

void Finish(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * kFrames);
}

void BM_WriteOurs(benchmark::State& state) {
  const MemoryFile file;
  const std::vector<std::int32_t> signal = Signal(kFrames);
  for (auto _ : state) WriteOurs(file.Path(), signal, static_cast<std::int32_t>(state.range(0)));
  Finish(state);
}
BENCHMARK(BM_WriteOurs)->Arg(800)->Arg(8192);

void BM_WriteSndfile(benchmark::State& state) {
  const MemoryFile file;
  const std::vector<std::int32_t> signal = Signal(kFrames);
  for (auto _ : state) WriteSndfile(file.Path(), signal, static_cast<std::int32_t>(state.range(0)));
  Finish(state);
}
BENCHMARK(BM_WriteSndfile)->Arg(800)->Arg(8192);

void BM_ReadOurs(benchmark::State& state) {
  const MemoryFile file;
  WriteOurs(file.Path(), Signal(kFrames), 8192);
  const auto block = static_cast<std::int32_t>(state.range(0));
  std::vector<std::int32_t> buffer(static_cast<std::size_t>(block));
  LSoundSource source = LWaveFile::OpenSource(file.Path().c_str());
  Require(source->GetEndSample() == kFrames, "our file has another length");
  for (auto _ : state) {
    source->Seek(0);
    for (std::int32_t at = 0; at < kFrames; at += block) source->Read(buffer.data(), std::min(block, kFrames - at));
    benchmark::DoNotOptimize(buffer.data());
  }
  Finish(state);
}
BENCHMARK(BM_ReadOurs)->Arg(800)->Arg(8192);

void BM_ReadSndfile(benchmark::State& state) {
  const MemoryFile file;
  WriteOurs(file.Path(), Signal(kFrames), 8192);
  const auto block = static_cast<std::int32_t>(state.range(0));
  std::vector<std::int32_t> buffer(static_cast<std::size_t>(block));
  SF_INFO info{};
  SNDFILE* const peer = sf_open(file.Path().c_str(), SFM_READ, &info);
  Require(peer != nullptr && info.frames == kFrames, "libsndfile cannot read our file");
  for (auto _ : state) {
    sf_seek(peer, 0, SEEK_SET);
    for (std::int32_t at = 0; at < kFrames; at += block) {
      Require(sf_readf_int(peer, buffer.data(), std::min(block, kFrames - at)) > 0, "libsndfile's read failed");
    }
    benchmark::DoNotOptimize(buffer.data());
  }
  sf_close(peer);
  Finish(state);
}
BENCHMARK(BM_ReadSndfile)->Arg(800)->Arg(8192);

void BM_OpenOurs(benchmark::State& state) {
  const MemoryFile file;
  WriteOurs(file.Path(), Signal(kFrames), 8192);
  const std::string path = file.Path();
  for (auto _ : state) {
    LSoundSource source = LWaveFile::OpenSource(path.c_str());
    benchmark::DoNotOptimize(source->GetEndSample());
  }
}
BENCHMARK(BM_OpenOurs);

void BM_OpenSndfile(benchmark::State& state) {
  const MemoryFile file;
  WriteOurs(file.Path(), Signal(kFrames), 8192);
  const std::string path = file.Path();
  for (auto _ : state) {
    SF_INFO info{};
    SNDFILE* const peer = sf_open(path.c_str(), SFM_READ, &info);
    benchmark::DoNotOptimize(info.frames);
    sf_close(peer);
  }
}
BENCHMARK(BM_OpenSndfile);

// One piece of a file source or sink.
constexpr std::int32_t kPiece = 8192;

template <typename Format>
void BM_ConvertIn(benchmark::State& state) {
  const std::vector<std::int32_t> signal = Signal(kPiece);
  std::vector<Format> stored(kPiece);
  ConvertSamplesOut(stored.data(), signal.data(), kPiece);
  std::vector<std::int32_t> out(kPiece);
  for (auto _ : state) {
    ConvertSamplesIn(out.data(), stored.data(), kPiece);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kPiece);
}
BENCHMARK(BM_ConvertIn<LSFU8>);
BENCHMARK(BM_ConvertIn<LSFLE16>);
BENCHMARK(BM_ConvertIn<LSF16>);

template <typename Format>
void BM_ConvertOut(benchmark::State& state) {
  const std::vector<std::int32_t> signal = Signal(kPiece);
  std::vector<Format> stored(kPiece);
  for (auto _ : state) {
    ConvertSamplesOut(stored.data(), signal.data(), kPiece);
    benchmark::DoNotOptimize(stored.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kPiece);
}
BENCHMARK(BM_ConvertOut<LSFU8>);
BENCHMARK(BM_ConvertOut<LSFLE16>);
BENCHMARK(BM_ConvertOut<LSF16>);

// The 32-bit samples of the same piece, copied.
void BM_MemoryCopy(benchmark::State& state) {
  const std::vector<std::int32_t> signal = Signal(kPiece);
  std::vector<std::int32_t> out(kPiece);
  for (auto _ : state) {
    std::memcpy(out.data(), signal.data(), kPiece * sizeof(std::int32_t));
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kPiece);
}
BENCHMARK(BM_MemoryCopy);

}  // namespace
