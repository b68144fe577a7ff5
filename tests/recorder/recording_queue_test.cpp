#include "recorder/recording_queue.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <thread>

#include "audio/processing/process_agc.h"
#include "audio/wave_file.h"
#include "foundation/preferences.h"
#include "recorder/levelled_note.h"
#include "recorder/settings.h"
#include "tests/support/recorder_fixture.h"
#include "tests/support/test_signals.h"

namespace {

using kiv::test::WriteFile;
using testing::ElementsAre;
namespace fs = std::filesystem;

constexpr std::int32_t kRate = 8000;

// Stands for a file's bytes without printing them when a test fails.
std::string ReadFile(const std::string& path) {
  const std::string bytes = kiv::test::ReadFile(path);
  return std::to_string(bytes.size()) + " bytes, hash " + std::to_string(std::hash<std::string>{}(bytes));
}

// A loud and a faint speaker in turn.
std::vector<std::int32_t> Call(std::int32_t frames, std::uint64_t seed = 1) {
  std::vector<std::int32_t> samples = kiv::test::Noise(seed, frames, 1, 160000);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if ((i / 4000) % 2 == 1) samples[i] /= 8;
  }
  return samples;
}

void WriteWave(const std::string& path, const std::vector<std::int32_t>& samples, std::int32_t rate = kRate,
               std::uint8_t channels = 1) {
  LSoundSink sink = LWaveFile::OpenSinkPCM(path.c_str(), rate, channels, 16, 0);
  sink->Write(samples.data(), static_cast<std::int32_t>(samples.size() / channels));
}

struct NeverStopped {
  bool IsStopRequested() { return false; }
  void SetProgress(double) {}
};

// What the level control makes of a recording, by itself.
std::string LevelledBytes(const std::string& recording, const std::string& scratch) {
  LDPAutoGain::SetTemporaryFolder(fs::path(scratch).parent_path());
  {
    LSoundSource source = LWaveFile::OpenSource(recording.c_str());
    LSoundSink sink = LWaveFile::OpenSinkPCM(scratch.c_str(), source->Rate(), source->Channels(), 16, 0);
    NeverStopped thread;
    ProcessAGC(thread, source, sink, false, 450, 2200, 2, -8, -9, -0.5, 2);
  }
  std::string bytes = ReadFile(scratch);
  fs::remove(scratch);
  return bytes;
}

void SetAge(const std::string& path, double hours) {
  timespec times[2] = {};
  times[0].tv_sec = times[1].tv_sec = std::time(nullptr) - std::lround(hours * 3600);
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

class RecordingQueue : public kiv::test::RecorderFixture {
 protected:
  RecordingQueue() {
    SetPreference("AutoLevelControl", "0");
    SetPreference("AutoDeleteDays", "0");
  }

  std::string ListPath() const { return DataPath("bgalc.dat"); }
  void Add(LALCListThread& queue, const std::string& path) { queue.Add(LALCListItem(path.c_str())); }
  static void WaitUntilWorkedOff(LALCListThread& queue) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (queue.IsPending() && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
    ASSERT_FALSE(queue.IsPending());
  }
  void WorkOff(const std::vector<std::string>& paths) {
    LALCListThread queue;
    queue.SetListFilePath(ListPath().c_str());
    for (const std::string& path : paths) Add(queue, path);
    if (!paths.empty()) WaitUntilWorkedOff(queue);
  }
  // Hidden files anywhere in the data folder: temporary files that somebody left.
  std::vector<std::string> Leftovers() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(DataPath(""))) {
      const std::string name = entry.path().filename();
      if (name.starts_with(".")) found.push_back(name);
    }
    return found;
  }
  // Waits until that result is finished beside the recordings and does not take its place yet.
  bool HasResultBeside(const std::string& wanted) const {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (std::chrono::steady_clock::now() < limit) {
      for (const std::string& name : Leftovers()) {
        if (name.starts_with(".kiv-result-") && ReadFile(RecordingPath(name)) == wanted) return true;
      }
      std::this_thread::yield();
    }
    return false;
  }
  std::string MakeRecording(const std::string& name, std::int32_t frames = 20000, std::uint64_t seed = 1) {
    WriteWave(RecordingPath(name), Call(frames, seed));
    return RecordingPath(name);
  }
};

TEST_F(RecordingQueue, WithoutLevelControlTheRecordingIsLeftAsRecorded) {
  const std::string path = MakeRecording("a.wav");
  const std::string before = ReadFile(path);
  WorkOff({path});
  EXPECT_EQ(ReadFile(path), before);
  EXPECT_TRUE(LogLines().empty());
  EXPECT_EQ(fs::file_size(ListPath()), 0U);
}

TEST_F(RecordingQueue, LevelControlReplacesTheRecordingByItsResult) {
  SetPreference("AutoLevelControl", "1");
  const std::string path = MakeRecording("a.wav", 20001);
  const std::string wanted = LevelledBytes(path, home.File("scratch"));
  chmod(path.c_str(), 0640);
  WorkOff({path});
  EXPECT_EQ(ReadFile(path), wanted);
  EXPECT_EQ(fs::file_size(path), 46U + 2 * 20160);  // Rounded up to whole blocks of 160 frames.
  struct stat status {};
  stat(path.c_str(), &status);
  EXPECT_EQ(status.st_mode & 0777, 0640U);
  EXPECT_THAT(LogLines(), ElementsAre("Level Control: a"));
  EXPECT_TRUE(Leftovers().empty()) << Leftovers()[0];
}

TEST_F(RecordingQueue, LevelControlIsOnAndAgeIsThirtyDaysByDefault) {
  EXPECT_TRUE(LSettingGet<bool>("Settings", "MissingKey", true));
  const std::string path = MakeRecording("a.wav");
  const std::string wanted = LevelledBytes(path, home.File("scratch"));
  const std::string young = MakeRecording("young.wav");
  SetAge(young, 29 * 24);
  const std::string old = MakeRecording("old.wav");
  SetAge(old, 30 * 24 + 1);
  SetPreference("AutoLevelControl", "");
  SetPreference("AutoDeleteDays", "");
  WorkOff({path});
  EXPECT_EQ(ReadFile(path), wanted);
  EXPECT_TRUE(fs::exists(young));
  EXPECT_FALSE(fs::exists(old));
}

TEST_F(RecordingQueue, ItemsAreWorkedOffInTheirOrder) {
  SetPreference("AutoLevelControl", "1");
  std::vector<std::string> paths;
  std::vector<std::string> lines;
  for (int i = 0; i < 5; ++i) {
    const std::string name = std::string("call ").append(std::to_string(i));
    paths.push_back(MakeRecording(name + ".wav", 5000, static_cast<std::uint64_t>(i)));
    lines.push_back("Level Control: " + name);
  }
  WorkOff(paths);
  EXPECT_EQ(LogLines(), lines);
}

TEST_F(RecordingQueue, CopyGoesToTheChosenFolder) {
  const std::string path = MakeRecording("2026-03-07 14-02-09 4711.wav");
  const std::string target = home.File("Copies");
  fs::create_directory(target);
  SetPreference("CopyRecordings", "1");
  SetPreference("CopyToFolder", target);
  WorkOff({path});
  EXPECT_EQ(ReadFile(target + "/2026-03-07 14-02-09 4711.wav"), ReadFile(path));
  EXPECT_THAT(LogLines(), ElementsAre("Copy to: " + target));
}

TEST_F(RecordingQueue, NewCopiesHaveTheUsersMaskAndOldOnesKeepTheirMode) {
  const mode_t before = umask(077);
  kiv::SetCopyMask(027);
  const std::string path = MakeRecording("a.wav");
  const std::string target = home.File("Copies");
  fs::create_directory(target);
  WriteFile(target + "/b.wav", "older");
  chmod((target + "/b.wav").c_str(), 0604);
  SetPreference("CopyRecordings", "1");
  SetPreference("CopyToFolder", target);
  WorkOff({path, MakeRecording("b.wav")});
  kiv::SetCopyMask(before);
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat((target + "/a.wav").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, mode_t{0750});
  ASSERT_EQ(stat((target + "/b.wav").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, mode_t{0604});
}

TEST_F(RecordingQueue, FailedCopyGoesUnreportedAndTheRecordingStays) {
  const std::string path = MakeRecording("a.wav");
  SetPreference("CopyRecordings", "1");
  SetPreference("CopyToFolder", home.File("missing"));
  WorkOff({path});
  EXPECT_TRUE(fs::exists(path));
  EXPECT_THAT(LogLines(), ElementsAre("Copy to: " + home.File("missing")));
}

TEST_F(RecordingQueue, RecordingsOlderThanTheSetDaysAreDeletedAfterEachItem) {
  SetPreference("AutoDeleteDays", "1");
  const std::string fresh = MakeRecording("fresh.wav");
  const std::string old = MakeRecording("OLD.WAV");
  SetAge(old, 25);
  const std::string young = MakeRecording("young.wav");
  SetAge(young, 23);
  const std::string other = RecordingPath("old.txt");
  WriteFile(other, "kept");
  SetAge(other, 1000);
  WorkOff({fresh});
  EXPECT_FALSE(fs::exists(old));
  EXPECT_TRUE(fs::exists(fresh) && fs::exists(young) && fs::exists(other));
  EXPECT_THAT(LogLines(), ElementsAre("AutoDelete File: OLD.WAV"));
}

TEST_F(RecordingQueue, ZeroDaysDeleteNothing) {
  const std::string path = MakeRecording("a.wav");
  SetAge(path, 100000);
  WorkOff({path});
  EXPECT_TRUE(fs::exists(path));
}

TEST_F(RecordingQueue, DaysTimesSecondsWrapAsAnUnsignedWord) {
  // 49711 days are 2^32 seconds and 63104 more: below one day, so nothing is deleted.
  SetPreference("AutoDeleteDays", "49711");
  const std::string path = MakeRecording("a.wav");
  SetAge(path, 24 * 3650);
  WorkOff({path});
  EXPECT_TRUE(fs::exists(path));
  // -1 day is 2^32 seconds less one day, some 136 years.
  SetPreference("AutoDeleteDays", "-1");
  WorkOff({path});
  EXPECT_TRUE(fs::exists(path));
  // 49713 days come out as 150104 seconds, not quite two days.
  SetPreference("AutoDeleteDays", "49713");
  WorkOff({path});
  EXPECT_FALSE(fs::exists(path));
}

TEST_F(RecordingQueue, SourceInErrorStillReplacesButTheOriginalIsKept) {
  SetPreference("AutoLevelControl", "1");
  const std::string path = RecordingPath("noise.wav");
  WriteFile(path, "this is no sound at all");
  WorkOff({path});
  EXPECT_EQ(kiv::test::ReadFile(RecordingPath("noise (original).wav")), "this is no sound at all");
  EXPECT_EQ(fs::file_size(path), 46U);  // The empty result.
  EXPECT_THAT(LogLines(), ElementsAre("Level Control: noise", "Error: Level control failed: noise"));
  EXPECT_TRUE(Leftovers().empty());
}

TEST_F(RecordingQueue, KeptOriginalsNeverReplaceOneAnother) {
  SetPreference("AutoLevelControl", "1");
  const std::string path = RecordingPath("noise.wav");
  WriteFile(path, "first");
  WorkOff({path});
  WriteFile(path, "second");
  WorkOff({path});
  EXPECT_EQ(kiv::test::ReadFile(RecordingPath("noise (original).wav")), "first");
  EXPECT_EQ(kiv::test::ReadFile(RecordingPath("noise (original 2).wav")), "second");
}

TEST_F(RecordingQueue, VanishedRecordingIsNotMadeAgain) {
  SetPreference("AutoLevelControl", "1");
  WorkOff({RecordingPath("gone.wav")});
  EXPECT_FALSE(fs::exists(RecordingPath("gone.wav")));
  EXPECT_THAT(LogLines(), ElementsAre("Level Control: gone", "Error: Level control failed: gone"));
}

TEST_F(RecordingQueue, EmptyRecordingIsLevelledToOneBlockOfSilence) {
  SetPreference("AutoLevelControl", "1");
  const std::string path = RecordingPath("empty.wav");
  WriteWave(path, {});
  const std::string wanted = LevelledBytes(path, home.File("scratch"));
  WorkOff({path});
  EXPECT_EQ(ReadFile(path), wanted);
  EXPECT_EQ(fs::file_size(path), 46U + 2 * 160);
  EXPECT_THAT(LogLines(), ElementsAre("Level Control: empty"));
}

TEST_F(RecordingQueue, OtherRatesAndChannelCountsAreLevelledInTheirOwnFormat) {
  SetPreference("AutoLevelControl", "1");
  const std::string path = RecordingPath("stereo.wav");
  WriteWave(path, kiv::test::Noise(3, 44100, 2, 100000), 44100, 2);
  const std::string wanted = LevelledBytes(path, home.File("scratch"));
  WorkOff({path});
  EXPECT_EQ(ReadFile(path), wanted);
  LSoundSource source = LWaveFile::OpenSource(path.c_str());
  EXPECT_EQ(source->Rate(), 44100);
  EXPECT_EQ(source->Channels(), 2);
}

TEST_F(RecordingQueue, FullDiskKeepsTheRecordingWhateverBecomesOfTheResult) {
  SetPreference("AutoLevelControl", "1");
  const std::string path = MakeRecording("a.wav", 40000);  // 80046 bytes, and as many when levelled.
  const std::string whole = kiv::test::ReadFile(path);
  const std::string before = ReadFile(path);
  int failures = 0;
  for (const rlim_t limit :
       {rlim_t{600}, rlim_t{66000}, rlim_t{80000}, rlim_t{100000}, rlim_t{160000}, rlim_t{200000}}) {
    fs::remove(RecordingPath("a (original).wav"));
    WriteFile(path, whole);
    const pid_t child = fork();
    if (child == 0) {
      std::signal(SIGXFSZ, SIG_IGN);
      const rlimit sizes{limit, limit};
      setrlimit(RLIMIT_FSIZE, &sizes);
      {
        LALCListThread queue;
        queue.SetListFilePath(ListPath().c_str());
        Add(queue, path);
        WaitUntilWorkedOff(queue);
      }
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << limit;
    const bool levelled = fs::file_size(path) == whole.size() && ReadFile(path) != before;
    const bool kept = ReadFile(path) == before || ReadFile(RecordingPath("a (original).wav")) == before;
    EXPECT_TRUE(levelled || kept) << limit;
    failures += kept ? 1 : 0;
    EXPECT_TRUE(Leftovers().empty()) << limit;
  }
  EXPECT_GE(failures, 4);  // The limits did bite.
}

TEST_F(RecordingQueue, StoppedLevelControlLeavesTheRecordingAndItsRecord) {
  SetPreference("AutoLevelControl", "1");
  const std::string path = MakeRecording("long.wav", kRate * 60 * 20);
  const std::string recorded = kiv::test::ReadFile(path);
  const std::string before = ReadFile(path);
  const std::string wanted = LevelledBytes(path, home.File("scratch"));
  bool stopped = false;
  for (std::size_t attempt = 1; !stopped; ++attempt) {
    // When this thread has to wait for long, the work is over before it can be stopped.
    ASSERT_LE(attempt, 50U);
    WriteFile(path, recorded);
    LALCListThread queue;
    queue.SetListFilePath(ListPath().c_str());
    Add(queue, path);
    while (LogLines().size() < attempt) std::this_thread::yield();  // It has begun.
    queue.Shutdown();
    EXPECT_TRUE(Leftovers().empty());
    stopped = fs::file_size(ListPath()) > 0;
    if (!stopped) continue;
    EXPECT_EQ(ReadFile(path), before);
    EXPECT_EQ(fs::file_size(ListPath()), 268U);
    Add(queue, RecordingPath("second.wav"));  // After the shutdown: kept for the next start, not begun.
    EXPECT_EQ(fs::file_size(ListPath()), 528U);
    EXPECT_TRUE(queue.IsPending());
  }
  LALCListThread queue;
  queue.SetListFilePath(ListPath().c_str());  // Resumed.
  WaitUntilWorkedOff(queue);
  EXPECT_EQ(ReadFile(path), wanted);
}

TEST_F(RecordingQueue, CrashAfterTheResultTookItsPlaceDoesNotLevelTwice) {
  SetPreference("AutoLevelControl", "1");
  const std::string path = MakeRecording("a.wav");
  const std::string wanted = LevelledBytes(path, home.File("scratch"));
  {
    WorkOff({path});
    EXPECT_EQ(ReadFile(path), wanted);
    // As if the record had never been removed, and the note with it.
    kiv::LevelledNote(ListPath().c_str()).Write(path.c_str(), path.c_str());
    kiv::RecordListFile list(kiv::kTextSize);
    list.SetPath(ListPath().c_str());
    const LALCListItem item(path.c_str());
    list.Append(&item);
    LALCListThread queue;
    queue.SetListFilePath(ListPath().c_str());
    WaitUntilWorkedOff(queue);
  }
  EXPECT_EQ(ReadFile(path), wanted);
  EXPECT_TRUE(Leftovers().empty());
  // Once it is off the list it may come again, and is then levelled again.
  WorkOff({path});
  EXPECT_NE(ReadFile(path), wanted);
}

TEST_F(RecordingQueue, LeftoversOfACrashedRunAreRemovedAtStart) {
  WriteFile(RecordingPath(".kiv-result-Ab12Cd"), "x");
  WriteFile(RecordingPath(".kiv-level-Ab12Cd"), "x");
  WriteFile(DataPath(".kiv-level-Ef34Gh"), "x");
  WorkOff({});
  EXPECT_TRUE(Leftovers().empty());
}

TEST_F(RecordingQueue, WaitsWhileAnotherProcessHoldsTheRecordingUntilStopped) {
  SetPreference("AutoLevelControl", "1");
  const std::string path = MakeRecording("a.wav", 5000);
  const std::string wanted = LevelledBytes(path, home.File("scratch"));
  const int holder = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(holder, LOCK_SH), 0);
  const std::string before = ReadFile(path);
  LALCListThread queue;
  queue.SetListFilePath(ListPath().c_str());
  Add(queue, path);
  ASSERT_TRUE(HasResultBeside(wanted));
  EXPECT_EQ(ReadFile(path), before);
  queue.Shutdown();  // Gives up the wait, and the result is put in place all the same.
  EXPECT_EQ(ReadFile(path), wanted);
  close(holder);
}

TEST_F(RecordingQueue, RecordingThatGrowsMeanwhileIsKeptWithAllThatWasAdded) {
  SetPreference("AutoLevelControl", "1");
  const std::string path = MakeRecording("a.wav", 5000);
  const std::string wanted = LevelledBytes(path, home.File("scratch"));
  const std::string before = kiv::test::ReadFile(path);
  const int holder = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(holder, LOCK_SH), 0);
  LALCListThread queue;
  queue.SetListFilePath(ListPath().c_str());
  Add(queue, path);
  ASSERT_TRUE(HasResultBeside(wanted));
  std::ofstream(path, std::ios::app | std::ios::binary) << "four";
  close(holder);
  WaitUntilWorkedOff(queue);
  EXPECT_EQ(ReadFile(path), wanted);
  EXPECT_EQ(kiv::test::ReadFile(RecordingPath("a (original).wav")), before + "four");
  EXPECT_EQ(LogLines().back(), "Error: Level control failed: a");
}

TEST_F(RecordingQueue, FolderWithoutRightsLeavesTheRecordingAsItIs) {
  SetPreference("AutoLevelControl", "1");
  SetPreference("AutoDeleteDays", "1");
  const std::string path = MakeRecording("a.wav", 5000);
  const std::string old = MakeRecording("old.wav");
  SetAge(old, 100);
  const std::string before = ReadFile(path);
  chmod(home.Path().c_str(), 0755);
  chmod(path.c_str(), 0644);
  chmod(gSettings.recordingsFolder, 0555);
  chmod(gSettings.dataFolder, 0777);
  chmod(gSettings.logsFolder, 0777);
  const pid_t child = fork();
  if (child == 0) {
    constexpr uid_t kNobody = 65534;
    if (getuid() == 0 && setuid(kNobody) != 0) _exit(1);  // The superuser has rights everywhere.
    {
      LALCListThread queue;
      queue.SetListFilePath(ListPath().c_str());
      Add(queue, path);
      WaitUntilWorkedOff(queue);
    }
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  chmod(gSettings.recordingsFolder, 0755);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(ReadFile(path), before);
  EXPECT_TRUE(fs::exists(old));
  EXPECT_THAT(LogLines(), testing::Contains("Error: Level control failed: a"));
}

TEST_F(RecordingQueue, ListHeldByAnotherProcessAtStartIsTriedAgainAndNeverDeleted) {
  const std::string path = MakeRecording("a.wav");
  SetPreference("CopyRecordings", "1");
  fs::create_directory(home.File("Copies"));
  SetPreference("CopyToFolder", home.File("Copies"));
  kiv::RecordListFile list(kiv::kTextSize);
  list.SetPath(ListPath().c_str());
  const LALCListItem item(path.c_str());
  list.Append(&item);
  const int holder = open(ListPath().c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(holder, LOCK_EX), 0);
  LALCListThread queue;
  queue.SetListFilePath(ListPath().c_str());
  EXPECT_EQ(fs::file_size(ListPath()), 268U);
  EXPECT_FALSE(fs::exists(home.File("Copies/a.wav")));
  close(holder);
  WaitUntilWorkedOff(queue);
  EXPECT_TRUE(fs::exists(home.File("Copies/a.wav")));
}

TEST_F(RecordingQueue, RecordWithoutATerminatorIsCutAtItsLastByte) {
  std::string record(260, 'x');
  WriteFile(ListPath(), std::string("\1\0\0\0\4\1\0\0", 8) + record);
  LALCListThread queue;
  queue.SetListFilePath(ListPath().c_str());
  WaitUntilWorkedOff(queue);
  EXPECT_EQ(fs::file_size(ListPath()), 0U);
}

}  // namespace
