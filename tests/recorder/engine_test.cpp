#include "recorder/engine.h"

#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <numeric>

#include "recorder/setting_keys.h"
#include "recorder/settings.h"
#include "tests/recorder/engine_fixture.h"

namespace {

using kiv::test::kRate;
using testing::ElementsAre;
namespace fs = std::filesystem;

using Engine = kiv::test::EngineFixture;

TEST_F(Engine, TypicalCallLogsAndQueuesExactlyOnce) {
  Start(RequestedMode::Record);
  EXPECT_EQ(engine->State(), SndStateType::StartPrompt);
  ASSERT_TRUE(RunUntil(SndStateType::Recording));
  line.line.Run(5000);
  engine->SetMode(RequestedMode::None);
  ASSERT_TRUE(RunUntil(SndStateType::EndPrompt));
  ASSERT_EQ(Queued().size(), 1U);
  EXPECT_TRUE(IsFinished(Queued()[0]));
  EXPECT_NEAR(FramesOf(Queued()[0]), 5 * kRate, 2 * 800);
  ASSERT_TRUE(RunUntil(SndStateType::Idle));
  EXPECT_EQ(Queued().size(), 1U);
  const std::string name = fs::path(Queued()[0]).stem();
  EXPECT_THAT(LogLines(),
              ElementsAre("Play start-of-recording prompt", "Recording " + name, "Play end-of-recording prompt"));
  EXPECT_TRUE(std::ranges::is_sorted(times));
  EXPECT_EQ(times.front(), 0);
  EXPECT_FALSE(levels.empty());
  EXPECT_EQ(disconnects, 0);
}

TEST_F(Engine, NameIsLocalTimeAndFileNumber) {
  kiv::SetSetting(kiv::kStartPrompt, false);
  engine->SetFileNumber("4711");
  Start(RequestedMode::Record);
  line.line.Run(1000);
  engine->SndStop();
  ASSERT_EQ(Queued().size(), 1U);
  EXPECT_THAT(fs::path(Queued()[0]).filename().string(),
              testing::MatchesRegex("20[0-9][0-9]-[0-9][0-9]-[0-9][0-9] [0-9][0-9]-[0-9][0-9]-[0-9][0-9] 4711\\.wav"));
}

TEST_F(Engine, WithoutPromptsRecordingStartsAndStopsAtOnce) {
  kiv::SetSetting(kiv::kStartPrompt, false);
  kiv::SetSetting(kiv::kEndPrompt, false);
  Start(RequestedMode::Record);
  EXPECT_EQ(engine->State(), SndStateType::Recording);
  line.line.Run(2000);
  engine->SetMode(RequestedMode::None);
  line.line.Run(200);
  EXPECT_EQ(engine->State(), SndStateType::Idle);
  EXPECT_EQ(LogLines().size(), 1U);
  EXPECT_EQ(Queued().size(), 1U);
}

TEST_F(Engine, TakenNameMovesOnToTheNextFreeSecond) {
  kiv::SetSetting(kiv::kStartPrompt, false);
  Start(RequestedMode::Record);
  engine->SndStop();
  Start(RequestedMode::Record);
  engine->SndStop();
  ASSERT_EQ(Queued().size(), 2U);
  EXPECT_NE(Queued()[0], Queued()[1]);
  EXPECT_THAT(LogLines()[1], "Recording " + fs::path(Queued()[1]).stem().string());
}

TEST_F(Engine, HoldsPlayTheThreeFilesInRotation) {
  Start(RequestedMode::Hold);
  EXPECT_EQ(engine->State(), SndStateType::OnHold);
  EXPECT_EQ(kiv::GetSetting(kiv::kHoldNumber), 1);
  ASSERT_TRUE(line.line.RunUntil([&] { return kiv::GetSetting(kiv::kHoldNumber) == 2; }, 3000));
  ASSERT_TRUE(line.line.RunUntil([&] { return kiv::GetSetting(kiv::kHoldNumber) == 0; }, 3000));
  ASSERT_TRUE(line.line.RunUntil([&] { return kiv::GetSetting(kiv::kHoldNumber) == 1; }, 3000));
  engine->SetMode(RequestedMode::None);
  EXPECT_TRUE(RunUntil(SndStateType::Idle));
}

TEST_F(Engine, HoldAndResumeMakeTwoFiles) {
  Start(RequestedMode::Record);
  ASSERT_TRUE(RunUntil(SndStateType::Recording));
  line.line.Run(1000);
  engine->SetMode(RequestedMode::Hold);
  ASSERT_TRUE(RunUntil(SndStateType::EndPrompt));
  ASSERT_TRUE(RunUntil(SndStateType::OnHold));
  line.line.Run(500);
  engine->SetMode(RequestedMode::Record);
  ASSERT_TRUE(RunUntil(SndStateType::StartPrompt));
  ASSERT_TRUE(RunUntil(SndStateType::Recording));
  line.line.Run(1000);
  engine->SetMode(RequestedMode::None);
  ASSERT_TRUE(RunUntil(SndStateType::Idle));
  EXPECT_EQ(Queued().size(), 2U);
}

TEST_F(Engine, HandEditedHoldNumberIsBroughtIntoRange) {
  gSettings.SetLong("settings", "holdno", -1);
  Start(RequestedMode::Hold);
  EXPECT_EQ(kiv::GetSetting(kiv::kHoldNumber), 0);  // Played the third.
}

TEST_F(Engine, MissingStartPromptMeansNoRecording) {
  fs::remove(DataPath("Start Prompt.wav"));
  Start(RequestedMode::Record);
  EXPECT_EQ(engine->State(), SndStateType::Idle);
  EXPECT_TRUE(Queued().empty());
  EXPECT_THAT(LogLines(),
              ElementsAre("Play start-of-recording prompt", "Error: File Missing: " + DataPath("Start Prompt.wav")));
}

TEST_F(Engine, MissingRecordToneEndsTheRecordingAtTheFirstTone) {
  fs::remove(DataPath("Record Tone.wav"));
  kiv::SetSetting(kiv::kStartPrompt, false);
  gSettings.SetLong("settings", "recordtoneinterval", 4);
  MakeEngine();
  Start(RequestedMode::Record);
  ASSERT_TRUE(RunUntil(SndStateType::Idle));
  ASSERT_EQ(Queued().size(), 1U);
  EXPECT_NEAR(FramesOf(Queued()[0]), 4 * kRate, 2 * 800);
  EXPECT_EQ(LogLines().back(), "Error: File Missing: " + DataPath("Record Tone.wav"));
}

// Counts the tones that begin in so many seconds of recording.
class EngineTones : public Engine {
 protected:
  int TonesIn(std::int64_t ms) {
    tones = 0;
    std::int64_t lastNs = -kApartNs;
    line.line.OnPlayed([this, lastNs](const kiv::PlayedSound& sound) mutable {
      if (sound.startNs - lastNs >= kApartNs) ++tones;
      lastNs = sound.startNs;
    });
    Start(RequestedMode::Record);
    line.line.Run(ms);
    engine->SndStop();
    line.line.OnPlayed(nullptr);
    return tones;
  }
  static constexpr std::int64_t kApartNs = 1'000'000'000;
  int tones = 0;
};

TEST_F(EngineTones, FirstToneComesAfterThePreviousRecordingsInterval) {
  kiv::SetSetting(kiv::kStartPrompt, false);
  gSettings.SetLong("settings", "recordtoneinterval", 10);
  MakeEngine();
  EXPECT_EQ(TonesIn(25000), 2);  // 10, 20
  gSettings.SetLong("settings", "recordtoneinterval", 0);
  EXPECT_EQ(TonesIn(18000), 3);  // 10, then every 3: 13, 16
  EXPECT_EQ(TonesIn(8000), 2);   // 3, 6
}

TEST_F(EngineTones, SwitchingTheToneOffStillPlaysOneAndOnAgainNone) {
  kiv::SetSetting(kiv::kStartPrompt, false);
  gSettings.SetLong("settings", "recordtoneinterval", 5);
  MakeEngine();
  EXPECT_EQ(TonesIn(7000), 1);
  kiv::SetSetting(kiv::kRecordTone, false);
  EXPECT_EQ(TonesIn(30000), 1);
  EXPECT_EQ(TonesIn(30000), 0);
  kiv::SetSetting(kiv::kRecordTone, true);
  EXPECT_EQ(TonesIn(30000), 0);
  EXPECT_EQ(TonesIn(7000), 1);
}

TEST_F(Engine, RefusedInputLeavesNoFileAndEndsTheCall) {
  kiv::SetSetting(kiv::kStartPrompt, false);
  line.line.RefuseInput(true);
  Start(RequestedMode::Record);
  line.line.Settle();
  EXPECT_EQ(engine->State(), SndStateType::Idle);
  EXPECT_EQ(engine->Mode(), RequestedMode::None);
  EXPECT_EQ(disconnects, 1);
  EXPECT_TRUE(Queued().empty());
  EXPECT_TRUE(fs::is_empty(gSettings.recordingsFolder));
  EXPECT_EQ(LogLines().back(), "Error: Unable to open sound input");
}

TEST_F(Engine, DeadInputEndsTheCallOnlyWhenAFileHeldNothing) {
  kiv::SetSetting(kiv::k1HourStop, false);
  kiv::SetSetting(kiv::kStartPrompt, false);
  Start(RequestedMode::Record);
  line.line.Run(1000);
  line.line.StallInput(line.line.NowMs(), kiv::SimulatedLine::kForEver);
  ASSERT_TRUE(RunUntil(SndStateType::Idle, 30000));
  line.line.Settle();
  EXPECT_EQ(disconnects, 1);
  EXPECT_EQ(engine->Mode(), RequestedMode::None);
  EXPECT_EQ(LogLines().back(), "Error: Sound input stopped");
  EXPECT_EQ(Queued().size(), 2U);
}

TEST_F(Engine, SilentOutputIsSaidOncePerCallAndTheCallGoesOn) {
  line.line.RemoveOutput(0, kiv::SimulatedLine::kForEver);
  Start(RequestedMode::Record);
  ASSERT_TRUE(RunUntil(SndStateType::Recording));
  line.line.Run(1000);
  engine->SetMode(RequestedMode::None);
  ASSERT_TRUE(RunUntil(SndStateType::Idle));
  const auto lines = LogLines();
  EXPECT_EQ(std::ranges::count(lines, "Error: Unable to open sound output"), 1);
  EXPECT_EQ(Queued().size(), 1U);
}

TEST_F(Engine, UnopenableRecordingStopsEverything) {
  kiv::SetSetting(kiv::kStartPrompt, false);
  fs::remove(gSettings.recordingsFolder);
  Start(RequestedMode::Record);
  EXPECT_EQ(engine->State(), SndStateType::Idle);
  EXPECT_TRUE(Queued().empty());
  EXPECT_THAT(LogLines().back(), testing::StartsWith("Error: Unable to open recording: " + home.Path()));
}

TEST_F(Engine, DevicesStoppedFromOutsideDuringARecordingFollowTheHourPath) {
  Start(RequestedMode::Record);
  ASSERT_TRUE(RunUntil(SndStateType::Recording));
  line.line.Run(1000);
  engine->SetMode(RequestedMode::None);
  engine->StopDevices();  // As the preferences and quitting do.
  EXPECT_EQ(Queued().size(), 1U);
  EXPECT_EQ(engine->State(), SndStateType::EndPrompt);
  const auto lines = LogLines();
  EXPECT_EQ(lines[lines.size() - 2], "1 hour limit reached - autostop");
  EXPECT_EQ(lines.back(), "Play end-of-recording prompt");
  ASSERT_TRUE(RunUntil(SndStateType::Idle));
}

TEST_F(Engine, LevelsAreReducedToTheLouderOfTwo) {
  LDBMC stereo;
  stereo.channels = 2;
  stereo.level[0] = -20;
  stereo.level[1] = -6;
  engine->srntfLevel(stereo, 0);
  engine->spntfLevel(LDBMC(), 0);
  line.line.Settle();
  EXPECT_THAT(levels, ElementsAre(-6, -127));
}

}  // namespace
