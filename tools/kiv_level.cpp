// kiv-level IN.wav OUT.wav: the level control that every recording gets after a call, on one file.
//
// The result is written beside OUT under a hidden name and takes OUT's place when it is whole, so OUT is never half
// written, and stays as it was on every failure.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>

#include "audio/processing/process_agc.h"
#include "audio/processing/spool_file.h"
#include "audio/wave_file.h"

namespace {

enum ExitStatus { kLevelled = 0, kStopped = 1, kFailed = 2 };

volatile std::sig_atomic_t stopRequested = 0;
void RequestStop(int /*signal*/) {
  stopRequested = 1;
}

// What the level control sees of its thread: the signals that stop it, and the progress line.
class Console {
 public:
  static bool IsStopRequested() { return stopRequested != 0; }
  void SetProgress(double progress) {
    const int percent = static_cast<int>(progress * 100.0);
    if (percent == percent_) return;
    percent_ = percent;
    std::fprintf(stderr, "\rkiv-level: %3d %%", percent);
  }
  // Ends the progress line, if there is one.
  void EndLine() {
    if (percent_ >= 0) std::fputc('\n', stderr);
    percent_ = -1;
  }

 private:
  int percent_ = -1;
};

constexpr char kUsage[] =
    "Usage: kiv-level IN.wav OUT.wav\n"
    "\n"
    "Evens out the level of a recording, so that loud and faint speakers are both heard.\n"
    "IN.wav is a PCM WAV file of 8 or 16 bits. OUT.wav is written with 16 bits and the\n"
    "same rate and channels, rounded up to 20 ms; it appears when it is whole. It cannot\n"
    "be IN.wav.\n"
    "\n"
    "  -h, --help   show this text\n"
    "\n"
    "Exit status: 0 levelled, 1 stopped by a signal, 2 failed or wrong arguments.\n";

int Fail(std::string_view what, std::string_view why) {
  std::fprintf(stderr, "kiv-level: %.*s: %.*s\n", static_cast<int>(what.size()), what.data(),
               static_cast<int>(why.size()), why.data());
  return kFailed;
}

std::string_view ReasonOf(std::uint8_t error) {
  switch (error) {
    case kSourceNotOpened:
      return "cannot be opened";
    case kSourceNotSupported:
      return "is not PCM of 8 or 16 bits";
    default:
      return "is not a WAV file";
  }
}

// Removes the result while it has not taken its place.
class ResultFile {
 public:
  explicit ResultFile(const std::string& folder) : lock_(kiv::CreateSpoolFile(folder, path_)) {}
  ~ResultFile() {
    if (!path_.empty()) unlink(path_.c_str());
  }
  ResultFile(const ResultFile&) = delete;
  ResultFile& operator=(const ResultFile&) = delete;

  const std::string& Path() const { return path_; }
  // Takes the place of the file at path, with its permissions or those of a new file. False leaves all as it is.
  bool MoveTo(const std::string& path) {
    struct stat old {};
    const mode_t mask = umask(0);
    umask(mask);
    const mode_t mode = stat(path.c_str(), &old) == 0 ? old.st_mode & 0777U : 0666U & ~mask;
    if (chmod(path_.c_str(), mode) != 0 || rename(path_.c_str(), path.c_str()) != 0) return false;
    path_.clear();
    return true;
  }

 private:
  std::string path_;
  // While it is held, nobody takes the file for a leftover.
  LReadWriteFile lock_;
};

int Level(const std::string& inPath, const std::string& outName) {
  struct stat in {};
  if (stat(inPath.c_str(), &in) != 0) return Fail(inPath, std::strerror(errno));
  if (!S_ISREG(in.st_mode)) return Fail(inPath, "is not a file");
  struct stat out {};
  std::filesystem::path outPath = outName;
  if (stat(outName.c_str(), &out) == 0) {
    if (in.st_dev == out.st_dev && in.st_ino == out.st_ino) return Fail(outName, "is the input itself");
    if (!S_ISREG(out.st_mode)) return Fail(outName, "is not a file");
    // The file behind a link is replaced, not the link.
    std::error_code error;
    outPath = std::filesystem::canonical(outPath, error);
    if (error) return Fail(outName, error.message());
  }
  const std::string folder = outPath.has_parent_path() ? outPath.parent_path().string() : ".";

  LSoundSource source = LWaveFile::OpenSource(inPath.c_str());
  if (source->Error() != kSourceGood) return Fail(inPath, ReasonOf(source->Error()));
  ResultFile result(folder);
  if (result.Path().empty()) return Fail(folder, std::strerror(errno));
  LSoundSink sink = LWaveFile::OpenSinkPCM(result.Path().c_str(), source->Rate(), source->Channels(), 16, 0);

  LDPAutoGain::SetTemporaryFolder(folder);
  Console console;
  bool failed = false;
  const bool stopped = kiv::ProcessRecordingAGC(console, source, sink, &failed) != 0;
  console.EndLine();
  if (stopped) {
    std::fputs("kiv-level: stopped\n", stderr);
    return kStopped;
  }
  const std::int32_t frames = sink->Position();
  sink.Close();
  // The last bytes are written as the sink goes.
  const std::int32_t stored = LWaveFile::OpenSource(result.Path().c_str())->GetEndSample();
  if (failed || stored != frames) return Fail(outName, "could not be written in full; is the disk full?");
  if (!result.MoveTo(outPath.string())) return Fail(outName, std::strerror(errno));
  return kLevelled;
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument == "--help" || argument == "-h") {
      std::fputs(kUsage, stdout);
      return kLevelled;
    }
  }
  if (argc != 3) {
    std::fputs(kUsage, stderr);
    return kFailed;
  }
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, RequestStop);
  return Level(argv[1], argv[2]);
}
