#include "audio/processing/compressor_table.h"

#include <cmath>
#include <limits>

#include "tests/reference/processing_reference.h"

namespace {

constexpr double kThirdPerDB = 0.9261187281287935;

std::int64_t At(const LCompressorTableGain& table, int entry) {
  return table.Entries()[static_cast<std::size_t>(entry)];
}

TEST(LCompressorTableGain, FlatBelowTheThresholdThenFallsToUnityAtZero) {
  const LCompressorTableGain table(-30, kThirdPerDB, 127);
  for (int i = 0; i <= 98; ++i) ASSERT_EQ(At(table, i), At(table, 0)) << i;
  EXPECT_NEAR(static_cast<double>(At(table, 0)) / 16777216, 10.0, 0.001);
  double gain = 16777216.0 / std::pow(kThirdPerDB, 30);
  EXPECT_EQ(At(table, 97), static_cast<std::int64_t>(gain));
  for (int i = 98; i < 128; ++i) {
    ASSERT_EQ(At(table, i), static_cast<std::int64_t>(gain)) << i;
    gain *= kThirdPerDB;
  }
  EXPECT_EQ(At(table, 128), static_cast<std::int64_t>(gain));
  EXPECT_NEAR(static_cast<double>(At(table, 128)), 16777216, 1);
  EXPECT_EQ(table.GainQ24(0), table.Entries()[128]);
  EXPECT_EQ(table.GainQ24(-127), table.Entries()[1]);
  EXPECT_EQ(table.GainQ24(127), table.Entries()[255]);
}

TEST(LCompressorTableGain, ThresholdAboveZeroStartsFromUnity) {
  const LCompressorTableGain table(10, 0.5, 12);
  for (int i = 0; i <= 138; ++i) ASSERT_EQ(At(table, i), 16777216) << i;
  EXPECT_EQ(At(table, 139), 8388608);
  EXPECT_EQ(At(table, 140), 4194304);
  EXPECT_EQ(At(table, 141), static_cast<std::int64_t>(4194304 * 0.8913));
}

TEST(LCompressorTableGain, GainsThatLeave32BitsSaturate) {
  const LCompressorTableGain table(-127, kThirdPerDB, 127);
  EXPECT_EQ(At(table, 0), 4294967295);
  EXPECT_EQ(At(table, 1), 4294967295);
  EXPECT_NEAR(static_cast<double>(At(table, 128)), 16777216, 1);
}

TEST(LCompressorTableGain, AnyParametersGiveATable) {
  const double odd[] = {
      0.0, -1.0, 1e300, std::numeric_limits<double>::infinity(), -1e99, 1e-9, std::numeric_limits<double>::quiet_NaN()};
  for (const double base : odd) {
    const LCompressorTableGain gains(-20, base, 20);
    const LCompressorTableDB levels(-20, base, 20);
    for (int level = -127; level <= 127; ++level) {
      ASSERT_GE(int{levels.Gain(level)}, -127);
      static_cast<void>(gains.GainQ24(level));
    }
  }
  EXPECT_EQ(At(LCompressorTableGain(-20, 0.0, 20), 0), 4294967295);  // Divided by nothing.
}

TEST(LCompressorTableGain, UpperKneeBelowTheThresholdLeavesNoSlope) {
  const LCompressorTableGain table(5, 0.5, -50);
  EXPECT_EQ(At(table, 133), 16777216);
  EXPECT_EQ(At(table, 134), static_cast<std::int64_t>(16777216 * 0.8913));
}

TEST(LCompressorTableDB, LevelControlCurve) {
  const LCompressorTableDB table(-9, -0.5, 2);
  // Flat at 4.5 dB, rounded away from zero, to the knee; half a dB less per dB; then 1 dB per dB.
  EXPECT_EQ(table.Gain(-127), 5);
  EXPECT_EQ(table.Gain(-9), 5);
  EXPECT_EQ(table.Gain(-8), 4);
  EXPECT_EQ(table.Gain(-7), 4);
  EXPECT_EQ(table.Gain(0), 0);
  EXPECT_EQ(table.Gain(1), -1);
  EXPECT_EQ(table.Gain(2), -1);
  EXPECT_EQ(table.Gain(3), -2);
  EXPECT_EQ(table.Gain(127), -126);
}

TEST(LCompressorTableDB, ClampsAtBothEnds) {
  const LCompressorTableDB up(-127, -2.0, 0);
  EXPECT_EQ(up.Gain(-127), 127);
  const LCompressorTableDB down(100, -2.0, 127);
  EXPECT_EQ(down.Gain(0), -127);
}

TEST(CompressorTables, MatchTheReference) {
  for (int a = -127; a <= 127; a += 11) {
    for (int b = -127; b <= 127; b += 13) {
      for (const double step : {kThirdPerDB, 0.5, 0.99, 1.01, 1.0, 2.0}) {
        const LCompressorTableGain table(a, step, b);
        const auto expected = kiv::reference::GainCurve(a, step, b);
        for (int i = 0; i < 256; ++i) {
          ASSERT_EQ(At(table, i), expected[static_cast<std::size_t>(i)]) << a << ' ' << step << ' ' << b << ' ' << i;
        }
      }
      for (const double slope : {-0.5, -1.0, 0.0, 0.3, -0.6666, 2.5}) {
        const LCompressorTableDB table(a, slope, b);
        const auto expected = kiv::reference::DBCurve(a, slope, b);
        for (int i = 0; i < 256; ++i) {
          ASSERT_EQ(int{table.Entries()[static_cast<std::size_t>(i)]}, expected[static_cast<std::size_t>(i)])
              << a << ' ' << slope << ' ' << b << ' ' << i;
        }
      }
    }
  }
}

}  // namespace
