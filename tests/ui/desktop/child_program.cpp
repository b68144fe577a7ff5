#include "tests/ui/desktop/child_program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "tests/ui/wait_until.h"

namespace kiv::test {
namespace {

std::vector<char*> PointersTo(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  return pointers;
}

}  // namespace

ChildProgram::~ChildProgram() {
  if (IsRunning()) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  CloseInput();
  if (output_ >= 0) close(output_);
}

bool ChildProgram::Start(const std::vector<std::string>& command, const Variables& variables) {
  int in[2];
  int out[2];
  if (pipe2(in, O_CLOEXEC) != 0) return false;
  if (pipe2(out, O_CLOEXEC) != 0) {
    close(in[0]);
    close(in[1]);
    return false;
  }
  input_ = in[1];
  output_ = out[0];
  fcntl(output_, F_SETFL, O_NONBLOCK);

  std::vector<char*> argv = PointersTo(command);
  argv.push_back(nullptr);
  // The first of two variables of one name is the one that is found.
  std::vector<char*> environment = PointersTo(variables);
  for (char** variable = environ; *variable != nullptr; ++variable) environment.push_back(*variable);
  environment.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  const int error = posix_spawnp(&pid_, argv[0], &actions, nullptr, argv.data(), environment.data());
  posix_spawn_file_actions_destroy(&actions);
  close(in[0]);
  close(out[1]);
  if (error != 0) pid_ = -1;
  return error == 0;
}

void ChildProgram::Tell(const std::string& line) {
  const std::string bytes = line + '\n';
  [[maybe_unused]] const ssize_t written = write(input_, bytes.data(), bytes.size());
}

void ChildProgram::CloseInput() {
  if (input_ >= 0) close(input_);
  input_ = -1;
}

const std::vector<std::string>& ChildProgram::Lines() {
  char bytes[1024];
  for (ssize_t got; (got = read(output_, bytes, sizeof(bytes))) > 0;) {
    unfinished_.append(bytes, static_cast<std::size_t>(got));
  }
  for (std::size_t end; (end = unfinished_.find('\n')) != std::string::npos; unfinished_.erase(0, end + 1)) {
    lines_.push_back(unfinished_.substr(0, end));
  }
  return lines_;
}

bool ChildProgram::WaitForLines(std::size_t count) {
  return WaitUntil([&] { return Lines().size() >= count; });
}

bool ChildProgram::WaitForLine(const std::string& line) {
  return WaitUntil([&] { return !Lines().empty() && Lines().back() == line; });
}

bool ChildProgram::WaitForEnd() {
  return WaitUntil([this] { return !IsRunning(); });
}

void ChildProgram::AskToEnd() {
  if (IsRunning()) kill(pid_, SIGTERM);
}

bool ChildProgram::IsRunning() {
  int status = 0;
  if (pid_ < 0 || waitpid(pid_, &status, WNOHANG) == 0) return pid_ >= 0;
  exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  pid_ = -1;
  return false;
}

}  // namespace kiv::test
