#pragma once

// Another program beside the test: started, talked with by lines, waited for with the toolkit's loop going on.
//   Starting  by posix_spawn. The toolkit's own way shares the memory of the two for a moment and leaves the thread
//             sanitizer blind from there on.

#include <sys/types.h>

#include <string>
#include <vector>

namespace kiv::test {

class ChildProgram {
 public:
  using Variables = std::vector<std::string>;  // "NAME=value"; they come before those of this program.

  ChildProgram() = default;
  // Kills it when it is still running.
  ~ChildProgram();
  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;

  // A program without a path is looked for as the shell does. False when it cannot be started.
  bool Start(const std::vector<std::string>& command, const Variables& variables = {});
  void Tell(const std::string& line);
  void CloseInput();
  // What it has printed so far.
  const std::vector<std::string>& Lines();

  bool WaitForLines(std::size_t count);
  // Until the newest line is this one.
  bool WaitForLine(const std::string& line);
  bool WaitForEnd();
  // SIGTERM.
  void AskToEnd();
  // Of a program that has ended; -1 when a signal has ended it.
  int ExitCode() const { return exitCode_; }

 private:
  bool IsRunning();

  pid_t pid_ = -1;
  int input_ = -1;
  int output_ = -1;
  int exitCode_ = -1;
  std::string unfinished_;
  std::vector<std::string> lines_;
};

}  // namespace kiv::test
