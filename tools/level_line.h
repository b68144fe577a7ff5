#pragma once

// The line on standard error that shows time and level while sound is recorded or played: kept up to date in place on
// a terminal, else a new line every second.
//   Threads  main.

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/level.h"
#include "foundation/sound_time.h"

namespace kiv {

class LevelLine {
 public:
  LevelLine();

  // text is what is being done. Shown at once when it is another than before.
  void Show(std::string_view text, LSoundTime time, LDB level);
  // A message on a line of its own.
  void Say(const std::string& message);
  // Leaves what is shown, and begins a new line.
  void End();

 private:
  const bool terminal_;
  bool open_ = false;  // The cursor is on the level line.
  std::string text_;
  std::chrono::steady_clock::time_point next_;
};

}  // namespace kiv
