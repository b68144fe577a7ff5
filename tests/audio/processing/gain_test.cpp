#include "audio/processing/gain.h"

#include "tests/audio/processing/chain_checks.h"
#include "tests/reference/processing_reference.h"

namespace {

using kiv::test::LivelyNoise;
using kiv::test::Noise;
using kiv::test::OpenMemory;
using kiv::test::ReadInPieces;
using testing::ElementsAre;

kiv::test::OpenStage Stage(LDB gain) {
  return [gain](LSoundSource& input) { return LSPGain(gain).OpenSource(input); };
}

std::vector<std::int32_t> Scaled(std::vector<std::int32_t> samples, LDB gain) {
  const auto frames = static_cast<std::int32_t>(samples.size());
  return kiv::test::RunStage(Stage(gain), samples, 8000, 1, frames, {frames});
}

TEST(LSRCGain, ZeroDecibelsLeavesEverySampleInRange) {
  const std::vector<std::int32_t> samples = {0, 1, -1, 524272, -524288, 2097152, 0x3FFFFF, -0x400000};
  EXPECT_EQ(Scaled(samples, 0), samples);
}

TEST(LSRCGain, ProductWrapsAtZeroDecibelsToo) {
  EXPECT_THAT(Scaled({0x400000, INT32_MAX, INT32_MIN}, 0), ElementsAre(-0x400000, -1, 0));
}

TEST(LSRCGain, SixDecibelsTakeOneThousandTo1994) {
  EXPECT_THAT(Scaled({1000, -1000, 1, -1}, 6), ElementsAre(1994, -1995, 1, -2));
}

TEST(LSRCGain, LowestGainIsSilence) {
  EXPECT_THAT(Scaled({524272, -524288, 1, -1}, -127), ElementsAre(0, 0, 0, 0));
}

TEST(LSRCGain, GainsWhoseFactorVanishesGiveSilence) {
  // -55 dB is 0.9 of the smallest factor.
  EXPECT_THAT(Scaled({524272, -524288}, -55), ElementsAre(0, 0));
  EXPECT_THAT(Scaled({524272, -524288}, -54), ElementsAre(1023, -1024));
}

TEST(LSRCGain, ProductWrapsIn32Bits) {
  // +18 dB is 4066: 524272 * 4066 = 2131689952 still fits. +19 dB is 4563: 2392253136 does not.
  EXPECT_THAT(Scaled({524272}, 18), ElementsAre(4163456));
  EXPECT_THAT(Scaled({524272}, 19), ElementsAre((2392253136 - (INT64_C(1) << 32)) >> 9));
}

TEST(LSRCGain, PeakIsRaisedByAPositiveGainOnly) {
  LSoundSource input = OpenMemory({1}, 8000, 1, 1234);
  EXPECT_EQ(LSPGain(1).OpenSource(input)->Peak(), 2097152);
  EXPECT_EQ(LSPGain(0).OpenSource(input)->Peak(), 1234);
  EXPECT_EQ(LSPGain(-1).OpenSource(input)->Peak(), 1234);
}

TEST(LSRCGain, InputInErrorGivesErrorTwoAndSilence) {
  LSoundSource none;
  LSoundSource gain = LSPGain(6).OpenSource(none);
  EXPECT_EQ(gain->Error(), kSourceInput);
  EXPECT_THAT(ReadInPieces(gain, 3, {3}), ElementsAre(0, 0, 0));
}

TEST(LSRCGain, RequestsBelowOneFrameReadNothing) {
  LSoundSource input = OpenMemory({1, 2}, 8000, 1);
  LSoundSource gain = LSPGain(6).OpenSource(input);
  std::int32_t sample = 5;
  gain->Read(&sample, 0);
  gain->Read(&sample, -1);
  EXPECT_EQ(sample, 5);
  EXPECT_EQ(gain->GetPositionSample(), 0);
}

TEST(LSRCGain, MatchesTheReferenceForEveryGain) {
  const auto samples = Noise(3, 300, 1, INT32_MAX);
  for (int dB = -127; dB <= 127; ++dB) {
    ASSERT_EQ(Scaled(samples, dB), kiv::reference::Gain(samples, dB)) << dB << " dB";
  }
}

TEST(LSRCGain, HasTheCommonProperties) {
  const auto samples = LivelyNoise(4, 6001, 2);
  kiv::test::ExpectSplittingChangesNothing(Stage(9), samples, 8000, 2);
  kiv::test::ExpectSeekStartsFresh(Stage(9), samples, 8000, 2);
  kiv::test::ExpectPositionCountsFrames(Stage(9), samples, 8000, 2);
  kiv::test::ExpectChannelsAreIndependent(Stage(9), samples, 8000, 2);
  kiv::test::ExpectVectorWidthsAgree(Stage(9), samples, 8000, 2);
}

}  // namespace
