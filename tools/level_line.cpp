#include "tools/level_line.h"

#include <unistd.h>

#include <cstdio>

namespace kiv {
namespace {

// One column for every 3 dB; at +12 dB the bar is full and the sound begins to be cut off.
constexpr int kBottomDB = -48;
constexpr int kColumnDB = 3;
constexpr int kTopDB = 12;

std::string Bar(int dB) {
  std::string bar;
  for (int column = kBottomDB; column <= kTopDB; column += kColumnDB) bar += column <= dB ? '#' : '.';
  return bar;
}

std::string Clock(LSoundTime time) {
  const std::int32_t ms = time;
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d.%d", ms / 3600000, ms / 60000 % 60, ms / 1000 % 60, ms / 100 % 10);
  return text;
}

}  // namespace

LevelLine::LevelLine() : terminal_(isatty(STDERR_FILENO) != 0) {}

void LevelLine::Show(std::string_view text, LSoundTime time, LDB level) {
  const auto now = std::chrono::steady_clock::now();
  if (text == text_ && now < next_) return;
  text_ = text;
  next_ = now + (terminal_ ? std::chrono::milliseconds(80) : std::chrono::milliseconds(1000));
  const std::string number = level == -127 ? "silent" : std::to_string(int{level}) + " dB";
  // To a terminal without its line end and with the rest of an older, longer line cleared.
  std::fprintf(stderr, terminal_ ? "\r%-9s %s %7s %s\033[K" : "%-9s %s %7s %s\n", text_.c_str(), Clock(time).c_str(),
               number.c_str(), Bar(level).c_str());
  open_ = terminal_;
}

void LevelLine::Say(const std::string& message) {
  End();
  std::fprintf(stderr, "kiv-line: %s\n", message.c_str());
}

void LevelLine::End() {
  if (open_) std::fputc('\n', stderr);
  open_ = false;
}

}  // namespace kiv
