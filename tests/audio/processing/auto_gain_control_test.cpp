#include "audio/processing/auto_gain_control.h"

#include "tests/reference/auto_gain_reference.h"
#include "tests/support/test_signals.h"

namespace {

TEST(LAutoGainControl, StartsAtZero) {
  const LAutoGainControl control(50, 2, -8);
  EXPECT_EQ(control.TrackedLevel(), 0);
  EXPECT_EQ(control.Percentile(), 0);
  EXPECT_EQ(control.BlockLevel(), 0);
}

TEST(LAutoGainControl, WindowOfOneLevelHasThatPercentile) {
  for (const int level : {-127, -60, -1, 0, 1, 60, 127}) {
    LAutoGainControl control(50, 2, -8);
    for (int i = 0; i < 50; ++i) control.Add(level);
    EXPECT_EQ(control.Percentile(), level);
    for (int i = 0; i < 50; ++i) control.Add(level);
    EXPECT_EQ(control.Percentile(), level);
  }
}

TEST(LAutoGainControl, TrackedLevelStaysBetweenItsLimits) {
  LAutoGainControl control(50, 2, -8);
  for (int i = 0; i < 500; ++i) control.Add(40);
  // It stops at the first step that reaches the limit or passes it.
  EXPECT_GE(control.TrackedLevel(), 8);
  EXPECT_LE(control.TrackedLevel(), 8 + 40 / 12);
  for (int i = 0; i < 500; ++i) control.Add(-40);
  EXPECT_LE(control.TrackedLevel(), -2);
  EXPECT_GE(control.TrackedLevel(), -2 - 40 / 50 - 1);
}

TEST(LAutoGainControl, RisesFourTimesAsFastAsItFalls) {
  const auto stepsTo = [](int level, int target) {
    LAutoGainControl control(48, 100, -100);
    for (int i = 0; i < 48; ++i) control.Add(level);
    int steps = 0;
    while (control.TrackedLevel() != target) {
      control.Add(level);
      ++steps;
    }
    return steps;
  };
  const int up = stepsTo(20, 18);
  const int down = stepsTo(-20, -18);
  EXPECT_GT(down, 3 * up);
  EXPECT_LT(down, 5 * up);
}

TEST(LAutoGainControl, MovesOnlyWhenTheBlockBeingOutputAgrees) {
  LAutoGainControl control(50, 2, -8);
  // A loud window in front of a quiet block: the window fills, the oldest blocks are still at 0 dB.
  for (int i = 0; i < 49; ++i) control.Add(20);
  EXPECT_EQ(control.Percentile(), 20);
  EXPECT_EQ(control.TrackedLevel(), 0);
  control.Add(20);
  control.Add(20);
  // The first movement starts from -2.0: -2 + 22 / 12, twice.
  EXPECT_EQ(control.TrackedLevel(), 1);
}

TEST(LAutoGainControl, WithoutNewBlocksTheWindowTurnsAndTheQuartileStays) {
  LAutoGainControl control(50, 2, -8);
  for (int i = 0; i < 50; ++i) control.Add(i % 2 == 0 ? 10 : -10);
  EXPECT_EQ(control.BlockLevel(), 10);
  control.AddFinal();
  EXPECT_EQ(control.BlockLevel(), -10);
  EXPECT_EQ(control.Percentile(), 10);
  for (int i = 0; i < 49; ++i) control.AddFinal();
  EXPECT_EQ(control.BlockLevel(), 10);
}

TEST(LAutoGainControl, SmallestWindowsAreSafe) {
  for (const std::uint32_t blocks : {0U, 1U, 2U, 3U, 4U}) {
    LAutoGainControl control(blocks, -127, 127);
    for (int i = 0; i < 300; ++i) control.Add(i % 255 - 127);
    control.AddFinal();
    EXPECT_GE(control.TrackedLevel(), -127);
  }
}

TEST(LAutoGainControl, MatchesTheQuartileBySorting) {
  kiv::test::Random random(1);
  for (int round = 0; round < 200; ++round) {
    const std::int32_t a = random.Between(-20, 20);
    const std::int32_t b = random.Between(-20, 20);
    LAutoGainControl control(50, a, b);
    kiv::reference::Tracker expected(a, b);
    const std::int32_t low = random.Between(-127, 127);
    const std::int32_t high = random.Between(low, 127);
    for (int i = 0; i < 300; ++i) {
      if (random.Between(0, 9) == 0) {
        control.AddFinal();
        expected.AddFinal();
      } else {
        const std::int32_t level = random.Between(low, high);
        control.Add(level);
        expected.Add(level);
      }
      ASSERT_EQ(control.Percentile(), expected.quartile) << round << ' ' << i;
      ASSERT_EQ(control.TrackedLevel(), expected.tracked) << round << ' ' << i;
      ASSERT_EQ(control.BlockLevel(), expected.ring[expected.index]) << round << ' ' << i;
    }
  }
}

}  // namespace
