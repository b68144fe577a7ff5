// Long runs, by scripts/soak sound. KIV_SOAK_SECONDS: length of the tone (600).

#include <atomic>
#include <iostream>
#include <thread>

#include "tests/platform/pulse/sound_server_fixture.h"

namespace {

using namespace std::chrono_literals;

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

  void PlayAndRecord(int seconds) {
    OpenDevices();
    ASSERT_TRUE(Record());
    ASSERT_TRUE(RunUntil([&] { return heard.recordedMs >= 500; }, 10s));
    const std::int32_t frames = seconds * kRate;
    LSoundSource source(new LongTone(frames));
    ASSERT_TRUE(player->Start(source));
    const auto limit = std::chrono::seconds(seconds + 20);
    ASSERT_TRUE(RunUntil([&] { return heard.playerStops == 1; }, limit));
    RunFor(500ms);
    recorder->Stop();
    EXPECT_EQ(recorder->LostInputFrames(), 0);

    const auto stretches = Stretches(Recorded());
    ASSERT_EQ(stretches.size(), 1U) << "a hole in the tone";
    EXPECT_NEAR(static_cast<double>(stretches[0].end - stretches[0].begin), frames, 16);
    Stretch inside = stretches[0];
    inside.begin += 800;  // A server may ramp the edges; the recorder's offset filter settles.
    inside.end -= 40;
    double amplitude = 0;
    // One sine through all of it: a repeat, a hole or a jump would move what follows by many times this.
    const double departure = DepartureFromSine(Recorded(), inside, kHz, amplitude);
    EXPECT_LT(departure, kAmplitude * 0.02);
    const double levelDB = 20 * std::log10(amplitude / kAmplitude);
    EXPECT_NEAR(levelDB, 0, 0.1);
    std::cout << GetParam() << ", " << seconds << " s: " << stretches[0].end - stretches[0].begin << " frames of "
              << frames << ", furthest sample " << 100 * departure / kAmplitude << " % from the sine, level " << levelDB
              << " dB\n";
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
  // A second of sound ends a second after it began: what there is beyond that is opening, queueing and notice.
  for (int round = 0; round < 20; ++round) {
    heard.reports.clear();
    heard.playerStops = 0;
    const auto begin = SteadyClock::now();
    Play(kiv::test::Sine(1000, kAmplitude, kRate, kRate, 1));
    ASSERT_TRUE(RunUntil([&] { return heard.playerStops == 1; }, 10s));
    noticeMs.push_back(std::chrono::duration<double, std::milli>(SteadyClock::now() - begin).count() - 1000);
  }
  for (auto* times : {&startMs, &fileMs, &noticeMs}) std::sort(times->begin(), times->end());
  EXPECT_LT(fileMs[10], 300);
  EXPECT_GE(noticeMs[0], 0) << "told before it can have been heard";
  EXPECT_LT(noticeMs[10], 500);
  std::cout << GetParam() << ": Start returns after " << startMs[10] << " ms (worst " << startMs[19]
            << "), first captured frame " << fileMs[10] << " ms after Start (worst " << fileMs[19]
            << "); a second of sound is told to be over " << noticeMs[10] << " ms after it would be without any delay"
            << " (worst " << noticeMs[19] << ")\n";
}

}  // namespace
