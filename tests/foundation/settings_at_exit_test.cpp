// The settings store at the two ends of a process, seen from outside.

#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>

#include "tests/support/temporary_folder.h"

namespace {

int RunProgram(const std::string& settings) {
  setenv("KIV_EXIT_PROGRAM_FILE", settings.c_str(), 1);
  std::string program = KIV_EXIT_PROGRAM;
  char* const arguments[] = {program.data(), nullptr};
  pid_t child = 0;
  if (posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ) != 0) return -1;
  int status = -1;
  if (waitpid(child, &status, 0) != child) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Sections stand in the order of their first use, so the file also tells when everything ran.
std::string Expected(const std::string& text) {
  const auto section = [](const std::string& name, const std::vector<std::string>& lines) {
    std::string all = "[" + name + "]\r\n";
    for (const std::string& line : lines) all += line + "\r\n";
    return all + "\r\n";
  };
  return section("first", {"made=" + text, "gone=" + text}) +
         section("before", {"made=" + text, "gone=" + text, "unloaded=" + text}) +
         section("ofMain", {"made=" + text, "gone=" + text}) +
         section("behind", {"made=" + text, "gone=" + text, "unloaded=" + text}) +
         section("local", {"made=" + text, "gone=" + text}) + section("ofThread", {"made=" + text, "gone=" + text}) +
         section("thread", {"run=" + text}) + section("atexit", {"run=" + text});
}

TEST(SettingsAtExit, StaticObjectsOfEveryOrderFindAndLeaveTheirValues) {
  const kiv::test::TemporaryFolder folder;
  const std::string settings = folder.File("settings.ini");
  ASSERT_EQ(RunProgram(settings), 3);
  EXPECT_EQ(kiv::test::ReadFile(settings), Expected("x"));
  ASSERT_EQ(RunProgram(settings), 3);  // The second run finds what the destructors of the first one set.
  EXPECT_EQ(kiv::test::ReadFile(settings), Expected("xx"));
}

}  // namespace
