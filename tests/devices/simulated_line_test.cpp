#include "platform/simulated/simulated_line.h"

#include <cmath>

#include "audio/wave_file.h"
#include "tests/devices/line_fixture.h"
#include "tests/support/temporary_folder.h"

namespace kiv::test {
namespace {

TEST(SimulatedLine, TimeStandsStillWhileNoDeviceIsOpen) {
  InstalledLine installed(MakeSilence());
  installed.line.Run(60000);
  EXPECT_EQ(installed.line.NowMs(), 0);
  LSoundRecorder recorder;
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
  installed.line.Run(1500);
  EXPECT_EQ(installed.line.NowMs(), 1500);
  recorder.Stop();
  installed.line.Run(60000);
  EXPECT_EQ(installed.line.NowMs(), 1500);
  installed.line.Pass(60000);
  EXPECT_EQ(installed.line.NowMs(), 61500);
}

TEST(SimulatedLine, WallClockFollowsLineTime) {
  InstalledLine installed(MakeSilence(), {.lockStep = true, .startUnixMs = 1000000});
  EXPECT_EQ(installed.line.WallClock().UnixMilliseconds(), 1000000);
  LSoundRecorder recorder;
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
  installed.line.Run(2500);
  EXPECT_EQ(installed.line.WallClock().UnixMilliseconds(), 1002500);
}

TEST(SimulatedLine, RunUntilStopsInTheMomentThatIsWaitedFor) {
  InstalledLine installed(MakeSilence());
  RecorderLog log;
  LSoundRecorder recorder;
  recorder.SetNotify(&log, 0);
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
  EXPECT_TRUE(installed.line.RunUntil([&] { return !log.times.empty() && log.times.back() >= 1000; }, 60000));
  EXPECT_EQ(installed.line.NowMs(), 1000);
  EXPECT_FALSE(installed.line.RunUntil([] { return false; }, 500));
  EXPECT_EQ(installed.line.NowMs(), 1500);
}

// A small call: record, play something over it, pause over silence, stop.
std::string RunScript(const std::string& folder) {
  std::string trace;
  {
    InstalledLine installed(MakeSpeechBursts(5, -12.0), {.lockStep = true, .inputRateHz = 44100, .inputChannels = 2});
    LSoundSink output = LWaveFile::OpenSinkPCM((folder + "/output.wav").c_str(), 8000, 1, 16, 0);
    installed.line.WriteOutputTo(output);
    RecorderLog recorded;
    PlayerLog played;
    LSoundRecorder recorder;
    LSoundPlayer player;
    const auto note = [&](const char* who) {
      return [&trace, &installed, who](const std::string& entry) {
        trace += std::to_string(installed.line.NowMs()) + who + entry + "\n";
      };
    };
    recorded.onEntry = note(" r ");
    played.onEntry = note(" p ");
    recorder.SetNotify(&recorded, 1);
    player.SetNotify(&played, 2);
    LSoundSink sink = LWaveFile::OpenSinkPCM((folder + "/call.wav").c_str(), 8000, 1, 16, 0);
    EXPECT_TRUE(recorder.Start(sink, kNoLimit, -30, 1000));
    sink.Close();
    for (int i = 0; i < 5; ++i) {
      installed.line.Run(1300);
      LSoundSource source = OpenMemory(Noise(static_cast<std::uint64_t>(i), 5000 + i, 1, 100000), 8000, 1);
      EXPECT_TRUE(player.Start(source));
      installed.line.Run(800);
    }
    recorder.Stop();
    player.Stop();
    installed.line.Settle();
    installed.line.WriteOutputTo(LSoundSink());
  }
  return trace + ReadFile(folder + "/call.wav") + ReadFile(folder + "/output.wav");
}

TEST(SimulatedLine, TheSameScriptGivesTheSameBytes) {
  const TemporaryFolder folder;
  const std::string first = RunScript(folder.Path());
  EXPECT_GT(first.size(), 200000U);
  for (int i = 0; i < 4; ++i) ASSERT_TRUE(RunScript(folder.Path()) == first) << i;
}

TEST(SimulatedLine, OutputFileHasEverythingAtItsLineTime) {
  InstalledLine installed(MakeSilence());
  HeldSink output;
  installed.line.WriteOutputTo(output.handle);
  LSoundRecorder recorder;
  LSoundPlayer player;
  HeldSink call;
  ASSERT_TRUE(recorder.Start(call.handle, kNoLimit, -127, kNeverPause));
  installed.line.Run(2000);
  LSoundSource source = OpenMemory(std::vector<std::int32_t>(1000, 1600), 8000, 1);
  ASSERT_TRUE(player.Start(source));
  installed.line.Run(3000);
  source->Seek(0);
  ASSERT_TRUE(player.Start(source));
  installed.line.Run(3000);
  installed.line.WriteOutputTo(LSoundSink());
  ASSERT_EQ(output.sink->Position(), 40000 + 1000);
  for (std::size_t i = 0; i < 41000; ++i) {
    const bool sounding = (i >= 16000 && i < 17000) || i >= 40000;
    ASSERT_EQ(output.sink->Samples()[i], sounding ? 1600 : 0) << i;
  }
}

std::vector<std::int16_t> Rendered(LineSignal& signal, std::int64_t first, std::int32_t frames, std::int32_t rateHz,
                                   std::int32_t channels) {
  std::vector<std::int16_t> samples(static_cast<std::size_t>(frames * channels));
  signal.Render(first, frames, rateHz, channels, samples.data());
  return samples;
}

TEST(LineSignal, ToneHasItsFrequencyAndLevelHoweverLateItIs) {
  const auto tone = MakeTone(1000, -6.0);
  const std::int64_t late = std::int64_t{8000} * 3600 * 24 * 365;
  for (const std::int64_t first : {std::int64_t{0}, late}) {
    const auto samples = Rendered(*tone, first, 8000, 8000, 1);
    for (int i = 0; i < 8000; ++i)
      ASSERT_NEAR(samples[static_cast<std::size_t>(i)], 32767 * 0.501187 * std::sin(2 * M_PI * i / 8), 1.0);
  }
}

TEST(LineSignal, SpeechIsTheSameInAnyPiecesAndHasPauses) {
  const auto speech = MakeSpeechBursts(3, -12.0);
  const auto whole = Rendered(*speech, 0, 48000, 8000, 1);
  auto pieces = Rendered(*speech, 0, 1234, 8000, 1);
  const auto rest = Rendered(*speech, 1234, 48000 - 1234, 8000, 1);
  pieces.insert(pieces.end(), rest.begin(), rest.end());
  EXPECT_EQ(whole, pieces);
  int loud = 0;
  int quiet = 0;
  for (std::size_t block = 0; block < 60; ++block) {
    std::int32_t peak = 0;
    for (std::size_t i = 0; i < 800; ++i) peak = std::max(peak, std::abs(std::int32_t{whole[block * 800 + i]}));
    if (peak > 1000) ++loud;
    if (peak < 10) ++quiet;
  }
  EXPECT_GT(loud, 10);
  EXPECT_GT(quiet, 5);
}

TEST(LineSignal, SourceSoundsAtTheLinesRateAndChannels) {
  const auto signal = MakeSourceSignal(OpenMemory(Sine(500, 262136, 8000, 8000, 1), 8000, 1), false);
  const auto samples = Rendered(*signal, 0, 44100 * 2, 44100, 2);
  double sum = 0.0;
  for (std::size_t i = 20000; i < 60000; ++i) sum += 1.0 * samples[i] * samples[i];
  EXPECT_NEAR(10 * std::log10(sum / 40000 / (16384.0 * 16384.0 / 2)), 0.0, 0.1);
  EXPECT_EQ(samples[30000], samples[30001]);
  EXPECT_THAT(std::vector<std::int16_t>(samples.begin() + 90000, samples.end()), testing::Each(0));
}

TEST(LineSignal, RepeatedSourceBeginsAgain) {
  const auto signal = MakeSourceSignal(OpenMemory(Noise(1, 1000, 1, 500000), 8000, 1), true);
  const auto samples = Rendered(*signal, 0, 3000, 8000, 1);
  EXPECT_TRUE(std::equal(samples.begin(), samples.begin() + 1000, samples.begin() + 1000));
  EXPECT_TRUE(std::equal(samples.begin(), samples.begin() + 1000, samples.begin() + 2000));
  EXPECT_EQ(Rendered(*signal, 500, 1000, 8000, 1),
            std::vector<std::int16_t>(samples.begin() + 500, samples.begin() + 1500));
}

TEST(LineSignal, SourceInErrorIsSilence) {
  const auto signal = MakeSourceSignal(LSoundSource(), true);
  EXPECT_THAT(Rendered(*signal, 0, 3000, 8000, 1), testing::Each(0));
}

TEST(SimulatedLine, LoopsARecordingOfItselfAtAnyFormat) {
  const TemporaryFolder folder;
  const std::string path = folder.File("in.wav");
  {
    LSoundSink sink = LWaveFile::OpenSinkPCM(path.c_str(), 8000, 1, 16, 0);
    const auto tone = Sine(400, 131068, 8000, 8000, 1);
    sink->Write(tone.data(), 8000);
  }
  InstalledLine installed(MakeSourceSignal(LWaveFile::OpenSource(path.c_str()), true),
                          {.lockStep = true, .inputRateHz = 48000, .inputChannels = 2});
  LSoundRecorder recorder;
  HeldSink out;
  ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
  installed.line.Run(5000);
  recorder.Stop();
  EXPECT_NEAR(out.sink->Position(), 40000, 16);
}

}  // namespace
}  // namespace kiv::test
