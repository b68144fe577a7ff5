#include "audio/processing/high_pass.h"

#include <cmath>

#include "audio/processing/one_pole.h"
#include "tests/audio/processing/chain_checks.h"
#include "tests/reference/processing_reference.h"

namespace {

using kiv::test::LivelyNoise;
using kiv::test::Noise;
using kiv::test::OpenMemory;
using kiv::test::ReadInPieces;
using testing::Each;
using testing::ElementsAre;

kiv::test::OpenStage Stage(std::int32_t cutoffHz) {
  return [cutoffHz](LSoundSource& input) { return LSPHighPass(cutoffHz).OpenSource(input); };
}

TEST(OnePole, CoefficientIsTruncated) {
  EXPECT_EQ(kiv::OnePoleCoefficientQ8(300, 8000), 53);
  EXPECT_EQ(kiv::OnePoleCoefficientQ8(100, 44100), 3);
  EXPECT_EQ(kiv::OnePoleCoefficientQ8(0, 8000), 0);
  EXPECT_EQ(kiv::OnePoleCoefficientQ8(INT32_MAX, 1), 256);
  EXPECT_EQ(kiv::OnePoleCoefficientQ8(-100, 8000), -20);
  EXPECT_EQ(kiv::OnePoleCoefficientQ8(INT32_MIN, 1), INT32_MIN);
}

TEST(LSRCHighPass, StepPassesAtOnceAndDecays) {
  const std::vector<std::int32_t> step(8000, 524288);
  const auto out = kiv::test::RunStage(Stage(300), step, 8000, 1, 8000, {8000});
  EXPECT_EQ(out[0], 524288);
  for (std::size_t i = 1; i < 8000; ++i) ASSERT_LE(std::abs(out[i]), std::abs(out[i - 1])) << i;
  EXPECT_EQ(out[7999], 0);
}

TEST(LSRCHighPass, ZeroCutoffPassesEverything) {
  const auto samples = Noise(5, 500, 1, INT32_MAX);
  EXPECT_EQ(kiv::test::RunStage(Stage(0), samples, 8000, 1, 500, {500}), samples);
}

TEST(LSRCHighPass, TakesHumDownAndLeavesSpeech) {
  const auto gainAt = [](double hz) {
    const auto tone = kiv::test::Sine(hz, 200000, 8000, 8000, 1);
    const auto out = kiv::test::RunStage(Stage(300), tone, 8000, 1, 8000, {8000});
    return std::abs(static_cast<double>(*std::max_element(out.begin() + 4000, out.end()))) / 200000;
  };
  EXPECT_LT(gainAt(50), 0.2);
  EXPECT_GT(gainAt(1000), 0.9);
}

TEST(LSRCHighPass, PeakDoublesUpToTheLargestThatMay) {
  const auto peak = [](std::int32_t inputPeak) {
    LSoundSource input = OpenMemory({1}, 8000, 1, inputPeak);
    return LSPHighPass(300).OpenSource(input)->Peak();
  };
  EXPECT_EQ(peak(524272), 1048544);
  EXPECT_EQ(peak(0x100000), 0x200000);
  EXPECT_EQ(peak(0x100001), 0x100001);
  EXPECT_EQ(peak(2097152), 2097152);
}

TEST(LSRCHighPass, InputInErrorGivesErrorTwoAndSilence) {
  LSoundSource none;
  LSoundSource filter = LSPHighPass(300).OpenSource(none);
  EXPECT_EQ(filter->Error(), kSourceInput);
  EXPECT_THAT(ReadInPieces(filter, 3, {3}), Each(0));
}

TEST(LSRCHighPass, RequestsBelowOneFrameReadNothing) {
  LSoundSource input = OpenMemory({1, 2}, 8000, 1);
  LSoundSource filter = LSPHighPass(300).OpenSource(input);
  filter->Read(nullptr, 0);
  filter->Read(nullptr, -1);
  EXPECT_EQ(filter->GetPositionSample(), 0);
}

TEST(LSRCHighPass, MatchesTheReference) {
  for (const std::int32_t cutoffHz : {0, 1, 17, 100, 300, 450, 2200, 20000, -40}) {
    for (const std::uint8_t channels : std::vector<std::uint8_t>{1, 2, 3, 255}) {
      const std::int32_t frames = channels == 255 ? 200 : 9000;
      auto samples = LivelyNoise(static_cast<std::uint64_t>(cutoffHz + 50) * channels, frames, channels);
      // Pauses, where the state stands still, and words that wrap.
      std::fill(samples.begin() + 100, samples.begin() + 160, 0);
      samples[30] = INT32_MIN;
      samples[31] = INT32_MAX;
      ASSERT_EQ(kiv::test::RunStage(Stage(cutoffHz), samples, 8000, channels, frames, {frames}),
                kiv::reference::HighPass(samples, channels, cutoffHz, 8000))
          << cutoffHz << " Hz, " << int{channels} << " channels";
    }
  }
}

TEST(LSRCHighPass, MatchesTheReferenceWhereEveryStateWraps) {
  const auto samples = Noise(6, 20000, 1, INT32_MAX);
  for (const std::int32_t cutoffHz : {5, 300, 3000}) {
    ASSERT_EQ(kiv::test::RunStage(Stage(cutoffHz), samples, 8000, 1, 20000, {20000}),
              kiv::reference::HighPass(samples, 1, cutoffHz, 8000));
  }
}

TEST(LSRCHighPass, HasTheCommonProperties) {
  const auto samples = LivelyNoise(7, 12001, 2);
  kiv::test::ExpectSplittingChangesNothing(Stage(300), samples, 8000, 2);
  kiv::test::ExpectSeekStartsFresh(Stage(300), samples, 8000, 2);
  kiv::test::ExpectPositionCountsFrames(Stage(300), samples, 8000, 2);
  kiv::test::ExpectChannelsAreIndependent(Stage(300), samples, 8000, 2);
  kiv::test::ExpectVectorWidthsAgree(Stage(300), samples, 8000, 2);
  kiv::test::ExpectVectorWidthsAgree(Stage(100), LivelyNoise(8, 50000, 1), 44100, 1);
}

TEST(LSRCHighPass, LongOutputIsPinned) {
  const auto samples = LivelyNoise(9, 80000, 1);
  const auto out = kiv::test::RunStage(Stage(300), samples, 8000, 1, 80000, {800});
  EXPECT_EQ(kiv::reference::Checksum(out), 6468749421808497231U);
}

}  // namespace
