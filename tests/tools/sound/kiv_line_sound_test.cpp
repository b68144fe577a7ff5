// kiv-line on a private sound server whose monitor is the input: what it plays it records.

#include <chrono>
#include <cmath>
#include <cstdlib>

#include "audio/wave_file.h"
#include "tests/support/stall_watch.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_signals.h"

namespace {

std::string NameOf(const testing::TestParamInfo<const char*>& server) {
  return server.param;
}

class KivLineOnServer : public testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(Servers, KivLineOnServer, testing::Values("pulseaudio", "pipewire"), NameOf);

TEST_P(KivLineOnServer, RecordsWhatItPlays) {
  const kiv::test::TemporaryFolder folder;
  constexpr double kAmplitude = 200000;
  const std::vector<std::int32_t> tone = kiv::test::Sine(1000, kAmplitude, 8000, 12000, 1);
  // Both start at once, and on a busy machine a server's input gives silence at first; the last of the tone is still
  // under way to the recording when the player has heard of its end.
  const std::vector<std::int32_t> silence(6000);
  {
    LSoundSink sink = LWaveFile::OpenSinkPCM(folder.File("prompt.wav").c_str(), 8000, 1, 16, 0);
    sink->Write(silence.data(), 6000);
    sink->Write(tone.data(), 12000);
    sink->Write(silence.data(), 6000);
  }
  const std::string command = std::string(KIV_SCRIPTS) + "/with-sound " + GetParam() + " " + KIV_LINE + " --play '" +
                              folder.File("prompt.wav") + "' --record '" + folder.File("call.wav") + "' 2>'" +
                              folder.File("said") + "'";
  for (int attempt = 1; attempt <= 5; ++attempt) {
    const kiv::test::StallWatch stalls;
    ASSERT_EQ(std::system(command.c_str()), 0) << kiv::test::ReadFile(folder.File("said"));
    EXPECT_THAT(kiv::test::ReadFile(folder.File("said")),
                testing::ContainsRegex("call.wav: [0-9]+\\.[0-9] s, 8000 Hz, mono"));
    LSoundSource call = LWaveFile::OpenSource(folder.File("call.wav").c_str());
    ASSERT_EQ(call->Error(), kSourceGood);
    const std::vector<std::int32_t> samples = kiv::test::ReadInPieces(call, call->GetEndSample(), {8192});
    double energy = 0;
    for (const std::int32_t sample : samples) energy += static_cast<double>(sample) * sample;
    // All of the tone's energy, to 0.1 dB, and nothing else.
    const double energyDB = 10 * std::log10(energy / (12000 * kAmplitude * kAmplitude / 2));
    if (std::abs(energyDB) <= 0.1) return;
    // A server that was not let run in the middle of the tone leaves a hole in it, whoever plays and records.
    if (stalls.StoodStill() < std::chrono::milliseconds(20)) FAIL() << energyDB << " dB";
  }
  GTEST_SKIP() << "the machine stood still in the middle of each tone";
}

}  // namespace
