#include "audio/processing/high_pass_iir2.h"

#include <cmath>
#include <numbers>

#include "tests/audio/processing/chain_checks.h"
#include "tests/reference/processing_reference.h"

namespace {

using kiv::test::LivelyNoise;
using kiv::test::Noise;
using kiv::test::OpenMemory;
using kiv::test::ReadInPieces;

struct Coefficients {
  double c1, c2, c3, c4;
};

// A Butterworth high-pass by the bilinear transform.
Coefficients Butterworth(double cutoffHz, double rateHz) {
  const double w = std::tan(std::numbers::pi * cutoffHz / rateHz);
  const double norm = 1.0 / (1.0 + std::numbers::sqrt2 * w + w * w);
  return {2.0 * (w * w - 1.0) * norm, (1.0 - std::numbers::sqrt2 * w + w * w) * norm, norm, -2.0 * norm};
}

std::int32_t Q24(double c) {
  return static_cast<std::int32_t>(std::lround(c * 16777216.0));
}

LSoundSource OpenFilter(LSoundSource& input, const Coefficients& c) {
  auto* filter = new LSRCHighPassIIR2(input);
  filter->SetCoefficients(Q24(c.c1), Q24(c.c2), Q24(c.c3), Q24(c.c4));
  return LSoundSource(filter);
}

TEST(LSRCHighPassIIR2, SilentUntilCoefficientsAreSet) {
  LSoundSource input = OpenMemory(Noise(1, 100, 1, 524272), 8000, 1);
  LSoundSource filter(new LSRCHighPassIIR2(input));
  EXPECT_THAT(ReadInPieces(filter, 100, {100}), testing::Each(0));
}

TEST(LSRCHighPassIIR2, FollowsADoublePrecisionBiquad) {
  for (const double cutoffHz : {100.0, 300.0, 1000.0}) {
    const Coefficients c = Butterworth(cutoffHz, 8000);
    const auto samples = Noise(2, 20000, 1, 524272);
    LSoundSource input = OpenMemory(samples, 8000, 1);
    LSoundSource filter = OpenFilter(input, c);
    const auto out = ReadInPieces(filter, 20000, {777});
    double x1 = 0;
    double x2 = 0;
    double y1 = 0;
    double y2 = 0;
    double worst = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const double y = c.c3 * (samples[i] + x2) + c.c4 * x1 - c.c1 * y1 - c.c2 * y2;
      x2 = x1;
      x1 = samples[i];
      y2 = y1;
      y1 = y;
      worst = std::max(worst, std::abs(out[i] - y));
    }
    // Four products, each low by less than 3, circulate in the feedback with its gain at DC,
    // 1 / (1 + c1 + c2); the rounding of the coefficients adds little.
    EXPECT_LT(worst, 12.0 / (1.0 + c.c1 + c.c2) + 16.0) << cutoffHz;
  }
}

TEST(LSRCHighPassIIR2, MatchesTheReference) {
  kiv::test::Random random(3);
  for (int round = 0; round < 50; ++round) {
    const auto channels = static_cast<std::uint8_t>(random.Between(1, 3));
    auto samples =
        round % 2 == 0 ? LivelyNoise(random.Next(), 500, channels) : Noise(random.Next(), 500, channels, INT32_MAX);
    std::int32_t c[4];
    for (std::int32_t& v : c) v = random.Between(INT32_MIN, INT32_MAX) >> random.Between(0, 12);
    LSoundSource input = OpenMemory(samples, 8000, channels);
    auto* object = new LSRCHighPassIIR2(input);
    LSoundSource filter(object);
    object->SetCoefficients(c[0], c[1], c[2], c[3]);
    ASSERT_EQ(ReadInPieces(filter, 500, {1, 64, 3}), kiv::reference::Biquad(samples, channels, c[0], c[1], c[2], c[3]));
  }
}

TEST(LSRCHighPassIIR2, SeekKeepsTheState) {
  const std::vector<std::int32_t> samples = {100000, 200000, -100000, 0, 5000};
  const Coefficients c = Butterworth(300, 8000);
  LSoundSource input = OpenMemory(samples, 8000, 1);
  LSoundSource filter = OpenFilter(input, c);
  const auto first = ReadInPieces(filter, 5, {5});
  filter->Seek(0);
  EXPECT_EQ(filter->GetPositionSample(), 0);
  const auto again = ReadInPieces(filter, 5, {5});
  EXPECT_NE(again, first);
  // The same as the material played twice in one go.
  std::vector<std::int32_t> twice = samples;
  twice.insert(twice.end(), samples.begin(), samples.end());
  LSoundSource twiceInput = OpenMemory(twice, 8000, 1);
  LSoundSource twiceFilter = OpenFilter(twiceInput, c);
  const auto both = ReadInPieces(twiceFilter, 10, {10});
  EXPECT_TRUE(std::equal(again.begin(), again.end(), both.begin() + 5));
}

TEST(LSRCHighPassIIR2, HasTheCommonProperties) {
  const auto samples = LivelyNoise(4, 6001, 2);
  const auto open = [](LSoundSource& input) { return OpenFilter(input, Butterworth(300, 8000)); };
  kiv::test::ExpectSplittingChangesNothing(open, samples, 8000, 2);
  kiv::test::ExpectPositionCountsFrames(open, samples, 8000, 2);
  kiv::test::ExpectChannelsAreIndependent(open, samples, 8000, 2);
  LSoundSource none;
  EXPECT_EQ(open(none)->Error(), kSourceInput);
}

}  // namespace
