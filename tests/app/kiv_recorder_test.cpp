// The program as a process, without a display: its arguments, its start and end, and one of it for each data folder.

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "app/single_instance.h"
#include "audio/wave_file.h"
#include "tests/app/running_program.h"
#include "tests/support/test_signals.h"

namespace {

using kiv::test::HomeFolder;
using kiv::test::ReadFile;
using kiv::test::RunningProgram;
using kiv::test::WaitFor;
using kiv::test::WriteFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

// Neither a display nor a session bus nor a sound server.
const std::map<std::string, std::string> kNothing = {{"QT_QPA_PLATFORM", "offscreen"},
                                                     {"QT_QPA_PLATFORMTHEME", ""},
                                                     {"DISPLAY", ""},
                                                     {"WAYLAND_DISPLAY", ""},
                                                     {"DBUS_SESSION_BUS_ADDRESS", ""}};

class KivRecorder : public testing::Test {
 protected:
  KivRecorder() : line_(home_.Path() + "/line.wav") {
    const auto samples = kiv::test::Sine(500, 100000, 8000, 8000, 1);
    LSoundSink sink = LWaveFile::OpenSinkPCM(line_.c_str(), 8000, 1, 16, 0);
    sink->Write(samples.data(), 8000);
  }

  std::unique_ptr<RunningProgram> Start(std::vector<std::string> arguments = {}) {
    if (arguments.empty()) arguments = {"--line", line_};
    return std::make_unique<RunningProgram>(KIV_RECORDER, home_, arguments, kNothing);
  }
  std::unique_ptr<RunningProgram> StartAndWait(int count = 1) {
    auto program = Start();
    EXPECT_TRUE(WaitFor([&] { return home_.HasLogged("Kiv Recorder Run", count) || !program->IsRunning(); }));
    EXPECT_TRUE(program->IsRunning()) << program->Said();
    return program;
  }
  // The exit status of a run with these arguments, and what it said.
  int StatusOf(const std::vector<std::string>& arguments, std::string* said = nullptr) {
    auto program = Start(arguments);
    const int status = program->WaitForEnd();
    if (said != nullptr) *said = program->Said();
    return status;
  }

  HomeFolder home_;
  std::string line_;
};

// --- Arguments

TEST_F(KivRecorder, SaysItsVersionAndItsHelpWithoutADisplay) {
  std::string said;
  EXPECT_EQ(StatusOf({"--version"}, &said), 0);
  EXPECT_EQ(said, "kiv-recorder " KIV_VERSION "\n");
  EXPECT_EQ(StatusOf({"--help"}, &said), 0);
  for (const char* option : {"--line IN.wav", "--line-out OUT.wav", "--line-speed N", "--help", "--version"}) {
    EXPECT_THAT(said, HasSubstr(option));
  }
  EXPECT_FALSE(std::filesystem::exists(home_.DataPath("Logs")));
}

TEST_F(KivRecorder, RefusesWrongArgumentsWithStatusTwo) {
  const std::vector<std::vector<std::string>> wrong = {
      {"--line-out", "x.wav"},
      {"--line-speed", "2"},
      {"--line-speed", "2", "--line-out", "x.wav"},
      {"--line"},
      {"--line", ""},
      {"--line", line_, "--line-speed", "0"},
      {"--line", line_, "--line-speed", "fast"},
      {"--line", line_, "--line-speed", "1001"},
      {"--line", line_, "--line-speed", "nan"},
      {"--nosuchoption"},
      {"call.wav"},
  };
  for (const auto& arguments : wrong) {
    std::string said;
    EXPECT_EQ(StatusOf(arguments, &said), 2) << testing::PrintToString(arguments);
    EXPECT_FALSE(said.empty()) << testing::PrintToString(arguments);
  }
  EXPECT_FALSE(std::filesystem::exists("x.wav"));
}

TEST_F(KivRecorder, RefusesLineFilesThatCannotBeUsed) {
  std::string said;
  EXPECT_EQ(StatusOf({"--line", home_.Path() + "/missing.wav"}, &said), 1);
  EXPECT_THAT(said, HasSubstr("missing.wav"));
  EXPECT_EQ(StatusOf({"--line", line_, "--line-out", home_.Path() + "/missing/out.wav"}, &said), 1);
  EXPECT_THAT(said, HasSubstr("out.wav"));
}

TEST_F(KivRecorder, SaysThatThereIsNoDisplayAndTouchesNothing) {
  auto nothing = kNothing;
  nothing["QT_QPA_PLATFORM"] = "";
  nothing["WAYLAND_SOCKET"] = "";
  RunningProgram program(KIV_RECORDER, home_, {"--line", line_}, nothing);
  EXPECT_EQ(program.WaitForEnd(), 1);
  EXPECT_EQ(program.Said(), "kiv-recorder: there is no display here\n");
  EXPECT_FALSE(std::filesystem::exists(home_.DataPath("Logs")));
}

// --- Start and end

TEST_F(KivRecorder, RunsUntilASignalAndLogsBoth) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    HomeFolder home;
    RunningProgram program(KIV_RECORDER, home, {"--line", line_}, kNothing);
    ASSERT_TRUE(WaitFor([&] { return home.HasLogged("Kiv Recorder Run"); })) << program.Said();
    program.Signal(signal);
    EXPECT_EQ(program.WaitForEnd(), 0) << program.Said();
    EXPECT_THAT(home.Log(), ElementsAre("Kiv Recorder Run", "Kiv Recorder Exit"));
  }
}

TEST_F(KivRecorder, ABrokenPipeDoesNotEndIt) {
  auto program = StartAndWait();
  program->Signal(SIGPIPE);
  program->Signal(SIGTERM);
  EXPECT_EQ(program->WaitForEnd(), 0) << program->Said();
  EXPECT_THAT(home_.Log(), ElementsAre("Kiv Recorder Run", "Kiv Recorder Exit"));
}

TEST_F(KivRecorder, KeepsEverythingFromOtherUsers) {
  auto program = StartAndWait();
  program->Signal(SIGTERM);
  ASSERT_EQ(program->WaitForEnd(), 0);
  int seen = 0;
  for (const char* name : {"Logs", "Recordings"}) {
    struct stat status {};
    ASSERT_EQ(stat(home_.DataPath(name).c_str(), &status), 0) << name;
    EXPECT_EQ(status.st_mode & 077, 0U) << name;
    for (const auto& entry : std::filesystem::directory_iterator(home_.DataPath(name))) {
      ASSERT_EQ(stat(entry.path().c_str(), &status), 0);
      EXPECT_EQ(status.st_mode & 077, 0U) << entry.path();
      ++seen;
    }
  }
  EXPECT_GT(seen, 0);
}

TEST_F(KivRecorder, ItsCurrentFolderIsTheDataFolder) {
  auto program = StartAndWait();
  const auto current = std::filesystem::read_symlink("/proc/" + std::to_string(program->Pid()) + "/cwd");
  EXPECT_EQ(current, std::filesystem::canonical(home_.Path() + "/Kiv"));
}

TEST_F(KivRecorder, AFreshAccountGetsItsFoldersAndNoSettingsFile) {
  auto program = StartAndWait();
  program->Signal(SIGTERM);
  ASSERT_EQ(program->WaitForEnd(), 0);
  EXPECT_TRUE(std::filesystem::is_directory(home_.DataPath("Recordings")));
  EXPECT_TRUE(std::filesystem::is_directory(home_.DataPath("Logs")));
  EXPECT_FALSE(std::filesystem::exists(home_.DataPath("settings.ini")));
}

TEST_F(KivRecorder, AFreshAccountGetsItsSystemPromptsAndALostOneComesBack) {
  HomeFolder home(false);
  const auto prompts = [&home] {
    std::vector<std::string> found;
    for (const char* name : {"Start Prompt", "End Prompt", "On-Hold 1", "On-Hold 2", "On-Hold 3", "Record Tone"}) {
      const std::string path = home.DataPath(std::string(name) + ".wav");
      const std::string header = ReadFile(path).substr(0, 46);
      // Not while it is being written.
      if (header.size() < 46 || header.ends_with("\xff\xff\xff\xff")) continue;
      const LSoundSource source = LWaveFile::OpenSource(path.c_str());
      if (source->Error() == kSourceGood && source->Rate() == 8000 && source->GetEndSample() > 0) found.push_back(name);
    }
    return found;
  };
  const auto run = [&](int count) {
    RunningProgram program(KIV_RECORDER, home, {"--line", line_}, kNothing);
    ASSERT_TRUE(WaitFor([&] { return home.HasLogged("Kiv Recorder Run", count); })) << program.Said();
    ASSERT_TRUE(WaitFor([&] { return prompts().size() == 6; }, 4 * kiv::test::kLimitMs)) << program.Said();
    program.Signal(SIGTERM);
    EXPECT_EQ(program.WaitForEnd(), 0) << program.Said();
  };
  run(1);
  const std::string tone = ReadFile(home.DataPath("Record Tone.wav"));
  const std::string other = ReadFile(home.DataPath("On-Hold 1.wav"));
  WriteFile(home.DataPath("End Prompt.wav"), ReadFile(home.DataPath("Start Prompt.wav")));
  std::filesystem::remove(home.DataPath("Record Tone.wav"));
  run(2);
  EXPECT_EQ(ReadFile(home.DataPath("Record Tone.wav")), tone);
  EXPECT_EQ(ReadFile(home.DataPath("On-Hold 1.wav")), other);
  // The user's own stays.
  EXPECT_EQ(ReadFile(home.DataPath("End Prompt.wav")), ReadFile(home.DataPath("Start Prompt.wav")));
}

TEST_F(KivRecorder, WritesWhatIsPlayedToTheLineAsAFinishedFile) {
  const std::string out = home_.Path() + "/out.wav";
  auto program = Start({"--line", line_, "--line-out", out});
  ASSERT_TRUE(WaitFor([&] { return home_.HasLogged("Kiv Recorder Run"); })) << program->Said();
  program->Signal(SIGTERM);
  ASSERT_EQ(program->WaitForEnd(), 0);
  const LSoundSource source = LWaveFile::OpenSource(out.c_str());
  EXPECT_EQ(source->Error(), kSourceGood);
  EXPECT_EQ(source->Rate(), 8000);
}

// --- One for each data folder

TEST_F(KivRecorder, ASecondStartEndsWithZeroAndLeavesTheFirst) {
  auto first = StartAndWait();
  for (int i = 0; i < 3; ++i) {
    auto second = Start();
    EXPECT_EQ(second->WaitForEnd(), 0);
    EXPECT_EQ(second->Said(), "");
  }
  EXPECT_TRUE(first->IsRunning());
  first->Signal(SIGTERM);
  EXPECT_EQ(first->WaitForEnd(), 0);
  EXPECT_THAT(home_.Log(), ElementsAre("Kiv Recorder Run", "Kiv Recorder Exit"));
}

TEST_F(KivRecorder, ManyAtOnceAreOneInTheEnd) {
  std::vector<std::unique_ptr<RunningProgram>> programs;
  for (int i = 0; i < 4; ++i) programs.push_back(Start());
  const auto running = [&] {
    int count = 0;
    for (const auto& program : programs) count += program->IsRunning();
    return count;
  };
  EXPECT_TRUE(WaitFor([&] { return running() == 1 && home_.HasLogged("Kiv Recorder Run"); }));
  EXPECT_EQ(running(), 1);
  for (const auto& program : programs) {
    if (program->IsRunning()) program->Signal(SIGTERM);
    EXPECT_EQ(program->WaitForEnd(), 0) << program->Said();
  }
  EXPECT_THAT(home_.Log(), ElementsAre("Kiv Recorder Run", "Kiv Recorder Exit"));
}

TEST_F(KivRecorder, WhatAKilledOneHasLeftHindersNobody) {
  auto killed = StartAndWait();
  ASSERT_TRUE(WaitFor([&] { return std::filesystem::exists(home_.DataPath(".kiv-recorder.socket")); }));
  killed->Signal(SIGKILL);
  EXPECT_EQ(killed->WaitForEnd(), 1000 + SIGKILL);
  EXPECT_TRUE(std::filesystem::exists(home_.DataPath(".kiv-recorder.socket")));
  auto next = StartAndWait(2);
  auto second = Start();
  EXPECT_EQ(second->WaitForEnd(), 0);
  EXPECT_EQ(second->Said(), "");
  EXPECT_TRUE(next->IsRunning());
}

TEST_F(KivRecorder, OneThatDoesNotAnswerStillHasTheFolder) {
  // With the lock, and without a socket.
  kiv::SingleInstance silent(home_.Path() + "/Kiv");
  ASSERT_TRUE(silent.Claim());
  kiv::SingleInstance second(home_.Path() + "/Kiv");
  EXPECT_FALSE(second.Claim());
  EXPECT_EQ(second.TellTheOther(100), kiv::SingleInstance::Told::NoAnswer);
}

// As when somebody quits the program and starts it again at once.
TEST_F(KivRecorder, OneThatEndsInsteadOfAnsweringLeavesTheFolderToTheNext) {
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  home_.DataPath(".kiv-recorder.socket").copy(address.sun_path, sizeof address.sun_path - 1);
  for (const bool listens : {false, true}) {
    int ready[2];
    int go[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(go), 0);
    const pid_t first = fork();
    if (first == 0) {
      kiv::SingleInstance leaving(home_.Path() + "/Kiv");
      const int listening = socket(AF_UNIX, SOCK_STREAM, 0);
      bool well = leaving.Claim();
      if (listens) well = well && bind(listening, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
      if (listens) well = well && listen(listening, 1) == 0;
      char word = well ? 'c' : '-';
      well = write(ready[1], &word, 1) == 1 && read(go[0], &word, 1) == 1 && well;
      if (listens) well = accept(listening, nullptr, nullptr) >= 0 && well;
      _exit(well ? 0 : 1);
    }
    char word = 0;
    ASSERT_EQ(read(ready[0], &word, 1), 1);
    ASSERT_EQ(word, 'c');
    kiv::SingleInstance next(home_.Path() + "/Kiv");
    EXPECT_FALSE(next.Claim());
    ASSERT_EQ(write(go[1], &word, 1), 1);
    EXPECT_EQ(next.TellTheOther(kiv::test::kLimitMs), kiv::SingleInstance::Told::Gone) << listens;
    EXPECT_TRUE(next.Claim());
    int status = 0;
    ASSERT_EQ(waitpid(first, &status, 0), first);
    EXPECT_EQ(status, 0);
    for (const int end : {ready[0], ready[1], go[0], go[1]}) close(end);
    std::filesystem::remove(home_.DataPath(".kiv-recorder.lock"));  // Held until this process ends.
  }
}

TEST_F(KivRecorder, AnotherHomeFolderIsAnotherProgram) {
  auto first = StartAndWait();
  HomeFolder other;
  RunningProgram second(KIV_RECORDER, other, {"--line", line_}, kNothing);
  EXPECT_TRUE(WaitFor([&] { return other.HasLogged("Kiv Recorder Run"); })) << second.Said();
  EXPECT_TRUE(first->IsRunning());
}

TEST_F(KivRecorder, WorksInAHomeFolderWithALongPath) {
  HomeFolder home;
  // Longer than a socket's address, and what the program keeps there still fits a path.
  const std::string deep = home.Path() + "/" + std::string(60, 'a') + "/" + std::string(60, 'b');
  std::filesystem::create_directories(deep + "/.config");
  auto environment = kNothing;
  environment["HOME"] = deep;
  environment["XDG_CONFIG_HOME"] = deep + "/.config";
  const auto start = [&] {
    return std::make_unique<RunningProgram>(KIV_RECORDER, home, std::vector<std::string>{"--line", line_}, environment);
  };
  auto first = start();
  ASSERT_TRUE(WaitFor([&] { return std::filesystem::exists(deep + "/Kiv/.kiv-recorder.socket"); })) << first->Said();
  auto second = start();
  EXPECT_EQ(second->WaitForEnd(), 0);
  EXPECT_EQ(second->Said(), "");
  first->Signal(SIGTERM);
  EXPECT_EQ(first->WaitForEnd(), 0) << first->Said();
}

}  // namespace
