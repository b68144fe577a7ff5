#include "audio/processing/auto_level_control.h"

#include "tests/reference/auto_gain_reference.h"
#include "tests/support/test_signals.h"

namespace {

int SpeechLevel(const std::vector<std::int64_t>& levels) {
  LAutoLevelControl control;
  for (const std::int64_t level : levels) control.Add(static_cast<int>(level));
  return control.GetLevelPreLimit();
}

TEST(LAutoLevelControl, NothingIsSilence) {
  EXPECT_EQ(SpeechLevel({}), -127);
}

TEST(LAutoLevelControl, OneLevelThroughoutIsTheAnswerFromThreeBlocksOn) {
  for (const std::size_t blocks : {3U, 4U, 7U, 8U, 50U, 1000U}) {
    for (const std::int64_t level : {-127, -126, -113, -112, -30, 0, 126, 127}) {
      EXPECT_EQ(SpeechLevel(std::vector<std::int64_t>(blocks, level)), level) << blocks << " blocks";
    }
  }
}

TEST(LAutoLevelControl, OneOrTwoBlocksAnswerTheLowerEndOfTheRange) {
  EXPECT_EQ(SpeechLevel({-20}), -127);
  EXPECT_EQ(SpeechLevel({-20, -20}), -34);
  EXPECT_EQ(SpeechLevel({-120, -120}), -127);
}

TEST(LAutoLevelControl, BlocksFarBelowTheLoudestEighthDoNotCount) {
  // 20 loud blocks, 20 quieter ones in range, 1000 of noise far below.
  std::vector<std::int64_t> levels(20, -10);
  levels.resize(40, -20);
  levels.resize(1040, -70);
  // The loudest eighth reaches down into the noise here, so the noise decides...
  EXPECT_EQ(SpeechLevel(levels), -70);
  // ...and here it does not.
  levels.resize(160);
  EXPECT_EQ(SpeechLevel(levels), -20);
}

TEST(LAutoLevelControl, MatchesTheMedianBySorting) {
  kiv::test::Random random(1);
  for (int round = 0; round < 2000; ++round) {
    std::vector<std::int64_t> levels(static_cast<std::size_t>(random.Between(0, 60)));
    const std::int32_t low = random.Between(-127, 127);
    const std::int32_t high = random.Between(low, 127);
    for (std::int64_t& level : levels) level = random.Between(low, high);
    ASSERT_EQ(SpeechLevel(levels), kiv::reference::SpeechLevel(levels)) << round;
  }
}

}  // namespace
