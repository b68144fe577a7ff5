// The program as people run it.

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "audio/processing/process_agc.h"
#include "audio/wave_file.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_signals.h"
#include "tests/tools/run_program.h"

namespace {

using kiv::test::Limits;
using kiv::test::Outcome;
using kiv::test::ReadFile;
using kiv::test::RunProgram;
using kiv::test::TemporaryFolder;

Outcome KivLevel(const TemporaryFolder& folder, const std::vector<std::string>& arguments, const Limits& limits = {}) {
  return RunProgram(KIV_LEVEL, folder, arguments, limits);
}

std::vector<std::int32_t> Tone(std::int32_t frames, int channels) {
  return kiv::test::Sine(700, 60000, 8000, frames, channels);
}

void WriteWave(const std::string& path, const std::vector<std::int32_t>& samples, std::uint8_t channels) {
  LSoundSink sink = LWaveFile::OpenSinkPCM(path.c_str(), 8000, channels, 16, 0);
  sink->Write(samples.data(), static_cast<std::int32_t>(samples.size() / channels));
}

std::vector<std::string> Names(const TemporaryFolder& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
    names.push_back(entry.path().filename().string());
  }
  return names;
}

TEST(KivLevel, WritesWhatTheLevelControlOfRecordingsWrites) {
  const TemporaryFolder folder;
  for (const std::uint8_t channels : std::vector<std::uint8_t>{1, 2}) {
    WriteWave(folder.File("in.wav"), Tone(50000, channels), channels);
    const Outcome run = KivLevel(folder, {folder.File("in.wav"), folder.File("out.wav")});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, testing::HasSubstr("50 %"));
    EXPECT_TRUE(run.err.ends_with("100 %\n")) << run.err;

    struct Worker {
      static bool IsStopRequested() { return false; }
      static void SetProgress(double /*progress*/) {}
    } worker;
    LDPAutoGain::SetTemporaryFolder(folder.Path());
    {
      LSoundSource source = LWaveFile::OpenSource(folder.File("in.wav").c_str());
      LSoundSink sink = LWaveFile::OpenSinkPCM(folder.File("same.wav").c_str(), 8000, channels, 16, 0);
      EXPECT_EQ(kiv::ProcessRecordingAGC(worker, source, sink), 0);
    }
    EXPECT_EQ(ReadFile(folder.File("out.wav")), ReadFile(folder.File("same.wav")));
    EXPECT_EQ(ReadFile(folder.File("out.wav")).size(), 46U + 50080U * 2U * channels);
    EXPECT_THAT(Names(folder), testing::UnorderedElementsAre("in.wav", "out.wav", "same.wav"));
  }
}

TEST(KivLevel, HelpGoesToStandardOutput) {
  const TemporaryFolder folder;
  for (const char* const option : {"--help", "-h"}) {
    const Outcome run = KivLevel(folder, {option});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, testing::StartsWith("Usage: kiv-level IN.wav OUT.wav\n"));
    EXPECT_EQ(run.err, "");
  }
}

TEST(KivLevel, WrongArgumentsGiveTheUsageAndStatusTwo) {
  const TemporaryFolder folder;
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{}, {"one.wav"}, {"one.wav", "two.wav", "three.wav"}}) {
    const Outcome run = KivLevel(folder, arguments);
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, testing::StartsWith("Usage:"));
  }
}

TEST(KivLevel, InputAsOutputIsRefusedAlsoBehindLinks) {
  const TemporaryFolder folder;
  WriteWave(folder.File("in.wav"), Tone(8000, 1), 1);
  const std::string before = ReadFile(folder.File("in.wav"));
  ASSERT_EQ(symlink(folder.File("in.wav").c_str(), folder.File("soft.wav").c_str()), 0);
  ASSERT_EQ(link(folder.File("in.wav").c_str(), folder.File("hard.wav").c_str()), 0);
  const std::string roundabout = folder.Path() + "/./in.wav";
  for (const std::string& out : {folder.File("in.wav"), folder.File("soft.wav"), folder.File("hard.wav"), roundabout}) {
    const Outcome run = KivLevel(folder, {folder.File("in.wav"), out});
    EXPECT_EQ(run.status, 2) << out;
    EXPECT_THAT(run.err, testing::HasSubstr("is the input itself"));
  }
  EXPECT_EQ(KivLevel(folder, {folder.File("soft.wav"), folder.File("in.wav")}).status, 2);
  EXPECT_EQ(ReadFile(folder.File("in.wav")), before);
  EXPECT_THAT(Names(folder), testing::UnorderedElementsAre("in.wav", "soft.wav", "hard.wav"));
}

TEST(KivLevel, BadInputsFailAndLeaveTheOutputAlone) {
  const TemporaryFolder folder;
  kiv::test::WriteFile(folder.File("text.wav"), "not a sound");
  kiv::test::WriteFile(folder.File("out.wav"), "precious");
  for (const std::string& in : {folder.File("text.wav"), folder.File("missing.wav"), folder.Path()}) {
    const Outcome run = KivLevel(folder, {in, folder.File("out.wav")});
    EXPECT_EQ(run.status, 2) << in;
    EXPECT_THAT(run.err, testing::StartsWith("kiv-level: " + in + ": "));
  }
  EXPECT_EQ(ReadFile(folder.File("out.wav")), "precious");
  EXPECT_THAT(Names(folder), testing::UnorderedElementsAre("text.wav", "out.wav"));
}

TEST(KivLevel, PlacesThatCannotBeWrittenFail) {
  const TemporaryFolder folder;
  WriteWave(folder.File("in.wav"), Tone(8000, 1), 1);
  EXPECT_EQ(KivLevel(folder, {folder.File("in.wav"), folder.File("missing/out.wav")}).status, 2);
  EXPECT_EQ(KivLevel(folder, {folder.File("in.wav"), folder.Path()}).status, 2);
  // A device must not be replaced by a file.
  EXPECT_EQ(KivLevel(folder, {folder.File("in.wav"), "/dev/null"}).status, 2);
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST(KivLevel, FullDiskLeavesTheOutputAlone) {
  const TemporaryFolder folder;
  WriteWave(folder.File("in.wav"), Tone(100000, 1), 1);
  kiv::test::WriteFile(folder.File("out.wav"), "precious");
  for (const rlim_t bytes : {rlim_t{0}, rlim_t{100}, rlim_t{150000}, rlim_t{250000}}) {
    const Outcome run = KivLevel(folder, {folder.File("in.wav"), folder.File("out.wav")}, {.fileBytes = bytes});
    EXPECT_EQ(run.status, 2) << bytes << run.err;
    EXPECT_EQ(ReadFile(folder.File("out.wav")), "precious");
  }
  EXPECT_THAT(Names(folder), testing::UnorderedElementsAre("in.wav", "out.wav"));
}

TEST(KivLevel, SignalStopsItWithStatusOneAndWithoutTraces) {
  const TemporaryFolder folder;
  // Eight hours, nearly all of them a hole: work for far longer than any signal is on its way.
  constexpr std::uintmax_t kFrames = 8 * 3600 * 8000;
  WriteWave(folder.File("in.wav"), Tone(8000, 1), 1);
  {
    std::fstream header(folder.File("in.wav"), std::ios::in | std::ios::out | std::ios::binary);
    header.seekp(42);
    header.write("\xFF\xFF\xFF\xFF", 4);  // As much as there is.
  }
  std::filesystem::resize_file(folder.File("in.wav"), 46 + 2 * kFrames);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const Outcome run = KivLevel(folder, {folder.File("in.wav"), folder.File("out.wav")}, {.signalAtProgress = signal});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.err.ends_with("\nkiv-level: stopped\n")) << run.err;
    EXPECT_THAT(Names(folder), testing::UnorderedElementsAre("in.wav"));
  }
}

TEST(KivLevel, ReplacesTheFileBehindALinkAndKeepsItsPermissions) {
  const TemporaryFolder folder;
  WriteWave(folder.File("in.wav"), Tone(8000, 1), 1);
  kiv::test::WriteFile(folder.File("real.wav"), "old");
  ASSERT_EQ(chmod(folder.File("real.wav").c_str(), 0640), 0);
  ASSERT_EQ(symlink("real.wav", folder.File("out.wav").c_str()), 0);
  EXPECT_EQ(KivLevel(folder, {folder.File("in.wav"), folder.File("out.wav")}).status, 0);
  EXPECT_TRUE(std::filesystem::is_symlink(folder.File("out.wav")));
  EXPECT_EQ(ReadFile(folder.File("real.wav")).size(), 46U + 16000U);
  struct stat status {};
  ASSERT_EQ(stat(folder.File("real.wav").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640U);
}

TEST(KivLevel, EmptyRecordingBecomesOneBlockOfSilence) {
  const TemporaryFolder folder;
  WriteWave(folder.File("in.wav"), {}, 1);
  EXPECT_EQ(KivLevel(folder, {folder.File("in.wav"), folder.File("out.wav")}).status, 0);
  EXPECT_EQ(ReadFile(folder.File("out.wav")).size(), 46U + 320U);
}

}  // namespace
