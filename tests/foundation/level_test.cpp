#include "foundation/level.h"

#include <cmath>

namespace {

LDB FromText(char const* text) {
  LDB level(55);
  level.SetText(text);
  return level;
}

TEST(LDB, TextOfNothingIsZero) {
  EXPECT_EQ(FromText(""), 0);
}
TEST(LDB, DoubledMinusMeansSilence) {
  EXPECT_EQ(FromText("--"), -127);
}
TEST(LDB, TextBeyondRangeIsClamped) {
  EXPECT_EQ(FromText("-200"), -127);
  EXPECT_EQ(FromText("300"), 127);
}
TEST(LDB, OtherCharactersAreSkippedWithoutEndingTheScan) {
  EXPECT_EQ(FromText("+6"), 6);
  EXPECT_EQ(FromText("12abc3"), 123);
  EXPECT_EQ(FromText("-6 dB"), -6);
  EXPECT_EQ(FromText("3.5"), 35);
}
TEST(LDB, MinusAfterDigitsNegates) {
  EXPECT_EQ(FromText("6-"), -6);
}
TEST(LDB, SecondMinusReplacesTheDigitsBeforeIt) {
  EXPECT_EQ(FromText("-5-"), -127);
  EXPECT_EQ(FromText("--5"), -127);  // 127 * 10 + 5, clamped
}
TEST(LDB, LongNumbersWrapAt32Bits) {
  EXPECT_EQ(FromText("4294967296"), 0);
  EXPECT_EQ(FromText("4294967301"), 5);
  EXPECT_EQ(FromText("2147483648"), -127);
  EXPECT_EQ(FromText("-2147483648"), -127);
}

TEST(LDBTables, WorkedAmplitudeEntries) {
  EXPECT_EQ(LDB::tab.Amplitude(0), 16777216U);
  EXPECT_EQ(LDB::tab.Amplitude(-6), 8408526U);
  EXPECT_EQ(LDB::tab.Amplitude(-127), 0U);
  EXPECT_EQ(LDB::tab.Amplitude(127), 2147483647U);
  EXPECT_LT(LDB::tab.Amplitude(42), 2147483647U);
  EXPECT_EQ(LDB::tab.Amplitude(43), 2147483647U);
}
TEST(LDBTables, WorkedPowerEntries) {
  EXPECT_EQ(LDB::tab.Power(0), 16777216U);
  EXPECT_EQ(LDB::tab.Power(21), 2112126356U);
  EXPECT_EQ(LDB::tab.Power(22), 2147483647U);
  EXPECT_EQ(LDB::tab.Power(-127), 0U);
}
TEST(LDBTables, EveryEntryFollowsItsFormula) {
  for (int dB = -126; dB <= 127; ++dB) {
    for (const auto& [entry, divisor] : {std::pair{LDB::tab.Amplitude(dB), 20.0}, {LDB::tab.Power(dB), 10.0}}) {
      const double exact = std::pow(10.0, dB / divisor) * 16777216.0 + 0.5;
      EXPECT_EQ(entry, exact < 2147483647.0 ? static_cast<std::uint32_t>(exact) : 2147483647U)
          << dB << " / " << divisor;
    }
  }
  EXPECT_EQ(LDB::tab.amplitude[0], 0U);
  EXPECT_EQ(LDB::tab.power[0], 0U);
}

// Runs before main, in whatever order the linker chose.
const std::uint32_t seenByStaticObject = LDB::tab.Amplitude(0);
TEST(LDBTables, AreReadyBeforeAnyStaticObject) {
  EXPECT_EQ(seenByStaticObject, 16777216U);
}

TEST(LDBMC, AssignmentWithNoChannelsCopiesOnlyTheCount) {
  LDBMC from;
  LDBMC to;
  to.channels = 2;
  to.level[0] = -5;
  to.level[1] = -7;
  to = from;
  EXPECT_EQ(to.channels, 0);
  EXPECT_EQ(to.level[0], -5);
  EXPECT_EQ(to.level[1], -7);
}
TEST(LDBMC, AssignmentCopiesTheFirstCountLevels) {
  LDBMC from;
  from.channels = 255;
  for (int c = 0; c < 255; ++c) from.level[c] = c - 127;
  LDBMC to;
  to = from;
  EXPECT_EQ(to.channels, 255);
  for (int c = 0; c < 255; ++c) EXPECT_EQ(to.level[c], c - 127);
}
TEST(LDBMC, OverallLevelIsThatOfTheFirstTwoChannels) {
  LDBMC levels;
  EXPECT_EQ(levels.Overall(), -127);
  levels.channels = 1;
  levels.level[0] = -40;
  levels.level[1] = -6;
  levels.level[2] = 3;
  EXPECT_EQ(levels.Overall(), -40);
  levels.channels = 2;
  EXPECT_EQ(levels.Overall(), -6);
  levels.channels = 3;
  EXPECT_EQ(levels.Overall(), -6);
}

TEST(DBFromPeak, ReferenceIsZeroAndHalvesRoundAwayFromZero) {
  EXPECT_EQ(DBFromPeak(0), -127);
  EXPECT_EQ(DBFromPeak(131072), 0);
  EXPECT_EQ(DBFromPeak(524288), 12);
  EXPECT_EQ(DBFromPeak(1), -102);
  EXPECT_EQ(DBFromPeak(INT32_MAX), 84);
  for (int dB = -60; dB <= 60; ++dB) {
    EXPECT_EQ(DBFromPeak(static_cast<std::int32_t>(std::lround(131072 * std::pow(10.0, dB / 20.0)))), dB);
  }
}
TEST(DBFromMeanSquare, ReferenceIsTheSystemsOwn) {
  EXPECT_EQ(DBFromMeanSquare(0), -127);
  EXPECT_EQ(DBFromMeanSquare(8388626), 0);
  EXPECT_EQ(DBFromMeanSquare(8388625), 0);
  EXPECT_EQ(DBFromMeanSquare(268435456), 15);
  EXPECT_EQ(DBFromMeanSquare(1), -69);
  EXPECT_EQ(DBFromMeanSquare(UINT32_MAX), 27);
}

}  // namespace
