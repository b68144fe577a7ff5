#include "recorder/recover_recordings.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "audio/wave_file.h"
#include "recorder/settings.h"
#include "tests/support/recorder_fixture.h"
#include "tests/support/test_signals.h"

namespace {

using kiv::test::ReadFile;
using kiv::test::WriteFile;
using testing::ElementsAre;
using testing::IsEmpty;

class RecoverRecordings : public kiv::test::RecorderFixture {
 protected:
  RecoverRecordings() {
    queue_.SetListFilePath(DataPath("bgalc.dat").c_str());
    queue_.Shutdown();
  }

  void SetUp() override {
    const int file = open(home.File("lease").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const bool leases = fcntl(file, F_SETLEASE, F_WRLCK) == 0;
    close(file);
    if (!leases) GTEST_SKIP() << "no leases on this file system";
  }

  // As a killed recorder leaves it: the sound, and a header that does not know its length.
  std::string MakeUnfinished(const std::string& name, std::int32_t frames, std::uint8_t channels = 1) {
    const std::string path = RecordingPath(name);
    const auto samples = kiv::test::Sine(1000, 100000, 8000, frames, channels);
    {
      LSoundSink sink = LWaveFile::OpenSinkPCM(path.c_str(), 8000, channels, 16, 0);
      sink->Write(samples.data(), frames);
    }
    std::string bytes = ReadFile(path);
    bytes.replace(4, 4, "\xff\xff\xff\xff");
    bytes.replace(42, 4, "\xff\xff\xff\xff");
    WriteFile(path, bytes);
    return path;
  }
  std::vector<std::string> Recover() {
    kiv::RecoverRecordings(queue_);
    std::vector<std::string> paths;
    const std::string bytes = ReadFile(DataPath("bgalc.dat"));
    for (std::size_t at = 8; at + 260 <= bytes.size(); at += 260) paths.emplace_back(bytes.c_str() + at);
    return paths;
  }
  static std::uint32_t Word(const std::string& bytes, std::size_t at) {
    std::uint32_t word = 0;
    for (std::size_t i = 4; i-- > 0;) word = word << 8 | static_cast<unsigned char>(bytes[at + i]);
    return word;
  }

  LALCListThread queue_;
};

TEST_F(RecoverRecordings, FinishesTheHeaderLogsAndQueuesOldestFirst) {
  const std::string second = MakeUnfinished("2026-03-07 14-02-09 4711.wav", 8000);
  const std::string first = MakeUnfinished("2026-03-07 09-00-00.wav", 1234);
  const std::string sound = ReadFile(first).substr(46);
  EXPECT_THAT(Recover(), ElementsAre(first, second));
  const std::string bytes = ReadFile(first);
  EXPECT_EQ(Word(bytes, 4), bytes.size() - 8);
  EXPECT_EQ(Word(bytes, 42), 2U * 1234);
  EXPECT_EQ(bytes.substr(46), sound);
  EXPECT_THAT(LogLines(),
              ElementsAre("Recovered recording: 2026-03-07 09-00-00", "Recovered recording: 2026-03-07 14-02-09 4711"));
}

TEST_F(RecoverRecordings, IsDoneOnce) {
  MakeUnfinished("a.wav", 100);
  EXPECT_EQ(Recover().size(), 1U);
  EXPECT_EQ(Recover().size(), 1U);
  EXPECT_EQ(LogLines().size(), 1U);
}

TEST_F(RecoverRecordings, HeaderIsTheOneThatTheRecorderWouldHaveWritten) {
  const std::string path = RecordingPath("a.wav");
  const auto samples = kiv::test::Sine(1000, 100000, 8000, 500, 2);
  {
    LSoundSink sink = LWaveFile::OpenSinkPCM(path.c_str(), 8000, 2, 16, 0);
    sink->Write(samples.data(), 500);
  }
  const std::string wanted = ReadFile(path);
  MakeUnfinished("a.wav", 500, 2);
  Recover();
  EXPECT_EQ(ReadFile(path), wanted);
}

TEST_F(RecoverRecordings, CutsATornFrameOff) {
  const std::string path = MakeUnfinished("a.wav", 100, 2);
  WriteFile(path, ReadFile(path) + "xyz");
  Recover();
  EXPECT_EQ(std::filesystem::file_size(path), 46U + 100 * 4);
  EXPECT_EQ(Word(ReadFile(path), 42), 400U);
}

TEST_F(RecoverRecordings, ARecordingOfNothingIsFinishedToo) {
  const std::string path = MakeUnfinished("a.wav", 0);
  EXPECT_THAT(Recover(), ElementsAre(path));
  EXPECT_EQ(Word(ReadFile(path), 42), 0U);
}

TEST_F(RecoverRecordings, LeavesAFileAloneThatAnyProcessHasOpen) {
  const std::string path = MakeUnfinished("a.wav", 100);
  const std::string before = ReadFile(path);
  for (const int flags : {O_RDONLY, O_RDWR}) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
      const bool opened = open(path.c_str(), flags) >= 0;
      [[maybe_unused]] const ssize_t told = write(ready[1], &opened, 1);
      pause();
      _exit(0);
    }
    bool opened = false;
    ASSERT_EQ(read(ready[0], &opened, 1), 1);
    EXPECT_TRUE(opened);
    EXPECT_THAT(Recover(), IsEmpty()) << flags;
    EXPECT_EQ(ReadFile(path), before);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(ready[0]);
    close(ready[1]);
  }
  EXPECT_THAT(LogLines(), IsEmpty());
  EXPECT_EQ(Recover().size(), 1U);
}

TEST_F(RecoverRecordings, LeavesEverythingElseAlone) {
  {
    LSoundSink sink = LWaveFile::OpenSinkPCM(RecordingPath("finished.wav").c_str(), 8000, 1, 16, 0);
    const std::vector<std::int32_t> silence(100);
    sink->Write(silence.data(), 100);
  }
  WriteFile(RecordingPath("empty.wav"), "");
  WriteFile(RecordingPath("short.wav"), ReadFile(RecordingPath("finished.wav")).substr(0, 45));
  WriteFile(RecordingPath("text.wav"), std::string(1000, 'x'));
  std::filesystem::rename(MakeUnfinished("a.wav", 10), RecordingPath(".work in progress.wav"));
  std::filesystem::rename(MakeUnfinished("a.wav", 10), RecordingPath("a.txt"));
  std::filesystem::rename(MakeUnfinished("a.wav", 10), home.File("elsewhere.wav"));
  std::filesystem::create_symlink(home.File("elsewhere.wav"), RecordingPath("link.wav"));
  std::filesystem::create_directory(RecordingPath("folder.wav"));
  ASSERT_EQ(mkfifo(RecordingPath("pipe.wav").c_str(), 0600), 0);
  // Of another program: unfinished, but not in our form.
  std::string foreign = ReadFile(home.File("elsewhere.wav"));
  foreign.insert(36, "LIST\4\0\0\0abcd", 12);
  WriteFile(RecordingPath("foreign.wav"), foreign);

  std::vector<std::string> before;
  const char* const files[] = {"finished.wav",          "empty.wav", "short.wav",   "text.wav",
                               ".work in progress.wav", "a.txt",     "foreign.wav", "link.wav"};
  for (const char* name : files) before.push_back(ReadFile(RecordingPath(name)));
  EXPECT_THAT(Recover(), IsEmpty());
  EXPECT_THAT(LogLines(), IsEmpty());
  for (std::size_t i = 0; i < std::size(files); ++i)
    EXPECT_EQ(ReadFile(RecordingPath(files[i])), before[i]) << files[i];
}

TEST_F(RecoverRecordings, AFolderThatIsNotThereHasNothingToRecover) {
  std::filesystem::remove_all(DataPath("Recordings"));
  EXPECT_THAT(Recover(), IsEmpty());
}

}  // namespace
