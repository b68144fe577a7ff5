// kiv-extract-prompts FOLDER: makes the prompts' WAV files as the first start does, in FOLDER/Kiv, for measuring them.

#include <unistd.h>

#include <cstdio>
#include <string>

#include "platform/folders.h"
#include "platform/services.h"
#include "recorder/prompt_files.h"
#include "recorder/settings.h"

namespace {

class HereAndThere : public kiv::Folders {
 public:
  explicit HereAndThere(std::string home) : home_(std::move(home)) {}
  std::optional<std::string> Home() override { return home_; }
  std::optional<std::string> Resources() override { return KIV_RESOURCES_FOLDER; }

 private:
  std::string home_;
};

struct NoDisplay {
  static void SetStatus(const char* /*text*/, int /*line*/) {}
  static void SetProgress(double /*fraction*/) {}
  static bool IsToStop() { return false; }
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("Usage: kiv-extract-prompts FOLDER\n", stderr);
    return 2;
  }
  HereAndThere folders(argv[1]);
  kiv::services.folders = &folders;
  gSettings.Load();
  bool failed = false;
  kiv::ExtractMissingPrompts([&failed](LFileExtractorProcess& job) {
    NoDisplay display;
    failed = Process(display, job) != kiv::kConverted || failed;
    // One that cannot be read counts as converted.
    failed = failed || access(job.destinationPath, F_OK) != 0;
    std::puts(job.destinationPath);
  });
  return failed ? 1 : 0;
}
