#include "audio/buffer_level.h"

#include <algorithm>
#include <cstdlib>

#include "foundation/level.h"
#include "tests/support/every_vector_width.h"
#include "tests/support/test_signals.h"

namespace {

using Samples = std::vector<std::int32_t>;

// The rules once more, sample by sample with remainders of 64-bit numbers.
std::int64_t PlainPeak(const Samples& samples, std::size_t from, std::size_t step, std::size_t count) {
  std::int64_t peak = 0;
  for (std::size_t i = 0; i < count; ++i) {
    peak = std::max(peak, std::abs(std::int64_t{samples[from + i * step]}));
  }
  return std::min(peak, std::int64_t{2147483647});
}
std::uint64_t PlainMeanSquare(const Samples& samples, std::size_t from, std::size_t step, std::size_t count) {
  const std::uint64_t word = std::uint64_t{1} << 32;
  std::uint64_t high = 0;
  std::uint64_t low = 0;
  for (std::size_t i = 0; i < count; ++i) {
    std::int64_t t = samples[from + i * step];
    t = t >= 0 ? t / 32 : -((-t + 31) / 32);
    const std::uint64_t square = static_cast<std::uint64_t>(t * t) % word;
    high = (high + square / 8192) % word;
    low = (low + square % 8192) % word;
  }
  if (count == 0) return 0;
  const std::uint64_t total = (high + low / 8192) % word;
  return (total / count * 8192 % word + total % count * 8192 % word / count) % word;
}

class BufferLevel : public kiv::test::EveryVectorWidth {};
INSTANTIATE_TEST_SUITE_P(EveryWidth, BufferLevel, kiv::test::kVectorWidths, kiv::test::VectorWidthName);

TEST_P(BufferLevel, SilenceIsZeroEverywhere) {
  const Samples zeros(200, 0);
  EXPECT_EQ(GetBufferPeak(zeros.data(), 100, 2), 0);
  EXPECT_EQ(GetBufferPeakChan(1, zeros.data(), 100, 2), 0);
  EXPECT_EQ(GetBufferMeanSquare(zeros.data(), 100, 2), 0U);
  EXPECT_EQ(GetBufferMeanSquareChan(1, zeros.data(), 100, 2), 0U);
}

TEST_P(BufferLevel, NothingToMeasureIsZero) {
  const Samples loud(8, 1000000);
  for (const std::int32_t frames : {0, -1, INT32_MIN}) {
    for (const std::uint8_t channels : {std::uint8_t{1}, std::uint8_t{2}, std::uint8_t{255}}) {
      EXPECT_EQ(GetBufferPeak(loud.data(), frames, channels), 0);
      EXPECT_EQ(GetBufferPeakChan(0, loud.data(), frames, channels), 0);
      EXPECT_EQ(GetBufferMeanSquare(loud.data(), frames, channels), 0U);
      EXPECT_EQ(GetBufferMeanSquareChan(0, loud.data(), frames, channels), 0U);
    }
  }
  EXPECT_EQ(GetBufferPeak(loud.data(), 8, 0), 0);
  EXPECT_EQ(GetBufferMeanSquare(loud.data(), 8, 0), 0U);
  EXPECT_EQ(GetBufferPeakChan(0, loud.data(), 8, 0), 0);
  EXPECT_EQ(GetBufferMeanSquareChan(0, loud.data(), 8, 0), 0U);
}

TEST_P(BufferLevel, AChannelThatTheBufferLacksIsZero) {
  const Samples loud(8, 1000000);
  EXPECT_EQ(GetBufferPeakChan(2, loud.data(), 4, 2), 0);
  EXPECT_EQ(GetBufferMeanSquareChan(2, loud.data(), 4, 2), 0U);
}

TEST_P(BufferLevel, MonoIgnoresTheChannel) {
  const Samples mono = {3200, -6400, 0};
  EXPECT_EQ(GetBufferPeakChan(1, mono.data(), 3, 1), 6400);
  EXPECT_EQ(GetBufferMeanSquareChan(1, mono.data(), 3, 1), GetBufferMeanSquare(mono.data(), 3, 1));
}

TEST_P(BufferLevel, FullScaleHasAMeanSquareOfTwoToThe28) {
  const Samples full(8255, 524288);
  EXPECT_EQ(GetBufferMeanSquare(full.data(), 8255, 1), 268435456U);
  EXPECT_EQ(GetBufferPeak(full.data(), 8255, 1), 524288);
}

TEST_P(BufferLevel, FewerFramesThanAnyUnrolledStep) {
  const Samples three = {32, -64, 96};
  EXPECT_EQ(GetBufferPeak(three.data(), 3, 1), 96);
  EXPECT_EQ(GetBufferMeanSquare(three.data(), 3, 1), 0U);  // 14 is lost in the 13 low bits.
  const Samples loud = {32000, -64000, 96000};
  EXPECT_EQ(GetBufferMeanSquare(loud.data(), 3, 1), PlainMeanSquare(loud, 0, 1, 3));
}

TEST_P(BufferLevel, NegativeOnlyAndMixedPeaks) {
  const Samples negative(100, -1000);
  EXPECT_EQ(GetBufferPeak(negative.data(), 100, 1), 1000);
  const Samples mixed = {100, -524288, 7};
  EXPECT_EQ(GetBufferPeak(mixed.data(), 3, 1), 524288);
}

TEST_P(BufferLevel, ThePeakOfTheMostNegativeWordIsTheLargestPositiveOne) {
  const Samples lowest = {0, INT32_MIN, 5};
  EXPECT_EQ(GetBufferPeak(lowest.data(), 3, 1), INT32_MAX);
  EXPECT_EQ(GetBufferPeakChan(1, lowest.data(), 1, 2), INT32_MAX);
}

TEST_P(BufferLevel, SquaresBeyondFourTimesFullScaleWrap) {
  // (2097152 >> 5)^2 is 2^32.
  const Samples beyond(1000, 2097152);
  EXPECT_EQ(GetBufferMeanSquare(beyond.data(), 1000, 1), 0U);
  const Samples edge(1000, 2097152 - 32);
  EXPECT_EQ(GetBufferMeanSquare(edge.data(), 1000, 1), PlainMeanSquare(edge, 0, 1, 1000));
}

TEST_P(BufferLevel, EveryLengthChannelAndLoudnessMatchesThePlainRules) {
  for (const std::int32_t peak : {40, 524288, 1 << 20, (1 << 20) + 64, 2097152, INT32_MAX}) {
    for (const int channels : {1, 2, 3, 4, 7}) {
      const Samples noise = kiv::test::Noise(static_cast<std::uint64_t>(peak) + 7, 600, channels, peak);
      const auto width = static_cast<std::uint8_t>(channels);
      for (std::int32_t frames = 0; frames <= 600; frames += frames < 80 ? 1 : 101) {
        const auto all = static_cast<std::size_t>(frames * channels);
        ASSERT_EQ(GetBufferPeak(noise.data(), frames, width), PlainPeak(noise, 0, 1, all));
        ASSERT_EQ(GetBufferMeanSquare(noise.data(), frames, width), PlainMeanSquare(noise, 0, 1, all));
        for (std::uint8_t channel = 0; channel < width; ++channel) {
          const auto count = static_cast<std::size_t>(frames);
          ASSERT_EQ(GetBufferPeakChan(channel, noise.data(), frames, width), PlainPeak(noise, channel, width, count));
          ASSERT_EQ(GetBufferMeanSquareChan(channel, noise.data(), frames, width),
                    PlainMeanSquare(noise, channel, width, count));
        }
      }
    }
  }
}

TEST_P(BufferLevel, AnUnalignedBufferIsMeasuredTheSame) {
  const Samples noise = kiv::test::Noise(5, 1000, 1, 524288);
  for (std::size_t from = 0; from < 17; ++from) {
    EXPECT_EQ(GetBufferPeak(noise.data() + from, 900, 1), PlainPeak(noise, from, 1, 900));
    EXPECT_EQ(GetBufferMeanSquare(noise.data() + from, 900, 1), PlainMeanSquare(noise, from, 1, 900));
  }
}

TEST_P(BufferLevel, OneLoudSampleAnywhereIsSeen) {
  for (std::size_t at = 0; at < 300; ++at) {
    for (const std::int32_t loud : {INT32_MAX, INT32_MIN, 1048575, 1048576, -1048576, -1048608}) {
      Samples quiet(300, -77);
      quiet[at] = loud;
      ASSERT_EQ(GetBufferPeak(quiet.data(), 300, 1), PlainPeak(quiet, 0, 1, 300));
      ASSERT_EQ(GetBufferMeanSquare(quiet.data(), 300, 1), PlainMeanSquare(quiet, 0, 1, 300));
      ASSERT_EQ(GetBufferMeanSquareChan(1, quiet.data(), 150, 2), PlainMeanSquare(quiet, 1, 2, 150));
    }
  }
}

TEST_P(BufferLevel, SumsOfVeryLongBuffersWrap) {
  // More than 2^19 low parts of 8191 leave 32 bits, and so does the remainder shifted left by 13.
  const Samples noise = kiv::test::Noise(9, 1 << 20, 1, 4000000);
  EXPECT_EQ(GetBufferMeanSquare(noise.data(), 1 << 20, 1), PlainMeanSquare(noise, 0, 1, 1 << 20));
  const Samples low(600000, 5792);  // 181^2 = 32761 = 3 * 8192 + 8185
  EXPECT_EQ(GetBufferMeanSquare(low.data(), 600000, 1), PlainMeanSquare(low, 0, 1, 600000));
}

}  // namespace
