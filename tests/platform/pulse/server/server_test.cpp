#include "tests/platform/pulse/sound_server_fixture.h"

namespace {

using namespace std::chrono_literals;

class SoundServer : public kiv::test::SoundServerFixture {};
INSTANTIATE_TEST_SUITE_P(Servers, SoundServer, testing::Values("pulseaudio", "pipewire"), kiv::test::ServerName);

std::vector<std::int32_t> Tone(double seconds) {
  return kiv::test::Sine(1000, 200000, 8000, static_cast<std::int32_t>(seconds * 8000), 1);
}

TEST_P(SoundServer, PositionIsWhatHasBeenHeardToABlock) {
  OpenDevices();
  const auto begin = SteadyClock::now();
  Play(Tone(3));
  ASSERT_TRUE(RunUntil([&] { return heard.playerStops == 1; }, 10s));
  for (const auto& report : heard.reports) {
    const auto at = std::chrono::duration_cast<std::chrono::milliseconds>(report.when - begin).count();
    EXPECT_LE(report.ms, at + 5) << "told before it can have been heard";
    EXPECT_GE(report.ms, at - 500) << "told far too late";
  }
  // One report for each block of 100 ms, one at the start, one at the end.
  EXPECT_GE(heard.reports.size(), 31U);
  EXPECT_EQ(heard.playedMs, 3000);
}

TEST_P(SoundServer, RestartWithinASecondLeavesTheRecordingTrueToTheClock) {
  OpenDevices();
  ASSERT_TRUE(Record());
  ASSERT_TRUE(RunUntil([&] { return heard.recordedMs >= 1000; }, 10s));
  const auto begin = SteadyClock::now();
  const std::int32_t recordedBefore = heard.recordedMs;
  KillServer();
  RunFor(500ms);
  StartServer();
  ASSERT_TRUE(RunUntil([&] { return heard.recordedMs > recordedBefore + 1500; }, 10s));
  const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - begin).count();
  EXPECT_EQ(heard.recorderStops, 0);
  EXPECT_NEAR(static_cast<double>(heard.recordedMs - recordedBefore), static_cast<double>(passed), 350);
  recorder->Stop();
  EXPECT_EQ(recorder->LostInputFrames(), 0);
}

TEST_P(SoundServer, ThatStaysAwayEndsTheRecordingAndWhatCameBeforeIsKept) {
  OpenDevices();
  ASSERT_TRUE(Record());
  ASSERT_TRUE(RunUntil([&] { return heard.recordedMs >= 1000; }, 10s));
  KillServer();
  ASSERT_TRUE(RunUntil([&] { return heard.recorderStops == 1; }, 10s));
  EXPECT_GE(Recorded().size(), 8000U);
}

TEST_P(SoundServer, ThatDiesNeverHangsAPrompt) {
  OpenDevices();
  const auto begin = SteadyClock::now();
  Play(Tone(3));
  ASSERT_TRUE(RunUntil([&] { return heard.playedMs >= 700; }, 10s));
  KillServer();
  ASSERT_TRUE(RunUntil([&] { return heard.playerStops == 1; }, 10s));
  EXPECT_TRUE(player->IsSilent());
  const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - begin).count();
  EXPECT_GE(passed, 2950);
  EXPECT_LE(passed, 4500);
}

TEST_P(SoundServer, PromptGoesOnWhenTheServerIsBack) {
  OpenDevices();
  Play(Tone(6));
  ASSERT_TRUE(RunUntil([&] { return heard.playedMs >= 500; }, 10s));
  KillServer();
  StartServer();
  ASSERT_TRUE(Record());
  ASSERT_TRUE(RunUntil([&] { return heard.playerStops == 1; }, 15s));
  EXPECT_FALSE(player->IsSilent());
  recorder->Stop();
  const auto stretches = Stretches(Recorded());
  ASSERT_FALSE(stretches.empty());
  EXPECT_GT(stretches.back().end - stretches.back().begin, 8000U);  // Heard again for more than a second.
}

TEST_P(SoundServer, SourceThatGoesIsReplacedByTheFallback) {
  OpenDevices();
  ASSERT_TRUE(Record());
  ASSERT_TRUE(RunUntil([&] { return heard.recordedMs >= 500; }, 10s));
  const std::string name = recorder->InputName();
  EXPECT_FALSE(name.empty());
  ASSERT_EQ(Pactl("unload-module module-null-sink"), 0) << "both go";
  ASSERT_EQ(Pactl("load-module module-null-sink sink_name=other rate=8000 channels=1"), 0);
  const std::int32_t before = heard.recordedMs;
  ASSERT_TRUE(RunUntil([&] { return heard.recordedMs >= before + 1500; }, 10s));
  EXPECT_EQ(heard.recorderStops, 0);
  recorder->Stop();
}

TEST_P(SoundServer, SuspendedAndResumedSourceLeavesTheRecordingTrueToTheClock) {
  OpenDevices();
  ASSERT_TRUE(Record());
  ASSERT_TRUE(RunUntil([&] { return heard.recordedMs >= 1000; }, 10s));
  const auto begin = SteadyClock::now();
  const std::int32_t before = heard.recordedMs;
  Pactl("suspend-sink line 1");
  RunFor(1200ms);
  Pactl("suspend-sink line 0");
  ASSERT_TRUE(RunUntil([&] { return heard.recordedMs >= before + 2500; }, 10s));
  const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - begin).count();
  EXPECT_EQ(heard.recorderStops, 0);
  EXPECT_NEAR(static_cast<double>(heard.recordedMs - before), static_cast<double>(passed), 350);
  recorder->Stop();
}

TEST_P(SoundServer, NoneAtAllRefusesToRecordAndPlaysSilently) {
  KillServer();
  OpenDevices();
  EXPECT_FALSE(Record());
  const auto begin = SteadyClock::now();
  Play(Tone(1));
  ASSERT_TRUE(RunUntil([&] { return heard.playerStops == 1; }, 10s));
  const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - begin).count();
  EXPECT_GE(passed, 990);
  EXPECT_LE(passed, 2500);
  EXPECT_TRUE(player->IsSilent());
}

}  // namespace
