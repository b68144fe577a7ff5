#include "devices/sound_player.h"

#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <thread>

#include "tests/devices/line_fixture.h"

namespace kiv::test {
namespace {

using testing::ElementsAre;

// A lock-step line that keeps what the other end hears.
class PlayerTest : public testing::Test {
 protected:
  PlayerTest() : installed(MakeSilence()) {
    installed.line.OnPlayed([this](const PlayedSound& sound) {
      pieces.push_back(sound);
      heard.insert(heard.end(), sound.samples.begin(), sound.samples.end());
    });
    player.SetNotify(&log, 9);
  }
  ~PlayerTest() override { player.Stop(); }

  // What 16 bits keep of samples.
  static std::vector<std::int16_t> Stored(const std::vector<std::int32_t>& samples) {
    std::vector<std::int16_t> stored;
    for (const std::int32_t sample : samples) stored.push_back(static_cast<std::int16_t>((sample + 8) >> 4));
    return stored;
  }

  InstalledLine installed;
  PlayerLog log;
  LSoundPlayer player;
  std::vector<PlayedSound> pieces;
  std::vector<std::int16_t> heard;
};

TEST_F(PlayerTest, EmptySourceEndsAtOnce) {
  LSoundSource source = OpenMemory({}, 8000, 1);
  ASSERT_TRUE(player.Start(source));
  EXPECT_THAT(log.log, ElementsAre("play", "time"));
  installed.line.Settle();
  EXPECT_THAT(log.log, ElementsAre("play", "time", "time", "stop"));
  EXPECT_THAT(log.times, ElementsAre(0, 0));
  EXPECT_EQ(log.lastId, 9);
  EXPECT_EQ(installed.line.NowMs(), 0);
  EXPECT_FALSE(player.IsPlaying());
  EXPECT_EQ(source->ReferenceCount(), 1);
}

TEST_F(PlayerTest, SourceShorterThanABlockIsOneBuffer) {
  const auto samples = Noise(1, 123, 1, 500000);
  LSoundSource source = OpenMemory(samples, 8000, 1);
  ASSERT_TRUE(player.Start(source));
  installed.line.Run(10000);
  ASSERT_EQ(pieces.size(), 1U);
  EXPECT_EQ(heard, Stored(samples));
  // The report of the last buffer gives way to that of the end.
  EXPECT_THAT(log.log, ElementsAre("play", "time", "time", "stop"));
  EXPECT_THAT(log.times, ElementsAre(0, 15));
}

TEST_F(PlayerTest, PlaysEveryFrameWithoutAGapAndReportsWhatWasHeard) {
  const auto samples = Noise(2, 80123, 1, 500000);
  LSoundSource source = OpenMemory(samples, 8000, 1);
  const std::int64_t begin = installed.line.NowMs();
  std::vector<std::int64_t> late;
  log.onEntry = [&](const std::string& entry) {
    if (entry == "time") late.push_back(installed.line.NowMs() - begin - log.times.back());
  };
  ASSERT_TRUE(player.Start(source));
  installed.line.Run(20000);
  EXPECT_EQ(heard, Stored(samples));
  for (std::size_t i = 0; i < pieces.size(); ++i)
    EXPECT_EQ(pieces[i].startNs, static_cast<std::int64_t>(i) * 100000000);
  // In line time a position is reported in the moment at which it has been heard.
  EXPECT_THAT(late, testing::Each(testing::AllOf(testing::Ge(0), testing::Le(1))));
  EXPECT_EQ(log.times.size(), 1 + 100 + 1U);
  EXPECT_EQ(log.times.back(), 10015);
  EXPECT_EQ(log.log.back(), "stop");
}

TEST_F(PlayerTest, QueuesThreePointTwoSecondsAhead) {
  auto* const memory = new MemorySource(Noise(3, 80000, 1, 500000), 8000, 1);
  LSoundSource source(memory);
  ASSERT_TRUE(player.Start(source));
  installed.line.Settle();
  EXPECT_EQ(memory->GetPositionSample(), 32 * 800);
  EXPECT_THAT(heard, testing::IsEmpty());
  installed.line.Run(100);
  EXPECT_EQ(memory->GetPositionSample(), 33 * 800);
  EXPECT_EQ(heard.size(), 800U);
}

// Notes the priority of the thread that reads it.
class PrioritySource : public MemorySource {
 public:
  PrioritySource() : MemorySource(Noise(3, 80000, 1, 500000), 8000, 1) {}
  void Read(std::int32_t* buffer, std::int32_t frames) override {
    priorities.push_back(getpriority(PRIO_PROCESS, 0));
    MemorySource::Read(buffer, frames);
  }
  std::vector<int> priorities;
};

TEST_F(PlayerTest, QueueIsFilledWithoutHurryAndThenKeptFullWithSome) {
  // What a thread of this user gets that asks for either, one after the other.
  int whenFilling = 0;
  int whenFull = 0;
  std::thread([&] {
    setpriority(PRIO_PROCESS, 0, 1);
    whenFilling = getpriority(PRIO_PROCESS, 0);
    setpriority(PRIO_PROCESS, 0, -10);
    whenFull = getpriority(PRIO_PROCESS, 0);
  }).join();
  auto* const object = new PrioritySource;
  LSoundSource source(object);
  ASSERT_TRUE(player.Start(source));
  installed.line.Run(1000);
  player.Stop();
  ASSERT_EQ(object->priorities.size(), 42U);
  for (std::size_t i = 0; i < 42; ++i) EXPECT_EQ(object->priorities[i], i < 32 ? whenFilling : whenFull) << i;
}

TEST_F(PlayerTest, StartsAtTheSourcesPosition) {
  const auto samples = Noise(4, 16000, 1, 500000);
  LSoundSource source = OpenMemory(samples, 8000, 1);
  source->Seek(12000);
  ASSERT_TRUE(player.Start(source));
  EXPECT_THAT(log.times, ElementsAre(1500));
  installed.line.Run(5000);
  EXPECT_EQ(heard, Stored({samples.begin() + 12000, samples.end()}));
  EXPECT_EQ(log.times.back(), 2000);
}

TEST_F(PlayerTest, SourceInErrorIsRefusedWithoutAWord) {
  LSoundSource none;
  EXPECT_FALSE(player.Start(none));
  EXPECT_THAT(log.log, testing::IsEmpty());
  EXPECT_FALSE(player.IsPlaying());
}

TEST_F(PlayerTest, LoudSourceGoesThroughThePeakLimiter) {
  auto loud = Sine(300, 2000000, 8000, 16000, 1);
  LSoundSource source = OpenMemory(loud, 8000, 1, 2097152);
  ASSERT_TRUE(player.Start(source));
  installed.line.Run(5000);
  ASSERT_EQ(heard.size(), 16000U);
  // Without it the sine would wrap around; with it, it stays a sine near full scale.
  std::int32_t largest = 0;
  std::int32_t steepest = 0;
  for (std::size_t i = 8001; i < 12000; ++i) {
    largest = std::max(largest, std::abs(std::int32_t{heard[i]}));
    steepest = std::max(steepest, std::abs(std::int32_t{heard[i]} - heard[i - 1]));
  }
  EXPECT_GT(largest, 32000);
  EXPECT_LT(steepest, 8000);
  EXPECT_EQ(log.times.back(), 2000);
}

TEST_F(PlayerTest, StopTellsOnceAndSilencesAtOnce) {
  LSoundSource source = OpenMemory(Noise(5, 80000, 1, 500000), 8000, 1);
  ASSERT_TRUE(player.Start(source));
  installed.line.Run(1050);
  player.Stop();
  EXPECT_EQ(std::count(log.log.begin(), log.log.end(), "stop"), 1);
  player.Stop();
  installed.line.Run(1000);
  EXPECT_EQ(std::count(log.log.begin(), log.log.end(), "stop"), 1);
  EXPECT_EQ(log.log.back(), "stop");
  EXPECT_EQ(heard.size(), 8400U);
  EXPECT_EQ(installed.line.OpenDevices(), 0);
  EXPECT_EQ(source->ReferenceCount(), 1);
}

TEST_F(PlayerTest, SecondStartStopsTheFirst) {
  const auto second = Noise(7, 1600, 1, 500000);
  LSoundSource a = OpenMemory(Noise(6, 80000, 1, 500000), 8000, 1);
  LSoundSource b = OpenMemory(second, 8000, 1);
  ASSERT_TRUE(player.Start(a));
  installed.line.Run(200);
  heard.clear();
  ASSERT_TRUE(player.Start(b));
  installed.line.Run(5000);
  EXPECT_EQ(heard, Stored(second));
  EXPECT_EQ(std::count(log.log.begin(), log.log.end(), "stop"), 2);
}

TEST_F(PlayerTest, SameSourceMayBeStartedFromTheHandleThatPlaysIt) {
  LSoundSource source = OpenMemory(Noise(8, 4000, 1, 500000), 8000, 1);
  ASSERT_TRUE(player.Start(source));
  installed.line.Run(2000);
  source->Seek(0);
  ASSERT_TRUE(player.Start(source));
  installed.line.Run(2000);
  EXPECT_EQ(heard.size(), 8000U);
}

TEST_F(PlayerTest, LevelIsTheMeanSquareOfEachChannel) {
  std::vector<std::int32_t> samples;
  for (int i = 0; i < 8000; ++i) {
    samples.push_back(i % 2 == 0 ? 262144 : -262144);
    samples.push_back(i % 2 == 0 ? 26214 : -26214);
  }
  LSoundSource source = OpenMemory(samples, 8000, 2);
  ASSERT_TRUE(player.Start(source));
  installed.line.Run(5000);
  ASSERT_EQ(log.levels.size(), 9U);
  for (const LDBMC& level : log.levels) {
    ASSERT_EQ(level.channels, 2);
    // (262144 / 32)^2 is 8 times the reference, 20 dB less on the other side.
    EXPECT_EQ(level.level[0], 9);
    EXPECT_EQ(level.level[1], -11);
  }
}

TEST_F(PlayerTest, SilenceHasTheLowestLevel) {
  LSoundSource source = OpenMemory(std::vector<std::int32_t>(1600, 0), 8000, 1);
  ASSERT_TRUE(player.Start(source));
  installed.line.Run(1000);
  ASSERT_EQ(log.levels.size(), 1U);
  EXPECT_EQ(log.levels[0].Overall(), -127);
}

TEST_F(PlayerTest, BlocksAreATenthOfASecondWithinBounds) {
  const std::pair<std::int32_t, std::size_t> kCases[] = {{8000, 800}, {44100, 4410}, {96000, 8192}, {150, 20}};
  for (const auto& [rateHz, block] : kCases) {
    pieces.clear();
    LSoundSource source = OpenMemory(Noise(9, rateHz, 1, 500000), rateHz, 1);
    ASSERT_TRUE(player.Start(source));
    installed.line.Run(5000);
    ASSERT_FALSE(pieces.empty());
    EXPECT_EQ(pieces[0].samples.size(), block);
    EXPECT_EQ(pieces[0].rateHz, rateHz);
  }
}

TEST_F(PlayerTest, VolumeIsSentWhenItIsSet) {
  const std::vector<std::int32_t> samples(800, 16000);
  LSoundSource source = OpenMemory(samples, 8000, 1);
  ASSERT_TRUE(player.Start(source));
  installed.line.Run(1000);
  EXPECT_THAT(heard, testing::Each(1000));
  heard.clear();
  player.SetVolume(0x00800080);
  source->Seek(0);
  ASSERT_TRUE(player.Start(source));
  installed.line.Run(1000);
  EXPECT_THAT(heard, testing::Each(500));
}

TEST_F(PlayerTest, WithoutAChannelNothingHappensUntilStop) {
  installed.line.RefuseOutput(true);
  LSoundSource source = OpenMemory(Noise(10, 800, 1, 500000), 8000, 1);
  ASSERT_TRUE(player.Start(source));
  installed.line.Run(5000);
  EXPECT_THAT(log.log, ElementsAre("play", "time"));
  EXPECT_TRUE(player.IsPlaying());
  player.Stop();
  EXPECT_THAT(log.log, ElementsAre("play", "time", "stop"));
}

TEST_F(PlayerTest, OutputThatNobodyHearsKeepsTheTimeAndSaysSo) {
  installed.line.RemoveOutput(0, 500);
  LSoundSource source = OpenMemory(Noise(11, 8000, 1, 500000), 8000, 1);
  ASSERT_TRUE(player.Start(source));
  installed.line.Settle();
  EXPECT_TRUE(player.IsSilent());
  installed.line.Run(700);
  EXPECT_FALSE(player.IsSilent());
  installed.line.Run(5000);
  EXPECT_EQ(log.log.back(), "stop");
  EXPECT_EQ(heard.size(), 4000U);
  EXPECT_EQ(installed.line.NowMs(), 1000);
}

TEST_F(PlayerTest, StalledOutputGoesOnWhereItWas) {
  installed.line.StallOutput(250, 7000);
  const auto samples = Noise(12, 8000, 1, 500000);
  LSoundSource source = OpenMemory(samples, 8000, 1);
  ASSERT_TRUE(player.Start(source));
  installed.line.Run(5000);
  EXPECT_EQ(log.times.back(), 200);
  installed.line.Run(5000);
  EXPECT_EQ(heard, Stored(samples));
  EXPECT_EQ(installed.line.NowMs(), 8000);
}

TEST(LSoundPlayer, WithoutAnOutputPortNothingHappensUntilStop) {
  PlayerLog log;
  LSoundPlayer player;
  player.SetNotify(&log, 0);
  LSoundSource source = OpenMemory(Noise(13, 800, 1, 500000), 8000, 1);
  ASSERT_TRUE(player.Start(source));
  player.Stop();
  EXPECT_THAT(log.log, ElementsAre("play", "time", "stop"));
}

}  // namespace
}  // namespace kiv::test
