// Prompts converted under the progress window, as the program does it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "audio/wave_file.h"
#include "recorder/prompt_files.h"
#include "recorder/settings.h"
#include "tests/support/test_signals.h"
#include "tests/ui/ui_environment.h"
#include "ui/progress_dialog.h"
#include "ui/toolkit_window.h"
#include "ui/window.h"

namespace {

using kiv::PromptImport;
using kiv::test::ClickCommand;
using kiv::test::Desktop;
using kiv::test::WhenLoopRuns;

class PromptProgress : public testing::Test {
 protected:
  PromptProgress() {
    desktop_.folders.home = home_.Path();
    gSettings.Load();
    kiv::PathOfPrompt(prompt_, "On-Hold 1");
    LSoundSink sink = LWaveFile::OpenSinkPCM(sound_.c_str(), 8000, 1, 16, 0);
    const std::vector<std::int32_t> tone = kiv::test::Sine(400, 100000, 8000, kFrames, 1);
    sink->Write(tone.data(), kFrames);
  }
  // meanwhile runs as soon as the work hands out events.
  PromptImport Import(const std::function<void(LProgressDialog&)>& meanwhile = {}) {
    return kiv::ImportPrompt(sound_.c_str(), prompt_, [&](LPRSourceToSink& job) {
      LProcessDialog<LPRSourceToSink> dialog("Loading Audio File", &job);
      if (meanwhile) WhenLoopRuns([&] { meanwhile(dialog); });
      dialog.Open(nullptr);
      return dialog.processResult;
    });
  }
  std::int32_t Frames() const { return LWaveFile::OpenSource(prompt_)->GetEndSample(); }

  static constexpr std::int32_t kFrames = 100000;
  Desktop desktop_;
  kiv::test::TemporaryFolder home_;
  const std::string sound_ = home_.File("tone.wav");
  char prompt_[kiv::kTextSize] = {};
};

TEST_F(PromptProgress, ImportShowsTheWindowWithItsTexts) {
  bool seen = false;
  EXPECT_EQ(Import([&](LProgressDialog& dialog) {
              seen = true;
              EXPECT_EQ(kiv::WindowTitle(dialog.Window()), "Loading Audio File");
              char text[kiv::kTextSize];
              dialog.GetText(101, text);
              EXPECT_STREQ(text, "Process Audio");
              dialog.GetText(102, text);
              EXPECT_STREQ(text, "Please wait...");
            }),
            PromptImport::Converted);
  EXPECT_TRUE(seen);
  EXPECT_EQ(Frames(), kFrames);
}

TEST_F(PromptProgress, CancelStopsTheImport) {
  EXPECT_EQ(Import([](LProgressDialog& dialog) { ClickCommand(dialog.Window(), "not!"); }), PromptImport::Stopped);
  EXPECT_EQ(Frames(), 0);
}

TEST_F(PromptProgress, ImportWithoutAWindowKeepsTheOldPrompt) {
  ASSERT_EQ(Import(), PromptImport::Converted);
  desktop_.folders.resources.reset();
  EXPECT_EQ(Import(), PromptImport::Failed);
  EXPECT_EQ(Frames(), kFrames);
}

TEST_F(PromptProgress, EachMissingSystemPromptHasItsWindow) {
  int windows = 0;
  kiv::ExtractMissingPrompts([&](LFileExtractorProcess& job) {
    LProcessDialog<LFileExtractorProcess> dialog("Extracting Files", &job);
    EXPECT_EQ(dialog.Open(nullptr), 1);
    ++windows;
  });
  EXPECT_EQ(windows, 6);
}

}  // namespace
