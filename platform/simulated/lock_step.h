#pragma once

// Turn-taking of the lock-step line: of the main thread and the device workers exactly one runs at a time, so
// that the same script takes the same way every time.
//
//   Turns    main has the turn until it asks for RunOne or joins a worker; a worker keeps it until it waits or ends. A
//            worker that has just been started runs first when main gives the turn away.
//   Time     of the line, in ns; it moves only by SetNow, on main. A worker's time-out ends its wait at the next RunOne
//            after its moment.
//   Threads  RunOne, SetNow, NextDeadline: main. The rest as WaitClock says.

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/wait_clock.h"

namespace kiv {

inline constexpr std::int64_t kNever = INT64_MAX;

class LockStepClock : public WaitClock {
 public:
  std::unique_ptr<Worker> AddWorker() override;

  // Gives the turn to the first worker, in starting order, that has something to do, and takes it back when
  // that one waits or ends. False when all wait.
  bool RunOne();
  void SetNow(std::int64_t now);
  // The first moment at which a worker's wait times out; kNever without one.
  std::int64_t NextDeadline();
  // On a worker: lets line time pass as if the worker were held up, by a slow disk say. Returns at once on
  // other threads and while the worker is being joined.
  void HoldUp(std::int64_t ns);

 private:
  enum class State { Starting, Ready, Running, Waiting, Ended };
  class LockStepWorker;

  bool IsRunnable(const LockStepWorker& worker) const;
  // Under the mutex: lets the worker run until it waits or has ended.
  void GiveTurn(std::unique_lock<std::mutex>& lock, LockStepWorker& worker);

  std::mutex mutex_;  // Guards everything here and the states of all workers.
  std::condition_variable changed_;
  std::int64_t now_ = 0;
  std::vector<LockStepWorker*> workers_;
};

}  // namespace kiv
