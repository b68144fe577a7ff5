// kiv-line on a private sound server whose monitor is the input: what it plays it records.

#include <cmath>
#include <cstdlib>

#include "audio/wave_file.h"
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
  // Both start at once, and on a busy machine a server's input gives silence for its first tenth of a second.
  const std::vector<std::int32_t> silence(4000);
  {
    LSoundSink sink = LWaveFile::OpenSinkPCM(folder.File("prompt.wav").c_str(), 8000, 1, 16, 0);
    sink->Write(silence.data(), 4000);
    sink->Write(tone.data(), 12000);
  }
  const std::string command = std::string(KIV_SCRIPTS) + "/with-sound " + GetParam() + " " + KIV_LINE + " --play '" +
                              folder.File("prompt.wav") + "' --record '" + folder.File("call.wav") +
                              "' --seconds 3 2>'" + folder.File("said") + "'";
  ASSERT_EQ(std::system(command.c_str()), 0) << kiv::test::ReadFile(folder.File("said"));
  EXPECT_THAT(kiv::test::ReadFile(folder.File("said")), testing::HasSubstr("call.wav: 3.0 s, 8000 Hz, mono"));

  LSoundSource call = LWaveFile::OpenSource(folder.File("call.wav").c_str());
  ASSERT_EQ(call->GetEndSample(), 24000);
  const std::vector<std::int32_t> samples = kiv::test::ReadInPieces(call, 24000, {8192});
  double energy = 0;
  for (const std::int32_t sample : samples) energy += static_cast<double>(sample) * sample;
  // All of the tone's energy, to 0.1 dB, and nothing else.
  EXPECT_NEAR(10 * std::log10(energy / (12000 * kAmplitude * kAmplitude / 2)), 0, 0.1);
}

}  // namespace
