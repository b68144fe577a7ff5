#include "tests/app/desktop/windows.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "tests/app/running_program.h"

namespace kiv::test {
namespace {

std::string OutputOf(const std::string& command) {
  std::string text;
  FILE* pipe = popen(("timeout 20 sh -c '" + command + "' 2>/dev/null").c_str(), "r");
  if (pipe == nullptr) return text;
  char piece[256];
  for (std::size_t n = 0; (n = fread(piece, 1, sizeof piece, pipe)) > 0;) text.append(piece, n);
  pclose(pipe);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

}  // namespace

bool Succeeds(const std::string& command) {
  return std::system(("timeout 20 " + command + " >/dev/null 2>&1").c_str()) == 0;
}

std::string WindowNamed(const std::string& title) {
  return OutputOf("xdotool search --onlyvisible --name \"^" + title + "\\$\" | tail -n 1");
}

bool IsActive(const std::string& title) {
  return OutputOf("xdotool getactivewindow getwindowname") == title;
}

void Activate(const std::string& title) {
  // A search stumbles over windows that go while it looks.
  EXPECT_TRUE(WaitFor([&] {
    const std::string window = WindowNamed(title);
    return !window.empty() && Succeeds("xdotool windowactivate --sync " + window) && IsActive(title);
  })) << title;
}

void Key(const std::string& keys) {
  EXPECT_TRUE(Succeeds("xdotool key " + keys));
}

}  // namespace kiv::test
