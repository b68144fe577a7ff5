#include <poll.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <iostream>

#include "tests/devices/line_fixture.h"
#include "tests/devices/stalled_sink.h"

namespace kiv::test {
namespace {

using std::chrono::steady_clock;

// Runs the main queue until done() or the time is over.
template <typename Done>
bool RunMain(Done done, std::chrono::milliseconds limit) {
  const auto end = steady_clock::now() + limit;
  while (!done()) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - steady_clock::now()).count();
    if (left <= 0) return false;
    pollfd poll{.fd = EventQueue::Main().WakeDescriptor(), .events = POLLIN, .revents = 0};
    ::poll(&poll, 1, static_cast<int>(left));
    EventQueue::Main().Drain();
  }
  return true;
}

// Noise that remembers its first frame.
struct MarkedNoise {
  std::atomic<std::int64_t> first{-1};
  std::unique_ptr<LineSignal> Signal() {
    return MakeFunction([this](std::int64_t frame, std::int32_t channel) {
      if (first < 0) first = frame;
      return NoiseAt(frame, channel);
    });
  }
};

TEST(RealTimeLine, DiskThatStallsForEightSecondsLosesNoFrame) {
  MarkedNoise noise;
  InstalledLine installed(noise.Signal(), {});
  LSoundRecorder recorder;
  auto* const stalled = new StalledSink(std::chrono::seconds(8));
  LSoundSink sink(stalled);
  ASSERT_TRUE(recorder.Start(sink, kNoLimit, -127, kNeverPause));
  EXPECT_TRUE(RunMain([&] { return stalled->written >= 12 * 8000; }, std::chrono::seconds(60)));
  recorder.Stop();
  EXPECT_EQ(stalled->Samples(), RecordedNoise(noise.first, stalled->Position()));
  EXPECT_EQ(recorder.LostInputFrames(), 0);
}

TEST(RealTimeLine, DelayFromStartToTheFirstFrameInTheFile) {
  std::vector<double> captureMs;
  std::vector<double> fileMs;
  MarkedNoise noise;
  InstalledLine installed(noise.Signal(), {});
  LSoundRecorder recorder;
  for (int i = 0; i < 100; ++i) {
    noise.first = -1;
    auto* const out = new StalledSink(std::chrono::milliseconds(0));
    LSoundSink sink(out);
    const std::int64_t lineNs = installed.line.NowNs();
    const auto start = steady_clock::now();
    ASSERT_TRUE(recorder.Start(sink, kNoLimit, -127, kNeverPause));
    ASSERT_TRUE(RunMain([&] { return out->written > 0; }, std::chrono::seconds(20)));
    fileMs.push_back(std::chrono::duration<double, std::milli>(steady_clock::now() - start).count());
    captureMs.push_back(static_cast<double>(noise.first) / 8.0 - static_cast<double>(lineNs) / 1e6);
    recorder.Stop();
  }
  std::sort(captureMs.begin(), captureMs.end());
  std::sort(fileMs.begin(), fileMs.end());
  std::cout << "Start to first captured frame: median " << captureMs[50] << " ms, worst " << captureMs[99] << " ms\n"
            << "Start to first block in the file: median " << fileMs[50] << " ms, worst " << fileMs[99] << " ms\n";
  EXPECT_LT(captureMs[50], 20.0);
  EXPECT_LT(fileMs[50], 130.0);
}

TEST(RealTimeLine, PlayedIsReportedWhenItHasBeenHeard) {
  InstalledLine installed(MakeSilence(), {});
  std::atomic<std::int64_t> heardNs{0};
  std::vector<double> lateMs;
  installed.line.OnPlayed([&](const PlayedSound& sound) {
    heardNs = sound.startNs + NsFromFrames(static_cast<std::int64_t>(sound.samples.size()), 8000);
  });
  PlayerLog log;
  LSoundPlayer player;
  player.SetNotify(&log, 0);
  std::int64_t reports = 0;
  log.onEntry = [&](const std::string& entry) {
    if (entry != "time" || log.times.back() == 0) return;
    ++reports;
    lateMs.push_back(static_cast<double>(installed.line.NowNs() - heardNs) / 1e6);
  };
  LSoundSource source = OpenMemory(Noise(1, 40000, 1, 500000), 8000, 1);
  ASSERT_TRUE(player.Start(source));
  ASSERT_TRUE(RunMain([&] { return !player.IsPlaying(); }, std::chrono::seconds(20)));
  std::sort(lateMs.begin(), lateMs.end());
  std::cout << "Played frame to its notice: median " << lateMs[lateMs.size() / 2] << " ms, worst " << lateMs.back()
            << " ms\n";
  EXPECT_GE(lateMs.front(), 0.0);
  EXPECT_LT(lateMs[lateMs.size() / 2], 20.0);
  EXPECT_GE(reports, 45);
}

TEST(FasterLine, TimeOutsAndTheWallClockRunAtItsSpeed) {
  InstalledLine installed(MakeSilence(), {.speed = 20.0});
  installed.line.StallInput(0, SimulatedLine::kForEver);
  RecorderLog log;
  LSoundRecorder recorder;
  recorder.SetNotify(&log, 0);
  HeldSink out;
  const auto start = steady_clock::now();
  const std::int64_t wall = installed.line.WallClock().UnixMilliseconds();
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
  ASSERT_TRUE(RunMain([&] { return !recorder.IsRunning(); }, std::chrono::seconds(20)));
  const auto real = std::chrono::duration<double>(steady_clock::now() - start).count();
  EXPECT_GE(real, 0.145);
  EXPECT_LT(real, 2.0);
  EXPECT_GE(installed.line.WallClock().UnixMilliseconds() - wall, 2900);
}

TEST(FasterLine, AMinuteOfCallTakesThreeSeconds) {
  MarkedNoise noise;
  InstalledLine installed(noise.Signal(), {.speed = 20.0});
  LSoundRecorder recorder;
  auto* const out = new StalledSink(std::chrono::milliseconds(100));
  LSoundSink sink(out);
  ASSERT_TRUE(recorder.Start(sink, 60000, -127, kNeverPause));
  ASSERT_TRUE(RunMain([&] { return !recorder.IsRunning(); }, std::chrono::seconds(60)));
  EXPECT_GE(out->Position(), 480000);
  EXPECT_EQ(out->Samples(), RecordedNoise(noise.first, out->Position()));
  EXPECT_EQ(recorder.LostInputFrames(), 0);
}

}  // namespace
}  // namespace kiv::test
