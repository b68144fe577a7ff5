#include "recorder/prompt_conversion.h"

#include <algorithm>
#include <filesystem>
#include <limits>

#include "audio/convert_rate.h"
#include "audio/mp3/mp3_file.h"
#include "audio/processing/gain.h"
#include "audio/processing/peak_limit.h"
#include "audio/wave_file.h"
#include "tests/audio/mp3/mp3_writer.h"
#include "tests/support/recorded_progress.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_signals.h"
#include "tests/support/wave_bytes.h"

namespace {

using kiv::test::MakeHeader;
using kiv::test::MemorySink;
using kiv::test::NoiseStream;
using kiv::test::OpenMemory;
using kiv::test::RecordedProgress;
using kiv::test::TrailingTag;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

// A sink that keeps the sizes of what it is given, and fails when the test wants.
class CountingSink : public MemorySink {
 public:
  CountingSink() : MemorySink(8000, 1) {}
  void Write(std::int32_t const* buffer, std::int32_t frames) override {
    writes.push_back(frames);
    if (writes.size() == failsAt) error_ = kSinkFailed;
    MemorySink::Write(buffer, frames);
  }
  void Fail() { error_ = kSinkFailed; }

  std::vector<std::int32_t> writes;
  std::size_t failsAt = 0;
};

class PromptConversion : public testing::Test {
 protected:
  // Runs the source into sink_.
  int Convert(const LSoundSource& source) {
    LPRSourceToSink job{"Some Work", source, LSoundSink(sink_)};
    return Process(progress_, job);
  }
  int ConvertFrames(std::int32_t frames) { return Convert(OpenMemory(Ramp(frames), 8000, 1)); }
  static std::vector<std::int32_t> Ramp(std::int32_t frames) {
    std::vector<std::int32_t> samples;
    for (std::int32_t i = 0; i < frames; ++i) samples.push_back(i % 1000 * 16);
    return samples;
  }

  kiv::test::TemporaryFolder folder_;
  RecordedProgress progress_;
  // Kept by the handle below until the test ends.
  CountingSink* const sink_ = new CountingSink;
  const LSoundSink held_{sink_};
};

// --- The conversion

TEST_F(PromptConversion, TellsTheStatusAndStartsAtZero) {
  EXPECT_EQ(ConvertFrames(100), kiv::kConverted);
  EXPECT_THAT(progress_.lines, ElementsAre(Pair(0, "Some Work"), Pair(1, "Please wait...")));
  EXPECT_EQ(progress_.fractions.front(), 0.0);
}

TEST_F(PromptConversion, HundredFramesAreOneWriteAndProgressStaysAtZero) {
  EXPECT_EQ(ConvertFrames(100), kiv::kConverted);
  EXPECT_THAT(sink_->writes, ElementsAre(100));
  EXPECT_EQ(sink_->Samples(), Ramp(100));
  EXPECT_THAT(progress_.fractions, ElementsAre(0.0));
}

TEST_F(PromptConversion, WholePiecesEndWithAWholeFinalWrite) {
  EXPECT_EQ(ConvertFrames(3 * 8192), kiv::kConverted);
  EXPECT_THAT(sink_->writes, ElementsAre(8192, 8192, 8192));
  EXPECT_EQ(sink_->Samples(), Ramp(3 * 8192));
  EXPECT_THAT(progress_.fractions, ElementsAre(0.0, 1.0 / 3.0, 2.0 / 3.0));
  EXPECT_EQ(progress_.asked, 3);
}

TEST_F(PromptConversion, LastPieceIsTrimmedToTheEnd) {
  EXPECT_EQ(ConvertFrames(8192 + 1), kiv::kConverted);
  EXPECT_THAT(sink_->writes, ElementsAre(8192, 1));
  EXPECT_EQ(sink_->Samples(), Ramp(8192 + 1));
}

TEST_F(PromptConversion, SourceWithoutFramesWritesNothing) {
  EXPECT_EQ(ConvertFrames(0), kiv::kConverted);
  EXPECT_THAT(sink_->writes, IsEmpty());
  EXPECT_THAT(progress_.fractions, ElementsAre(0.0));
}

TEST_F(PromptConversion, SourceWithoutFramesMakesAValidFileWithoutFrames) {
  const std::string path = folder_.File("out.wav");
  LPRSourceToSink job{"", OpenMemory({}, 8000, 1), kiv::OpenPromptSink(path.c_str())};
  EXPECT_EQ(Process(progress_, job), kiv::kConverted);
  job.sink.Close();
  EXPECT_EQ(kiv::test::ReadFile(path).size(), 46U);
  LSoundSource written = LWaveFile::OpenSource(path.c_str());
  EXPECT_EQ(written->Error(), kSourceGood);
  EXPECT_EQ(written->GetEndSample(), 0);
}

TEST_F(PromptConversion, StopIsAskedBeforeEachPieceAndLeavesWhatIsWritten) {
  progress_.stopAt = [](int asked) { return asked == 2; };
  EXPECT_EQ(ConvertFrames(10 * 8192), kiv::kStopped);
  EXPECT_THAT(sink_->writes, ElementsAre(8192, 8192));
  EXPECT_THAT(progress_.fractions, ElementsAre(0.0, 0.1, 0.2));
}

TEST_F(PromptConversion, StopAtOnceWritesNothing) {
  progress_.stopAt = [](int) { return true; };
  EXPECT_EQ(ConvertFrames(100), kiv::kStopped);
  EXPECT_THAT(sink_->writes, IsEmpty());
}

TEST_F(PromptConversion, SourceInErrorFails) {
  EXPECT_EQ(Convert(LSoundSource()), kiv::kConversionFailed);
  EXPECT_THAT(sink_->writes, IsEmpty());
  EXPECT_THAT(progress_.lines, ElementsAre(Pair(0, "Some Work"), Pair(1, "Please wait...")));
  EXPECT_EQ(progress_.asked, 0);
}

TEST_F(PromptConversion, EmptySinkFails) {
  LPRSourceToSink job{"", OpenMemory(Ramp(100), 8000, 1), LSoundSink()};
  EXPECT_EQ(Process(progress_, job), kiv::kConversionFailed);
  EXPECT_EQ(progress_.asked, 0);
}

TEST_F(PromptConversion, SinkInErrorFails) {
  sink_->Fail();
  EXPECT_EQ(ConvertFrames(100), kiv::kConversionFailed);
  EXPECT_THAT(sink_->writes, IsEmpty());
  EXPECT_EQ(progress_.asked, 0);
}

TEST_F(PromptConversion, SinkThatTakesNoMoreFailsAtOnce) {
  sink_->failsAt = 2;
  EXPECT_EQ(ConvertFrames(10 * 8192), kiv::kConversionFailed);
  EXPECT_THAT(sink_->writes, ElementsAre(8192, 8192));
}

TEST_F(PromptConversion, FailureOfTheLastPieceIsAFailure) {
  sink_->failsAt = 2;
  EXPECT_EQ(ConvertFrames(8192 + 100), kiv::kConversionFailed);
}

TEST_F(PromptConversion, HoldsItsEndsOnlyWhileItRuns) {
  LSoundSource source = OpenMemory(Ramp(20000), 8000, 1);
  LPRSourceToSink job{"", source, LSoundSink(sink_)};
  std::vector<int> references;
  progress_.stopAt = [&](int) {
    references = {source->ReferenceCount(), sink_->ReferenceCount()};
    return false;
  };
  EXPECT_EQ(Process(progress_, job), kiv::kConverted);
  EXPECT_THAT(references, ElementsAre(3, 3));
  EXPECT_EQ(source->ReferenceCount(), 2);
  EXPECT_EQ(sink_->ReferenceCount(), 2);
}

TEST_F(PromptConversion, ChannelsRateAndPeakBecomeTheSinks) {
  LSoundSource source = OpenMemory(kiv::test::Sine(1000, 500000, 44100, 44100, 2), 44100, 2);
  EXPECT_EQ(Convert(source), kiv::kConverted);
  // The very samples that the three stages give one after the other.
  LSoundSource first = OpenMemory(kiv::test::Sine(1000, 500000, 44100, 44100, 1), 44100, 1);
  LSoundSource rate = LSPConvertRate(8000).OpenSource(first);
  LSoundSource limited = LSPPeakLimit(524272).OpenSource(rate);
  EXPECT_EQ(limited->Peak(), 524272);
  // Two more than the end: the position of a rate conversion is that of the frame read last, rounded down.
  ASSERT_EQ(limited->GetEndSample(), 7998);
  std::vector<std::int32_t> expected(8000);
  limited->Read(expected.data(), 8000);
  EXPECT_EQ(sink_->Samples(), expected);
}

TEST_F(PromptConversion, MonoBecomesStereoWhereTheSinkIs) {
  auto* const stereo = new MemorySink(8000, 2);
  LPRSourceToSink job{"", OpenMemory({16, 32, 48}, 8000, 1), LSoundSink(stereo)};
  EXPECT_EQ(Process(progress_, job), kiv::kConverted);
  EXPECT_THAT(stereo->Samples(), ElementsAre(16, 16, 32, 32, 48, 48));
}

TEST_F(PromptConversion, LoudMaterialIsLimitedNotWrapped) {
  EXPECT_EQ(Convert(OpenMemory(kiv::test::Sine(500, 2000000, 8000, 8000, 1), 8000, 1, kiv::kPeakRaised)),
            kiv::kConverted);
  const auto [least, most] = std::minmax_element(sink_->Samples().begin(), sink_->Samples().end());
  EXPECT_LE(*most, 524272);
  EXPECT_GE(*least, -524274);  // Three units below 16 bits: rounds to -32767.
  EXPECT_GT(*most, 500000);
  EXPECT_EQ(sink_->Samples().size(), 8000U);
}

TEST_F(PromptConversion, MoreThanTwoChannelsFailInsteadOfBeingTakenForOne) {
  for (const std::int32_t rate : {8000, 44100}) {
    EXPECT_EQ(Convert(OpenMemory(Ramp(6 * 10000), rate, 6)), kiv::kConversionFailed) << rate;
  }
  EXPECT_THAT(sink_->writes, IsEmpty());
}

TEST_F(PromptConversion, RatesTooFarApartFail) {
  EXPECT_EQ(Convert(OpenMemory(Ramp(100), 1, 1)), kiv::kConversionFailed);
  EXPECT_THAT(sink_->writes, IsEmpty());
}

// The length may turn out larger than it looked, and the display must not see more than all.
TEST_F(PromptConversion, ProgressNeverLeavesItsRange) {
  class Growing : public LSoundSourceBase {
   public:
    Growing() : LSoundSourceBase(8000, 1, kiv::kPeak16Bit) {}
    void Read(std::int32_t* buffer, std::int32_t frames) override {
      std::fill_n(buffer, frames, 0);
      position_ += frames;
    }
    std::int32_t GetPositionSample() const override { return position_; }
    std::int32_t GetEndSample() const override { return position_ < 50000 ? 10000 + position_ : 60000; }

   private:
    std::int32_t position_ = 0;
  };
  EXPECT_EQ(Convert(LSoundSource(new Growing)), kiv::kConverted);
  EXPECT_THAT(progress_.fractions, testing::Each(testing::AllOf(testing::Ge(0.0), testing::Le(1.0))));
  EXPECT_EQ(progress_.fractions.back(), 1.0);
  EXPECT_EQ(sink_->Samples().size(), 60000U);
}

// A position beyond the last number of 32 bits starts again below 0, behind which the end never comes.
TEST_F(PromptConversion, LongestSourceOfAllHasAnEnd) {
  class Longest : public LSoundSourceBase {
   public:
    Longest() : LSoundSourceBase(8000, 1, kiv::kPeak16Bit) {}
    void Read(std::int32_t* buffer, std::int32_t frames) override {
      std::fill_n(buffer, frames, 0);
      position_ = static_cast<std::int32_t>(static_cast<std::uint32_t>(position_) + static_cast<std::uint32_t>(frames));
    }
    std::int32_t GetPositionSample() const override { return position_; }
    std::int32_t GetEndSample() const override { return std::numeric_limits<std::int32_t>::max(); }
    void Seek(std::int32_t frame) override { position_ = frame; }

   private:
    std::int32_t position_ = 0;
  };
  LSoundSource source(new Longest);
  source->Seek(std::numeric_limits<std::int32_t>::max() - 10000);
  EXPECT_EQ(Convert(source), kiv::kConverted);
  EXPECT_THAT(sink_->writes, ElementsAre(8192, 10000 - 8192));
}

TEST_F(PromptConversion, NegativeEndIsAlreadyReached) {
  class TooLong : public LSoundSourceError {
   public:
    TooLong() : LSoundSourceError(kSourceGood) { rate_ = 8000; }
    std::int32_t GetEndSample() const override { return -5; }
  };
  EXPECT_EQ(Convert(LSoundSource(new TooLong)), kiv::kConverted);
  EXPECT_THAT(sink_->writes, IsEmpty());
}

// --- System prompts

class SystemPromptExtraction : public PromptConversion {
 protected:
  int Extract() { return Process(progress_, LFileExtractorProcess(wav_.c_str(), mp3_.c_str())); }
  void WriteMp3(int frames) {
    kiv::test::WriteFile(
        mp3_, NoiseStream(1, MakeHeader(MP3Version::Mpeg2, 48, 2, MP3Mode::SingleChannel), frames) + TrailingTag());
  }

  const std::string mp3_ = folder_.File("prompt.mp3");
  const std::string wav_ = folder_.File("prompt.wav");
};

TEST_F(SystemPromptExtraction, RecordTakesTheDestinationFirst) {
  const LFileExtractorProcess job("to", "from");
  EXPECT_STREQ(job.sourcePath, "from");
  EXPECT_STREQ(job.destinationPath, "to");
}

TEST_F(SystemPromptExtraction, WritesAMonoFileOf8000HzAnd16BitsSixDecibelsLouder) {
  WriteMp3(100);
  EXPECT_EQ(Extract(), kiv::kConverted);
  EXPECT_THAT(progress_.lines, ElementsAre(Pair(0, "Uncompress System Prompts"), Pair(1, "Please wait...")));

  const auto same = folder_.File("same.wav");
  {
    LSoundSource mp3 = LMP3File::OpenSource(mp3_.c_str());
    LSoundSource louder = LSPGain(6).OpenSource(mp3);
    LPRSourceToSink job{"", louder, LWaveFile::OpenSinkPCM(same.c_str(), 8000, 1, 16, 0)};
    RecordedProgress quiet;
    EXPECT_EQ(Process(quiet, job), kiv::kConverted);
  }
  EXPECT_EQ(kiv::test::ReadFile(wav_), kiv::test::ReadFile(same));
  LSoundSource written = LWaveFile::OpenSource(wav_.c_str());
  EXPECT_EQ(written->Rate(), 8000);
  EXPECT_EQ(written->Channels(), 1);
  EXPECT_EQ(written->GetEndSample(), 100 * 576 / 2 + 1);  // The position of a rate conversion lags.
}

TEST_F(SystemPromptExtraction, UnreadableResourceCountsAsDoneAndWritesNothing) {
  EXPECT_EQ(Extract(), kiv::kConverted);  // There is none.
  kiv::test::WriteFile(mp3_, std::string(100000, 'x'));
  EXPECT_EQ(Extract(), kiv::kConverted);  // Nothing in it.
  kiv::test::WriteFile(mp3_, "");
  EXPECT_EQ(Extract(), kiv::kConverted);
  EXPECT_FALSE(std::filesystem::exists(wav_));
  EXPECT_THAT(progress_.lines, IsEmpty());
}

TEST_F(SystemPromptExtraction, UnreadableResourceLeavesAnExistingFileAlone) {
  kiv::test::WriteFile(wav_, "precious");
  kiv::test::WriteFile(mp3_, std::string(100000, 'x'));
  EXPECT_EQ(Extract(), kiv::kConverted);
  EXPECT_EQ(kiv::test::ReadFile(wav_), "precious");
}

TEST_F(SystemPromptExtraction, StopIsAFailureAndKeepsAWholeWavFile) {
  WriteMp3(200);
  progress_.stopAt = [](int asked) { return asked == 3; };
  EXPECT_EQ(Extract(), kiv::kConversionFailed);
  EXPECT_EQ(kiv::test::ReadFile(wav_).size(), 46U + 3 * 8192 * 2);
  EXPECT_EQ(kiv::test::ReadFile(wav_).substr(42, 4), kiv::test::Little32(3 * 8192 * 2));
}

TEST_F(SystemPromptExtraction, PlaceThatCannotBeWrittenIsAFailure) {
  WriteMp3(20);
  EXPECT_EQ(Process(progress_, LFileExtractorProcess(folder_.File("missing/x.wav").c_str(), mp3_.c_str())),
            kiv::kConversionFailed);
  EXPECT_EQ(progress_.asked, 0);
}

}  // namespace
