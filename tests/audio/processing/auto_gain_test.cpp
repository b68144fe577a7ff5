#include "audio/processing/auto_gain.h"

#include <sys/resource.h>

#include <cmath>
#include <csignal>
#include <filesystem>

#include "audio/convert_channels.h"
#include "audio/convert_rate.h"
#include "audio/processing/auto_gain_source.h"
#include "audio/processing/process_agc.h"
#include "foundation/fixed_point.h"
#include "platform/folders.h"
#include "tests/audio/processing/chain_checks.h"
#include "tests/reference/auto_gain_reference.h"
#include "tests/support/services_override.h"
#include "tests/support/temporary_folder.h"

namespace {

using kiv::reference::AutoGainOptions;
using kiv::reference::Signal;
using kiv::test::LivelyNoise;
using kiv::test::MemorySink;
using kiv::test::MemorySource;
using kiv::test::Noise;
using kiv::test::OpenMemory;
using kiv::test::Random;
using kiv::test::TemporaryFolder;

std::size_t FilesIn(const std::string& folder) {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

class NeverStopped {
 public:
  bool IsStopRequested() const { return false; }
  void SetProgress(double progress) { progress_.push_back(progress); }
  const std::vector<double>& Progress() const { return progress_; }

 private:
  std::vector<double> progress_;
};

struct Levelled {
  int result = -1;
  bool failed = false;
  Signal samples;
};

// Levels into a sink of that rate and channel count.
Levelled LevelInto(LSoundSource input, std::int32_t outputRateHz, std::uint8_t outputChannels,
                   const AutoGainOptions& o = {}) {
  const TemporaryFolder folder;
  LDPAutoGain::SetTemporaryFolder(folder.Path());
  auto* sink = new MemorySink(outputRateHz, outputChannels);
  LSoundSink output(sink);
  NeverStopped thread;
  Levelled levelled;
  levelled.result = ProcessAGC(thread, input, output, o.trim, static_cast<std::int32_t>(o.f1),
                               static_cast<std::int32_t>(o.f2), static_cast<int>(o.a), static_cast<int>(o.b),
                               static_cast<int>(o.c), o.slope, static_cast<int>(o.d), &levelled.failed);
  levelled.samples = sink->Samples();
  EXPECT_EQ(FilesIn(folder.Path()), 0U);
  return levelled;
}
Signal Level(const Signal& samples, std::int32_t rateHz, std::uint8_t channels, const AutoGainOptions& o = {}) {
  const Levelled levelled = LevelInto(OpenMemory(samples, rateHz, channels), rateHz, channels, o);
  EXPECT_EQ(levelled.result, 0);
  EXPECT_FALSE(levelled.failed);
  return levelled.samples;
}

// Bursts of a speech-like tone with pauses over faint noise; every third burst of a speaker further from the line.
Signal Conversation(std::uint64_t seed, std::int32_t rateHz, std::int32_t frames, int channels, double loud,
                    double faint) {
  Random random(seed);
  Signal samples;
  std::int32_t left = 0;
  double amplitude = 0;
  double hz = 0;
  for (std::int32_t i = 0; i < frames; ++i) {
    if (left-- == 0) {
      left = random.Between(rateHz / 20, rateHz);
      const std::int32_t kind = random.Between(0, 2);
      amplitude = kind == 0 ? 0.0 : kind == 1 ? loud : faint;
      hz = random.Between(200, 3000);
    }
    for (int c = 0; c < channels; ++c) {
      const double tone = amplitude / (c + 1) * std::sin(6.283185307179586 * hz * i / rateHz);
      samples.push_back(static_cast<std::int32_t>(std::lround(tone)) + random.Between(-200, 200));
    }
  }
  for (std::int32_t& v : samples) v = std::clamp(v, -524288, 524272);
  return samples;
}

double RmsDB(const Signal& samples, std::size_t begin, std::size_t end) {
  double sum = 0;
  for (std::size_t i = begin; i < end; ++i) sum += static_cast<double>(samples[i]) * samples[i];
  return 10.0 * std::log10(sum / static_cast<double>(end - begin) / 524288.0 / 524288.0 + 1e-20);
}

TEST(LDPAutoGain, MatchesTheReference) {
  for (const std::int32_t rateHz : {500, 8000, 11025, 44100}) {
    for (const std::uint8_t channels : std::vector<std::uint8_t>{1, 2, 3}) {
      for (const bool trim : {false, true}) {
        SCOPED_TRACE(testing::Message() << rateHz << " Hz, " << int{channels} << " channels, trim " << trim);
        const AutoGainOptions o{.trim = trim};
        const auto speech = Conversation(static_cast<std::uint64_t>(rateHz) + channels, rateHz, 5 * rateHz + 37,
                                         channels, 200000, 12000);
        ASSERT_EQ(Level(speech, rateHz, channels, o), kiv::reference::AutoGain(speech, channels, rateHz, o));
        const auto noise = LivelyNoise(static_cast<std::uint64_t>(rateHz), 3 * rateHz + 1, channels);
        ASSERT_EQ(Level(noise, rateHz, channels, o), kiv::reference::AutoGain(noise, channels, rateHz, o));
      }
    }
  }
}

TEST(LDPAutoGain, MatchesTheReferenceForAnyParameters) {
  Random random(7);
  for (int round = 0; round < 60; ++round) {
    AutoGainOptions o;
    o.trim = round % 3 == 0;
    o.f1 = random.Between(0, 3000);
    o.f2 = random.Between(0, 4000);
    o.a = random.Between(-127, 127);
    o.b = random.Between(-127, 127);
    o.c = random.Between(-127, 127);
    o.slope = random.Between(-3000, 3000) / 1000.0;
    o.d = random.Between(-127, 127);
    const std::int32_t frames = random.Between(0, 30000);
    const auto samples = round % 2 == 0 ? Conversation(random.Next(), 8000, frames, 1, random.Between(0, 524272), 1000)
                                        : Noise(random.Next(), frames, 1, INT32_MAX >> random.Between(0, 31));
    ASSERT_EQ(Level(samples, 8000, 1, o), kiv::reference::AutoGain(samples, 1, 8000, o)) << round;
  }
}

TEST(LDPAutoGain, LongRecordingsMatchTheReferenceOnEveryVectorWidth) {
  for (const std::uint8_t channels : std::vector<std::uint8_t>{1, 2}) {
    auto samples = Conversation(12, 8000, 300001, channels, 200000, 12000);
    std::fill(samples.begin() + 100000, samples.begin() + 120000, 0);
    const auto expected = kiv::reference::AutoGain(samples, channels, 8000, {});
    for (const auto width : {kiv::VectorWidth::Scalar, kiv::VectorWidth::Sse2, kiv::VectorWidth::Avx2}) {
      kiv::ForceVectorWidth(width);
      EXPECT_EQ(Level(samples, 8000, channels), expected);
    }
    kiv::ForceNoVectorWidth();
  }
}

TEST(LDPAutoGain, EveryShortLengthMatchesTheReference) {
  for (const bool trim : {false, true}) {
    const AutoGainOptions o{.trim = trim};
    for (const std::int32_t frames :
         {0, 1, 2, 159, 160, 161, 319, 320, 321, 480, 481, 7840, 7999, 8000, 8001, 8160, 8161, 8320, 8321, 16001}) {
      const auto samples = Conversation(3, 8000, frames, 1, 100000, 100000);
      const auto out = Level(samples, 8000, 1, o);
      ASSERT_EQ(out, kiv::reference::AutoGain(samples, 1, 8000, o)) << frames << " trim " << trim;
      if (!trim) {
        ASSERT_EQ(out.size(), std::max<std::size_t>((static_cast<std::size_t>(frames) + 159) / 160, 1) * 160);
      }
    }
  }
}

TEST(LDPAutoGain, ComesOutInWholeBlocksOfItsRate) {
  EXPECT_EQ(Level(Signal(8000, 1000), 8000, 1).size(), 8000U);
  EXPECT_EQ(Level(Signal(8001, 1000), 8000, 1).size(), 8160U);
  EXPECT_EQ(Level(Signal(44101, 1000), 44100, 1).size(), 44100U + 882U);
  EXPECT_EQ(Level(Signal(501, 1000), 500, 1).size(), 520U);
}

TEST(LDPAutoGain, SilenceStaysSilence) {
  EXPECT_THAT(Level(Signal(20000, 0), 8000, 1), testing::Each(0));
}

TEST(LDPAutoGain, LastBlockFadesToSilence) {
  const auto tone = kiv::test::Sine(1000, 100000, 8000, 16000, 1);
  const auto out = Level(tone, 8000, 1);
  ASSERT_EQ(out.size(), 16000U);
  EXPECT_GT(RmsDB(out, 15600, 15840), -25.0);
  EXPECT_LT(RmsDB(out, 15990, 16000), -45.0);
  EXPECT_EQ(out.back() / 2000, 0);
}

TEST(LDPAutoGain, FaintAndLoudSpeakersComeCloser) {
  // Six seconds loud, six faint, by turns.
  Signal samples;
  for (int turn = 0; turn < 6; ++turn) {
    const auto tone = kiv::test::Sine(800, turn % 2 == 0 ? 200000 : 25000, 8000, 48000, 1);
    samples.insert(samples.end(), tone.begin(), tone.end());
  }
  const auto out = Level(samples, 8000, 1);
  const double before = RmsDB(samples, 96000, 144000) - RmsDB(samples, 144000, 192000);
  const double after = RmsDB(out, 112000, 136000) - RmsDB(out, 160000, 184000);
  EXPECT_NEAR(before, 18.0, 0.2);
  // The faint one gains the 2 dB that the tracked level may fall and the 5 dB of the curve below its knee.
  EXPECT_NEAR(after, 18.0 - 2.0 - 5.0, 0.3);
  for (const std::int32_t v : out) ASSERT_LE(std::abs(v), 524274);
}

TEST(LDPAutoGain, TrimmingLeavesOutTheQuietEnds) {
  Signal samples = Noise(1, 16000, 1, 50);
  const auto tone = kiv::test::Sine(800, 200000, 8000, 24000, 1);
  samples.insert(samples.end(), tone.begin(), tone.end());
  const auto tail = Noise(2, 24000, 1, 50);
  samples.insert(samples.end(), tail.begin(), tail.end());
  const auto out = Level(samples, 8000, 1, {.trim = true});
  // One block of lead-in, the tone, a block or two behind it.
  EXPECT_GE(out.size(), 24000U + 160U);
  EXPECT_LE(out.size(), 24000U + 4 * 160U);
  EXPECT_LT(RmsDB(out, 0, 160), -60.0);
  EXPECT_GT(RmsDB(out, 400, 800), -30.0);
}

TEST(LDPAutoGain, TrimmedSilenceLeavesTwoBlocks) {
  // All of it is quiet: two blocks are kept at the end, then the start takes what it can and gives one back.
  const auto out = Level(Signal(16000, 0), 8000, 1, {.trim = true});
  EXPECT_EQ(out, kiv::reference::AutoGain(Signal(16000, 0), 1, 8000, {.trim = true}));
  EXPECT_EQ(out.size(), 160U);
}

TEST(LDPAutoGain, ChannelsAreLevelledEachByItsOwnSpeech) {
  const auto samples = Conversation(5, 8000, 80000, 2, 150000, 150000);  // The second 6 dB below the first.
  const auto out = Level(samples, 8000, 2);
  const auto first = kiv::test::Channel(out, 2, 0);
  const auto second = kiv::test::Channel(out, 2, 1);
  const double difference = RmsDB(first, 8000, 72000) - RmsDB(second, 8000, 72000);
  EXPECT_NEAR(difference, 0.0, 1.5);
}

TEST(LDPAutoGain, StereoIntoMonoLevelsTheFirstChannel) {
  const auto stereo = Conversation(6, 8000, 50000, 2, 150000, 20000);
  const Levelled levelled = LevelInto(OpenMemory(stereo, 8000, 2), 8000, 1);
  EXPECT_FALSE(levelled.failed);
  EXPECT_EQ(levelled.samples, Level(kiv::test::Channel(stereo, 2, 0), 8000, 1));
}

TEST(LDPAutoGain, MonoIntoStereoComesOutTwice) {
  const auto mono = Conversation(6, 8000, 50000, 1, 150000, 20000);
  const Levelled levelled = LevelInto(OpenMemory(mono, 8000, 1), 8000, 2);
  EXPECT_FALSE(levelled.failed);
  const auto expected = Level(mono, 8000, 1);
  EXPECT_EQ(kiv::test::Channel(levelled.samples, 2, 0), expected);
  EXPECT_EQ(kiv::test::Channel(levelled.samples, 2, 1), expected);
}

TEST(LDPAutoGain, HigherInputRateIsAnalysedAtTheOutputsRate) {
  const auto samples = Conversation(7, 44100, 300000, 1, 150000, 20000);
  const Levelled levelled = LevelInto(OpenMemory(samples, 44100, 1), 8000, 1);
  EXPECT_FALSE(levelled.failed);
  LSoundSource input = OpenMemory(samples, 44100, 1);
  const Levelled converted = LevelInto(LSPConvertRate(8000).OpenSource(input), 8000, 1);
  EXPECT_EQ(levelled.samples, converted.samples);
  EXPECT_NEAR(static_cast<double>(levelled.samples.size()), 300000.0 * 8000 / 44100, 200.0);
  EXPECT_EQ(levelled.samples.size() % 160, 0U);
}

TEST(LDPAutoGain, LowerInputRateIsRaisedBeforeTheLimiter) {
  const auto samples = Conversation(8, 8000, 80000, 1, 400000, 40000);
  const Levelled levelled = LevelInto(OpenMemory(samples, 8000, 1), 16000, 2);
  EXPECT_FALSE(levelled.failed);
  EXPECT_EQ(levelled.samples.size() % 320, 0U);
  EXPECT_NEAR(static_cast<double>(levelled.samples.size()), 4.0 * 80000, 4.0 * 320);
  EXPECT_EQ(kiv::test::Channel(levelled.samples, 2, 0), kiv::test::Channel(levelled.samples, 2, 1));
  for (const std::int32_t v : levelled.samples) ASSERT_LE(std::abs(v), 524274);
}

TEST(LDPAutoGain, MoreThanTwoChannelsWorkAtTheirOwnCountAndRateOnly) {
  const auto six = Noise(9, 5000, 6, 100000);
  EXPECT_FALSE(LevelInto(OpenMemory(six, 8000, 6), 8000, 6).failed);
  for (const auto& [rateHz, channels] : {std::pair{8000, 2}, {8000, 1}, {8000, 7}, {4000, 6}, {16000, 6}}) {
    const Levelled levelled = LevelInto(OpenMemory(six, 8000, 6), rateHz, static_cast<std::uint8_t>(channels));
    EXPECT_TRUE(levelled.failed) << rateHz << ' ' << channels;
    EXPECT_EQ(levelled.result, 0);
    EXPECT_TRUE(levelled.samples.empty());
  }
}

TEST(LDPAutoGain, InputThatNeverEndsIsGivenUp) {
  class Stuck : public MemorySource {
   public:
    Stuck() : MemorySource(Signal(1000, 5), 8000, 1) {}
    std::int32_t GetPositionSample() const override { return 17; }
  };
  const Levelled levelled = LevelInto(LSoundSource(new Stuck), 8000, 1);
  EXPECT_EQ(levelled.result, 0);
  EXPECT_TRUE(levelled.failed);
  EXPECT_TRUE(levelled.samples.empty());
}

TEST(LDPAutoGain, InputInErrorFinishesAtOnce) {
  const Levelled levelled = LevelInto(LSoundSource(), 8000, 1);
  EXPECT_EQ(levelled.result, 0);
  EXPECT_TRUE(levelled.failed);
  EXPECT_TRUE(levelled.samples.empty());
}

TEST(LDPAutoGain, NoOutputFinishesAtOnce) {
  LSoundSource input = OpenMemory(Signal(1000, 5), 8000, 1);
  LSoundSink none;
  LDPAutoGain autoGain(input, none, false, 450, 2200, 2, -8, -9, -0.5, 2);
  EXPECT_TRUE(autoGain.Failed());
  EXPECT_FALSE(autoGain.TimeSlice());
  EXPECT_EQ(input->GetPositionSample(), 0);
}

// A sink that is in error from the start, or from some frame on.
class BrokenSink : public MemorySink {
 public:
  explicit BrokenSink(std::int32_t goodFrames) : MemorySink(8000, 1), goodFrames_(goodFrames) {
    if (goodFrames_ == 0) error_ = kSinkFailed;
  }
  void Write(std::int32_t const* buffer, std::int32_t frames) override {
    MemorySink::Write(buffer, frames);
    if (Position() > goodFrames_) error_ |= kSinkFailed;
  }

 private:
  std::int32_t goodFrames_;
};

TEST(LDPAutoGain, OutputInErrorFinishesAtOnce) {
  LSoundSource input = OpenMemory(Signal(1000, 5), 8000, 1);
  LSoundSink output(new BrokenSink(0));
  LDPAutoGain autoGain(input, output, false, 450, 2200, 2, -8, -9, -0.5, 2);
  EXPECT_TRUE(autoGain.Failed());
  EXPECT_FALSE(autoGain.TimeSlice());
}

TEST(LDPAutoGain, OutputThatFailsLaterIsNoticed) {
  const TemporaryFolder folder;
  LDPAutoGain::SetTemporaryFolder(folder.Path());
  LSoundSource input = OpenMemory(Signal(50000, 5), 8000, 1);
  LSoundSink output(new BrokenSink(20000));
  LDPAutoGain autoGain(input, output, false, 450, 2200, 2, -8, -9, -0.5, 2);
  while (autoGain.TimeSlice()) {
  }
  EXPECT_TRUE(autoGain.Failed());
}

TEST(LDPAutoGain, WithoutAPlaceForTemporaryFilesItFails) {
  LDPAutoGain::SetTemporaryFolder("/nonexistent/folder");
  LSoundSource input = OpenMemory(Signal(1000, 5), 8000, 1);
  LSoundSink output(new MemorySink(8000, 1));
  LDPAutoGain autoGain(input, output, false, 450, 2200, 2, -8, -9, -0.5, 2);
  EXPECT_TRUE(autoGain.Failed());
  EXPECT_FALSE(autoGain.TimeSlice());
  LDPAutoGain::SetTemporaryFolder("");
}

TEST(LDPAutoGain, TemporaryFilesLieInTheDataFolderUnlessToldOtherwise) {
  struct Account : kiv::Folders {
    std::optional<std::string> Home() override { return path; }
    std::optional<std::string> Resources() override { return std::nullopt; }
    std::string path;
  } user;
  const TemporaryFolder account;
  user.path = account.Path();
  const kiv::test::ServicesOverride restore;
  kiv::services.folders = &user;
  LDPAutoGain::SetTemporaryFolder("");
  LSoundSource input = OpenMemory(Signal(1000, 5), 8000, 1);
  LSoundSink output(new MemorySink(8000, 1));
  {
    const LDPAutoGain autoGain(input, output, false, 450, 2200, 2, -8, -9, -0.5, 2);
    EXPECT_EQ(FilesIn(account.File("Kiv")), 2U);
  }
  EXPECT_EQ(FilesIn(account.File("Kiv")), 0U);
  user.path = "/nonexistent/home";  // No data folder: the level control works all the same.
  const LDPAutoGain autoGain(input, output, false, 450, 2200, 2, -8, -9, -0.5, 2);
  EXPECT_FALSE(autoGain.Failed());
}

TEST(LDPAutoGain, TemporaryFilesLiveAsLongAsTheObject) {
  const TemporaryFolder folder;
  LDPAutoGain::SetTemporaryFolder(folder.Path());
  // Destroyed before the first slice, in either pass, and after the end.
  for (const int slices : {0, 10, 150, 1000}) {
    LSoundSource input = OpenMemory(Signal(16000, 5000), 8000, 1);
    LSoundSink output(new MemorySink(8000, 1));
    {
      LDPAutoGain autoGain(input, output, false, 450, 2200, 2, -8, -9, -0.5, 2);
      for (int i = 0; i < slices; ++i) autoGain.TimeSlice();
      EXPECT_EQ(FilesIn(folder.Path()), 2U);
      EXPECT_EQ(LDPAutoGain::RemoveLeftovers(folder.Path()), 0);
      EXPECT_FALSE(autoGain.Failed());
    }
    EXPECT_EQ(FilesIn(folder.Path()), 0U);
    EXPECT_EQ(input->ReferenceCount(), 1);
    EXPECT_EQ(output->ReferenceCount(), 1);
  }
}

TEST(LDPAutoGain, OneSliceIsOneBlock) {
  const TemporaryFolder folder;
  LDPAutoGain::SetTemporaryFolder(folder.Path());
  LSoundSource input = OpenMemory(Signal(1600, 5000), 8000, 1);
  LSoundSink output(new MemorySink(8000, 1));
  LDPAutoGain autoGain(input, output, false, 450, 2200, 2, -8, -9, -0.5, 2);
  int slices = 0;
  while (autoGain.TimeSlice()) ++slices;
  EXPECT_EQ(slices, 10 + 9);  // The last answers false.
  EXPECT_EQ(output->Position(), 1600);
  EXPECT_FALSE(autoGain.TimeSlice());
  EXPECT_EQ(output->Position(), 1600);
}

TEST(LDPAutoGain, StoppedInTheSecondPassItLeavesWhatItHadReady) {
  const TemporaryFolder folder;
  LDPAutoGain::SetTemporaryFolder(folder.Path());
  LSoundSource input = OpenMemory(Signal(1600, 5000), 8000, 1);
  LSoundSink output(new MemorySink(8000, 1));
  {
    LDPAutoGain autoGain(input, output, false, 450, 2200, 2, -8, -9, -0.5, 2);
    for (int slice = 0; slice < 10 + 4; ++slice) ASSERT_TRUE(autoGain.TimeSlice());
  }
  EXPECT_EQ(output->Position(), 4 * 160);
}

// Temporary files that a full disk cuts short, played by a limit on the size of files.
TEST(LDPAutoGain, TemporaryFileCutShortIsNoticed) {
  const TemporaryFolder folder;
  LDPAutoGain::SetTemporaryFolder(folder.Path());
  LSoundSource input = OpenMemory(kiv::test::Sine(700, 100000, 8000, 200000, 1), 8000, 1);
  auto* sink = new MemorySink(8000, 1);
  LSoundSink output(sink);
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  rlimit small = limit;
  small.rlim_cur = 300000;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  bool failed = false;
  NeverStopped thread;
  const int result = ProcessAGC(thread, input, output, false, 450, 2200, 2, -8, -9, -0.5, 2, &failed);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(result, 0);
  EXPECT_TRUE(failed);
  EXPECT_EQ(sink->Position(), 200000);  // As far as it goes.
  EXPECT_EQ(FilesIn(folder.Path()), 0U);
}

TEST(ProcessAGC, StopsBeforeTheNextSlice) {
  class StopsAfter {
   public:
    explicit StopsAfter(int slices) : slices_(slices) {}
    bool IsStopRequested() { return slices_-- == 0; }
    void SetProgress(double /*progress*/) {}

   private:
    int slices_;
  };
  const TemporaryFolder folder;
  LDPAutoGain::SetTemporaryFolder(folder.Path());
  LSoundSource input = OpenMemory(Signal(1600, 5000), 8000, 1);
  const auto run = [&](int slices) {
    input->Seek(0);
    LSoundSink output(new MemorySink(8000, 1));
    StopsAfter thread(slices);
    return ProcessAGC(thread, input, output, false, 450, 2200, 2, -8, -9, -0.5, 2);
  };
  EXPECT_EQ(run(0), 1);
  EXPECT_EQ(run(7), 1);
  EXPECT_EQ(run(19), 1);
  EXPECT_EQ(run(20), 0);
  EXPECT_EQ(FilesIn(folder.Path()), 0U);
}

TEST(ProcessAGC, ProgressRisesToOne) {
  const TemporaryFolder folder;
  LDPAutoGain::SetTemporaryFolder(folder.Path());
  LSoundSource input = OpenMemory(Signal(160000, 5000), 8000, 1);
  LSoundSink output(new MemorySink(8000, 1));
  NeverStopped thread;
  EXPECT_EQ(ProcessAGC(thread, input, output, false, 450, 2200, 2, -8, -9, -0.5, 2), 0);
  ASSERT_EQ(thread.Progress().size(), 2000U);
  EXPECT_TRUE(std::is_sorted(thread.Progress().begin(), thread.Progress().end()));
  EXPECT_NEAR(thread.Progress()[999], 0.5, 0.001);
  EXPECT_EQ(thread.Progress().back(), 1.0);
}

TEST(LDPAutoGain, LongOutputIsPinned) {
  const auto samples = LivelyNoise(11, 400000, 1);
  EXPECT_EQ(kiv::reference::Checksum(Level(samples, 8000, 1)), 11821576240393846234U);
}

TEST(LDPSRCAutoGain, TakesTheFilesOverAndEndsWhereItSaid) {
  const TemporaryFolder folder;
  std::string samplePath;
  std::string levelPath;
  LReadWriteFile samples = kiv::CreateSpoolFile(folder.Path(), samplePath);
  LReadWriteFile levels = kiv::CreateSpoolFile(folder.Path(), levelPath);
  const std::vector<std::int32_t> words(1600, 1 << 16);
  kiv::test::WriteFile(samplePath, std::string(reinterpret_cast<const char*>(words.data()), 4 * words.size()));
  kiv::test::WriteFile(levelPath, std::string(10, '\xEC'));  // -20 dB
  LDBMC speech;
  speech.channels = 1;
  speech.level[0] = -20;
  LDPSRCAutoGain source(8000, 1, speech, 10, samples, levels, 160, false, 2, -8, -9, -0.5, 2);
  EXPECT_EQ(samples.Descriptor(), -1);
  EXPECT_EQ(levels.Descriptor(), -1);
  EXPECT_EQ(source.Peak(), 2097152);
  EXPECT_EQ(source.GetEndSample(), 1600);
  EXPECT_EQ(source.GetPositionSample(), 0);
  std::vector<std::int32_t> out(1700, 12345);
  source.Read(out.data(), 1600);
  EXPECT_EQ(source.GetPositionSample(), 1600);
  EXPECT_FALSE(source.Failed());
  // 20 dB up, the tracked level still at its start.
  EXPECT_EQ(out[0], kiv::MulGainQ24(1 << 16, LDB::tab.Amplitude(20)));
  // Behind the end the buffer keeps what it had, and the gain has next to nothing left of it.
  source.Read(out.data() + 1600, 100);
  EXPECT_EQ(out[1600], 0);
  EXPECT_FALSE(source.Failed());
  source.Seek(0);
  EXPECT_EQ(source.GetPositionSample(), 1700);
  EXPECT_EQ(source.GetEndSample(), 1600);
}

TEST(LDPSRCAutoGain, TrimmingTakesTheStartUpTo15DecibelsBelowSpeechAndTheEndUpTo23) {
  const TemporaryFolder folder;
  std::string samplePath;
  std::string levelPath;
  LReadWriteFile samples = kiv::CreateSpoolFile(folder.Path(), samplePath);
  LReadWriteFile levels = kiv::CreateSpoolFile(folder.Path(), levelPath);
  std::string records;
  for (const int level : {-35, -35, -34, -20, -20, -42, -43, -43, -43}) records += static_cast<char>(level);
  kiv::test::WriteFile(levelPath, records);
  LDBMC speech;
  speech.channels = 1;
  speech.level[0] = -20;
  const LDPSRCAutoGain source(8000, 1, speech, 9, samples, levels, 160, true, 2, -8, -9, -0.5, 2);
  // The second block as lead-in, up to the first behind the one of -42 dB.
  EXPECT_EQ(source.GetEndSample(), 6 * 160);
}

TEST(LDPSRCAutoGain, FilesThatEndTooEarlyAreNoticed) {
  const TemporaryFolder folder;
  std::string samplePath;
  std::string levelPath;
  LReadWriteFile samples = kiv::CreateSpoolFile(folder.Path(), samplePath);
  LReadWriteFile levels = kiv::CreateSpoolFile(folder.Path(), levelPath);
  kiv::test::WriteFile(levelPath, std::string(10, '\xEC'));
  LDBMC speech;
  speech.channels = 1;
  LDPSRCAutoGain source(8000, 1, speech, 10, samples, levels, 160, false, 2, -8, -9, -0.5, 2);
  EXPECT_FALSE(source.Failed());
  std::vector<std::int32_t> out(160, 7);
  source.Read(out.data(), 160);
  EXPECT_TRUE(source.Failed());
  // What was in the buffer is taken for the samples that are not there: 5 dB up by the curve.
  EXPECT_EQ(out[0], kiv::MulGainQ24(7, LDB::tab.Amplitude(5)));

  LReadWriteFile none;
  LReadWriteFile noLevels;
  EXPECT_TRUE(LDPSRCAutoGain(8000, 1, speech, 10, none, noLevels, 160, false, 2, -8, -9, -0.5, 2).Failed());
}

TEST(LDPSRCAutoGain, InvalidFormatReadsAsSilence) {
  LReadWriteFile samples;
  LReadWriteFile levels;
  const LDBMC speech;
  LDPSRCAutoGain source(0, 0, speech, 10, samples, levels, 0, true, 2, -8, -9, -0.5, 2);
  EXPECT_EQ(source.Error(), kSourceInvalid);
  std::int32_t sample = 7;
  source.Read(&sample, 1);
  EXPECT_EQ(sample, 0);
}

}  // namespace
