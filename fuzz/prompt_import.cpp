// Any bytes as a file that is to become a prompt. What cannot be read changes nothing; what can leaves a whole WAV file
// in the format of prompts; nothing else stays in the folder. The last byte chooses when the user stops it.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "audio/wave_file.h"
#include "recorder/prompt_files.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

constexpr char kOld[] = "the old prompt";
// False sizes may promise hours.
constexpr int kMostPieces = 12;

struct Display {
  int piecesLeft;
  double last = 0.0;

  static void SetStatus(const char* text, int line) { Require(text != nullptr && (line == 0 || line == 1)); }
  void SetProgress(double fraction) {
    Require(fraction >= last && fraction <= 1.0);
    last = fraction;
  }
  bool IsToStop() { return --piecesLeft < 0; }
};

// In memory where there is such a place: every prompt is brought to the disk.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = std::filesystem::is_directory("/dev/shm") ? "/dev/shm/kiv-fuzz-XXXXXX" : "/tmp/kiv-fuzz-XXXXXX";
    Require(mkdtemp(name.data()) != nullptr);
    path_ = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& Path() const { return path_; }

 private:
  std::filesystem::path path_;
};

std::string Content(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const int descriptor = memfd_create("sound", MFD_CLOEXEC);
  Require(descriptor >= 0 && ftruncate(descriptor, 0) == 0);
  Require(pwrite(descriptor, data, size, 0) == static_cast<ssize_t>(size));
  // The bytes that the MP3 decoder never takes are added here, so that an input is all data.
  static const char kTail[128] = {};
  Require(pwrite(descriptor, kTail, sizeof kTail, static_cast<off_t>(size)) == sizeof kTail);
  char sound[64];
  std::snprintf(sound, sizeof sound, "/proc/self/fd/%d", descriptor);
  static const TemporaryFolder folder;
  const std::filesystem::path prompt = folder.Path() / "On-Hold 1.wav";
  std::ofstream(prompt, std::ios::binary) << kOld;

  Display display{size == 0 ? 0 : data[size - 1] % kMostPieces};
  const kiv::PromptImport outcome =
      kiv::ImportPrompt(sound, prompt.c_str(), [&display](LPRSourceToSink& job) { return Process(display, job); });
  if (outcome == kiv::PromptImport::NotReadable) {
    Require(Content(prompt) == kOld);
  } else {
    Require(outcome == kiv::PromptImport::Converted || outcome == kiv::PromptImport::Stopped);
    LSoundSource written = LWaveFile::OpenSource(prompt.c_str());
    Require(written->Error() == kSourceGood && written->Rate() == 8000 && written->Channels() == 1);
    Require(std::filesystem::file_size(prompt) == 46U + static_cast<std::uintmax_t>(written->GetEndSample()) * 2U);
  }
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
    Require(entry.path() == prompt);
    ++files;
  }
  Require(files == 1);
  return 0;
}
