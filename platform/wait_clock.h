#pragma once

// Port: the clock that a device worker's time-outs follow.
//
// With real devices there is none (null) and time-outs run by the system's clock. A sound system whose time
// is not the system's - a simulated line that runs faster, or in lock-step with its user - gives one, so that
// a time-out of three seconds is three seconds of its own time.
//
//   Use      LThread asks for one Worker per start of its thread and calls it as told below. Nobody else does.
//   Locks    an implementation may block in Begin, Wait and Join only, and calls nothing of its user's.

#include <cstdint>
#include <memory>

namespace kiv {

class WaitClock {
 public:
  // One run of one worker thread. Outlives the run: destroyed after Join and the joining of the thread.
  class Worker {
   public:
    virtual ~Worker() = default;
    // On the worker: before its function and after it. Begin may hold the worker back.
    virtual void Begin() = 0;
    virtual void End() = 0;
    // On the worker, under the lock that guards what it waits for: every Wake from now on counts for the next Wait.
    virtual void Prepare() = 0;
    // On the worker, without that lock: returns true once Wake has been called since Prepare, false when
    // waitMs of this clock's time have passed without.
    virtual bool Wait(std::uint32_t waitMs) = 0;
    // Any thread, without that lock: what the worker waits for may be there.
    virtual void Wake() = 0;
    // On the thread that is about to join the worker and has told it to end: the worker must be let run to
    // its end. May return before that.
    virtual void Join() = 0;
  };

  virtual ~WaitClock() = default;
  virtual std::unique_ptr<Worker> AddWorker() = 0;
};

}  // namespace kiv
