// What does it cost to measure a buffer, beside reading the same memory once? Peak and mean square of 100 ms of a
// device's block (in the first cache), of a converter's block, and of a buffer that only main memory holds.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "audio/buffer_level.h"
#include "foundation/vector_width.h"

namespace {

std::vector<std::int32_t> Material(std::size_t samples) {
  std::vector<std::int32_t> material(samples);
  std::uint32_t noise = 1;
  for (std::int32_t& sample : material) {
    noise = noise * 1664525 + 1013904223;
    sample = static_cast<std::int32_t>(noise >> 12) - 524288;
  }
  return material;
}

// One pass of reading, in the widest instructions that we use here: a sum that the compiler vectorises.
KIV_INLINE std::uint32_t SumLoop(std::int32_t const* samples, std::int64_t count) {
  std::uint32_t sum = 0;
  for (std::int64_t i = 0; i < count; ++i) sum += static_cast<std::uint32_t>(samples[i]);
  return sum;
}
KIV_TARGET_AVX2 std::uint32_t SumWide(std::int32_t const* samples, std::int64_t count) {
  return SumLoop(samples, count);
}
std::uint32_t ReadOnce(std::int32_t const* samples, std::int64_t count) {
  return kiv::BestVectorWidth() == kiv::VectorWidth::Avx2 ? SumWide(samples, count) : SumLoop(samples, count);
}

template <typename Measure>
void Run(benchmark::State& state, Measure measure) {
  const std::vector<std::int32_t> material = Material(static_cast<std::size_t>(state.range(0)));
  const auto count = static_cast<std::int32_t>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(measure(material.data(), count));
  state.counters["per_sample"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(count),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void Reading(benchmark::State& state) {
  Run(state, [](std::int32_t const* samples, std::int32_t count) { return ReadOnce(samples, count); });
}
void Peak(benchmark::State& state) {
  Run(state, [](std::int32_t const* samples, std::int32_t count) { return GetBufferPeak(samples, count, 1); });
}
void MeanSquare(benchmark::State& state) {
  Run(state, [](std::int32_t const* samples, std::int32_t count) { return GetBufferMeanSquare(samples, count, 1); });
}
void PeakOfAChannelOfTwo(benchmark::State& state) {
  Run(state,
      [](std::int32_t const* samples, std::int32_t count) { return GetBufferPeakChan(1, samples, count / 2, 2); });
}
void MeanSquareOfAChannelOfTwo(benchmark::State& state) {
  Run(state, [](std::int32_t const* samples, std::int32_t count) {
    return GetBufferMeanSquareChan(1, samples, count / 2, 2);
  });
}

BENCHMARK(Reading)->Arg(800)->Arg(8192)->Arg(1 << 24);
BENCHMARK(Peak)->Arg(800)->Arg(8192)->Arg(1 << 24);
BENCHMARK(MeanSquare)->Arg(800)->Arg(8192)->Arg(1 << 24);
BENCHMARK(PeakOfAChannelOfTwo)->Arg(800)->Arg(8192)->Arg(1 << 24);
BENCHMARK(MeanSquareOfAChannelOfTwo)->Arg(800)->Arg(8192)->Arg(1 << 24);

}  // namespace
