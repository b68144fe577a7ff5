// Calls of more than an hour, which take seconds on the lock-step line and minutes under a sanitizer.

#include <filesystem>

#include "tests/recorder/engine_fixture.h"

namespace {

using kiv::test::kRate;
using EngineHours = kiv::test::EngineFixture;

TEST_F(EngineHours, OneHourEndsTheCall) {
  kiv::SetSetting(kiv::kRecordTone, false);
  MakeEngine();
  Start(RequestedMode::Record);
  ASSERT_TRUE(RunUntil(SndStateType::Recording));
  ASSERT_TRUE(RunUntil(SndStateType::EndPrompt, 3700000));
  EXPECT_EQ(engine->Mode(), RequestedMode::None);
  line.line.Settle();
  EXPECT_EQ(disconnects, 1);
  ASSERT_TRUE(RunUntil(SndStateType::Idle));
  ASSERT_EQ(Queued().size(), 1U);
  EXPECT_NEAR(FramesOf(Queued()[0]), 3600 * kRate, 2 * 800);
  const auto lines = LogLines();
  EXPECT_EQ(lines[lines.size() - 2], "1 hour limit reached - autostop");
  EXPECT_EQ(lines.back(), "Play end-of-recording prompt");
}

TEST_F(EngineHours, WithoutTheStopTheCallGoesOnInANewFileAndNoFrameIsLost) {
  kiv::SetSetting(kiv::k1HourStop, false);
  kiv::SetSetting(kiv::kStartPrompt, false);
  kiv::SetSetting(kiv::kRecordTone, false);
  MakeEngine();
  Start(RequestedMode::Record);
  ASSERT_TRUE(line.line.RunUntil([&] { return Queued().size() == 2; }, 7300000));
  engine->SndStop();
  ASSERT_EQ(Queued().size(), 3U);
  EXPECT_EQ(disconnects, 0);
  EXPECT_NEAR(FramesOf(Queued()[0]), 3600 * kRate, 2 * 800);
  EXPECT_NEAR(FramesOf(Queued()[1]), 3600 * kRate, 2 * 800);
}

}  // namespace
