#include "audio/processing/compressor.h"

#include "tests/audio/processing/chain_checks.h"
#include "tests/reference/processing_reference.h"

namespace {

using kiv::test::LivelyNoise;
using kiv::test::Noise;
using kiv::test::OpenMemory;
using kiv::test::ReadInPieces;

constexpr double kThirdPerDB = 0.9261187281287935;

kiv::test::OpenStage Stage(LDB threshold = -30, LSoundTime time = 50) {
  return [=](LSoundSource& input) { return LSPCompressor(threshold, kThirdPerDB, time, 127).OpenSource(input); };
}

std::int32_t BlockFrames(std::int32_t rateHz, LSoundTime time) {
  LSoundSource input = OpenMemory({}, rateHz, 1);
  return LSRCCompressor(input, -30, kThirdPerDB, time, 127).BlockFrames();
}

TEST(LSRCCompressor, BlockLengthFollowsTimeAndRateWithinBounds) {
  EXPECT_EQ(BlockFrames(8000, 50), 400);
  EXPECT_EQ(BlockFrames(2000, 50), 128);
  EXPECT_EQ(BlockFrames(192000, 50), 8192);
  EXPECT_EQ(BlockFrames(1500, 1999), 2998);
  EXPECT_EQ(BlockFrames(8000, -50), 128);
}

TEST(LSRCCompressor, DeclaresTheRaisedPeak) {
  LSoundSource input = OpenMemory({1}, 8000, 1, 77);
  EXPECT_EQ(Stage()(input)->Peak(), 0x3FFFFF);
}

TEST(LSRCCompressor, InputInErrorGivesSilence) {
  LSoundSource none;
  LSoundSource compressor = Stage()(none);
  EXPECT_EQ(compressor->Error(), kSourceInput);
  std::int32_t samples[4] = {1, 2, 3, 4};
  compressor->Read(samples, 3);
  EXPECT_THAT(samples, testing::ElementsAre(0, 0, 0, 4));
}

TEST(LSRCCompressor, ReadsNothingAheadUntilTheFirstRead) {
  LSoundSource input = OpenMemory(Noise(1, 5000, 1, 1000), 8000, 1);
  LSoundSource compressor = Stage()(input);
  EXPECT_EQ(input->GetPositionSample(), 0);
  ReadInPieces(compressor, 1, {1});
  EXPECT_EQ(input->GetPositionSample(), 800);
  EXPECT_EQ(compressor->GetPositionSample(), 1);
  // A read that ends a block fetches the next one.
  ReadInPieces(compressor, 399, {399});
  EXPECT_EQ(input->GetPositionSample(), 1200);
  EXPECT_EQ(compressor->GetPositionSample(), 400);
  compressor->Seek(2000);
  EXPECT_EQ(input->GetPositionSample(), 2000);
  EXPECT_EQ(compressor->GetPositionSample(), 2000);
}

TEST(LSRCCompressor, SteadyLevelsComeOutByTheCurve) {
  // From the threshold up, three dB more in make one dB more out.
  const auto out = [](double amplitude) {
    const auto tone = kiv::test::Sine(400, amplitude, 8000, 8000, 1);
    const auto y = kiv::test::RunStage(Stage(), tone, 8000, 1, 8000, {8000});
    return *std::max_element(y.begin() + 4000, y.begin() + 7000);
  };
  const double step = 1.9952623149688795;  // 6 dB
  const double quiet = 524272.0 / step / step / step;
  EXPECT_NEAR(std::log10(out(quiet * step) / static_cast<double>(out(quiet))) * 20, 2.0, 0.7);
  EXPECT_NEAR(std::log10(out(quiet * step * step) / static_cast<double>(out(quiet))) * 20, 4.0, 0.7);
}

TEST(LSRCCompressor, AttackCoversFourFifthsInTheBlockBefore) {
  // Two quiet blocks, then loud ones: the gain has left four fifths of the way behind when the loud block starts.
  std::vector<std::int32_t> samples(800, 64);
  samples.resize(4000, 300000);
  const auto out = kiv::test::RunStage(Stage(), samples, 8000, 1, 2000, {2000});
  const auto table = LCompressorTableGain(-30, kThirdPerDB, 127);
  const auto levelOf = [](std::int32_t value) {
    return kiv::reference::MeanSquareDB((std::int64_t{value} / 32) * (std::int64_t{value} / 32));
  };
  const auto quiet = static_cast<double>(table.GainQ24(static_cast<int>(levelOf(64))));
  const auto loud = static_cast<double>(table.GainQ24(static_cast<int>(levelOf(300000))));
  const double atLoudStart = quiet + 0.8 * (loud - quiet);
  EXPECT_NEAR(out[800] / 300000.0 * 16777216, atLoudStart, quiet * 0.001);
}

TEST(LSRCCompressor, MatchesTheReference) {
  for (const std::int32_t rateHz : {500, 8000, 11025, 44100, 192000}) {
    for (const std::uint8_t channels : std::vector<std::uint8_t>{1, 2, 3}) {
      for (const int threshold : {-127, -60, -30, -3, 5}) {
        const auto samples = LivelyNoise(static_cast<std::uint64_t>(rateHz + threshold), 20000, channels);
        ASSERT_EQ(kiv::test::RunStage(Stage(threshold), samples, rateHz, channels, 22000, {22000}),
                  kiv::reference::Compress(samples, channels, rateHz, 22000, threshold, kThirdPerDB, 50, 127))
            << rateHz << ' ' << int{channels} << ' ' << threshold;
      }
    }
  }
}

TEST(LSRCCompressor, MatchesTheReferenceForWordsThatWrapAndGainsThatSaturate) {
  const auto samples = Noise(5, 20000, 1, INT32_MAX);
  for (const double base : {0.5, 1.5, kThirdPerDB}) {
    for (const int threshold : {-127, -100, 0}) {
      const kiv::test::OpenStage open = [=](LSoundSource& input) {
        return LSPCompressor(threshold, base, 20, 40).OpenSource(input);
      };
      ASSERT_EQ(kiv::test::RunStage(open, samples, 8000, 1, 20000, {20000}),
                kiv::reference::Compress(samples, 1, 8000, 20000, threshold, base, 20, 40));
    }
  }
}

TEST(LSRCCompressor, HasTheCommonProperties) {
  const auto samples = LivelyNoise(6, 12001, 2);
  kiv::test::ExpectSplittingChangesNothing(Stage(), samples, 8000, 2);
  kiv::test::ExpectSeekStartsFresh(Stage(), samples, 8000, 2);
  kiv::test::ExpectPositionCountsFrames(Stage(), samples, 8000, 2);
  kiv::test::ExpectVectorWidthsAgree(Stage(), samples, 8000, 2);
  kiv::test::ExpectVectorWidthsAgree(Stage(), samples, 8000, 1);
  kiv::test::ExpectVectorWidthsAgree(Stage(), LivelyNoise(7, 9000, 5), 8000, 5);
}

TEST(LSRCCompressor, EqualChannelsComeOutAsOneAlone) {
  // The level is of all channels together, so only equal channels can be compared.
  const auto mono = LivelyNoise(8, 9000, 1);
  std::vector<std::int32_t> stereo;
  for (const std::int32_t v : mono) stereo.insert(stereo.end(), 2, v);
  const auto one = kiv::test::RunStage(Stage(), mono, 8000, 1, 9000, {9000});
  const auto two = kiv::test::RunStage(Stage(), stereo, 8000, 2, 9000, {9000});
  EXPECT_EQ(kiv::test::Channel(two, 2, 0), one);
  EXPECT_EQ(kiv::test::Channel(two, 2, 1), one);
}

TEST(LSRCCompressor, LongOutputIsPinned) {
  const auto samples = LivelyNoise(9, 80000, 1);
  const auto out = kiv::test::RunStage(Stage(), samples, 8000, 1, 80000, {800});
  EXPECT_EQ(kiv::reference::Checksum(out), 3305992223852706918U);
}

}  // namespace
