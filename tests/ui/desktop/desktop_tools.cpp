#include "tests/ui/desktop/desktop_tools.h"

#include <gtest/gtest.h>

#include "tests/ui/desktop/child_program.h"

namespace kiv::test {

void RunCommand(const std::vector<std::string>& command) {
  ChildProgram program;
  std::string line;
  for (const std::string& word : command) line.append(word).append(" ");
  ASSERT_TRUE(program.Start(command)) << line;
  ASSERT_TRUE(program.WaitForEnd()) << line;
  EXPECT_EQ(program.ExitCode(), 0) << line;
}

void RunTool(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "xdotool");
  RunCommand(arguments);
}

void GiveKeyboard(const QWidget& window) {
  RunTool({"windowactivate", "--sync", std::to_string(window.winId())});
}

}  // namespace kiv::test
