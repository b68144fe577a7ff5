#include <cstdio>

#include "tests/platform/pulse/monitor_ear.h"
#include "tests/platform/pulse/sound_server_fixture.h"

namespace {

using namespace std::chrono_literals;
using kiv::test::MonitorEar;

class SoundServer : public kiv::test::SoundServerFixture {};
INSTANTIATE_TEST_SUITE_P(Servers, SoundServer, testing::Values("pulseaudio", "pipewire"), kiv::test::ServerName);

std::vector<std::int32_t> Tone(double seconds) {
  return kiv::test::Sine(1000, 200000, 8000, static_cast<std::int32_t>(seconds * 8000), 1);
}

TEST_P(SoundServer, PositionIsWhatHasBeenHeardToABlock) {
  OpenDevices();
  MonitorEar ear(*server, "line.monitor");
  ASSERT_TRUE(ear.Listen(kLimit));
  Play(Tone(3));
  ASSERT_TRUE(RunUntil([&] { return heard.playerStops == 1; }, kLimit));
  const std::vector<double> delaysMs = NoticeDelaysMs(ear);
  const auto stoodStillMs = stalls.StoodStill().count();
  // One report for each block of 100 ms, one at the start, one at the end; what has piled up is told once.
  EXPECT_GE(static_cast<std::int64_t>(heard.reports.size()), 31 - stoodStillMs / 50);
  EXPECT_EQ(heard.playedMs, 3000);

  const double blockMs = 100 + static_cast<double>(stoodStillMs);
  EXPECT_EQ(delaysMs.size() + 1, heard.reports.size());
  for (const double delayMs : delaysMs) {
    EXPECT_GE(delayMs, -blockMs) << "told before it was heard";
    EXPECT_LE(delayMs, blockMs) << "told too late";
  }
}

TEST_P(SoundServer, RestartLeavesTheRecordingTrueToTheClock) {
  OpenDevices();
  ASSERT_NO_FATAL_FAILURE(RecordUntil(1000));
  const auto begin = SteadyClock::now();
  const std::int32_t before = heard.recordedMs;
  KillServer();
  RunFor(500ms);
  StartServer();
  ExpectTrueToTheClockOrEnded(begin, before);
}

TEST_P(SoundServer, ThatStaysAwayEndsTheRecordingAndWhatCameBeforeIsKept) {
  OpenDevices();
  ASSERT_NO_FATAL_FAILURE(RecordUntil(1000));
  KillServer();
  ASSERT_TRUE(RunUntil([&] { return heard.recorderStops == 1; }, kLimit));
  EXPECT_TRUE(recorder->IsInputLost());
  EXPECT_GE(Recorded().size(), 8000U);
}

TEST_P(SoundServer, ThatDiesNeverHangsAPrompt) {
  OpenDevices();
  const auto begin = SteadyClock::now();
  Play(Tone(3));
  ASSERT_TRUE(RunUntil([&] { return heard.playedMs >= 700; }, kLimit));
  KillServer();
  ASSERT_TRUE(RunUntil([&] { return heard.playerStops == 1; }, kLimit));
  EXPECT_TRUE(player->IsSilent());
  EXPECT_EQ(heard.playedMs, 3000);
  EXPECT_GE(MsSince(begin), 2950);
}

TEST_P(SoundServer, PromptGoesOnWhenTheServerIsBack) {
  OpenDevices();
  const auto begin = SteadyClock::now();
  Play(Tone(60));
  ASSERT_TRUE(RunUntil([&] { return heard.playedMs >= 500; }, kLimit));
  KillServer();
  ASSERT_TRUE(RunUntil([&] { return player->IsSilent(); }, kLimit));
  StartServer();
  ASSERT_TRUE(RunUntil([&] { return !player->IsSilent(); }, kLimit));
  ASSERT_NO_FATAL_FAILURE(RecordUntil(2500));
  // The prompt has kept the time that it was not heard.
  EXPECT_NEAR(heard.playedMs, MsSince(begin), ToleranceMs());
  EXPECT_EQ(heard.playerStops, 0);
  player->Stop();
  recorder->Stop();
  std::int64_t heardFrames = 0;
  for (const Stretch& stretch : Stretches(Recorded()))
    heardFrames += static_cast<std::int64_t>(stretch.end - stretch.begin);
  EXPECT_GT(heardFrames, 2 * kRate - stalls.StoodStill().count() * kRate / 1000);
}

TEST_P(SoundServer, SourceThatGoesIsReplacedByTheFallback) {
  OpenDevices();
  ASSERT_NO_FATAL_FAILURE(RecordUntil(500));
  EXPECT_FALSE(recorder->InputName().empty());
  const auto begin = SteadyClock::now();
  const std::int32_t before = heard.recordedMs;
  ASSERT_EQ(Pactl("unload-module module-null-sink"), 0) << "both go";
  ASSERT_EQ(Pactl("load-module module-null-sink sink_name=other rate=8000 channels=1"), 0);
  ExpectTrueToTheClockOrEnded(begin, before);
}

TEST_P(SoundServer, SourceThatGoesWhileThereIsAnotherIsReplacedByThat) {
  OpenDevices();
  ASSERT_NO_FATAL_FAILURE(RecordUntil(500));
  const auto begin = SteadyClock::now();
  const std::int32_t before = heard.recordedMs;
  ASSERT_EQ(Pactl("unload-module $(pactl list short modules | sed -n 's/^\\([0-9]*\\).*sink_name=line .*/\\1/p')"), 0);
  ExpectTrueToTheClockOrEnded(begin, before);
}

TEST_P(SoundServer, IsToldWhoRecordsAndPlaysAndWhat) {
  OpenDevices();
  ASSERT_NO_FATAL_FAILURE(RecordUntil(300));
  Play(Tone(20));
  ASSERT_TRUE(RunUntil([&] { return heard.playedMs > 0; }, kLimit));
  for (const auto& [list, name] : {std::pair("source-outputs", "Call recording"), std::pair("sink-inputs", "Prompt")}) {
    const std::string path = folder.File(list);
    ASSERT_EQ(std::system(("pactl list " + std::string(list) + " >'" + path + "'").c_str()), 0);
    const std::string told = kiv::test::ReadFile(path);
    EXPECT_THAT(told, testing::HasSubstr("application.name = \"Kiv Recorder\""));
    EXPECT_THAT(told, testing::HasSubstr("application.id = \"com.oskmera.Kiv\""));
    EXPECT_THAT(told, testing::HasSubstr("application.icon_name = \"com.oskmera.Kiv\""));
    EXPECT_THAT(told, testing::HasSubstr(std::string("media.name = \"") + name + "\""));
    // Which would share what the desktop remembers of softphones.
    EXPECT_THAT(told, testing::Not(testing::HasSubstr("media.role = \"phone\"")));
  }
  player->Stop();
  recorder->Stop();
}

TEST_P(SoundServer, SuspendedAndResumedSourceLeavesTheRecordingTrueToTheClock) {
  OpenDevices();
  ASSERT_NO_FATAL_FAILURE(RecordUntil(1000));
  const auto begin = SteadyClock::now();
  const std::int32_t before = heard.recordedMs;
  Pactl("suspend-sink line 1");
  RunFor(1200ms);
  Pactl("suspend-sink line 0");
  ExpectTrueToTheClockOrEnded(begin, before);
}

TEST_P(SoundServer, NoneAtAllRefusesToRecordAndPlaysSilently) {
  KillServer();
  OpenDevices();
  EXPECT_FALSE(Record());
  const auto begin = SteadyClock::now();
  Play(Tone(1));
  ASSERT_TRUE(RunUntil([&] { return heard.playerStops == 1; }, kLimit));
  EXPECT_GE(MsSince(begin), 990);
  EXPECT_TRUE(player->IsSilent());
}

// How many streams of a kind ("sink-inputs", "source-outputs") the server has.
int StreamsInServer(const std::string& kind) {
  std::FILE* const list = popen(("pactl list short " + kind).c_str(), "r");
  int lines = 0;
  for (int c = 0; list != nullptr && (c = std::fgetc(list)) != EOF;) lines += c == '\n' ? 1 : 0;
  if (list != nullptr) pclose(list);
  return lines;
}

// One for each prompt and tone would be more than a server allows, an hour's call on.
TEST_P(SoundServer, KeepsNoStreamOfAPromptThatIsOver) {
  OpenDevices();
  for (int prompt = 0; prompt < 3; ++prompt) {
    Play(Tone(0.2));
    if (prompt == 1) {
      ASSERT_TRUE(RunUntil([&] { return heard.playedMs > 0; }, kLimit));
      player->Stop();
    }
    ASSERT_TRUE(RunUntil([&] { return heard.playerStops == prompt + 1; }, kLimit));
  }
  EXPECT_TRUE(RunUntil([&] { return StreamsInServer("sink-inputs") == 0; }, kLimit));
}

// The server may still be making the stream then.
TEST_P(SoundServer, KeepsNoStreamOfARecordingThatEndsAtOnce) {
  OpenDevices();
  for (int recording = 0; recording < 10; ++recording) {
    ASSERT_TRUE(Record());
    recorder->Stop();
  }
  EXPECT_TRUE(RunUntil([&] { return StreamsInServer("source-outputs") == 0; }, kLimit));
}

}  // namespace
