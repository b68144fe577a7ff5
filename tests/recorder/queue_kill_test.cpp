// Kills the queue's process at random moments and checks that no recording is lost, damaged or levelled twice.
// KIV_KILL_ROUNDS sets the number of kills; scripts/soak runs hundreds.

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "audio/processing/process_agc.h"
#include "audio/wave_file.h"
#include "recorder/recording_queue.h"
#include "tests/support/recorder_fixture.h"
#include "tests/support/test_signals.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

struct NeverStopped {
  bool IsStopRequested() { return false; }
  void SetProgress(double) {}
};

class QueueKilled : public kiv::test::RecorderFixture {
 protected:
  static constexpr int kRecordings = 4;

  QueueKilled() {
    fs::create_directory(home.File("Copies"));
    SetPreference("CopyRecordings", "1");
    SetPreference("CopyToFolder", home.File("Copies"));
    for (int i = 0; i < kRecordings; ++i) {
      names.push_back(std::string("call ").append(std::to_string(i)).append(".wav"));
      const std::string path = home.File("model.wav");
      {
        LSoundSink sink = LWaveFile::OpenSinkPCM(path.c_str(), 8000, 1, 16, 0);
        const auto samples = kiv::test::Noise(static_cast<std::uint64_t>(i), 40000 + 7001 * i, 1, 90000);
        sink->Write(samples.data(), static_cast<std::int32_t>(samples.size()));
      }
      recorded.push_back(kiv::test::ReadFile(path));
      LDPAutoGain::SetTemporaryFolder(home.Path());
      {
        LSoundSource source = LWaveFile::OpenSource(path.c_str());
        LSoundSink sink = LWaveFile::OpenSinkPCM(home.File("levelled.wav").c_str(), 8000, 1, 16, 0);
        NeverStopped thread;
        ProcessAGC(thread, source, sink, false, 450, 2200, 2, -8, -9, -0.5, 2);
      }
      levelled.push_back(kiv::test::ReadFile(home.File("levelled.wav")));
    }
  }

  std::string ListPath() const { return DataPath("bgalc.dat"); }

  void Refill() {
    fs::remove(ListPath());
    kiv::RecordListFile list(kiv::kTextSize);
    list.SetPath(ListPath().c_str());
    for (std::size_t i = 0; i < names.size(); ++i) {
      kiv::test::WriteFile(RecordingPath(names[i]), recorded[i]);
      const LALCListItem item(RecordingPath(names[i]).c_str());
      list.Append(&item);
    }
  }

  // A process that works the list off.
  pid_t StartWorker() {
    const pid_t child = fork();
    if (child != 0) return child;
    {
      LALCListThread queue;
      queue.SetListFilePath(ListPath().c_str());
      while (fs::exists(ListPath()) && fs::file_size(ListPath()) > 0) std::this_thread::yield();
    }
    _exit(0);
  }

  std::vector<std::string> names;
  std::vector<std::string> recorded;
  std::vector<std::string> levelled;
};

TEST_F(QueueKilled, AtAnyMomentLosesNothingAndLevelsNothingTwice) {
  const char* const wish = std::getenv("KIV_KILL_ROUNDS");
  const int rounds = wish != nullptr ? std::atoi(wish) : 12;
  kiv::test::Random random(static_cast<std::uint64_t>(Clock::now().time_since_epoch().count()));

  Refill();
  const auto begin = Clock::now();
  ASSERT_EQ(waitpid(StartWorker(), nullptr, 0) > 0, true);
  const auto whole = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin).count();

  // The first run of a cold program may take many times what a later one takes, so the window closes in on the work.
  auto window = whole;
  int killed = 0;
  for (int round = 0; killed < rounds; ++round) {
    ASSERT_LT(round, 20 * rounds) << "only " << killed << " processes were still at work when they were killed";
    Refill();
    const pid_t victim = StartWorker();
    std::this_thread::sleep_for(std::chrono::microseconds(random.Between(0, static_cast<std::int32_t>(window))));
    kill(victim, SIGKILL);
    int status = 0;
    waitpid(victim, &status, 0);
    if (WIFSIGNALED(status)) {
      ++killed;
    } else {
      window = window * 3 / 4;
    }
    // Right after the kill: each recording is what it was or its result, whole.
    for (std::size_t i = 0; i < names.size(); ++i) {
      const std::string now = kiv::test::ReadFile(RecordingPath(names[i]));
      ASSERT_TRUE(now == recorded[i] || now == levelled[i]) << names[i] << " in round " << round;
    }
    waitpid(StartWorker(), &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    for (std::size_t i = 0; i < names.size(); ++i) {
      ASSERT_TRUE(kiv::test::ReadFile(RecordingPath(names[i])) == levelled[i]) << names[i] << " in round " << round;
      ASSERT_TRUE(kiv::test::ReadFile(home.File("Copies/" + names[i])) == levelled[i]) << names[i];
    }
    for (const auto& entry : fs::recursive_directory_iterator(DataPath(""))) {
      ASSERT_FALSE(entry.path().filename().string().starts_with(".")) << entry.path();
    }
  }
}

}  // namespace
