#pragma once

// One-shot timers by small numbers, for any object of the main thread.
//   Units    milliseconds.
//   Threads  main; the list of all pending timers is not locked.
//   Repeats  a timer is idle again before EvTimer is called, so EvTimer may set it anew.

#include <cstdint>

#include "foundation/list.h"
#include "ui/event_loop_timer.h"

class LTimers {
 public:
  struct TimerListItem {
    TimerListItem* next = nullptr;
    LTimers* owner = nullptr;
    int id = 0;
    EventLoopTimerRef timer = nullptr;
  };

  LTimers() = default;
  LTimers(const LTimers&) = delete;
  LTimers& operator=(const LTimers&) = delete;

  // The order of the virtual operations is part of the interface.
  // Cancels every timer of this object.
  virtual ~LTimers();
  virtual void EvTimer(int id) = 0;

  // Starts timer id, anew when it is pending.
  void TimerSet(int id, std::int32_t milliseconds);
  // Cancels timer id of this object if it is pending.
  void TimerReset(int id);

  // The call-back of every timer. An item that is no longer in the list was reset meanwhile and does nothing.
  static void TimerAction(EventLoopTimerRef timer, void* item);

  // Every pending timer of every object, newest first.
  static LList<TimerListItem> lTimers;
};
