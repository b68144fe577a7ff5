#include "recorder/prompt_chain.h"

#include "audio/processing/compressor.h"
#include "audio/processing/gain.h"
#include "audio/processing/high_pass.h"
#include "audio/wave_file.h"
#include "recorder/setting_keys.h"
#include "recorder/settings.h"
#include "tests/support/recorder_fixture.h"
#include "tests/support/test_signals.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int32_t kRate = 8000;
constexpr std::int32_t kFrames = 4000;

using Samples = std::vector<std::int32_t>;

Samples ReadAll(LSoundSource source) {
  Samples samples(kFrames);
  source->Read(samples.data(), kFrames);
  return samples;
}

class PromptChain : public kiv::test::RecorderFixture {
 protected:
  PromptChain() : path(DataPath("On-Hold 2.wav")) {
    // Quiet parts and the loudest ones, so that every stage has something to do.
    Samples samples = kiv::test::Sine(440, 524000, kRate, kFrames, 1);
    for (std::size_t i = 0; i < samples.size() / 2; ++i) samples[i] /= 16;
    LSoundSink sink = LWaveFile::OpenSinkPCM(path.c_str(), kRate, 1, 16, 0);
    sink->Write(samples.data(), kFrames);
  }
  LSoundSource File() const { return LWaveFile::OpenSource(path.c_str()); }
  Samples Prompt() const { return ReadAll(kiv::OpenPrompt(path.c_str())); }

  const std::string path;
};

TEST_F(PromptChain, FileOfAPromptIsInTheDataFolder) {
  char file[kiv::kTextSize];
  kiv::PathOfPrompt(file, "Start Prompt");
  EXPECT_EQ(std::string(file), DataPath("Start Prompt.wav"));
}

TEST_F(PromptChain, WithoutSettingsIsTheFileItself) {
  EXPECT_EQ(Prompt(), ReadAll(File()));
}

TEST_F(PromptChain, MissingFileIsLoggedAndInError) {
  EXPECT_NE(kiv::OpenPrompt(DataPath("none.wav").c_str())->Error(), kSourceGood);
  EXPECT_THAT(LogLines(), ElementsAre("Error: File Missing: " + DataPath("none.wav")));
}

TEST_F(PromptChain, HighPassBeginsAbove20) {
  kiv::SetSetting(kiv::kAudioHighPass, 20);
  EXPECT_EQ(Prompt(), ReadAll(File()));
  kiv::SetSetting(kiv::kAudioHighPass, -300);
  EXPECT_EQ(Prompt(), ReadAll(File()));
  kiv::SetSetting(kiv::kAudioHighPass, 300);
  LSoundSource file = File();
  EXPECT_EQ(Prompt(), ReadAll(LSPHighPass(300).OpenSource(file)));
  EXPECT_NE(Prompt(), ReadAll(File()));
}

TEST_F(PromptChain, CompressorBeginsBelowMinus2AndHasNoUpperKnee) {
  kiv::SetSetting(kiv::kAudioCompressorThreshold, -2);
  EXPECT_EQ(Prompt(), ReadAll(File()));
  for (const LDB threshold : {-3, -16}) {
    kiv::SetSetting(kiv::kAudioCompressorThreshold, threshold);
    LSoundSource file = File();
    EXPECT_EQ(Prompt(), ReadAll(LSPCompressor(threshold, 0.9261187281287935, 50, 127).OpenSource(file)));
    EXPECT_NE(Prompt(), ReadAll(File()));
    // With a knee at 6 dB the loudest parts would stop rising.
    LSoundSource again = File();
    EXPECT_NE(Prompt(), ReadAll(LSPCompressor(threshold, 0.9261187281287935, 50, 6).OpenSource(again)));
  }
}

TEST_F(PromptChain, GainIsUsedBeyondOneDecibelEitherWay) {
  for (const LDB gain : {-1, 0, 1}) {
    kiv::SetSetting(kiv::kAudioGain, gain);
    EXPECT_EQ(Prompt(), ReadAll(File())) << gain;
  }
  for (const LDB gain : {-8, -2, 2, 8}) {
    kiv::SetSetting(kiv::kAudioGain, gain);
    LSoundSource file = File();
    EXPECT_EQ(Prompt(), ReadAll(LSPGain(gain).OpenSource(file))) << gain;
    EXPECT_NE(Prompt(), ReadAll(File())) << gain;
  }
}

TEST_F(PromptChain, OrderIsHighPassCompressorGain) {
  kiv::SetSetting(kiv::kAudioHighPass, 200);
  kiv::SetSetting(kiv::kAudioCompressorThreshold, -16);
  kiv::SetSetting(kiv::kAudioGain, 8);
  LSoundSource file = File();
  LSoundSource filtered = LSPHighPass(200).OpenSource(file);
  LSoundSource compressed = LSPCompressor(-16, 0.9261187281287935, 50, 127).OpenSource(filtered);
  EXPECT_EQ(Prompt(), ReadAll(LSPGain(8).OpenSource(compressed)));
  EXPECT_THAT(LogLines(), IsEmpty());
}

}  // namespace
