// The program as people run it.

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "audio/wave_file.h"
#include "recorder/prompt_files.h"
#include "tests/audio/mp3/mp3_writer.h"
#include "tests/support/recorded_progress.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/wave_bytes.h"
#include "tests/tools/run_program.h"

namespace {

using kiv::test::Limits;
using kiv::test::Little16;
using kiv::test::MakeHeader;
using kiv::test::NoiseStream;
using kiv::test::Outcome;
using kiv::test::ReadFile;
using kiv::test::TrailingTag;
using kiv::test::WaveBytes;
using kiv::test::WriteFile;
using testing::HasSubstr;

class KivConvert : public testing::Test {
 protected:
  Outcome Run(const std::vector<std::string>& arguments, const Limits& limits = {}) {
    return kiv::test::RunProgram(KIV_CONVERT, folder_, arguments, limits);
  }
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }
  static std::string Samples(std::size_t count) {
    std::string data;
    for (std::size_t i = 0; i < count; ++i) data += Little16(static_cast<std::uint32_t>(i % 2000));
    return data;
  }

  const kiv::test::TemporaryFolder folder_;
  const std::string in_ = folder_.File("in");
  const std::string out_ = folder_.File("out.wav");
};

TEST_F(KivConvert, WritesWhatLoadingThePromptWrites) {
  const std::string mp3 = NoiseStream(4, MakeHeader(MP3Version::Mpeg1, 128, 0), 200) + TrailingTag();
  const std::string wave = WaveBytes({.channels = 2, .rateHz = 44100}, Samples(300000));
  for (const std::string& bytes : {mp3, wave}) {
    WriteFile(in_, bytes);
    const Outcome run = Run({in_, out_});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, testing::StartsWith("\rkiv-convert:   0 %"));
    EXPECT_TRUE(run.err.ends_with("kiv-convert: 100 %\n")) << run.err;
    EXPECT_THAT(Names(), testing::UnorderedElementsAre("in", "out.wav"));

    const std::string same = folder_.File("same.wav");
    EXPECT_EQ(kiv::ImportPrompt(in_.c_str(), same.c_str(),
                                [](LPRSourceToSink& job) {
                                  kiv::test::RecordedProgress progress;
                                  return Process(progress, job);
                                }),
              kiv::PromptImport::Converted);
    EXPECT_EQ(ReadFile(out_), ReadFile(same));
    EXPECT_EQ(LWaveFile::OpenSource(out_.c_str())->Rate(), 8000);
    EXPECT_GT(ReadFile(out_).size(), 50000U);
    std::filesystem::remove(same);
  }
}

TEST_F(KivConvert, HelpGoesToStandardOutput) {
  for (const char* const option : {"--help", "-h"}) {
    const Outcome run = Run({option});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, testing::StartsWith("Usage: kiv-convert IN OUT.wav\n"));
    EXPECT_EQ(run.err, "");
  }
}

TEST_F(KivConvert, WrongArgumentsGiveTheUsageAndStatusTwo) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{}, {"one"}, {"1", "2", "3"}}) {
    const Outcome run = Run(arguments);
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, testing::StartsWith("Usage: kiv-convert"));
  }
}

TEST_F(KivConvert, BadInputsFailWithAReasonAndLeaveTheOutputAlone) {
  WriteFile(out_, "precious");
  const std::vector<std::pair<std::string, std::string>> bad = {
      {"", "neither a WAV file nor an MP3 file"},
      {"not a sound", "neither a WAV file nor an MP3 file"},
      {std::string(100000, 'x'), "neither a WAV file nor an MP3 file"},
      {WaveBytes({.bits = 24}, Samples(3000)), "more than 16 bits"},
      {WaveBytes({.channels = 6}, Samples(3000)), "two channels"},
  };
  for (const auto& [bytes, reason] : bad) {
    WriteFile(in_, bytes);
    const Outcome run = Run({in_, out_});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, testing::StartsWith("kiv-convert: " + in_ + ": ")) << reason;
    EXPECT_THAT(run.err, HasSubstr(reason));
  }
  for (const std::string& in : {folder_.File("missing"), folder_.Path(), std::string("/dev/null")}) {
    const Outcome run = Run({in, out_});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, testing::StartsWith("kiv-convert: " + in + ": "));
  }
  EXPECT_EQ(ReadFile(out_), "precious");
  EXPECT_THAT(Names(), testing::UnorderedElementsAre("in", "out.wav"));
}

TEST_F(KivConvert, InputAsOutputIsRefusedAlsoBehindLinks) {
  WriteFile(in_, WaveBytes({}, Samples(1000)));
  const std::string before = ReadFile(in_);
  ASSERT_EQ(symlink(in_.c_str(), folder_.File("soft").c_str()), 0);
  ASSERT_EQ(link(in_.c_str(), folder_.File("hard").c_str()), 0);
  for (const std::string& out : {in_, folder_.File("soft"), folder_.File("hard"), folder_.Path() + "/./in"}) {
    const Outcome run = Run({in_, out});
    EXPECT_EQ(run.status, 2) << out;
    EXPECT_THAT(run.err, HasSubstr("is the input itself"));
  }
  EXPECT_EQ(ReadFile(in_), before);
}

TEST_F(KivConvert, PlacesThatCannotBeWrittenFail) {
  WriteFile(in_, WaveBytes({}, Samples(1000)));
  for (const std::string& out : {folder_.File("missing/out.wav"), folder_.Path(), std::string("/dev/null")}) {
    EXPECT_EQ(Run({in_, out}).status, 2) << out;
  }
  EXPECT_THAT(Names(), testing::ElementsAre("in"));
}

TEST_F(KivConvert, FullDiskLeavesTheOutputAlone) {
  WriteFile(in_, WaveBytes({}, Samples(100000)));
  WriteFile(out_, "precious");
  for (const rlim_t bytes : {rlim_t{0}, rlim_t{20}, rlim_t{46}, rlim_t{150000}}) {
    const Outcome run = Run({in_, out_}, {.fileBytes = bytes});
    EXPECT_EQ(run.status, 2) << bytes << run.err;
    EXPECT_THAT(run.err, HasSubstr("could not be written in full"));
    EXPECT_EQ(ReadFile(out_), "precious");
  }
  EXPECT_THAT(Names(), testing::UnorderedElementsAre("in", "out.wav"));
}

TEST_F(KivConvert, SignalStopsItWithStatusOneAndWithoutTraces) {
  // Hours, as its header says; what is not there is silence.
  WriteFile(in_, WaveBytes({.channels = 2, .rateHz = 44100}, "").substr(0, 40) + kiv::test::Little32(0xFFFFFFF0));
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const Outcome run = Run({in_, out_}, {.signalAtProgress = signal});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.err.ends_with("\nkiv-convert: stopped\n")) << run.err;
    EXPECT_THAT(Names(), testing::ElementsAre("in"));
  }
}

TEST_F(KivConvert, ReplacesTheFileBehindALinkAndKeepsItsPermissions) {
  WriteFile(in_, WaveBytes({}, Samples(1000)));
  WriteFile(folder_.File("real.wav"), "old");
  ASSERT_EQ(chmod(folder_.File("real.wav").c_str(), 0640), 0);
  ASSERT_EQ(symlink("real.wav", out_.c_str()), 0);
  EXPECT_EQ(Run({in_, out_}).status, 0);
  EXPECT_TRUE(std::filesystem::is_symlink(out_));
  EXPECT_EQ(ReadFile(folder_.File("real.wav")).size(), 46U + 2000U);
  struct stat status {};
  ASSERT_EQ(stat(folder_.File("real.wav").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640U);
}

}  // namespace
