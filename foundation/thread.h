#pragma once

// A worker thread with a stop request and timed waits, and the flag that a device call-back raises to wake it.
//
//   Units    ms.
//   Threads  Start, Join and the destructor: the owner's thread (Start may also be called from others at once).
//            Wait, WaitSignal: the worker. StopThreadSoon, RaiseSignal, ClearSignal, IsRaised, IsStopRequested,
//            HasThread: any; but HasThread waits while another thread joins. UseWaitClock: the owner's thread.
//   Locks    the state mutex guards the stop flag, the running flag and every LSignalObject waited for with this
//            thread; it is held for their update or the wait itself only. The start mutex makes Start
//            exclusive; it is taken before the state mutex.
//   Time     waits run by the monotonic clock, so that setting the system's time never looks like a device
//            that stopped; or by a device system's own clock, see UseWaitClock.
//   Errors   none: what the system refuses (a priority, say) is ignored.
//
// A derived class stops its thread in its own destructor, before its members go.

#include <pthread.h>

#include <cstdint>
#include <memory>

#include "platform/wait_clock.h"

// Not signalled until raised. Has no lock of its own: raise and clear it through the LThread that waits for it.
class LSignalObject {
 public:
  LSignalObject() noexcept = default;

 private:
  friend class LThread;
  std::uintptr_t word_ = 0;
};

class LThread {
 public:
  LThread();
  LThread(const LThread&) = delete;
  LThread& operator=(const LThread&) = delete;

  // The order of the virtual operations is part of the interface.
  virtual ~LThread();

 protected:
  // The body of the thread. Returns soon after a stop request, which Wait and WaitSignal tell.
  virtual void ThreadFunction() = 0;

 public:
  // Runs ThreadFunction on a new thread with that scheduling priority (nice value). Ignored while it runs; a
  // finished thread is joined first.
  void Start(int priority);
  // Asks the thread to end and wakes it; returns at once.
  void StopThreadSoon();
  // Waits for the thread's end, if there is a thread.
  void Join();
  // A thread has been started and not been joined yet.
  bool HasThread();
  bool IsStopRequested();

  // Sleeps. True when the whole time passed; false at once after a stop request, and on any other wake-up.
  bool Wait(std::uint32_t waitMs);
  // Sleeps until the signal is raised. True when it is, when a stop is requested and on any other wake-up;
  // false when the time passed without. The signal stays as it is.
  bool WaitSignal(LSignalObject& signal, std::uint32_t waitMs);
  void RaiseSignal(LSignalObject& signal);
  void ClearSignal(LSignalObject& signal);
  bool IsRaised(const LSignalObject& signal);

  // The clock of this thread's waits from the next Start on; null for the system's. Not while it runs.
  void UseWaitClock(kiv::WaitClock* clock) noexcept { waitClock_ = clock; }

 protected:
  // Holds the state mutex.
  class StateLock {
   public:
    explicit StateLock(LThread& thread) noexcept : mutex_(thread.stateMutex_) { pthread_mutex_lock(&mutex_); }
    ~StateLock() { pthread_mutex_unlock(&mutex_); }
    StateLock(const StateLock&) = delete;
    StateLock& operator=(const StateLock&) = delete;

   private:
    pthread_mutex_t& mutex_;
  };

  // Says, under a StateLock, that ThreadFunction is about to return: a Start from now on makes a new thread.
  // For a worker that has found under the same lock that there is nothing left to do.
  void SetNotRunning(const StateLock&) noexcept { running_ = false; }

 private:
  static void* ThreadCallback(void* thread);
  // Sleeps under the state mutex until woken (true) or the time has passed (false).
  bool SleepLocked(std::uint32_t waitMs);
  // Sets a word that the state mutex guards and wakes whoever waits, without holding the mutex.
  template <typename Word>
  void SetAndWake(Word& word, Word value);

  pthread_t thread_ = 0;
  bool hasThread_ = false;  // Under the start mutex.
  int priority_ = 0;
  bool running_ = false;
  pthread_mutex_t stateMutex_;
  pthread_cond_t condition_;
  bool stop_ = true;
  pthread_mutex_t startMutex_;
  kiv::WaitClock* waitClock_ = nullptr;
  // Changes under the state mutex and only while no thread runs, so that the worker may read it without.
  // Shared with those who are about to wake the worker.
  std::shared_ptr<kiv::WaitClock::Worker> waiter_;
};
