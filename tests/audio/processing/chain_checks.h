#pragma once

// Properties that every stage of the signal path must have, checked the same way for each.

#include <gtest/gtest.h>

#include <functional>

#include "foundation/vector_width.h"
#include "tests/support/test_signals.h"

namespace kiv::test {

using OpenStage = std::function<LSoundSource(LSoundSource&)>;

// Reads frames of a fresh stage over the samples in pieces of the given sizes.
inline std::vector<std::int32_t> RunStage(const OpenStage& open, const std::vector<std::int32_t>& samples,
                                          std::int32_t rateHz, std::uint8_t channels, std::int32_t frames,
                                          const std::vector<std::int32_t>& pieces) {
  LSoundSource input = OpenMemory(samples, rateHz, channels, kPeakRaised);
  LSoundSource stage = open(input);
  return ReadInPieces(stage, frames, pieces);
}

inline void ExpectSplittingChangesNothing(const OpenStage& open, const std::vector<std::int32_t>& samples,
                                          std::int32_t rateHz, std::uint8_t channels) {
  const auto frames = static_cast<std::int32_t>(samples.size() / channels);
  const auto whole = RunStage(open, samples, rateHz, channels, frames, {frames});
  const std::vector<std::vector<std::int32_t>> splits = {{1}, {7, 1, 0, 500}, {160}, {228}, {800, 33}, {8192, 5}};
  for (const auto& split : splits) {
    EXPECT_EQ(RunStage(open, samples, rateHz, channels, frames, split), whole) << "pieces from " << split[0];
  }
  Random random(99);
  for (int round = 0; round < 5; ++round) {
    std::vector<std::int32_t> split(50);
    for (std::int32_t& n : split) n = random.Between(0, 1500);
    split.push_back(1);
    EXPECT_EQ(RunStage(open, samples, rateHz, channels, frames, split), whole) << "random split " << round;
  }
}

// After Seek to places before, in and behind what was read, the stage answers like a fresh one over an input that
// starts there.
inline void ExpectSeekStartsFresh(const OpenStage& open, const std::vector<std::int32_t>& samples, std::int32_t rateHz,
                                  std::uint8_t channels) {
  LSoundSource input = OpenMemory(samples, rateHz, channels, kPeakRaised);
  LSoundSource stage = open(input);
  const auto end = static_cast<std::int32_t>(samples.size() / channels);
  ReadInPieces(stage, end / 2 + 13, {97});
  for (const std::int32_t place : {0, 1, end / 3, end - 100, end + 5000, -50}) {
    stage->Seek(place);
    EXPECT_EQ(stage->GetPositionSample(), place);
    LSoundSource freshInput = OpenMemory(samples, rateHz, channels, kPeakRaised);
    freshInput->Seek(place);
    LSoundSource fresh = open(freshInput);
    EXPECT_EQ(ReadInPieces(stage, 3000, {350}), ReadInPieces(fresh, 3000, {3000})) << "from " << place;
    EXPECT_EQ(stage->GetPositionSample(), place + 3000);
  }
}

// The position after reads of any length is the number of frames read.
inline void ExpectPositionCountsFrames(const OpenStage& open, const std::vector<std::int32_t>& samples,
                                       std::int32_t rateHz, std::uint8_t channels) {
  LSoundSource input = OpenMemory(samples, rateHz, channels, kPeakRaised);
  LSoundSource stage = open(input);
  EXPECT_EQ(stage->GetPositionSample(), 0);
  EXPECT_EQ(stage->GetEndSample(), static_cast<std::int32_t>(samples.size() / channels));
  std::int32_t position = 0;
  for (const std::int32_t n : {1, 399, 0, 1, 1000, 228, 5000}) {
    ReadInPieces(stage, n, {std::max(n, 1)});
    position += n;
    EXPECT_EQ(stage->GetPositionSample(), position);
  }
}

inline std::vector<std::int32_t> Channel(const std::vector<std::int32_t>& samples, std::size_t channels,
                                         std::size_t channel) {
  std::vector<std::int32_t> one;
  for (std::size_t i = channel; i < samples.size(); i += channels) one.push_back(samples[i]);
  return one;
}

// Each channel of a multi-channel signal comes out as it would alone.
inline void ExpectChannelsAreIndependent(const OpenStage& open, const std::vector<std::int32_t>& samples,
                                         std::int32_t rateHz, std::uint8_t channels) {
  const auto frames = static_cast<std::int32_t>(samples.size() / channels);
  const auto together = RunStage(open, samples, rateHz, channels, frames, {777});
  for (std::size_t c = 0; c < channels; ++c) {
    EXPECT_EQ(Channel(together, channels, c),
              RunStage(open, Channel(samples, channels, c), rateHz, 1, frames, {frames}))
        << "channel " << c;
  }
}

inline void ExpectVectorWidthsAgree(const OpenStage& open, const std::vector<std::int32_t>& samples,
                                    std::int32_t rateHz, std::uint8_t channels) {
  const auto frames = static_cast<std::int32_t>(samples.size() / channels);
  ForceVectorWidth(VectorWidth::Scalar);
  const auto scalar = RunStage(open, samples, rateHz, channels, frames, {frames, 3, 1000});
  for (const VectorWidth width : {VectorWidth::Sse2, VectorWidth::Avx2}) {
    ForceVectorWidth(width);
    EXPECT_EQ(RunStage(open, samples, rateHz, channels, frames, {frames, 3, 1000}), scalar);
  }
  ForceNoVectorWidth();
}

// Noise whose level changes by blocks of odd length from silence to four times 16-bit full scale.
inline std::vector<std::int32_t> LivelyNoise(std::uint64_t seed, std::int32_t frames, int channels) {
  Random random(seed);
  std::vector<std::int32_t> samples;
  const auto count = static_cast<std::size_t>(frames) * static_cast<std::size_t>(channels);
  samples.reserve(count);
  while (samples.size() < count) {
    const std::int32_t peak = 0x1FFFC0 >> random.Between(0, 21);
    for (std::int32_t n = random.Between(1, 1200); n > 0 && samples.size() < count; --n) {
      samples.push_back(random.Between(-peak, peak));
    }
  }
  return samples;
}

}  // namespace kiv::test
