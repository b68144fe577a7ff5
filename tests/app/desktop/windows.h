#pragma once

// The windows and the keyboard of the X desktop that the test was started on, as somebody at the machine has them.

#include <string>

namespace kiv::test {

// Runs a shell command, 20 seconds at most; whether its exit status is 0.
bool Succeeds(const std::string& command);

// The one visible window of that title; empty without one. The title is taken as a regular expression.
std::string WindowNamed(const std::string& title);

// Whether the window of that title has the keyboard.
bool IsActive(const std::string& title);

// Gives a window the keyboard, waiting for the window; a failed expectation when it does not come.
void Activate(const std::string& title);

// Presses and releases keys, by their X names ("alt+c"); a failed expectation when that cannot be done.
void Key(const std::string& keys);

}  // namespace kiv::test
