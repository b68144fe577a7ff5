#pragma once

// A user of the test's own desktop: the programs that press keys and move windows there.

#include <QWidget>
#include <string>
#include <vector>

namespace kiv::test {

// Runs it to its end, which must be a good one.
void RunCommand(const std::vector<std::string>& command);

// xdotool. Lets everything that is on its way arrive: a key whose effect is awaited comes after it.
void RunTool(std::vector<std::string> arguments);

// The window manager gives the window the keyboard.
void GiveKeyboard(const QWidget& window);

}  // namespace kiv::test
