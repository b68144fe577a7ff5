#pragma once

// The frame of a program that makes one sound file from another: TOOL IN OUT.
//
//   Safety   the result is written beside OUT under a hidden name and takes OUT's place when it is whole, so OUT is
//            never half written, and stays as it was on every failure. OUT cannot be IN, nor anything but a file;
//            behind a link the file is replaced, with its permissions kept.
//   Output   --help on standard output; progress and errors on standard error.
//   Signals  SIGINT, SIGTERM and SIGHUP stop the work.
//   Threads  one.

#include <string>
#include <string_view>

namespace kiv {

enum ExitStatus : int { kExitMade = 0, kExitStopped = 1, kExitFailed = 2 };

// A line "TOOL:  42 %" on standard error, and whether a signal has asked to stop.
class ConsoleProgress {
 public:
  explicit ConsoleProgress(std::string_view tool) noexcept : tool_(tool) {}

  static bool IsStopRequested() noexcept;
  // 0.0 to 1.0.
  void SetProgress(double progress);
  // Ends the line, if there is one.
  void EndLine();

 private:
  std::string_view tool_;
  int percent_ = -1;
};

enum class Made {
  Whole,
  Stopped,
  InputFailed,   // why tells
  OutputFailed,  // not all of it could be written
};

struct FileTool {
  std::string_view name;
  char const* usage;

  // Writes the file at result, which lies in folder, from the one at in.
  struct Paths {
    std::string in;
    std::string folder;
    std::string result;
  };
  Made (*make)(const Paths& paths, ConsoleProgress& progress, std::string_view& why);
};

// What main is to return.
int RunFileTool(const FileTool& tool, int argc, char** argv);

}  // namespace kiv
