// Calls of an hour and more, which take seconds on the lock-step line and minutes under a sanitizer.

#include <filesystem>

#include "tests/recorder/engine_fixture.h"

namespace {

using kiv::test::kRate;
using testing::ElementsAre;
using testing::IsEmpty;

// A recording ends with the first block that goes beyond the hour.
constexpr std::int64_t kHourMs = 3600100;

class EngineHours : public kiv::test::EngineFixture {
 protected:
  // The tones of a recording that began and ended then, one every interval, half a second each.
  static void AddTones(std::vector<std::string>& heard, std::int64_t beginMs, std::int64_t endMs,
                       std::int64_t intervalMs) {
    for (std::int64_t at = beginMs + intervalMs; at <= endMs; at += intervalMs) {
      heard.push_back("Record Tone " + std::to_string(at) + "-" + std::to_string(at + 500));
    }
  }
};

TEST_F(EngineHours, OneHourEndsTheCall) {
  Start(RequestedMode::Record);
  ASSERT_TRUE(RunUntil(SndStateType::EndPrompt, 3700000));
  EXPECT_EQ(line.line.NowMs(), 1000 + kHourMs);
  EXPECT_EQ(engine->Mode(), RequestedMode::None);
  line.line.Settle();
  EXPECT_EQ(disconnects, 1);
  ASSERT_TRUE(RunUntil(SndStateType::Idle));

  std::vector<std::string> heard = {"Start Prompt 0-1000"};
  AddTones(heard, 1000, 1000 + kHourMs, 15000);
  // The last tone, which is due at the hour, is cut off by the end prompt.
  EXPECT_EQ(heard.back(), "Record Tone 3601000-3601500");
  heard.back() = "Record Tone 3601000-3601100";
  heard.emplace_back("End Prompt 3601100-3602100");
  EXPECT_EQ(Heard(), heard);
  EXPECT_THAT(TimedLogLines(),
              ElementsAre("12:00:00 Play start-of-recording prompt", "12:00:01 Recording 2024-01-01 12-00-01",
                          "13:00:01 1 hour limit reached - autostop", "13:00:01 Play end-of-recording prompt"));
  ASSERT_EQ(Queued().size(), 1U);
  EXPECT_EQ(FramesOf(Queued()[0]), kHourMs * 8);
  ExpectHoldsTheLine(Queued()[0], input.Captures().at(0));
}

TEST_F(EngineHours, OneHourWithoutTheEndPromptComesToRest) {
  SetPrompts(false, false);
  kiv::SetSetting(kiv::kRecordTone, false);
  MakeEngine();
  Start(RequestedMode::Record);
  ASSERT_TRUE(RunUntil(SndStateType::Idle, 3700000));
  EXPECT_EQ(line.line.NowMs(), kHourMs);
  line.line.Settle();
  EXPECT_EQ(disconnects, 1);
  EXPECT_THAT(Heard(), IsEmpty());
  EXPECT_THAT(TimedLogLines(),
              ElementsAre("12:00:00 Recording 2024-01-01 12-00-00", "13:00:00 1 hour limit reached - autostop"));
}

TEST_F(EngineHours, WithTheHourStopOffAnHourBeginsANewFileWithItsPromptAndTones) {
  kiv::SetSetting(kiv::k1HourStop, false);
  gSettings.SetLong("settings", "recordtoneinterval", 600);
  MakeEngine();
  Start(RequestedMode::Record);
  // Prompt, hour, prompt, ten minutes and a bit.
  const std::int64_t second = 2000 + kHourMs;
  RunTo(second + 610050);
  engine->SetMode(RequestedMode::None);
  ASSERT_TRUE(RunUntil(SndStateType::Idle));

  std::vector<std::string> heard = {"Start Prompt 0-1000"};
  AddTones(heard, 1000, 1000 + kHourMs, 600000);
  // Cut off by the second start prompt.
  EXPECT_EQ(heard.back(), "Record Tone 3601000-3601500");
  heard.back() = "Record Tone 3601000-3601100";
  heard.emplace_back("Start Prompt 3601100-3602100");
  heard.emplace_back("Record Tone 4202100-4202600");
  heard.emplace_back("End Prompt 4212200-4213200");
  EXPECT_EQ(Heard(), heard);
  EXPECT_THAT(TimedLogLines(),
              ElementsAre("12:00:00 Play start-of-recording prompt", "12:00:01 Recording 2024-01-01 12-00-01",
                          "13:00:01 Play start-of-recording prompt", "13:00:02 Recording 2024-01-01 13-00-02",
                          "13:10:12 Play end-of-recording prompt"));
  ASSERT_EQ(Queued().size(), 2U);
  ExpectHoldsTheLine(Queued()[0], input.Captures().at(0));
  ExpectHoldsTheLine(Queued()[1], input.Captures().at(1));
  EXPECT_EQ(disconnects, 0);
}

TEST_F(EngineHours, TenHoursAreTenFilesAndNoFrameIsMissing) {
  constexpr std::size_t kHours = 10;
  kiv::SetSetting(kiv::k1HourStop, false);
  SetPrompts(false, false);
  kiv::SetSetting(kiv::kRecordTone, false);
  MakeEngine();
  Start(RequestedMode::Record);
  std::vector<std::string> log;
  for (std::size_t hour = 0; hour < kHours; ++hour) {
    ASSERT_TRUE(line.line.RunUntil([&] { return Queued().size() == hour + 1; }, 3700000));
    const auto begin = static_cast<std::int64_t>(hour) * kHourMs;
    ASSERT_EQ(line.line.NowMs(), begin + kHourMs);
    const kiv::test::Captured& capture = input.Captures().at(hour);
    EXPECT_EQ(capture.from, begin * 1000000) << "the new file begins where the one before has ended";
    EXPECT_EQ(capture.to, (begin + kHourMs) * 1000000);
    const std::string path = Queued().back();
    EXPECT_EQ(FramesOf(path), kHourMs * 8);
    ExpectHoldsTheLine(path, capture);
    std::filesystem::remove(path);
    log.push_back("Recording " + std::filesystem::path(path).stem().string());
  }
  engine->SndStop();
  EXPECT_EQ(engine->Mode(), RequestedMode::Record);
  const std::vector<std::string> lines = LogLines();
  ASSERT_EQ(lines.size(), kHours + 1) << "the eleventh was under way";
  EXPECT_EQ(std::vector<std::string>(lines.begin(), lines.end() - 1), log);
  EXPECT_EQ(lines.front(), "Recording 2024-01-01 12-00-00");
  EXPECT_EQ(lines.back(), "Recording 2024-01-01 22-00-01");
  EXPECT_EQ(disconnects, 0);
}

}  // namespace
