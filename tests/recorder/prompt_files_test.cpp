#include "recorder/prompt_files.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "audio/wave_file.h"
#include "tests/audio/mp3/mp3_writer.h"
#include "tests/support/recorded_progress.h"
#include "tests/support/recorder_fixture.h"
#include "tests/support/test_signals.h"
#include "tests/support/wave_bytes.h"

namespace {

using kiv::PromptImport;
using kiv::test::Little16;
using kiv::test::Little32;
using kiv::test::MakeHeader;
using kiv::test::NoiseStream;
using kiv::test::Random;
using kiv::test::ReadFile;
using kiv::test::RecordedProgress;
using kiv::test::TrailingTag;
using kiv::test::WaveBytes;
using kiv::test::WriteFile;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

std::string Samples(std::int32_t frames, int channels) {
  std::string data;
  for (std::int32_t i = 0; i < frames * channels; ++i) data += Little16(static_cast<std::uint32_t>(i % 1000));
  return data;
}

class PromptFiles : public kiv::test::RecorderFixture {
 protected:
  std::string Mp3Bytes(int frames) {
    return NoiseStream(3, MakeHeader(MP3Version::Mpeg1, 128, 0), frames) + TrailingTag();
  }
  // Every file in the data folder but the program's folders.
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(home.Path() + "/Kiv")) {
      if (!entry.is_directory()) names.push_back(entry.path().filename().string());
    }
    return names;
  }
};

// --- System prompts

class MissingPrompts : public PromptFiles {
 protected:
  MissingPrompts() {
    std::filesystem::create_directories(resources_ + "/prompts");
    for (char const* const name : kiv::kSystemPrompts) {
      WriteFile(resources_ + "/prompts/" + name + ".mp3", Mp3Bytes(20));
    }
    SetResources(resources_);
  }
  // The names of the prompts that were converted, in order.
  std::vector<std::string> Extract() {
    std::vector<std::string> names;
    kiv::ExtractMissingPrompts([&](LFileExtractorProcess& job) {
      EXPECT_EQ(std::filesystem::path(job.sourcePath).stem(), std::filesystem::path(job.destinationPath).stem());
      names.push_back(std::filesystem::path(job.destinationPath).stem().string());
      RecordedProgress progress;
      Process(progress, job);
    });
    return names;
  }

  const std::string resources_ = home.File("resources");
};

TEST_F(MissingPrompts, AllSixAreConvertedInOrderAtTheFirstStart) {
  EXPECT_THAT(Extract(),
              ElementsAre("Start Prompt", "End Prompt", "On-Hold 1", "On-Hold 2", "On-Hold 3", "Record Tone"));
  EXPECT_THAT(Names(), testing::UnorderedElementsAre("Start Prompt.wav", "End Prompt.wav", "On-Hold 1.wav",
                                                     "On-Hold 2.wav", "On-Hold 3.wav", "Record Tone.wav"));
  EXPECT_THAT(Extract(), IsEmpty());
}

TEST_F(MissingPrompts, OneThatWasDeletedIsConvertedAgain) {
  Extract();
  const std::string before = ReadFile(DataPath("On-Hold 2.wav"));
  std::filesystem::remove(DataPath("On-Hold 2.wav"));
  WriteFile(DataPath("On-Hold 1.wav"), "the user's own");
  EXPECT_THAT(Extract(), ElementsAre("On-Hold 2"));
  EXPECT_EQ(ReadFile(DataPath("On-Hold 2.wav")), before);
  EXPECT_EQ(ReadFile(DataPath("On-Hold 1.wav")), "the user's own");
}

TEST_F(MissingPrompts, OneThatWasStoppedIsNotConvertedAgain) {
  for (char const* const name : kiv::kSystemPrompts) WriteFile(resources_ + "/prompts/" + name + ".mp3", Mp3Bytes(400));
  kiv::ExtractMissingPrompts([](LFileExtractorProcess& job) {
    RecordedProgress progress;
    progress.stopAt = [](int asked) { return asked == 1; };
    EXPECT_EQ(Process(progress, job), kiv::kConversionFailed);
  });
  EXPECT_EQ(ReadFile(DataPath("Start Prompt.wav")).size(), 46U + 8192 * 2);
  EXPECT_THAT(Extract(), IsEmpty());
}

TEST_F(MissingPrompts, OneWithoutAResourceIsTriedAndLeftOut) {
  std::filesystem::remove(resources_ + "/prompts/End Prompt.mp3");
  EXPECT_EQ(Extract().size(), 6U);
  EXPECT_FALSE(std::filesystem::exists(DataPath("End Prompt.wav")));
  EXPECT_THAT(Extract(), ElementsAre("End Prompt"));
}

TEST(PromptResources, PathIsEmptyWithoutAResourcesFolder) {
  char path[kiv::kTextSize] = "x";
  kiv::PathOfPromptResource(path, "On-Hold 1");
  EXPECT_STREQ(path, "");
}

// --- Replacing a prompt by a file of the user's

class ImportedPrompt : public PromptFiles {
 protected:
  ImportedPrompt() { WriteFile(prompt_, old_); }

  PromptImport Import(const std::string& bytes) {
    WriteFile(sound_, bytes);
    return ImportFile(sound_);
  }
  PromptImport ImportFile(const std::string& path) {
    windows_ = 0;
    return kiv::ImportPrompt(path.c_str(), prompt_.c_str(), [this](LPRSourceToSink& job) {
      ++windows_;
      return Process(progress_, job);
    });
  }
  void ExpectUntouched(const std::string& why = {}) {
    EXPECT_EQ(ReadFile(prompt_), old_) << why;
    EXPECT_THAT(Names(), ElementsAre("On-Hold 2.wav")) << why;
  }
  // Frames of the prompt, which must be a file of the prompts' format.
  std::int32_t Frames() {
    LSoundSource written = LWaveFile::OpenSource(prompt_.c_str());
    EXPECT_EQ(written->Error(), kSourceGood);
    EXPECT_EQ(written->Rate(), 8000);
    EXPECT_EQ(written->Channels(), 1);
    EXPECT_EQ(ReadFile(prompt_).substr(34, 2), Little16(16));
    EXPECT_EQ(ReadFile(prompt_).size(), 46U + static_cast<std::size_t>(written->GetEndSample()) * 2U);
    return written->GetEndSample();
  }

  const std::string sound_ = home.File("chosen");
  const std::string prompt_ = DataPath("On-Hold 2.wav");
  const std::string kept_ = DataPath(".kiv-kept-On-Hold 2.wav");
  const std::string old_ = WaveBytes({}, Samples(5000, 1));
  RecordedProgress progress_;
  int windows_ = 0;
};

TEST_F(ImportedPrompt, WavOf44100HzStereoBecomesTheFormatOfPrompts) {
  EXPECT_EQ(Import(WaveBytes({.channels = 2, .rateHz = 44100}, Samples(44100, 2))), PromptImport::Converted);
  EXPECT_EQ(Frames(), 8000);
  EXPECT_EQ(windows_, 1);
  EXPECT_THAT(progress_.lines, ElementsAre(Pair(0, "Process Audio"), Pair(1, "Please wait...")));
  EXPECT_THAT(Names(), ElementsAre("On-Hold 2.wav"));
}

TEST_F(ImportedPrompt, WavInTheFormatOfPromptsKeepsItsSamples) {
  const std::string data = Samples(20000, 1);
  EXPECT_EQ(Import(WaveBytes({}, data)), PromptImport::Converted);
  EXPECT_EQ(ReadFile(prompt_).substr(46), data);
}

TEST_F(ImportedPrompt, WavOf8BitsIsTaken) {
  EXPECT_EQ(Import(WaveBytes({.bits = 8}, std::string(3000, '\x90'))), PromptImport::Converted);
  EXPECT_EQ(ReadFile(prompt_).substr(46, 2), Little16(0x1000));
  EXPECT_EQ(Frames(), 3000);
}

TEST_F(ImportedPrompt, WavWithoutFramesMakesAPromptWithoutFrames) {
  EXPECT_EQ(Import(WaveBytes({}, "")), PromptImport::Converted);
  EXPECT_EQ(Frames(), 0);
}

TEST_F(ImportedPrompt, Mp3IsTriedAfterWav) {
  EXPECT_EQ(Import(Mp3Bytes(100)), PromptImport::Converted);
  EXPECT_NEAR(Frames(), 100 * 1152 * 39 / 215, 1);
  EXPECT_THAT(Names(), ElementsAre("On-Hold 2.wav"));
}

TEST_F(ImportedPrompt, Mp3InsideAWavFileIsTaken) {
  EXPECT_EQ(Import(WaveBytes({.tag = 0x55, .channels = 2, .rateHz = 44100, .bits = 0}, Mp3Bytes(100))),
            PromptImport::Converted);
  EXPECT_NEAR(Frames(), 100 * 1152 * 39 / 215, 1);
}

TEST_F(ImportedPrompt, MayBeMadeFromItself) {
  EXPECT_EQ(ImportFile(prompt_), PromptImport::Converted);
  EXPECT_EQ(ReadFile(prompt_).substr(46), old_.substr(44));
  EXPECT_THAT(Names(), ElementsAre("On-Hold 2.wav"));
}

TEST_F(ImportedPrompt, MayBeMissingBefore) {
  std::filesystem::remove(prompt_);
  EXPECT_EQ(Import(WaveBytes({}, Samples(100, 1))), PromptImport::Converted);
  EXPECT_EQ(Frames(), 100);
  EXPECT_THAT(Names(), ElementsAre("On-Hold 2.wav"));
}

TEST_F(ImportedPrompt, UnreadableFilesChangeNothingAndShowNoWindow) {
  const std::vector<std::string> unreadable = {
      "",
      "not a sound",
      std::string(200000, 'x'),
      // A tag in front of nothing.
      std::string("ID3").append(2000, '\0'),
      WaveBytes({.bits = 24}, Samples(3000, 1)),
      WaveBytes({.tag = 3, .bits = 32}, Samples(3000, 1)),
      // Frames that the decoder does not take: Layer II.
      std::string("\xFF\xFD\x90\x00", 4) + std::string(100000, '\0'),
      WaveBytes({.channels = 6}, Samples(100, 6)),
      WaveBytes({.rateHz = 1}, Samples(100, 1)),
      // Longer at 8000 Hz than a position can tell.
      kiv::test::Riff(kiv::test::Chunk("fmt ", kiv::test::FormatBytes({.rateHz = 1000})) +
                      kiv::test::ChunkOfSize("data", 0x7FFFFFF0, "")),
      // Longer than a position can tell anyway.
      kiv::test::Riff(kiv::test::Chunk("fmt ", kiv::test::FormatBytes({.bits = 8})) +
                      kiv::test::ChunkOfSize("data", 0xFFFFFFF0, "")),
  };
  for (std::size_t i = 0; i < unreadable.size(); ++i) {
    EXPECT_EQ(Import(unreadable[i]), PromptImport::NotReadable) << i;
    EXPECT_EQ(windows_, 0) << i;
    ExpectUntouched(std::to_string(i));
  }
  for (const std::string& path : {home.File("missing"), home.Path(), std::string("/dev/null")}) {
    EXPECT_EQ(ImportFile(path), PromptImport::NotReadable) << path;
    ExpectUntouched(path);
  }
}

// Four bytes that could begin an MP3 frame are somewhere in most of them.
TEST_F(ImportedPrompt, RandomBytesChangeNothing) {
  Random random(11);
  for (int i = 0; i < 50; ++i) {
    std::string bytes(static_cast<std::size_t>(random.Between(0, 150000)), '\0');
    for (char& byte : bytes) byte = static_cast<char>(random.Between(0, 255));
    EXPECT_EQ(Import(bytes), PromptImport::NotReadable);
    ExpectUntouched();
    EXPECT_EQ(Import(WaveBytes({.bits = 24}, bytes)), PromptImport::NotReadable);
    ExpectUntouched();
  }
}

// Whatever the bytes, there is a whole prompt afterwards: the old one, or one that the bytes made.
TEST_F(ImportedPrompt, DamagedFilesLeaveAWholePrompt) {
  Random random(12);
  const std::string wave = WaveBytes({.channels = 2, .rateHz = 44100}, Samples(3000, 2));
  const std::string mp3 = Mp3Bytes(30);
  for (int i = 0; i < 100; ++i) {
    std::string bytes = i % 2 == 0 ? wave : mp3;
    const int changes = random.Between(1, 8);
    for (int change = 0; change < changes; ++change) {
      // Most of the damage where the fields are.
      const auto last = static_cast<std::int32_t>(random.Between(0, 1) == 0 ? 60 : bytes.size() - 1);
      bytes[static_cast<std::size_t>(random.Between(0, last))] = static_cast<char>(random.Between(0, 255));
    }
    if (random.Between(0, 3) == 0) bytes.resize(static_cast<std::size_t>(random.Between(0, 3000)));
    WriteFile(prompt_, old_);
    // False sizes may promise hours.
    progress_ = {};
    progress_.stopAt = [](int asked) { return asked == 10; };
    const PromptImport outcome = Import(bytes);
    if (outcome == PromptImport::NotReadable) {
      ExpectUntouched();
    } else {
      EXPECT_THAT(outcome, testing::AnyOf(PromptImport::Converted, PromptImport::Stopped));
      Frames();
    }
    EXPECT_THAT(Names(), ElementsAre("On-Hold 2.wav"));
  }
}

TEST_F(ImportedPrompt, StopLeavesWhatItHasWritten) {
  progress_.stopAt = [this](int asked) {
    // Written in its place, with the old one beside it until the end is known.
    EXPECT_EQ(ReadFile(kept_), old_);
    EXPECT_EQ(ReadFile(prompt_).size(), 46U + static_cast<std::size_t>(asked) * 8192U * 2U);
    return asked == 2;
  };
  EXPECT_EQ(Import(WaveBytes({}, Samples(50000, 1))), PromptImport::Stopped);
  EXPECT_EQ(Frames(), 2 * 8192);
  EXPECT_THAT(Names(), ElementsAre("On-Hold 2.wav"));
}

TEST_F(ImportedPrompt, WithoutAWindowTheOldPromptComesBack) {
  WriteFile(sound_, WaveBytes({}, Samples(50000, 1)));
  EXPECT_EQ(kiv::ImportPrompt(sound_.c_str(), prompt_.c_str(), [](LPRSourceToSink&) { return 2; }),
            PromptImport::Failed);
  ExpectUntouched();
}

TEST_F(ImportedPrompt, FailureWithoutAnOldPromptLeavesNone) {
  std::filesystem::remove(prompt_);
  WriteFile(sound_, WaveBytes({}, Samples(50000, 1)));
  EXPECT_EQ(kiv::ImportPrompt(sound_.c_str(), prompt_.c_str(), [](LPRSourceToSink&) { return 2; }),
            PromptImport::Failed);
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(ImportedPrompt, PlaceThatCannotBeWrittenFailsUnderAWindow) {
  std::filesystem::remove(prompt_);
  std::filesystem::create_directory(prompt_);
  EXPECT_EQ(Import(WaveBytes({}, Samples(100, 1))), PromptImport::Failed);
  EXPECT_EQ(windows_, 1);
  EXPECT_EQ(progress_.asked, 0);
  EXPECT_TRUE(std::filesystem::is_directory(prompt_));
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(ImportedPrompt, FolderThatIsGoneFails) {
  WriteFile(sound_, WaveBytes({}, Samples(100, 1)));
  EXPECT_EQ(kiv::ImportPrompt(sound_.c_str(), home.File("gone/On-Hold 2.wav").c_str(),
                              [this](LPRSourceToSink& job) { return Process(progress_, job); }),
            PromptImport::Failed);
  EXPECT_FALSE(std::filesystem::exists(home.File("gone")));
}

TEST_F(ImportedPrompt, LinkToAPieceOfMusicDoesNotCostTheMusic) {
  const std::string music = home.File("music.wav");
  std::filesystem::rename(prompt_, music);
  std::filesystem::create_symlink(music, prompt_);
  EXPECT_EQ(Import(WaveBytes({}, Samples(100, 1))), PromptImport::Converted);
  EXPECT_EQ(Frames(), 100);
  EXPECT_FALSE(std::filesystem::is_symlink(prompt_));
  EXPECT_EQ(ReadFile(music), old_);
}

// Runs import in a process of its own, in which a file cannot become larger than that, and answers the exit status.
template <typename Import>
int RunWithFileLimit(rlim_t bytes, Import import) {
  const pid_t child = fork();
  if (child == 0) {
    const rlimit limit{bytes, bytes};
    setrlimit(RLIMIT_FSIZE, &limit);
    _exit(import());
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(ImportedPrompt, FullDiskPutsTheOldPromptBack) {
  WriteFile(sound_, WaveBytes({}, Samples(50000, 1)));
  for (const rlim_t bytes : {rlim_t{0}, rlim_t{20}, rlim_t{46}, rlim_t{20000}, rlim_t{100000}}) {
    EXPECT_EQ(RunWithFileLimit(bytes, [this] { return static_cast<int>(ImportFile(sound_)); }),
              static_cast<int>(PromptImport::Failed))
        << bytes;
    ExpectUntouched(std::to_string(bytes));
  }
  EXPECT_EQ(RunWithFileLimit(100046, [this] { return static_cast<int>(ImportFile(sound_)); }),
            static_cast<int>(PromptImport::Converted));
  EXPECT_EQ(Frames(), 50000);
}

TEST_F(ImportedPrompt, FullDiskCountsMoreThanAStop) {
  WriteFile(sound_, WaveBytes({}, Samples(50000, 1)));
  progress_.stopAt = [](int asked) { return asked == 1; };
  EXPECT_EQ(RunWithFileLimit(46, [this] { return static_cast<int>(ImportFile(sound_)); }),
            static_cast<int>(PromptImport::Failed));
  ExpectUntouched();
}

TEST_F(ImportedPrompt, CrashAtAnyPieceLeavesTheOldPromptForTheNextStart) {
  WriteFile(sound_, WaveBytes({}, Samples(50000, 1)));
  for (int piece = 0; piece < 7; ++piece) {
    EXPECT_EQ(RunWithFileLimit(RLIM_INFINITY,
                               [&] {
                                 progress_.stopAt = [piece](int asked) {
                                   if (asked == piece) _exit(99);
                                   return false;
                                 };
                                 return static_cast<int>(ImportFile(sound_));
                               }),
              99);
    EXPECT_NE(ReadFile(prompt_), old_);
    int windows = 0;
    kiv::ExtractMissingPrompts([&](LFileExtractorProcess& job) {
      EXPECT_EQ(std::string(job.destinationPath).find("On-Hold 2"), std::string::npos);
      ++windows;
    });
    EXPECT_EQ(windows, 5);
    ExpectUntouched(std::to_string(piece));
  }
}

TEST_F(ImportedPrompt, CrashBeforeTheNewFileWasMadeLeavesTheOldPromptForTheNextStart) {
  std::filesystem::rename(prompt_, kept_);
  kiv::PutBackKeptPrompts();
  ExpectUntouched();
}

TEST_F(ImportedPrompt, NextImportAfterACrashKeepsTheOldPromptToo) {
  std::filesystem::rename(prompt_, kept_);
  WriteFile(prompt_, "half");
  progress_.stopAt = [this](int) {
    EXPECT_EQ(ReadFile(kept_), old_);
    return false;
  };
  EXPECT_EQ(Import(WaveBytes({}, Samples(100, 1))), PromptImport::Converted);
  EXPECT_THAT(Names(), ElementsAre("On-Hold 2.wav"));
}

}  // namespace
