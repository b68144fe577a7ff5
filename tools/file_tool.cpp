#include "tools/file_tool.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "audio/processing/spool_file.h"

namespace kiv {
namespace {

volatile std::sig_atomic_t stopRequested = 0;
void RequestStop(int /*signal*/) {
  stopRequested = 1;
}

// Removes the result while it has not taken its place.
class ResultFile {
 public:
  explicit ResultFile(const std::string& folder) : lock_(CreateSpoolFile(folder, path_)) {}
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

int Make(const FileTool& tool, const std::string& inPath, const std::string& outName) {
  const auto fail = [&tool](std::string_view what, std::string_view why) {
    std::fprintf(stderr, "%.*s: %.*s: %.*s\n", static_cast<int>(tool.name.size()), tool.name.data(),
                 static_cast<int>(what.size()), what.data(), static_cast<int>(why.size()), why.data());
    return kExitFailed;
  };

  struct stat in {};
  if (stat(inPath.c_str(), &in) != 0) return fail(inPath, std::strerror(errno));
  if (!S_ISREG(in.st_mode)) return fail(inPath, "is not a file");
  struct stat out {};
  std::filesystem::path outPath = outName;
  if (stat(outName.c_str(), &out) == 0) {
    if (in.st_dev == out.st_dev && in.st_ino == out.st_ino) return fail(outName, "is the input itself");
    if (!S_ISREG(out.st_mode)) return fail(outName, "is not a file");
    // The file behind a link is replaced, not the link.
    std::error_code error;
    outPath = std::filesystem::canonical(outPath, error);
    if (error) return fail(outName, error.message());
  }
  const std::string folder = outPath.has_parent_path() ? outPath.parent_path().string() : ".";

  ResultFile result(folder);
  if (result.Path().empty()) return fail(folder, std::strerror(errno));
  ConsoleProgress progress(tool.name);
  std::string_view why;
  const Made made = tool.make({inPath, folder, result.Path()}, progress, why);
  progress.EndLine();
  switch (made) {
    case Made::Whole:
      return result.MoveTo(outPath.string()) ? kExitMade : fail(outName, std::strerror(errno));
    case Made::Stopped:
      std::fprintf(stderr, "%.*s: stopped\n", static_cast<int>(tool.name.size()), tool.name.data());
      return kExitStopped;
    case Made::InputFailed:
      return fail(inPath, why);
    case Made::OutputFailed:
      break;
  }
  return fail(outName, "could not be written in full; is the disk full?");
}

}  // namespace

bool ConsoleProgress::IsStopRequested() noexcept {
  return stopRequested != 0;
}

void ConsoleProgress::SetProgress(double progress) {
  const int percent = static_cast<int>(progress * 100.0);
  if (percent == percent_) return;
  percent_ = percent;
  std::fprintf(stderr, "\r%.*s: %3d %%", static_cast<int>(tool_.size()), tool_.data(), percent);
}

void ConsoleProgress::EndLine() {
  if (percent_ >= 0) std::fputc('\n', stderr);
  percent_ = -1;
}

int RunFileTool(const FileTool& tool, int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument == "--help" || argument == "-h") {
      std::fputs(tool.usage, stdout);
      return kExitMade;
    }
  }
  if (argc != 3) {
    std::fputs(tool.usage, stderr);
    return kExitFailed;
  }
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, RequestStop);
  return Make(tool, argv[1], argv[2]);
}

}  // namespace kiv
