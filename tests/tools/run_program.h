#pragma once

// Runs one of our programs as people run it.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace kiv::test {

struct Outcome {
  int status = -1;  // 1000 and the signal, when one has killed it.
  std::string out;
  std::string err;
};

struct Limits {
  rlim_t fileBytes = RLIM_INFINITY;
  int signalAtProgress = 0;  // Sent when the program has first said something on standard error.
};

// Reads what there is until the other end closes; passes each piece to seen.
template <typename Seen>
std::string ReadAll(int fd, Seen seen) {
  std::string text;
  char piece[256];
  for (ssize_t n = 0; (n = read(fd, piece, sizeof piece)) > 0;) {
    text.append(piece, static_cast<std::size_t>(n));
    seen();
  }
  close(fd);
  return text;
}

inline Outcome RunProgram(std::string program, const TemporaryFolder& folder, std::vector<std::string> arguments,
                          const Limits& limits) {
  std::vector<char*> argv = {program.data()};
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  int err[2];
  if (pipe(err) != 0) return {};
  const std::string outPath = folder.File(".stdout");
  const pid_t child = fork();
  if (child == 0) {
    const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(out, 1);
    dup2(err[1], 2);
    close(err[0]);
    if (limits.fileBytes != RLIM_INFINITY) {
      const rlimit limit{limits.fileBytes, limits.fileBytes};
      setrlimit(RLIMIT_FSIZE, &limit);
#ifdef __SANITIZE_THREAD__
      // The checker itself writes a file before the program begins, and is not to die of it.
      signal(SIGXFSZ, SIG_IGN);
#endif
    }
    execv(argv[0], argv.data());
    _exit(127);
  }
  close(err[1]);
  bool signalled = limits.signalAtProgress == 0;
  Outcome run;
  run.err = ReadAll(err[0], [&] {
    if (!signalled) kill(child, limits.signalAtProgress);
    signalled = true;
  });
  int status = 0;
  waitpid(child, &status, 0);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
  run.out = ReadFile(outPath);
  std::filesystem::remove(outPath);
  return run;
}

}  // namespace kiv::test
