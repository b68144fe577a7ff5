// Listeners that start and stop devices from inside every notification, and devices that go while they run.

#include <dirent.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "devices/sound_player.h"
#include "devices/sound_recorder.h"
#include "tests/devices/line_fixture.h"

namespace kiv::test {
namespace {

using testing::ElementsAre;

TEST(RecorderNesting, StopFromInsideAnyNotificationIsTheLastWord) {
  for (const std::string trigger : {"wait", "time", "record", "level"}) {
    for (int nth = 1; nth <= 3; ++nth) {
      InstalledLine installed(MakeFunction(NoiseAt));
      RecorderLog log;
      LSoundRecorder recorder;
      recorder.SetNotify(&log, 0);
      HeldSink out;
      int count = 0;
      log.onEntry = [&](const std::string& entry) {
        if (entry == trigger && ++count == nth) recorder.Stop();
      };
      EXPECT_TRUE(recorder.Start(out.handle, 2000, -127, kNeverPause));
      installed.line.Run(5000);
      EXPECT_EQ(log.log.back(), "stop") << trigger << nth;
      EXPECT_EQ(std::count(log.log.begin(), log.log.end(), "stop"), 1) << trigger << nth;
      EXPECT_FALSE(recorder.IsRunning());
      EXPECT_EQ(out.sink->ReferenceCount(), 1);
      if (count >= nth) {
        EXPECT_EQ(*(log.log.end() - 2), trigger);
      }
    }
  }
}

TEST(RecorderNesting, StartFromInsideAnyNotificationReplacesTheRun) {
  for (const std::string trigger : {"wait", "time", "record", "level", "stop"}) {
    InstalledLine installed(MakeFunction(NoiseAt));
    RecorderLog log;
    LSoundRecorder recorder;
    recorder.SetNotify(&log, 0);
    HeldSink first;
    HeldSink second;
    bool done = false;
    log.onEntry = [&](const std::string& entry) {
      if (entry != trigger || done) return;
      done = true;
      EXPECT_TRUE(recorder.Start(second.handle, 1000, -127, kNeverPause));
    };
    EXPECT_TRUE(recorder.Start(first.handle, 500, -127, kNeverPause));
    installed.line.Run(5000);
    EXPECT_FALSE(recorder.IsRunning());
    EXPECT_EQ(std::count(log.log.begin(), log.log.end(), "stop"), 2) << trigger;
    EXPECT_EQ(second.sink->Position(), 8800) << trigger;
    EXPECT_EQ(first.sink->ReferenceCount(), 1);
    EXPECT_EQ(second.sink->ReferenceCount(), 1);
  }
}

TEST(RecorderNesting, OuterStartHasTheDevice) {
  InstalledLine installed(MakeFunction(NoiseAt));
  RecorderLog log;
  LSoundRecorder recorder;
  recorder.SetNotify(&log, 0);
  HeldSink first;
  HeldSink inner;
  HeldSink outer;
  log.onEntry = [&](const std::string& entry) {
    if (entry == "stop") {
      EXPECT_FALSE(recorder.Start(inner.handle, kNoLimit, -127, kNeverPause));
    }
  };
  ASSERT_TRUE(recorder.Start(first.handle, kNoLimit, -127, kNeverPause));
  installed.line.Run(500);
  ASSERT_TRUE(recorder.Start(outer.handle, kNoLimit, -127, kNeverPause));
  installed.line.Run(500);
  log.onEntry = nullptr;
  recorder.Stop();
  EXPECT_EQ(outer.sink->Samples(), RecordedNoise(4000, 4000));
  EXPECT_EQ(inner.sink->Position(), 0);
  EXPECT_EQ(inner.sink->ReferenceCount(), 1);
}

TEST(RecorderNesting, NestedLoopInsideANotificationGoesOn) {
  InstalledLine installed(MakeFunction(NoiseAt));
  RecorderLog log;
  LSoundRecorder recorder;
  recorder.SetNotify(&log, 0);
  HeldSink out;
  bool nested = false;
  log.onEntry = [&](const std::string& entry) {
    if (entry != "record" || nested) return;
    nested = true;
    installed.line.Run(1000);
  };
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
  installed.line.Run(2000);
  recorder.Stop();
  EXPECT_EQ(out.sink->Samples(), RecordedNoise(0, out.sink->Position()));
  EXPECT_GE(out.sink->Position(), 16000);
}

TEST(RecorderNesting, DestroyedWhileRunningWithReportsWaiting) {
  InstalledLine installed(MakeFunction(NoiseAt));
  HeldSink out;
  RecorderLog log;
  {
    LSoundRecorder recorder;
    recorder.SetNotify(&log, 0);
    log.onEntry = [&](const std::string& entry) {
      if (entry == "stop") {
        EXPECT_FALSE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
      }
    };
    ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
    installed.line.Run(1000);
    recorder.PostQueueNotify();
  }
  EXPECT_FALSE(EventQueue::Main().IsEmpty());
  const std::size_t entries = log.log.size();
  installed.line.Settle();
  EXPECT_EQ(log.log.size(), entries);
  EXPECT_EQ(log.log.back(), "stop");
  EXPECT_EQ(out.sink->Position(), 8000);
}

TEST(RecorderNesting, ListenerMayBeTakenAway) {
  InstalledLine installed(MakeFunction(NoiseAt));
  LSoundRecorder recorder;
  HeldSink out;
  {
    RecorderLog log;
    recorder.SetNotify(&log, 0);
    ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
    installed.line.Run(500);
    recorder.SetNotify(nullptr, 0);
  }
  installed.line.Run(500);
  recorder.Stop();
  EXPECT_EQ(out.sink->Position(), 8000);
}

TEST(PlayerNesting, StopFromInsideAnyNotificationIsTheLastWord) {
  for (const std::string trigger : {"play", "time", "level"}) {
    for (int nth = 1; nth <= 12; ++nth) {
      InstalledLine installed(MakeSilence());
      PlayerLog log;
      LSoundPlayer player;
      player.SetNotify(&log, 0);
      int count = 0;
      log.onEntry = [&](const std::string& entry) {
        if (entry == trigger && ++count == nth) player.Stop();
      };
      LSoundSource source = OpenMemory(Noise(1, 8000, 1, 500000), 8000, 1);
      EXPECT_TRUE(player.Start(source));
      installed.line.Run(5000);
      EXPECT_EQ(log.log.back(), "stop") << trigger << nth;
      EXPECT_EQ(std::count(log.log.begin(), log.log.end(), "stop"), 1) << trigger << nth;
      if (count >= nth) {
        EXPECT_EQ(*(log.log.end() - 2), trigger);
      }
      EXPECT_EQ(source->ReferenceCount(), 1);
    }
  }
}

TEST(PlayerNesting, StartFromInsideAnyNotificationReplacesTheRun) {
  struct Moment {
    std::string entry;
    int nth;
  };
  // The eleventh time report is the one of the end.
  const Moment moments[] = {{"play", 1},  {"time", 1},  {"time", 10}, {"time", 11},
                            {"level", 1}, {"level", 9}, {"stop", 1}};
  for (const Moment& moment : moments) {
    SCOPED_TRACE(moment.entry + std::to_string(moment.nth));
    InstalledLine installed(MakeSilence());
    PlayerLog log;
    LSoundPlayer player;
    player.SetNotify(&log, 0);
    LSoundSource first = OpenMemory(Noise(1, 8000, 1, 500000), 8000, 1);
    LSoundSource second = OpenMemory(Noise(2, 4000, 1, 500000), 8000, 1);
    int count = 0;
    bool done = false;
    log.onEntry = [&](const std::string& entry) {
      if (done || entry != moment.entry || ++count != moment.nth) return;
      done = true;
      EXPECT_TRUE(player.Start(second));
    };
    EXPECT_TRUE(player.Start(first));
    installed.line.Run(5000);
    EXPECT_TRUE(done);
    EXPECT_FALSE(player.IsPlaying());
    EXPECT_EQ(std::count(log.log.begin(), log.log.end(), "stop"), 2);
    EXPECT_EQ(log.times.back(), 500);
  }
}

TEST(PlayerNesting, ListenerMayLetGoOfTheSourceThatReplacesARun) {
  InstalledLine installed(MakeSilence());
  PlayerLog log;
  LSoundPlayer player;
  player.SetNotify(&log, 0);
  LSoundSource first = OpenMemory(Noise(1, 8000, 1, 500000), 8000, 1);
  LSoundSource second = OpenMemory(Noise(2, 4000, 1, 500000), 8000, 1);
  log.onEntry = [&](const std::string& entry) {
    if (entry == "stop") second.Close();
  };
  ASSERT_TRUE(player.Start(first));
  installed.line.Run(300);
  ASSERT_TRUE(player.Start(second));
  installed.line.Run(5000);
  EXPECT_EQ(log.times.back(), 500);
}

TEST(PlayerNesting, DestroyedWhilePlaying) {
  InstalledLine installed(MakeSilence());
  LSoundSource source = OpenMemory(Noise(1, 80000, 1, 500000), 8000, 1);
  PlayerLog log;
  {
    LSoundPlayer player;
    player.SetNotify(&log, 0);
    log.onEntry = [&](const std::string& entry) {
      if (entry == "stop") {
        EXPECT_FALSE(player.Start(source));
      }
    };
    ASSERT_TRUE(player.Start(source));
    installed.line.Run(1000);
    player.PostQueueNotify();
  }
  const std::size_t entries = log.log.size();
  installed.line.Settle();
  EXPECT_EQ(log.log.size(), entries);
  EXPECT_EQ(log.log.back(), "stop");
  EXPECT_EQ(source->ReferenceCount(), 1);
}

TEST(Devices, AnyOrderOfDestructionIsFine) {
  for (int order = 0; order < 2; ++order) {
    InstalledLine installed(MakeFunction(NoiseAt));
    HeldSink out;
    LSoundSource source = OpenMemory(Noise(1, 80000, 1, 500000), 8000, 1);
    auto player = std::make_unique<LSoundPlayer>();
    auto recorder = std::make_unique<LSoundRecorder>();
    ASSERT_TRUE(recorder->Start(out.handle, kNoLimit, -127, kNeverPause));
    ASSERT_TRUE(player->Start(source));
    installed.line.Run(order == 0 ? 0 : 777);
    if (order == 0) {
      player.reset();
      recorder.reset();
    } else {
      recorder.reset();
      player.reset();
    }
    installed.line.Settle();
    EXPECT_EQ(installed.line.OpenDevices(), 0);
  }
}

int CountEntries(const char* folder) {
  DIR* const dir = opendir(folder);
  if (dir == nullptr) return -1;
  int count = 0;
  while (readdir(dir) != nullptr) ++count;
  closedir(dir);
  return count;
}

// The kernel lists a thread a little longer than a join takes.
bool ThreadsComeDownTo(int limit) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (CountEntries("/proc/self/task") > limit) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

TEST(Devices, AThousandStartsAndStopsLeaveNoDescriptorAndNoThread) {
  for (const bool lockStep : {true, false}) {
    InstalledLine installed(MakeFunction(NoiseAt), {.lockStep = lockStep, .speed = 50.0});
    LSoundPlayer player;
    LSoundRecorder recorder;
    const auto startAndStop = [&](int i) {
      HeldSink out;
      LSoundSource source = OpenMemory(Noise(1, 1600, 1, 500000), 8000, 1);
      ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
      ASSERT_TRUE(player.Start(source));
      if (lockStep && i % 3 == 0) installed.line.Run(i % 7 * 50);
      recorder.Stop();
      player.Stop();
      EventQueue::Main().Drain();
    };
    // A thread checker makes a thread of its own together with the first of ours.
    startAndStop(0);
    const int descriptors = CountEntries("/proc/self/fd");
    const int threads = CountEntries("/proc/self/task");
    ASSERT_GT(descriptors, 0);
    for (int i = 0; i < 1000; ++i) startAndStop(i);
    EXPECT_EQ(CountEntries("/proc/self/fd"), descriptors);
    EXPECT_TRUE(ThreadsComeDownTo(threads)) << CountEntries("/proc/self/task") << " threads, not " << threads;
  }
}

}  // namespace
}  // namespace kiv::test
