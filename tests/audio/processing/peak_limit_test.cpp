#include "audio/processing/peak_limit.h"

#include "audio/sample_format.h"
#include "tests/audio/processing/chain_checks.h"
#include "tests/reference/processing_reference.h"

namespace {

using kiv::kPeak16Bit;
using kiv::test::LivelyNoise;
using kiv::test::Noise;
using kiv::test::OpenMemory;
using kiv::test::ReadInPieces;

kiv::test::OpenStage Stage(std::int32_t limit = kPeak16Bit) {
  return [limit](LSoundSource& input) { return LSoundSource(new LSRCPeakLimit(input, limit)); };
}

std::int32_t BlockFrames(std::int32_t rateHz) {
  LSoundSource input = OpenMemory({}, rateHz, 1);
  return LSRCPeakLimit(input, 1).BlockFrames();
}

TEST(LSRCPeakLimit, BlockLengthFollowsTheRateWithinBounds) {
  EXPECT_EQ(BlockFrames(44100), 1260);
  EXPECT_EQ(BlockFrames(8000), 228);
  EXPECT_EQ(BlockFrames(500), 20);
  EXPECT_EQ(BlockFrames(1000000), 8192);
}

TEST(LSPPeakLimit, WrapsOnlyWhatMayExceedTheLimit) {
  LSoundSource quiet = OpenMemory({1}, 8000, 1, kPeak16Bit);
  EXPECT_EQ(&*LSPPeakLimit(kPeak16Bit).OpenSource(quiet), &*quiet);
  LSoundSource loud = OpenMemory({1}, 8000, 1, kPeak16Bit + 1);
  LSoundSource limited = LSPPeakLimit(kPeak16Bit).OpenSource(loud);
  EXPECT_NE(&*limited, &*loud);
  EXPECT_EQ(limited->Peak(), kPeak16Bit);
}

TEST(LSRCPeakLimit, LimitIsClampedToWhatTheFormulaHolds) {
  LSoundSource input = OpenMemory({INT32_MAX, INT32_MIN, 5000000}, 8000, 1, INT32_MAX);
  LSoundSource limited(new LSRCPeakLimit(input, INT32_MAX));
  EXPECT_EQ(limited->Peak(), 0x3FFFFF);
  for (const std::int32_t v : ReadInPieces(limited, 400, {400})) {
    ASSERT_LE(v, 0x3FFFFF);
    ASSERT_GE(v, -0x3FFFFF - 2);
  }
}

TEST(LSRCPeakLimit, QuietSignalPassesBitForBit) {
  auto samples = LivelyNoise(1, 20000, 2);
  for (std::int32_t& v : samples) v = std::clamp(v, -kPeak16Bit, kPeak16Bit);
  EXPECT_EQ(kiv::test::RunStage(Stage(), samples, 8000, 2, 20000, {777}), samples);
}

TEST(LSRCPeakLimit, SpikeOfTwiceFullScaleIsTakenDownAndTheGainFallsBeforeIt) {
  std::vector<std::int32_t> samples(3000, 100000);
  samples[1000] = 1048544;  // In the fifth block, frames 912 to 1139.
  const auto out = kiv::test::RunStage(Stage(), samples, 8000, 1, 3000, {3000});
  EXPECT_LE(out[1000], 524272);
  EXPECT_GT(out[1000], 524272 - 300);
  for (std::size_t i = 0; i < 456; ++i) ASSERT_EQ(out[i], 100000) << i;
  EXPECT_LT(out[911], 51000);
  for (std::size_t i = 685; i < 912; ++i) ASSERT_LT(out[i], out[i - 1]) << i;
  // Back at unity behind it.
  EXPECT_EQ(out[2500], 100000);
}

// No sample above the limit, none below -(limit + 2), and in 16 bits nothing wraps.
void ExpectWithinLimit(const std::vector<std::int32_t>& samples, std::uint8_t channels, std::int32_t limit) {
  for (const std::int32_t rateHz : {500, 8000, 44100}) {
    const auto frames = static_cast<std::int32_t>(samples.size() / channels);
    const auto out = kiv::test::RunStage(Stage(limit), samples, rateHz, channels, frames, {frames});
    const auto [low, high] = std::minmax_element(out.begin(), out.end());
    ASSERT_LE(*high, limit) << rateHz;
    ASSERT_GE(*low, -limit - 2) << rateHz;
    if (limit > kPeak16Bit) continue;
    std::vector<LSF16> stored(out.size());
    ConvertSamplesOut(stored.data(), out.data(), static_cast<std::int32_t>(out.size()));
    for (std::size_t i = 0; i < out.size(); ++i) {
      ASSERT_LE(std::abs(stored[i].value * 16 - out[i]), 8) << rateHz << " at " << i;
    }
  }
}

TEST(LSRCPeakLimit, NothingLeavesItAboveTheLimit) {
  constexpr std::int32_t kFour = 4 * 524288;
  for (const std::int32_t limit : {kPeak16Bit, 0x3FFFFF, 100000, 4095, 1, 0}) {
    SCOPED_TRACE(limit);
    for (const std::int32_t peak : {kPeak16Bit, kPeak16Bit + 1, 600000, 1048544, kFour, INT32_MAX}) {
      SCOPED_TRACE(peak);
      ExpectWithinLimit(Noise(2, 10000, 1, peak), 1, limit);
      ExpectWithinLimit(Noise(3, 5000, 2, peak), 2, limit);
      for (const std::size_t halfPeriod : {1U, 3U, 100U, 1000U}) {
        std::vector<std::int32_t> square(10000);
        for (std::size_t i = 0; i < square.size(); ++i) square[i] = i / halfPeriod % 2 == 0 ? peak : -peak;
        ExpectWithinLimit(square, 1, limit);
      }
      std::vector<std::int32_t> clicks(10000);
      for (std::size_t i = 37; i < clicks.size(); i += 613) clicks[i] = i % 2 == 0 ? peak : -peak;
      ExpectWithinLimit(clicks, 1, limit);
      std::vector<std::int32_t> steps(10000);
      for (std::size_t i = 0; i < steps.size(); ++i) steps[i] = static_cast<std::int32_t>(i / 500 % 4) * (peak / 4);
      ExpectWithinLimit(steps, 1, limit);
      for (std::int32_t& v : steps) v = -v;
      ExpectWithinLimit(steps, 1, limit);
    }
    ExpectWithinLimit(std::vector<std::int32_t>(1000, INT32_MIN), 1, limit);
    ExpectWithinLimit(LivelyNoise(4, 30000, 1), 1, limit);
  }
}

TEST(LSRCPeakLimit, ReadsThreeBlocksAhead) {
  LSoundSource input = OpenMemory(Noise(5, 5000, 1, 1000000), 8000, 1);
  LSoundSource limiter = Stage()(input);
  EXPECT_EQ(input->GetPositionSample(), 0);
  EXPECT_EQ(limiter->GetPositionSample(), 0);
  ReadInPieces(limiter, 1, {1});
  EXPECT_EQ(input->GetPositionSample(), 3 * 228);
  EXPECT_EQ(limiter->GetPositionSample(), 1);
  ReadInPieces(limiter, 227, {227});
  EXPECT_EQ(input->GetPositionSample(), 3 * 228);
  limiter->Seek(1000);
  EXPECT_EQ(input->GetPositionSample(), 1000 + 3 * 228);
  EXPECT_EQ(limiter->GetPositionSample(), 1000);
}

TEST(LSRCPeakLimit, InputInErrorGivesErrorTwoAndSilence) {
  LSoundSource none;
  LSoundSource limiter = LSPPeakLimit(kPeak16Bit).OpenSource(none);
  EXPECT_EQ(limiter->Error(), kSourceInput);
  EXPECT_THAT(ReadInPieces(limiter, 1000, {1000}), testing::Each(0));
}

TEST(LSRCPeakLimit, RequestsBelowOneFrameReadNothing) {
  LSoundSource input = OpenMemory({1, 2}, 8000, 1);
  LSoundSource limiter = Stage()(input);
  limiter->Read(nullptr, 0);
  limiter->Read(nullptr, -1);
  EXPECT_EQ(input->GetPositionSample(), 0);
}

TEST(LSRCPeakLimit, MatchesTheReference) {
  for (const std::int32_t rateHz : {500, 8000, 11025, 44100}) {
    for (const std::uint8_t channels : std::vector<std::uint8_t>{1, 2, 3}) {
      for (const std::int32_t limit : {kPeak16Bit, 1000000, 0x3FFFFF, 12345, 0}) {
        auto samples = LivelyNoise(static_cast<std::uint64_t>(rateHz + limit), 20000, channels);
        if (rateHz == 8000) {
          samples[5000] = INT32_MIN;
          samples[9000] = INT32_MAX;
        }
        ASSERT_EQ(kiv::test::RunStage(Stage(limit), samples, rateHz, channels, 22000, {22000}),
                  kiv::reference::PeakLimit(samples, channels, rateHz, 22000, limit))
            << rateHz << ' ' << int{channels} << ' ' << limit;
      }
    }
  }
}

TEST(LSRCPeakLimit, HasTheCommonProperties) {
  const auto samples = LivelyNoise(6, 12001, 2);
  kiv::test::ExpectSplittingChangesNothing(Stage(), samples, 8000, 2);
  kiv::test::ExpectSeekStartsFresh(Stage(), samples, 8000, 2);
  kiv::test::ExpectPositionCountsFrames(Stage(), samples, 8000, 2);
  kiv::test::ExpectVectorWidthsAgree(Stage(), samples, 8000, 2);
  kiv::test::ExpectVectorWidthsAgree(Stage(), samples, 8000, 1);
  kiv::test::ExpectVectorWidthsAgree(Stage(), LivelyNoise(7, 9000, 5), 8000, 5);
}

TEST(LSRCPeakLimit, EqualChannelsComeOutAsOneAlone) {
  const auto mono = LivelyNoise(8, 9000, 1);
  std::vector<std::int32_t> stereo;
  for (const std::int32_t v : mono) stereo.insert(stereo.end(), 2, v);
  const auto one = kiv::test::RunStage(Stage(), mono, 8000, 1, 9000, {9000});
  const auto two = kiv::test::RunStage(Stage(), stereo, 8000, 2, 9000, {9000});
  EXPECT_EQ(kiv::test::Channel(two, 2, 0), one);
  EXPECT_EQ(kiv::test::Channel(two, 2, 1), one);
}

TEST(LSRCPeakLimit, LongOutputIsPinned) {
  const auto samples = LivelyNoise(9, 80000, 1);
  const auto out = kiv::test::RunStage(Stage(), samples, 8000, 1, 80000, {800});
  EXPECT_EQ(kiv::reference::Checksum(out), 8432203974961367541U);
}

}  // namespace
