#include "devices/sound_recorder.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "tests/devices/line_fixture.h"

namespace kiv::test {
namespace {

using testing::Each;
using testing::ElementsAre;

// A tone at half of full scale in the given stretches of frames at 8000 Hz, silence elsewhere.
std::unique_ptr<LineSignal> Bursts(std::vector<std::pair<std::int64_t, std::int64_t>> stretches) {
  return MakeFunction([stretches](std::int64_t frame, std::int32_t /*channel*/) {
    for (const auto& [from, to] : stretches) {
      if (frame >= from && frame < to) return static_cast<std::int16_t>(frame % 8 < 4 ? 16000 : -16000);
    }
    return std::int16_t{0};
  });
}

std::vector<std::int16_t> NoiseFrames(std::int64_t first, std::int64_t frames) {
  std::vector<std::int16_t> input;
  for (std::int64_t i = first; i < first + frames; ++i) input.push_back(NoiseAt(i, 0));
  return input;
}

TEST(LSoundRecorder, StartTellsWaitAndTimeBeforeItReturns) {
  InstalledLine installed(MakeSilence());
  RecorderLog log;
  LSoundRecorder recorder;
  recorder.SetNotify(&log, 42);
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -20, kNeverPause));
  EXPECT_THAT(log.log, ElementsAre("wait", "time"));
  EXPECT_THAT(log.times, ElementsAre(0));
  EXPECT_EQ(log.lastId, 42);
  EXPECT_TRUE(recorder.IsRunning());
  recorder.Stop();
  EXPECT_THAT(log.log, ElementsAre("wait", "time", "stop"));
  recorder.Stop();
  EXPECT_EQ(log.log.size(), 3U);
}

TEST(LSoundRecorder, ContinuedFileStartsAtItsLength) {
  InstalledLine installed(MakeSilence());
  RecorderLog log;
  LSoundRecorder recorder;
  recorder.SetNotify(&log, 0);
  HeldSink out;
  const std::vector<std::int32_t> before(12345, 7);
  out.handle->Write(before.data(), 12345);
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -20, kNeverPause));
  EXPECT_THAT(log.times, ElementsAre(1543));
  installed.line.Run(500);
  recorder.Stop();
  EXPECT_EQ(out.sink->Position(), 12345);
}

TEST(LSoundRecorder, RefusesAnEmptyOrFailedSinkAndAnInputThatCannotBeOpened) {
  InstalledLine installed(MakeSilence());
  RecorderLog log;
  LSoundRecorder recorder;
  recorder.SetNotify(&log, 0);
  LSoundSink empty;
  EXPECT_FALSE(recorder.Start(empty, kNoLimit, -127, kNeverPause));

  class FailedSink : public LSoundSinkBase {
   public:
    FailedSink() : LSoundSinkBase(8000, 1) { error_ = kSinkFailed; }
    void Write(std::int32_t const* /*buffer*/, std::int32_t /*frames*/) override {}
  };
  LSoundSink failed(new FailedSink);
  EXPECT_FALSE(recorder.Start(failed, kNoLimit, -127, kNeverPause));

  HeldSink out;
  installed.line.RefuseInput(true);
  EXPECT_FALSE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
  EXPECT_EQ(out.sink->ReferenceCount(), 1);
  EXPECT_THAT(log.log, testing::IsEmpty());
  EXPECT_FALSE(recorder.IsRunning());
}

TEST(LSoundRecorder, FailedStartHasStoppedWhatWasRunning) {
  InstalledLine installed(MakeFunction(NoiseAt));
  RecorderLog log;
  LSoundRecorder recorder;
  recorder.SetNotify(&log, 0);
  HeldSink first;
  HeldSink second;
  ASSERT_TRUE(recorder.Start(first.handle, kNoLimit, -127, kNeverPause));
  installed.line.Run(300);
  installed.line.RefuseInput(true);
  EXPECT_FALSE(recorder.Start(second.handle, kNoLimit, -127, kNeverPause));
  EXPECT_EQ(log.log.back(), "stop");
  EXPECT_EQ(first.sink->ReferenceCount(), 1);
  EXPECT_EQ(first.sink->Position(), 2400);
  EXPECT_EQ(second.sink->Position(), 0);
}

TEST(LSoundRecorder, WithoutAnInputPortStartIsRefused) {
  LSoundRecorder recorder;
  HeldSink out;
  EXPECT_FALSE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
}

TEST(LSoundRecorder, OpensTheInputOnceWhenMade) {
  InstalledLine installed(MakeSilence(), {.lockStep = true, .inputName = "Telephone adapter"});
  const LSoundRecorder recorder;
  EXPECT_EQ(installed.line.OpenDevices(), 0);
  EXPECT_EQ(recorder.InputName(), "Telephone adapter");
}

TEST(LSoundRecorder, LowestThresholdRecordsFromTheFirstFrameInWholeBlocks) {
  InstalledLine installed(MakeFunction(NoiseAt));
  RecorderLog log;
  LSoundRecorder recorder;
  recorder.SetNotify(&log, 0);
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, 0));
  installed.line.Run(2550);
  recorder.Stop();
  EXPECT_EQ(out.sink->Position(), 25 * 800);
  EXPECT_EQ(out.sink->Samples(), RecordedNoise(0, std::int64_t{25} * 800));
  EXPECT_THAT(log.Changes(), ElementsAre("wait", "record", "stop"));
  // The first block's time is not counted as loud; after it time comes block by block.
  ASSERT_EQ(log.times.size(), 26U);
  EXPECT_EQ(log.times[1], 0);
  EXPECT_EQ(log.times[2], 200);
  EXPECT_EQ(log.times[25], 2500);
  EXPECT_EQ(recorder.CapturedFrames(), 20000);
}

TEST(LSoundRecorder, LowestThresholdTakesSilenceForSoundAndNeverPauses) {
  InstalledLine installed(MakeSilence());
  RecorderLog log;
  LSoundRecorder recorder;
  recorder.SetNotify(&log, 0);
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, 0));
  installed.line.Run(5000);
  recorder.Stop();
  EXPECT_EQ(out.sink->Position(), 40000);
  EXPECT_THAT(log.Changes(), ElementsAre("wait", "record", "stop"));
  EXPECT_EQ(log.levels.back().Overall(), -127);
}

// The block that starts the recording does not count as loud, so the stop's tail is measured from the start.
TEST(LSoundRecorder, StopRightAfterTheFirstBlockKeepsFiftyMilliseconds) {
  InstalledLine installed(MakeFunction(NoiseAt));
  LSoundRecorder recorder;
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
  installed.line.Run(100);
  EXPECT_EQ(out.sink->Position(), 800);
  recorder.Stop();
  EXPECT_EQ(out.sink->Position(), 400);
}

// Writes down the sizes of what it is given.
class SizesSink : public LSoundSinkBase {
 public:
  SizesSink(std::int32_t rateHz, std::uint8_t channels) : LSoundSinkBase(rateHz, channels) {}
  void Write(std::int32_t const* /*buffer*/, std::int32_t frames) override {
    sizes.push_back(frames);
    position_ += frames;
  }
  std::vector<std::int32_t> sizes;
};

TEST(LSoundRecorder, BlocksAreATenthOfASecondWithinBounds) {
  const std::pair<std::int32_t, std::int32_t> kCases[] = {{8000, 800}, {44100, 4410}, {96000, 8192}, {1000, 100}};
  for (const auto& [rateHz, block] : kCases) {
    InstalledLine installed(MakeTone(100, -6.0));
    LSoundRecorder recorder;
    auto* const sizes = new SizesSink(rateHz, 1);
    LSoundSink sink(sizes);
    ASSERT_TRUE(recorder.Start(sink, kNoLimit, -127, kNeverPause));
    installed.line.Run(1000);
    recorder.Stop();
    EXPECT_GE(sizes->sizes.size(), 9U);
    EXPECT_THAT(sizes->sizes, Each(block)) << rateHz;
  }
}

TEST(LSoundRecorder, OffsetIsTakenOutAtEveryRate) {
  for (const std::int32_t rateHz : {8000, 44100, 96000}) {
    const auto signal = [](std::int64_t frame, std::int32_t channel) {
      return static_cast<std::int16_t>(NoiseAt(frame, channel) + (channel == 0 ? 9000 : -5000));
    };
    InstalledLine installed(MakeFunction(signal));
    LSoundRecorder recorder;
    HeldSink out(rateHz, 2);
    ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
    installed.line.Run(2000);
    recorder.Stop();
    std::vector<std::int16_t> input;
    for (std::int32_t i = 0; i < out.sink->Position(); ++i) {
      input.push_back(signal(i, 0));
      input.push_back(signal(i, 1));
    }
    EXPECT_EQ(out.sink->Samples(), WithoutOffset(input, 2, rateHz)) << rateHz;
    std::int64_t sum = 0;
    for (std::size_t i = input.size() / 2; i < input.size(); i += 2) sum += out.sink->Samples()[i];
    EXPECT_LT(std::abs(sum / static_cast<std::int64_t>(input.size() / 4)), 500) << rateHz;
  }
}

TEST(LSoundRecorder, SoundInTheFirstHalfOfABlockGetsPreRoll) {
  // Block 3 is loud from its 100th frame on.
  InstalledLine installed(Bursts({{2500, 80000}}));
  RecorderLog log;
  LSoundRecorder recorder;
  recorder.SetNotify(&log, 0);
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -20, kNeverPause));
  installed.line.Run(300);
  EXPECT_EQ(out.sink->Position(), 0);
  EXPECT_THAT(log.Changes(), ElementsAre("wait"));
  installed.line.Run(100);
  EXPECT_THAT(log.Changes(), ElementsAre("wait", "record"));
  EXPECT_EQ(out.sink->Position(), 160 + 800);
  EXPECT_EQ(out.sink->Samples()[160 + 99], 0);
  EXPECT_NE(out.sink->Samples()[160 + 100], 0);
}

TEST(LSoundRecorder, PreRollIsTheEndOfTheBlockBefore) {
  // A faint signal that is known frame by frame, and loud from frame 1700 on.
  const auto signal = [](std::int64_t frame, std::int32_t channel) {
    return static_cast<std::int16_t>(frame < 1700 ? NoiseAt(frame, channel) / 64 : NoiseAt(frame, channel) * 8);
  };
  InstalledLine installed(MakeFunction(signal));
  LSoundRecorder recorder;
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -20, kNeverPause));
  installed.line.Run(300);
  recorder.Stop();
  std::vector<std::int16_t> input;
  for (std::int64_t i = 0; i < 2400; ++i) input.push_back(signal(i, 0));
  const auto all = WithoutOffset(input, 1, 8000);
  // Cut by the stop 50 ms after the start, as nothing later counted as loud.
  EXPECT_EQ(out.sink->Samples(), std::vector<std::int32_t>(all.begin() + 1440, all.begin() + 1840));
}

TEST(LSoundRecorder, SoundInTheSecondHalfOfABlockGetsNone) {
  InstalledLine installed(Bursts({{2900, 80000}}));
  RecorderLog log;
  LSoundRecorder recorder;
  recorder.SetNotify(&log, 0);
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -20, kNeverPause));
  installed.line.Run(400);
  EXPECT_EQ(out.sink->Position(), 800);
  // The reported level is that of the first half, which was quiet.
  EXPECT_EQ(log.levels.back().Overall(), -127);
  EXPECT_EQ(out.sink->Samples()[499], 0);
  EXPECT_NE(out.sink->Samples()[500], 0);
}

TEST(LSoundRecorder, LoudFirstBlockHasNothingBeforeIt) {
  InstalledLine installed(Bursts({{0, 80000}}));
  LSoundRecorder recorder;
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -20, kNeverPause));
  installed.line.Run(500);
  EXPECT_EQ(out.sink->Position(), 4000);
}

TEST(LSoundRecorder, QuietForLongerThanThePauseTimeIsCutAndGoesOnWithSound) {
  // Loud in the first second, quiet to 5 s, loud again.
  InstalledLine installed(Bursts({{0, 8000}, {40000, 80000}}));
  RecorderLog log;
  LSoundRecorder recorder;
  recorder.SetNotify(&log, 0);
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -20, 2000));
  installed.line.Run(3000);
  EXPECT_EQ(out.sink->Position(), 24000);
  EXPECT_THAT(log.Changes(), ElementsAre("wait", "record"));
  installed.line.Run(100);
  // More than 2 s after the last loud block, which ended at 1 s: 450 ms of quiet stay.
  EXPECT_EQ(out.sink->Position(), 8000 + 3600);
  EXPECT_THAT(log.Changes(), ElementsAre("wait", "record", "wait"));
  EXPECT_EQ(log.times.back(), 1000);
  installed.line.Run(1900);
  EXPECT_EQ(out.sink->Position(), 11600);
  installed.line.Run(100);
  EXPECT_EQ(out.sink->Position(), 11600 + 160 + 800);
  EXPECT_THAT(log.Changes(), ElementsAre("wait", "record", "wait", "record"));
  installed.line.Run(400);
  recorder.Stop();
  EXPECT_EQ(out.sink->Position(), 11600 + 160 + 5 * 800);
}

TEST(LSoundRecorder, LevelsBetweenTheThresholdsKeepARecordingButDoNotStartOne) {
  // -23 dB of the level scale: between -20 and -25.
  const double amplitude = 131072 * std::pow(10.0, -23.0 / 20.0) / 16.0;
  bool loud = false;
  InstalledLine installed(MakeFunction([&](std::int64_t frame, std::int32_t /*channel*/) {
    return static_cast<std::int16_t>((frame % 8 < 4 ? 1 : -1) * (loud ? 8000.0 : amplitude));
  }));
  LSoundRecorder recorder;
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -20, 500));
  installed.line.Run(2000);
  EXPECT_EQ(out.sink->Position(), 0);
  loud = true;
  installed.line.Run(100);
  loud = false;
  installed.line.Run(3000);
  EXPECT_EQ(out.sink->Position(), 160 + 800 + 24000);
}

// The block that ends a recording is held like every quiet one.
TEST(LSoundRecorder, SoundRightAfterAPauseGetsPreRollFromTheBlockThatPaused) {
  InstalledLine installed(Bursts({{0, 8000}, {24900, 80000}}));
  LSoundRecorder recorder;
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -20, 2000));
  installed.line.Run(3100);
  EXPECT_EQ(out.sink->Position(), 8000 + 3600);
  installed.line.Run(100);
  EXPECT_EQ(out.sink->Position(), 8000 + 3600 + 160 + 800);
}

TEST(LSoundRecorder, RecordingGoesOnDownToFiveDecibelsBelowTheThreshold) {
  for (const int level : {-25, -26}) {
    const double amplitude = 131072 * std::pow(10.0, level / 20.0) / 16.0;
    InstalledLine installed(MakeFunction([&](std::int64_t frame, std::int32_t /*channel*/) {
      return static_cast<std::int16_t>((frame % 8 < 4 ? 1 : -1) * (frame < 800 ? 8000.0 : amplitude));
    }));
    RecorderLog log;
    LSoundRecorder recorder;
    recorder.SetNotify(&log, 0);
    HeldSink out;
    ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -20, 500));
    installed.line.Run(3000);
    EXPECT_EQ(log.levels.back().Overall(), level);
    const Log goesOn = {"wait", "record"};
    const Log pauses = {"wait", "record", "wait"};
    EXPECT_EQ(log.Changes(), level == -25 ? goesOn : pauses);
  }
}

TEST(LSoundRecorder, StopTenSecondsIntoQuietLeavesFiftyMillisecondsAfterTheLastLoudBlock) {
  InstalledLine installed(Bursts({{0, 16000}}));
  LSoundRecorder recorder;
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -20, kNeverPause));
  installed.line.Run(12000);
  EXPECT_EQ(out.sink->Position(), 96000);
  recorder.Stop();
  EXPECT_EQ(out.sink->Position(), 16000 + 400);
}

TEST(LSoundRecorder, AnHourEndsJustAfterTheHourAndTakesSeconds) {
  InstalledLine installed(MakeFunction([](std::int64_t frame, std::int32_t /*channel*/) {
    return static_cast<std::int16_t>(frame % 2 == 0 ? 1000 : -1000);
  }));
  RecorderLog log;
  LSoundRecorder recorder;
  recorder.SetNotify(&log, 0);
  auto* const sizes = new SizesSink(8000, 1);
  LSoundSink sink(sizes);
  ASSERT_TRUE(recorder.Start(sink, 3600000, -127, kNeverPause));
  installed.line.Run(std::int64_t{2} * 3600000);
  EXPECT_FALSE(recorder.IsRunning());
  EXPECT_EQ(sizes->Position(), 28800000 + 800);
  EXPECT_EQ(installed.line.NowMs(), 3600100);
  EXPECT_THAT(log.Changes(), ElementsAre("wait", "record", "stop"));
}

TEST(LSoundRecorder, NoMaximumTimeIsNoLimit) {
  for (const std::int32_t maxTime : {0, -1}) {
    InstalledLine installed(MakeSilence());
    LSoundRecorder recorder;
    HeldSink out;
    ASSERT_TRUE(recorder.Start(out.handle, maxTime, -127, kNeverPause));
    installed.line.Run(10000);
    EXPECT_TRUE(recorder.IsRunning());
  }
}

TEST(LSoundRecorder, MaximumTimeCountsWhatAContinuedFileHad) {
  InstalledLine installed(MakeSilence());
  LSoundRecorder recorder;
  HeldSink out;
  const std::vector<std::int32_t> before(8000, 7);
  out.handle->Write(before.data(), 8000);
  ASSERT_TRUE(recorder.Start(out.handle, 1500, -127, kNeverPause));
  installed.line.Run(10000);
  EXPECT_FALSE(recorder.IsRunning());
  EXPECT_EQ(out.sink->Position(), 8000 + 4800);
}

// A tone through the converters: in the middle of the recording its level is that of the line.
double MeanSquareDB(const std::vector<std::int32_t>& samples, std::size_t from, std::size_t to) {
  double sum = 0.0;
  for (std::size_t i = from; i < to; ++i) sum += static_cast<double>(samples[i]) * samples[i];
  return 10.0 * std::log10(sum / static_cast<double>(to - from) / (524272.0 * 524272.0 / 2.0));
}

TEST(LSoundRecorder, DevicesOfOtherRatesAndChannelsAreConverted) {
  for (const std::int32_t rateHz : {8000, 16000, 44100, 48000}) {
    for (const std::int32_t channels : {1, 2}) {
      InstalledLine installed(MakeTone(400, -10.0),
                              {.lockStep = true, .inputRateHz = rateHz, .inputChannels = channels});
      LSoundRecorder recorder;
      HeldSink out;
      ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
      installed.line.Run(10000);
      recorder.Stop();
      EXPECT_NEAR(out.sink->Position(), 80000, 16) << rateHz << " " << channels;
      // The converter's short filter lets a tone of 400 Hz through with a loss of up to 1.5 dB at these rates.
      const double level = MeanSquareDB(out.sink->Samples(), 40000, 48000);
      EXPECT_LT(level, -9.95) << rateHz << " " << channels;
      EXPECT_GT(level, rateHz <= 16000 ? -10.2 : -11.5) << rateHz << " " << channels;
      EXPECT_EQ(out.sink->ReferenceCount(), 1);
    }
  }
}

TEST(LSoundRecorder, MonoInputFillsBothChannelsOfAStereoFileAndItsLevels) {
  InstalledLine installed(MakeFunction(NoiseAt), {.lockStep = true, .inputChannels = 1});
  RecorderLog log;
  LSoundRecorder recorder;
  recorder.SetNotify(&log, 0);
  HeldSink out(8000, 2);
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
  installed.line.Run(500);
  recorder.Stop();
  ASSERT_EQ(out.sink->Position(), 4000);
  for (std::size_t i = 0; i < 8000; i += 2) ASSERT_EQ(out.sink->Samples()[i], out.sink->Samples()[i + 1]);
  ASSERT_EQ(log.levels.back().channels, 2);
  EXPECT_EQ(log.levels.back().level[0], log.levels.back().level[1]);
  EXPECT_GT(log.levels.back().level[0], -127);
}

TEST(LSoundRecorder, ChannelCountThatCannotBeConvertedIsRefused) {
  InstalledLine installed(MakeSilence(), {.lockStep = true, .inputChannels = 6});
  LSoundRecorder recorder;
  HeldSink out;
  EXPECT_FALSE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
  EXPECT_EQ(out.sink->ReferenceCount(), 1);
  EXPECT_EQ(installed.line.OpenDevices(), 0);
}

TEST(LSoundRecorder, LevelIsThePeakInDecibels) {
  InstalledLine installed(MakeFunction([](std::int64_t frame, std::int32_t channel) {
    return static_cast<std::int16_t>((frame % 2 == 0 ? 1 : -1) * (channel == 0 ? 8192 : 819));
  }));
  RecorderLog log;
  LSoundRecorder recorder;
  recorder.SetNotify(&log, 0);
  HeldSink out(8000, 2);
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
  installed.line.Run(1000);
  recorder.Stop();
  // 8192 * 16 is the scale's 0 dB.
  EXPECT_EQ(log.levels.back().level[0], 0);
  EXPECT_EQ(log.levels.back().level[1], -20);
}

TEST(LSoundRecorder, InputThatDiesStopsTheRecordingAfterThreeSeconds) {
  InstalledLine installed(MakeFunction(NoiseAt));
  installed.line.StallInput(2050, SimulatedLine::kForEver);
  RecorderLog log;
  LSoundRecorder recorder;
  recorder.SetNotify(&log, 0);
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
  installed.line.Run(20000);
  EXPECT_FALSE(recorder.IsRunning());
  EXPECT_EQ(installed.line.NowMs(), 2000 + 3000);
  EXPECT_THAT(log.Changes(), ElementsAre("wait", "record", "stop"));
  EXPECT_EQ(out.sink->Samples(), RecordedNoise(0, 16000));
  EXPECT_TRUE(recorder.IsInputLost());
}

TEST(LSoundRecorder, InputThatNeverDeliversStopsWithAnEmptyFile) {
  InstalledLine installed(MakeFunction(NoiseAt));
  installed.line.StallInput(0, SimulatedLine::kForEver);
  RecorderLog log;
  LSoundRecorder recorder;
  recorder.SetNotify(&log, 0);
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
  installed.line.Run(20000);
  EXPECT_THAT(log.log, ElementsAre("wait", "time", "stop"));
  EXPECT_EQ(out.sink->Position(), 0);
  EXPECT_EQ(recorder.CapturedFrames(), 0);
}

TEST(LSoundRecorder, InputThatComesBackInTimeGoesOnWithSilenceInBetween) {
  InstalledLine installed(MakeFunction(NoiseAt));
  installed.line.StallInput(1000, 2500);
  LSoundRecorder recorder;
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
  installed.line.Run(5000);
  recorder.Stop();
  std::vector<std::int16_t> input = NoiseFrames(0, 40000);
  std::fill(input.begin() + 8000, input.begin() + 28000, std::int16_t{0});
  EXPECT_EQ(out.sink->Samples(), WithoutOffset(input, 1, 8000));
  EXPECT_EQ(recorder.LostInputFrames(), 0);
  EXPECT_FALSE(recorder.IsInputLost());
}

TEST(LSoundRecorder, InputThatIsUnpluggedStopsTheRecordingAndCannotBeOpened) {
  InstalledLine installed(MakeFunction(NoiseAt));
  installed.line.RemoveInput(1000, 60000);
  LSoundRecorder recorder;
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
  installed.line.Run(10000);
  EXPECT_FALSE(recorder.IsRunning());
  EXPECT_EQ(out.sink->Position(), 8000);
  EXPECT_FALSE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
  installed.line.Pass(60000);
  EXPECT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
}

// A sink that is held up once, as by a disk, when it has so many frames.
class SlowSink : public MemorySink {
 public:
  SlowSink(SimulatedLine& line, std::int32_t atFrame, std::int64_t forMs)
      : MemorySink(8000, 1), line_(line), atFrame_(atFrame), forMs_(forMs) {}
  void Write(std::int32_t const* buffer, std::int32_t frames) override {
    if (Position() >= atFrame_) {
      atFrame_ = INT32_MAX;
      line_.HoldUpWorker(forMs_);
    }
    MemorySink::Write(buffer, frames);
  }

 private:
  SimulatedLine& line_;
  std::int32_t atFrame_;
  std::int64_t forMs_;
};

TEST(LSoundRecorder, DiskThatStallsForEightSecondsLosesNoFrame) {
  InstalledLine installed(MakeFunction(NoiseAt));
  LSoundRecorder recorder;
  auto* const slow = new SlowSink(installed.line, 8000, 8000);
  LSoundSink sink(slow);
  ASSERT_TRUE(recorder.Start(sink, kNoLimit, -127, kNeverPause));
  installed.line.Run(8900);
  EXPECT_EQ(slow->Position(), 8000);
  installed.line.Run(21100);
  recorder.Stop();
  EXPECT_EQ(slow->Samples(), RecordedNoise(0, 240000));
  EXPECT_EQ(recorder.LostInputFrames(), 0);
}

TEST(LSoundRecorder, StopInTheMiddleOfAStallKeepsWhatWasCaptured) {
  InstalledLine installed(MakeFunction(NoiseAt));
  LSoundRecorder recorder;
  auto* const slow = new SlowSink(installed.line, 8000, 8000);
  LSoundSink sink(slow);
  ASSERT_TRUE(recorder.Start(sink, kNoLimit, -127, kNeverPause));
  installed.line.Run(5000);
  recorder.Stop();
  EXPECT_EQ(slow->Samples(), RecordedNoise(0, 40000));
}

TEST(LSoundRecorder, StallLongerThanTheRingIsCountedAsLost) {
  InstalledLine installed(MakeFunction(NoiseAt));
  LSoundRecorder recorder;
  auto* const slow = new SlowSink(installed.line, 8000, 15000);
  LSoundSink sink(slow);
  ASSERT_TRUE(recorder.Start(sink, kNoLimit, -127, kNeverPause));
  installed.line.Run(30000);
  EXPECT_GT(recorder.LostInputFrames(), 0);
  recorder.Stop();
  EXPECT_EQ(recorder.LostInputFrames() + slow->Position(), 240000);
  // The block in hand, and ten seconds in the ring.
  EXPECT_EQ(recorder.LostInputFrames(), 120000 - 80000);
  EXPECT_EQ(recorder.LostInputTime(), 5000);
}

TEST(LSoundRecorder, WriteErrorIsReadableAndDoesNotStopTheRecording) {
  class FullDiskSink : public MemorySink {
   public:
    FullDiskSink() : MemorySink(8000, 1) {}
    void Write(std::int32_t const* buffer, std::int32_t frames) override {
      MemorySink::Write(buffer, frames);
      if (Position() > 16000) error_ |= kSinkFailed;
    }
  };
  InstalledLine installed(MakeSilence(), {.lockStep = true, .inputRateHz = 44100, .inputChannels = 2});
  LSoundRecorder recorder;
  LSoundSink sink(new FullDiskSink);
  ASSERT_TRUE(recorder.Start(sink, kNoLimit, -127, kNeverPause));
  installed.line.Run(1500);
  EXPECT_EQ(recorder.WriteError(), kSinkGood);
  installed.line.Run(1500);
  EXPECT_EQ(recorder.WriteError(), kSinkFailed);
  EXPECT_TRUE(recorder.IsRunning());
  recorder.Stop();
  EXPECT_EQ(recorder.WriteError(), kSinkFailed);
}

// A converter keeps the last frames back until it is closed.
TEST(LSoundRecorder, WriteErrorOfTheLastFramesIsReadableAfterStop) {
  class FullAtLastSink : public MemorySink {
   public:
    FullAtLastSink() : MemorySink(8000, 1) {}
    void Write(std::int32_t const* buffer, std::int32_t frames) override {
      MemorySink::Write(buffer, frames);
      if (full) error_ |= kSinkFailed;
    }
    std::atomic<bool> full{false};
  };
  InstalledLine installed(MakeFunction(NoiseAt), {.lockStep = true, .inputRateHz = 16000});
  LSoundRecorder recorder;
  auto* const object = new FullAtLastSink;
  LSoundSink sink(object);
  ASSERT_TRUE(recorder.Start(sink, kNoLimit, -127, kNeverPause));
  installed.line.Run(1000);
  object->full = true;
  EXPECT_EQ(recorder.WriteError(), kSinkGood);
  recorder.Stop();
  EXPECT_EQ(recorder.WriteError(), kSinkFailed);
}

TEST(LSoundRecorder, ChainsOfRecordingsJoinWithoutASeam) {
  InstalledLine installed(MakeFunction(NoiseAt));
  RecorderLog log;
  LSoundRecorder recorder;
  std::vector<std::unique_ptr<HeldSink>> files;
  files.push_back(std::make_unique<HeldSink>());
  log.onEntry = [&](const std::string& entry) {
    if (entry != "stop" || files.size() >= 4) return;
    files.push_back(std::make_unique<HeldSink>());
    EXPECT_TRUE(recorder.Start(files.back()->handle, 1000, -127, kNeverPause));
  };
  recorder.SetNotify(&log, 0);
  ASSERT_TRUE(recorder.Start(files.front()->handle, 1000, -127, kNeverPause));
  installed.line.Run(60000);
  EXPECT_FALSE(recorder.IsRunning());
  ASSERT_EQ(files.size(), 4U);
  for (std::size_t i = 0; i < files.size(); ++i)
    EXPECT_EQ(files[i]->sink->Samples(), RecordedNoise(static_cast<std::int64_t>(i) * 8800, 8800)) << i;
}

}  // namespace
}  // namespace kiv::test
