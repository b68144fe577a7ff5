#pragma once

// The program as a process of its own, on an account of its own: a home folder with short prompts.

#include <signal.h>
#include <sys/types.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace kiv::test {

// Much longer than anything takes on a machine that is busy otherwise.
inline constexpr int kLimitMs = 30000;

// Looks again and again until the condition holds; false after the limit.
bool WaitFor(const std::function<bool()>& condition, int limitMs = kLimitMs);

// A home folder. The program must have ended before it goes.
class HomeFolder {
 public:
  // With prompts: all six, a quarter of a second each.
  explicit HomeFolder(bool withPrompts = true);

  const std::string& Path() const { return folder_.Path(); }
  std::string DataPath(const std::string& name) const { return Path() + "/Kiv/" + name; }
  void MakePrompt(const std::string& name, double seconds) const;
  // In the settings file, section "settings". Before the program starts.
  void SetSetting(const std::string& key, const std::string& value) const;
  // In the preference store, section "Settings".
  void SetPreference(const std::string& key, const std::string& value) const;
  std::string Preference(const std::string& key) const;
  std::string SettingsFile() const;

  // Lines of the activity log, without their times.
  std::vector<std::string> Log() const;
  // Whether a line begins with the text; it has to be the count-th.
  bool HasLogged(const std::string& begin, int count = 1) const;
  // Full paths of the recordings, oldest name first.
  std::vector<std::string> Recordings() const;
  // Recordings that wait in the queue's list.
  std::vector<std::string> Queued() const;

 private:
  TemporaryFolder folder_;
};

// A process; killed when it is still there at the end.
class RunningProgram {
 public:
  // What it says goes into the home folder.
  RunningProgram(const std::string& program, const HomeFolder& home, const std::vector<std::string>& arguments,
                 const std::map<std::string, std::string>& environment = {});
  ~RunningProgram();
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  pid_t Pid() const { return pid_; }
  void Signal(int signal) const { kill(pid_, signal); }
  bool IsRunning();
  // Its exit status, 1000 and the number of the signal that ended it, or -1 when it does not end.
  int WaitForEnd(int limitMs = kLimitMs);
  // What it has said so far.
  std::string Said() const;

 private:
  pid_t pid_ = -1;
  int status_ = -1;
  bool ended_ = false;
  std::string saidPath_;
};

}  // namespace kiv::test
