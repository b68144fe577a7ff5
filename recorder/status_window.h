#pragma once

// The status log: the latest lines of the activity log, as the main window shows them.
//
//   Text     bytes (UTF-8), lines end in CR; the latest 3072 to 4096 of them, cut at a byte, not at a character.
//   Threads  DisplayStatus from any. SetControl on main only, and everything the control is told happens on main, in
//            order, while it is set.
//   Errors   none.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "foundation/event_queue.h"

namespace kiv {

// Where the log is shown. ui/ implements it with a control, tests with a record.
class StatusText {
 public:
  virtual ~StatusText() = default;
  // Replaces what is shown by the whole log and moves to its end. Called on the main thread.
  virtual void ShowStatus(const std::string& log) = 0;
};

}  // namespace kiv

class LStatusWindow {
 public:
  static constexpr std::size_t kTextSize = 4096;
  static constexpr std::size_t kDropped = 1024;

  LStatusWindow() = default;
  ~LStatusWindow();
  LStatusWindow(const LStatusWindow&) = delete;
  LStatusWindow& operator=(const LStatusWindow&) = delete;

  // Shows the log there from now on, what it holds already included; null for nowhere. After a call with null the
  // earlier control is never called again, also not for a line that another thread has just added.
  void SetControl(kiv::StatusText* control);

  // Appends to the log and shows it: at once on the thread of the control, else as soon as the main queue is drained.
  void DisplayStatus(const char* text);

  // A copy of what the log holds.
  std::string Text() const;

 private:
  static constexpr std::uint32_t kPendingLimitMs = 60000;

  void Append(const char* text);
  void Show();

  mutable std::mutex mutex_;  // Guards pending_, stamp_, text_, length_, shownThread_ and identity_.
  std::uint32_t pending_ = 0;
  std::uint8_t stamp_ = 0;
  char text_[kTextSize + 1] = {};
  std::uint32_t length_ = 0;
  std::thread::id shownThread_;
  // What posts for the present control carry; 0 without one. Changes on main only, which may read it without the mutex.
  std::uint64_t identity_ = 0;

  // Main thread only.
  kiv::StatusText* control_ = nullptr;
  kiv::EventQueue::HandlerId handler_ = 0;
  // Set while a post is on its way: several lines in a row need only one.
  std::atomic<std::uint64_t> posted_{0};
};

// The program's status log.
extern LStatusWindow gStatusWindow;
