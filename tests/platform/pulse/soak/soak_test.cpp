// Long runs, by scripts/soak sound. KIV_SOAK_SECONDS: length of the tone (600).

#include <atomic>
#include <iostream>
#include <thread>

#include "tests/platform/pulse/monitor_ear.h"
#include "tests/platform/pulse/sound_server_fixture.h"

namespace {

using namespace std::chrono_literals;
using kiv::test::MonitorEar;

int SoakSeconds() {
  const char* const text = std::getenv("KIV_SOAK_SECONDS");
  const int seconds = text != nullptr ? std::atoi(text) : 0;
  return seconds > 0 ? seconds : 600;
}

// Keeps so many processors busy.
class BusyLoops {
 public:
  explicit BusyLoops(int loops) {
    for (int i = 0; i < loops; ++i) {
      threads_.emplace_back([this] {
        while (!stop_) {
        }
      });
    }
  }
  ~BusyLoops() {
    stop_ = true;
    for (std::thread& thread : threads_) thread.join();
  }
  BusyLoops(const BusyLoops&) = delete;
  BusyLoops& operator=(const BusyLoops&) = delete;

 private:
  std::atomic<bool> stop_{false};
  std::vector<std::thread> threads_;
};

class SoundSoak : public kiv::test::SoundServerFixture {
 protected:
  // A tone that is made as it is read, of so many frames.
  class LongTone : public LSoundSourceBase {
   public:
    explicit LongTone(std::int32_t frames) : LSoundSourceBase(kRate, 1, kiv::kPeak16Bit), frames_(frames) {}
    void Read(std::int32_t* buffer, std::int32_t frames) override {
      for (std::int32_t i = 0; i < frames; ++i, ++position_) {
        const double phase = 2 * std::numbers::pi * kHz * (position_ % kRate) / kRate;
        buffer[i] = position_ < frames_ ? static_cast<std::int32_t>(std::lround(kAmplitude * std::sin(phase))) : 0;
      }
    }
    std::int32_t GetPositionSample() const override { return position_; }
    std::int32_t GetEndSample() const override { return frames_; }

   private:
    const std::int32_t frames_;
    std::int32_t position_ = 0;
  };

  static constexpr double kAmplitude = 200000;
  static constexpr double kHz = 997;  // Its period and a block's length have nothing in common.

  void PlayAndRecord(int seconds, std::chrono::milliseconds stall = 0ms) {
    OpenDevices();
    ASSERT_NO_FATAL_FAILURE(RecordUntil(500, stall));
    const std::int32_t frames = seconds * kRate;
    LSoundSource source(new LongTone(frames));
    ASSERT_TRUE(player->Start(source));
    const auto limit = std::chrono::seconds(seconds + 20);
    ASSERT_TRUE(RunUntil([&] { return heard.playerStops == 1; }, limit));
    RunFor(500ms);
    recorder->Stop();
    EXPECT_EQ(recorder->LostInputFrames(), 0);

    const ToneHeard tone = HeardTone(Recorded(), kHz, kAmplitude);
    EXPECT_TRUE(IsWhole(tone, frames));
    std::cout << GetParam() << ", " << seconds << " s: " << Text(tone, frames) << "\n";
  }
};
INSTANTIATE_TEST_SUITE_P(Servers, SoundSoak, testing::Values("pulseaudio", "pipewire"), kiv::test::ServerName);

TEST_P(SoundSoak, ToneComesThroughTheLineWholeAndUnchanged) {
  PlayAndRecord(SoakSeconds());
}

TEST_P(SoundSoak, ToneComesThroughABusyMachineWholeAndUnchanged) {
  const BusyLoops busy(2);
  PlayAndRecord(SoakSeconds());
}

TEST_P(SoundSoak, DiskThatStallsForEightSecondsLosesNoFrame) {
  PlayAndRecord(12, 8s);
}

TEST_P(SoundSoak, ServerBackAfterASecondLeavesTheRecordingTrueToTheClock) {
  OpenDevices();
  ASSERT_NO_FATAL_FAILURE(RecordUntil(2000));
  const auto begin = SteadyClock::now();
  const std::int32_t before = heard.recordedMs;
  KillServer();
  RunFor(1s);
  StartServer();
  ASSERT_TRUE(RunUntil([&] { return heard.recorderStops > 0 || heard.recordedMs >= before + 10000; }, kLimit));
  const double passedMs = MsSince(begin);
  ASSERT_EQ(heard.recorderStops, 0);
  EXPECT_NEAR(heard.recordedMs - before, passedMs, ToleranceMs());
  recorder->Stop();
  EXPECT_EQ(recorder->LostInputFrames(), 0);
  std::cout << GetParam() << ", server away for a second: " << heard.recordedMs - before << " ms recorded in "
            << passedMs << " ms\n";
}

TEST_P(SoundSoak, ServerBackAfterFiveSecondsFindsARecordingThatHasEndedAndCanBeginAnother) {
  OpenDevices();
  ASSERT_NO_FATAL_FAILURE(RecordUntil(2000));
  const auto begin = SteadyClock::now();
  KillServer();
  ASSERT_TRUE(RunUntil([&] { return heard.recorderStops == 1; }, kLimit));
  const double endedMs = MsSince(begin);
  EXPECT_NEAR(endedMs, 3000, ToleranceMs());
  EXPECT_TRUE(recorder->IsInputLost());
  EXPECT_GE(Recorded().size(), 16000U);
  const std::size_t kept = Recorded().size();
  RunUntil([&] { return MsSince(begin) >= 5000; }, kLimit);
  StartServer();
  heard = {};
  ASSERT_TRUE(Record());
  EXPECT_TRUE(RunUntil([&] { return heard.recordedMs >= 1000; }, kLimit));
  recorder->Stop();
  std::cout << GetParam() << ", server away for five seconds: ended after " << endedMs << " ms with " << kept
            << " frames\n";
}

// Measured, and told; the bounds only find what is far off.
TEST_P(SoundSoak, DelaysOfTwentyStarts) {
  OpenDevices();
  std::vector<double> fileMs;
  std::vector<double> startMs;
  std::vector<double> noticeMs;
  for (int round = 0; round < 20; ++round) {
    const auto begin = SteadyClock::now();
    ASSERT_TRUE(Record());
    const auto opened = SteadyClock::now();
    ASSERT_TRUE(RunUntil([&] { return recorder->CapturedFrames() > 0; }, 10s));
    const auto first = SteadyClock::now();
    startMs.push_back(std::chrono::duration<double, std::milli>(opened - begin).count());
    // When the first block is there its first frame is as old as the block is long.
    fileMs.push_back(std::chrono::duration<double, std::milli>(first - begin).count() -
                     1000.0 * static_cast<double>(recorder->CapturedFrames()) / kRate);
    recorder->Stop();
  }
  // From when somebody else has heard a frame to when its player tells that it has been heard.
  MonitorEar ear(*server, "line.monitor");
  ASSERT_TRUE(ear.Listen(kLimit));
  for (int round = 0; round < 20; ++round) {
    heard = {};
    const std::size_t silence = ear.Samples().size();
    Play(kiv::test::Sine(1000, kAmplitude, kRate, kRate, 1));
    ASSERT_TRUE(RunUntil([&] { return heard.playerStops == 1; }, kLimit));
    for (const double delayMs : NoticeDelaysMs(ear, silence)) noticeMs.push_back(delayMs);
    RunFor(500ms);
  }
  for (auto* times : {&startMs, &fileMs, &noticeMs}) std::sort(times->begin(), times->end());
  ASSERT_GE(noticeMs.size(), 200U);
  const double medianNoticeMs = noticeMs[noticeMs.size() / 2];
  EXPECT_LT(fileMs[10], 300);
  EXPECT_LT(std::abs(medianNoticeMs), 100);
  std::cout << GetParam() << ": Start returns after " << startMs[10] << " ms (worst " << startMs[19]
            << "), first captured frame " << fileMs[10] << " ms after Start (worst " << fileMs[19]
            << "); a played frame is told " << medianNoticeMs << " ms after it was heard (" << noticeMs.front()
            << " to " << noticeMs.back() << ")\n";
}

}  // namespace
