// A disk that takes every write and says only later that it has not kept it, as one behind a network may. The answer is
// the test's.

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

#include "audio/wave_file.h"
#include "recorder/prompt_files.h"
#include "recorder/recording_queue.h"
#include "tests/recorder/engine_fixture.h"
#include "tests/support/recorded_progress.h"
#include "tests/support/test_signals.h"

namespace {

// The error of every synchronisation; 0 for the disk's own answer.
std::atomic<int> syncError{0};

}  // namespace

// In place of the C library's, for this whole program.
extern "C" int fdatasync(int file) {
  if (syncError != 0) {
    errno = syncError;
    return -1;
  }
  return static_cast<int>(syscall(SYS_fdatasync, file));
}

namespace {

using testing::ElementsAre;

// --- While it is recorded

class LateDisk : public kiv::test::EngineFixture {
 protected:
  ~LateDisk() override { syncError = 0; }
};

TEST_F(LateDisk, RecordingThatIsNotKeptIsSaidWhileItGoesOn) {
  SetPrompts(false, false);
  kiv::SetSetting(kiv::kRecordTone, false);
  MakeEngine();
  Start(RequestedMode::Record);
  syncError = EDQUOT;
  RunTo(4000);
  EXPECT_THAT(LogLines(), ElementsAre("Recording 2024-01-01 12-00-00"));
  RunTo(20000);
  EXPECT_EQ(engine->State(), SndStateType::Recording);
  engine->SndStop();
  EXPECT_THAT(LogLines(), ElementsAre("Recording 2024-01-01 12-00-00",
                                      "Error: Unable to write recording: " + RecordingPath("2024-01-01 12-00-00.wav")));
  ASSERT_EQ(Queued().size(), 1U);
  EXPECT_EQ(FramesOf(Queued()[0]), 20 * kiv::test::kRate);
}

// --- When it is levelled

class FilesOnLateDisk : public kiv::test::RecorderFixture {
 protected:
  ~FilesOnLateDisk() override { syncError = 0; }
  // The recording's bytes before and after it was levelled.
  std::pair<std::string, std::string> Level() {
    const std::string path = RecordingPath("a.wav");
    const auto samples = kiv::test::Noise(1, 20000, 1, 90000);
    {
      LSoundSink sink = LWaveFile::OpenSinkPCM(path.c_str(), 8000, 1, 16, 0);
      sink->Write(samples.data(), 20000);
    }
    const std::string before = kiv::test::ReadFile(path);
    LALCListThread queue;
    queue.SetListFilePath(DataPath("bgalc.dat").c_str());
    queue.Add(LALCListItem(path.c_str()));
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (queue.IsPending() && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
    EXPECT_FALSE(queue.IsPending());
    return {before, kiv::test::ReadFile(path)};
  }
};

TEST_F(FilesOnLateDisk, ResultThatIsNotKeptDoesNotCostTheRecording) {
  syncError = ENOSPC;
  const auto [before, after] = Level();
  EXPECT_TRUE(kiv::test::ReadFile(RecordingPath("a (original).wav")) == before);
  EXPECT_TRUE(after != before);
  EXPECT_THAT(LogLines(), ElementsAre("Level Control: a", "Error: Level control failed: a"));
}

TEST_F(FilesOnLateDisk, FileSystemThatCannotSynchroniseIsNoFailure) {
  syncError = EINVAL;
  const auto [before, after] = Level();
  EXPECT_EQ(kiv::test::ReadFile(RecordingPath("a (original).wav")), "");
  EXPECT_TRUE(after != before);
  EXPECT_THAT(LogLines(), ElementsAre("Level Control: a"));
}

// --- When a prompt is replaced

TEST_F(FilesOnLateDisk, PromptThatIsNotKeptDoesNotCostTheOldOne) {
  const std::string sound = home.File("sound.wav");
  for (const std::string& path : {sound, DataPath("On-Hold 1.wav")}) {
    const std::vector<std::int32_t> samples(path == sound ? 20000 : 100, 1600);
    LSoundSink sink = LWaveFile::OpenSinkPCM(path.c_str(), 8000, 1, 16, 0);
    sink->Write(samples.data(), static_cast<std::int32_t>(samples.size()));
  }
  const std::string old = kiv::test::ReadFile(DataPath("On-Hold 1.wav"));
  syncError = EDQUOT;
  const auto import = [&] {
    return kiv::ImportPrompt(sound.c_str(), DataPath("On-Hold 1.wav").c_str(), [](LPRSourceToSink& job) {
      kiv::test::RecordedProgress progress;
      return Process(progress, job);
    });
  };
  EXPECT_EQ(import(), kiv::PromptImport::Failed);
  EXPECT_TRUE(kiv::test::ReadFile(DataPath("On-Hold 1.wav")) == old);
  syncError = 0;
  EXPECT_EQ(import(), kiv::PromptImport::Converted);
  EXPECT_TRUE(kiv::test::ReadFile(DataPath("On-Hold 1.wav")) != old);
}

}  // namespace
