// The program as people run it, on a simulated line: as fast as it goes where the result is to be exact, since then it
// does not depend on how busy the machine is; against the clock where the program has to wait.

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "audio/wave_file.h"
#include "tests/support/test_signals.h"
#include "tests/tools/run_program.h"

namespace {

using kiv::test::Limits;
using kiv::test::Outcome;
using kiv::test::ReadFile;
using kiv::test::RunProgram;
using kiv::test::TemporaryFolder;
using testing::HasSubstr;

Outcome KivLine(const TemporaryFolder& folder, const std::vector<std::string>& arguments, const Limits& limits = {}) {
  return RunProgram(KIV_LINE, folder, arguments, limits);
}

// 16-bit steps, so that a file holds every sample exactly.
std::vector<std::int32_t> Tone(std::int32_t frames, int channels) {
  std::vector<std::int32_t> samples = kiv::test::Sine(700, 200000, 8000, frames, channels);
  for (std::int32_t& sample : samples) sample = sample / 16 * 16;
  return samples;
}

void WriteWave(const std::string& path, const std::vector<std::int32_t>& samples, std::uint8_t channels) {
  LSoundSink sink = LWaveFile::OpenSinkPCM(path.c_str(), 8000, channels, 16, 0);
  sink->Write(samples.data(), static_cast<std::int32_t>(samples.size() / channels));
}

struct Wave {
  std::int32_t rateHz;
  int channels;
  std::vector<std::int32_t> samples;
};

Wave ReadWave(const std::string& path) {
  LSoundSource source = LWaveFile::OpenSource(path.c_str());
  const std::int32_t frames = source->Error() == kSourceGood ? source->GetEndSample() : 0;
  return {source->Rate(), source->Channels(), kiv::test::ReadInPieces(source, frames, {8192})};
}

std::int32_t Loudest(const std::vector<std::int32_t>& samples) {
  std::int32_t loudest = 0;
  for (const std::int32_t sample : samples) loudest = std::max(loudest, std::abs(sample));
  return loudest;
}

TEST(KivLine, RecordsAsLongAsAskedAndShowsTheLevel) {
  const TemporaryFolder folder;
  const std::string path = folder.File("call.wav");
  const Outcome run = KivLine(folder, {"--record", path, "--seconds", "4.5", "--simulate", "--speed", "max"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "");
  EXPECT_THAT(run.err, HasSubstr("recording from Simulated line\n"));
  EXPECT_THAT(run.err, HasSubstr(" dB ####"));
  EXPECT_THAT(run.err, HasSubstr("call.wav: 4.5 s, 8000 Hz, mono\n"));
  EXPECT_EQ(ReadFile(path).size(), 46U + 36000U * 2U);
  EXPECT_GT(Loudest(ReadWave(path).samples), 50000);
}

TEST(KivLine, RecordsAsLongAsAskedAgainstTheClock) {
  const TemporaryFolder folder;
  const std::string path = folder.File("call.wav");
  const Outcome run = KivLine(folder, {"--record", path, "--seconds", "4.5", "--simulate", "--speed", "10"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.err, HasSubstr("call.wav: 4.5 s, 8000 Hz, mono\n"));
  EXPECT_EQ(ReadFile(path).size(), 46U + 36000U * 2U);
}

TEST(KivLine, AsFastAsItGoesTheSameCommandGivesTheSameFile) {
  const TemporaryFolder folder;
  WriteWave(folder.File("prompt.wav"), Tone(8000, 1), 1);
  std::vector<std::string> files;
  for (const char* name : {"first.wav", "second.wav"}) {
    const Outcome run = KivLine(folder, {"--record", folder.File(name), "--play", folder.File("prompt.wav"),
                                         "--seconds", "60", "--simulate", "--speed", "max"});
    EXPECT_EQ(run.status, 0) << run.err;
    files.push_back(ReadFile(folder.File(name)));
  }
  EXPECT_EQ(files[0].size(), 46U + 480000U * 2U);
  EXPECT_TRUE(files[0] == files[1]);
}

TEST(KivLine, RecordsWhatIsOnTheLineAtRateAndChannelsAskedFor) {
  const TemporaryFolder folder;
  WriteWave(folder.File("in.wav"), Tone(16000, 2), 2);
  const Outcome run = KivLine(folder, {"--record", folder.File("out.wav"), "--seconds", "2", "--rate", "16000",
                                       "--channels", "2", "--simulate=" + folder.File("in.wav"), "--speed", "max"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.err, HasSubstr("out.wav: 2.0 s, 16000 Hz, stereo\n"));
  const Wave out = ReadWave(folder.File("out.wav"));
  EXPECT_EQ(out.rateHz, 16000);
  EXPECT_EQ(out.channels, 2);
  EXPECT_EQ(out.samples.size(), 64000U);
  EXPECT_NEAR(Loudest(out.samples), 200000, 10000);
}

TEST(KivLine, RecordsAsLongAsItPlays) {
  const TemporaryFolder folder;
  WriteWave(folder.File("prompt.wav"), Tone(24000, 1), 1);
  const Outcome run = KivLine(folder, {"--play", folder.File("prompt.wav"), "--record", folder.File("call.wav"),
                                       "--simulate", "--speed", "max"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(ReadWave(folder.File("call.wav")).samples.size(), 24000U);
}

TEST(KivLine, PlaysToTheEndOrAsLongAsAsked) {
  const TemporaryFolder folder;
  WriteWave(folder.File("prompt.wav"), Tone(8000 * 30, 1), 1);
  const Outcome whole = KivLine(folder, {"--play", folder.File("prompt.wav"), "--simulate", "--speed", "max"});
  EXPECT_EQ(whole.status, 0) << whole.err;
  EXPECT_THAT(whole.err, testing::StartsWith("playing "));
  // A second of it. The whole would need five minutes.
  const auto begin = std::chrono::steady_clock::now();
  const Outcome part =
      KivLine(folder, {"--play", folder.File("prompt.wav"), "--seconds", "0.1", "--simulate", "--speed", "0.1"});
  EXPECT_EQ(part.status, 0) << part.err;
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(100));
}

TEST(KivLine, BelowTheThresholdNothingIsRecorded) {
  const TemporaryFolder folder;
  std::vector<std::int32_t> samples(8000 * 10);
  const std::vector<std::int32_t> tone = Tone(8000, 1);
  std::copy(tone.begin(), tone.end(), samples.begin() + 8000 * 4);
  WriteWave(folder.File("line.wav"), samples, 1);
  // One second in ten is loud: two seconds of recording are two such seconds and their tails of 450 ms, the silence
  // between them is left out.
  const Outcome run = KivLine(folder, {"--record", folder.File("call.wav"), "--seconds", "2", "--threshold", "-20",
                                       "--pause", "1", "--simulate=" + folder.File("line.wav"), "--speed", "max"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.err, testing::ContainsRegex("waiting .* silent \\.\\.\\."));
  const Wave call = ReadWave(folder.File("call.wav"));
  std::size_t loud = 0;
  for (const std::int32_t sample : call.samples) loud += std::abs(sample) > 60000 ? 1U : 0U;
  EXPECT_GT(loud, call.samples.size() / 3) << "the line itself is loud in a tenth of the time";
}

TEST(KivLine, SignalsFinishTheFile) {
  const TemporaryFolder folder;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const Outcome run = KivLine(folder, {"--record", folder.File("call.wav"), "--simulate", "--speed", "20"},
                                {.signalAtProgress = signal});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("call.wav: "));
    const std::string bytes = ReadFile(folder.File("call.wav"));
    ASSERT_GE(bytes.size(), 46U);
    EXPECT_NE(bytes.substr(42, 4), "\xFF\xFF\xFF\xFF") << "the header of a recording that is still going on";
  }
}

TEST(KivLine, FailuresLeaveTheRecordingsFileAlone) {
  const TemporaryFolder folder;
  const std::string precious = folder.File("precious.wav");
  WriteWave(precious, Tone(800, 1), 1);
  const std::string before = ReadFile(precious);
  kiv::test::WriteFile(folder.File("text.wav"), "not a sound");
  ASSERT_EQ(link(precious.c_str(), folder.File("same.wav").c_str()), 0);
  const struct {
    std::vector<std::string> arguments;
    const char* message;
  } cases[] = {
      {{"--record", precious, "--play", folder.File("missing.wav"), "--simulate"}, "missing.wav: cannot be opened\n"},
      {{"--record", precious, "--play", folder.File("text.wav"), "--simulate"}, "text.wav: is not a WAV file\n"},
      {{"--record", precious, "--simulate=" + folder.File("text.wav")}, "text.wav: is not a WAV file\n"},
      {{"--record", precious, "--play", folder.File("same.wav"), "--simulate"}, "precious.wav: is being played\n"},
      {{"--record", precious, "--simulate=" + folder.File("same.wav")}, "precious.wav: is being played\n"},
      {{"--record", folder.Path(), "--simulate"}, ": is not a file\n"},
      {{"--record", folder.File("no/call.wav"), "--simulate"}, "No such file or directory\n"},
  };
  for (const auto& [arguments, message] : cases) {
    const Outcome run = KivLine(folder, arguments);
    EXPECT_EQ(run.status, 1) << message;
    EXPECT_THAT(run.err, testing::StartsWith("kiv-line: "));
    EXPECT_THAT(run.err, testing::EndsWith(message));
  }
  EXPECT_EQ(ReadFile(precious), before);
}

TEST(KivLine, FullDiskEndsTheRecordingAndIsTold) {
  const TemporaryFolder folder;
  const Outcome run =
      KivLine(folder, {"--record", folder.File("call.wav"), "--simulate", "--speed", "max"}, {.fileBytes = 40000});
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_THAT(run.err, HasSubstr("could not be written in full"));
}

TEST(KivLine, WrongArgumentsAreToldWithStatusTwo) {
  const TemporaryFolder folder;
  const std::string path = folder.File("call.wav");
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{},
                                             {"--simulate"},
                                             {"--record"},
                                             {"--record", ""},
                                             {"--record", path, "extra"},
                                             {"--record", path, "--unknown"},
                                             {"--record", path, "--seconds", "0"},
                                             {"--record", path, "--seconds", "nan"},
                                             {"--record", path, "--seconds", "ten"},
                                             {"--record", path, "--rate", "100"},
                                             {"--record", path, "--rate", "8000.5"},
                                             {"--record", path, "--channels", "3"},
                                             {"--record", path, "--threshold", "-128"},
                                             {"--record", path, "--pause", "-1"},
                                             {"--record", path, "--speed", "2"},
                                             {"--record", path, "--speed", "max"},
                                             {"--record", path, "--simulate", "--speed", "fast"},
                                             {"--record", path, "--simulate=", "--speed", "2"},
                                             {"--record", path, "--simulate", "--speed", "0"}}) {
    const Outcome run = KivLine(folder, arguments);
    EXPECT_EQ(run.status, 2) << testing::PrintToString(arguments);
    EXPECT_NE(run.err, "");
    EXPECT_FALSE(std::filesystem::exists(path));
  }
}

TEST(KivLine, HelpAndVersionGoToStandardOutput) {
  const TemporaryFolder folder;
  const Outcome help = KivLine(folder, {"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_THAT(help.out, testing::StartsWith("Usage: kiv-line "));
  EXPECT_EQ(help.err, "");
  const Outcome version = KivLine(folder, {"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_THAT(version.out, testing::MatchesRegex("kiv-line [0-9.]+\n"));
}

TEST(KivLine, WithoutASoundServerItRefusesToRecordAndPlaysSilently) {
  const TemporaryFolder folder;
  WriteWave(folder.File("prompt.wav"), Tone(4000, 1), 1);
  setenv("PULSE_SERVER", ("unix:" + folder.File("no-server")).c_str(), 1);
  const Outcome record = KivLine(folder, {"--record", folder.File("call.wav")});
  EXPECT_EQ(record.status, 1);
  EXPECT_EQ(record.err, "kiv-line: there is no sound input, or no sound server\n");
  EXPECT_FALSE(std::filesystem::exists(folder.File("call.wav")));
  const Outcome play = KivLine(folder, {"--play", folder.File("prompt.wav")});
  EXPECT_EQ(play.status, 0);
  EXPECT_THAT(play.err, HasSubstr("kiv-line: no sound output: playing silently\n"));
}

}  // namespace
