#include "tests/tools/kiv-gallery/gallery_account.h"

#include <vector>

#include "audio/wave_file.h"
#include "platform/services.h"
#include "recorder/prompt_chain.h"
#include "recorder/prompt_files.h"
#include "recorder/settings.h"
#include "tests/support/test_signals.h"

namespace kiv {
namespace {

// 2026-03-07 09:05:01 UTC.
constexpr std::int64_t kStartUnixMs = 1772874301000;

void MakePrompt(const char* name, std::int32_t seconds) {
  char path[kTextSize];
  PathOfPrompt(path, name);
  const std::vector<std::int32_t> samples = test::Sine(440, 60000, 8000, seconds * 8000, 1);
  LSoundSink sink = OpenPromptSink(path);
  sink->Write(samples.data(), seconds * 8000);
}

}  // namespace

GalleryAccount::GalleryAccount(bool lockStep) {
  services.folders = this;
  gSettings.Load();
  for (const char* name : kSystemPrompts) MakePrompt(name, std::string(name).starts_with("On-Hold") ? 120 : 1);
  SimulatedLine::Options options;
  options.lockStep = lockStep;
  if (lockStep) options.startUnixMs = kStartUnixMs;
  line_ = std::make_unique<SimulatedLine>(options, MakeSpeechBursts(1, -12));
  services.soundInput = &line_->Input();
  services.soundOutput = &line_->Output();
  if (lockStep) services.clock = &line_->WallClock();
}

GalleryAccount::~GalleryAccount() {
  services = {};
}

}  // namespace kiv
