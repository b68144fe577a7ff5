#include "tests/app/running_program.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "audio/wave_file.h"
#include "tests/support/library_suppressions.h"
#include "tests/support/test_signals.h"

namespace kiv::test {
namespace {

std::string PreferencePath(const std::string& home) {
  return home + "/.config/com.Oskmera.Kiv.ini";
}

void AppendOption(const char* variable, const std::string& option) {
  const char* before = std::getenv(variable);
  setenv(variable, ((before != nullptr ? std::string(before) + ":" : std::string()) + option).c_str(), 1);
}

}  // namespace

bool WaitFor(const std::function<bool()>& condition, int limitMs) {
  using Clock = std::chrono::steady_clock;
  const auto limit = Clock::now() + std::chrono::milliseconds(limitMs);
  while (!condition()) {
    if (Clock::now() >= limit) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

HomeFolder::HomeFolder(bool withPrompts) {
  std::filesystem::create_directories(folder_.File("Kiv"));
  std::filesystem::create_directories(folder_.File(".config"));
  WriteFile(folder_.File("tsan.supp"), kThreadSuppressions);
  WriteFile(folder_.File("asan.supp"), kAddressSuppressions);
  WriteFile(folder_.File("lsan.supp"), kLeakSuppressions);
  if (!withPrompts) return;
  for (const char* name : {"Start Prompt", "End Prompt", "On-Hold 1", "On-Hold 2", "On-Hold 3", "Record Tone"}) {
    MakePrompt(name, 0.25);
  }
}

void HomeFolder::MakePrompt(const std::string& name, double seconds) const {
  const auto samples = Sine(1000, 100000, 8000, static_cast<std::int32_t>(seconds * 8000), 1);
  LSoundSink sink = LWaveFile::OpenSinkPCM(DataPath(name + ".wav").c_str(), 8000, 1, 16, 0);
  sink->Write(samples.data(), static_cast<std::int32_t>(samples.size()));
}

void HomeFolder::SetSetting(const std::string& key, const std::string& value) const {
  std::string text = SettingsFile();
  if (text.empty()) text = "[settings]\r\n";
  WriteFile(DataPath("settings.ini"), text + key + "=" + value + "\r\n");
}

std::string HomeFolder::SettingsFile() const {
  return ReadFile(DataPath("settings.ini"));
}

void HomeFolder::SetPreference(const std::string& key, const std::string& value) const {
  std::string text = ReadFile(PreferencePath(Path()));
  if (text.empty()) text = "[Settings]\n";
  WriteFile(PreferencePath(Path()), text + key + "=" + value + "\n");
}

std::string HomeFolder::Preference(const std::string& key) const {
  std::ifstream file(PreferencePath(Path()));
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(key + "=")) return line.substr(key.size() + 1);
  }
  return "";
}

std::vector<std::string> HomeFolder::Log() const {
  std::vector<std::string> files;
  std::error_code missing;
  for (const auto& entry : std::filesystem::directory_iterator(DataPath("Logs"), missing)) {
    files.push_back(entry.path().string());
  }
  std::sort(files.begin(), files.end());
  constexpr std::size_t kTimeLength = 9;
  std::vector<std::string> lines;
  for (const std::string& file : files) {
    const std::string text = ReadFile(file);
    for (std::size_t begin = 0, end; (end = text.find('\r', begin)) != std::string::npos; begin = end + 1) {
      lines.push_back(text.substr(begin + kTimeLength, end - begin - kTimeLength));
    }
  }
  return lines;
}

bool HomeFolder::HasLogged(const std::string& begin, int count) const {
  const auto lines = Log();
  return std::count_if(lines.begin(), lines.end(), [&](const std::string& line) { return line.starts_with(begin); }) >=
         count;
}

std::vector<std::string> HomeFolder::Recordings() const {
  std::vector<std::string> paths;
  std::error_code missing;
  for (const auto& entry : std::filesystem::directory_iterator(DataPath("Recordings"), missing)) {
    if (entry.path().filename().string()[0] != '.') paths.push_back(entry.path().string());
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::vector<std::string> HomeFolder::Queued() const {
  std::vector<std::string> paths;
  const std::string bytes = ReadFile(DataPath("bgalc.dat"));
  for (std::size_t at = 8; at + 260 <= bytes.size(); at += 260) paths.emplace_back(bytes.c_str() + at);
  return paths;
}

RunningProgram::RunningProgram(const std::string& program, const HomeFolder& home,
                               const std::vector<std::string>& arguments,
                               const std::map<std::string, std::string>& environment) {
  static std::atomic<int> started{0};
  saidPath_ = home.Path() + "/said-" + std::to_string(++started);
  std::vector<std::string> words = {program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  pid_ = fork();
  if (pid_ != 0) return;

  const int said = open(saidPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  dup2(said, 1);
  dup2(said, 2);
  umask(022);
  setenv("HOME", home.Path().c_str(), 1);
  setenv("XDG_CONFIG_HOME", (home.Path() + "/.config").c_str(), 1);
  AppendOption("TSAN_OPTIONS", "suppressions=" + home.Path() + "/tsan.supp");
  AppendOption("ASAN_OPTIONS", "suppressions=" + home.Path() + "/asan.supp");
  AppendOption("LSAN_OPTIONS", "suppressions=" + home.Path() + "/lsan.supp:print_suppressions=0");
  for (const auto& [name, value] : environment) {
    if (value.empty()) {
      unsetenv(name.c_str());
    } else {
      setenv(name.c_str(), value.c_str(), 1);
    }
  }
  execv(argv[0], argv.data());
  _exit(127);
}

RunningProgram::~RunningProgram() {
  if (!IsRunning()) return;
  Signal(SIGKILL);
  WaitForEnd();
}

bool RunningProgram::IsRunning() {
  int status = 0;
  if (!ended_ && waitpid(pid_, &status, WNOHANG) == pid_) {
    ended_ = true;
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
  }
  return !ended_;
}

int RunningProgram::WaitForEnd(int limitMs) {
  return WaitFor([this] { return !IsRunning(); }, limitMs) ? status_ : -1;
}

std::string RunningProgram::Said() const {
  return ReadFile(saidPath_);
}

}  // namespace kiv::test
