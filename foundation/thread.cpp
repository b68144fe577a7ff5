#include "foundation/thread.h"

#include <sys/resource.h>

#include <cerrno>
#include <ctime>

#include "foundation/deadline.h"

namespace {

timespec DeadlineFromNow(std::uint32_t waitMs) {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return kiv::DeadlineAfter(now.tv_sec, static_cast<std::int32_t>(now.tv_nsec / 1000), waitMs);
}

}  // namespace

LThread::LThread() {
  pthread_mutex_init(&stateMutex_, nullptr);
  pthread_mutex_init(&startMutex_, nullptr);
  pthread_condattr_t attributes;
  pthread_condattr_init(&attributes);
  pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
  pthread_cond_init(&condition_, &attributes);
  pthread_condattr_destroy(&attributes);
}

LThread::~LThread() {
  StopThreadSoon();
  Join();
  pthread_cond_destroy(&condition_);
  pthread_mutex_destroy(&stateMutex_);
  pthread_mutex_destroy(&startMutex_);
}

void LThread::Start(int priority) {
  pthread_mutex_lock(&startMutex_);
  bool running = false;
  {
    const StateLock lock(*this);
    running = running_;
  }
  if (!running) {
    if (hasThread_) {
      // Finished or past its last decision: its own clearing of the running flag must come before ours.
      if (waiter_ != nullptr) waiter_->Join();
      pthread_join(thread_, nullptr);
      hasThread_ = false;
    }
    {
      const StateLock lock(*this);
      waiter_ = waitClock_ != nullptr ? waitClock_->AddWorker() : nullptr;
      priority_ = priority;
      stop_ = false;
      running_ = true;
    }
    hasThread_ = pthread_create(&thread_, nullptr, &LThread::ThreadCallback, this) == 0;
    if (!hasThread_) {
      const StateLock lock(*this);
      running_ = false;
      waiter_ = nullptr;
    }
  }
  pthread_mutex_unlock(&startMutex_);
}

void* LThread::ThreadCallback(void* thread) {
  LThread& self = *static_cast<LThread*>(thread);
  setpriority(PRIO_PROCESS, 0, self.priority_);
  if (self.waiter_ != nullptr) self.waiter_->Begin();
  self.ThreadFunction();
  {
    const StateLock lock(self);
    self.running_ = false;
  }
  if (self.waiter_ != nullptr) self.waiter_->End();
  return nullptr;
}

template <typename Word>
void LThread::SetAndWake(Word& word, Word value) {
  std::shared_ptr<kiv::WaitClock::Worker> waiter;
  {
    const StateLock lock(*this);
    word = value;
    waiter = waiter_;
  }
  pthread_cond_broadcast(&condition_);
  if (waiter != nullptr) waiter->Wake();
}

void LThread::StopThreadSoon() {
  SetAndWake(stop_, true);
}

void LThread::Join() {
  pthread_mutex_lock(&startMutex_);
  if (hasThread_) {
    if (waiter_ != nullptr) waiter_->Join();
    pthread_join(thread_, nullptr);
    hasThread_ = false;
  }
  pthread_mutex_unlock(&startMutex_);
}

bool LThread::HasThread() {
  pthread_mutex_lock(&startMutex_);
  const bool has = hasThread_;
  pthread_mutex_unlock(&startMutex_);
  return has;
}

bool LThread::IsStopRequested() {
  const StateLock lock(*this);
  return stop_;
}

bool LThread::Wait(std::uint32_t waitMs) {
  const StateLock lock(*this);
  return !stop_ && !SleepLocked(waitMs);
}

bool LThread::WaitSignal(LSignalObject& signal, std::uint32_t waitMs) {
  const StateLock lock(*this);
  return signal.word_ != 0 || stop_ || SleepLocked(waitMs);
}

bool LThread::SleepLocked(std::uint32_t waitMs) {
  if (waiter_ != nullptr) {
    waiter_->Prepare();
    pthread_mutex_unlock(&stateMutex_);
    const bool woken = waiter_->Wait(waitMs);
    pthread_mutex_lock(&stateMutex_);
    return woken;
  }
  const timespec deadline = DeadlineFromNow(waitMs);
  return pthread_cond_timedwait(&condition_, &stateMutex_, &deadline) != ETIMEDOUT;
}

void LThread::RaiseSignal(LSignalObject& signal) {
  SetAndWake(signal.word_, std::uintptr_t{1});
}

void LThread::ClearSignal(LSignalObject& signal) {
  const StateLock lock(*this);
  signal.word_ = 0;
}

bool LThread::IsRaised(const LSignalObject& signal) {
  const StateLock lock(*this);
  return signal.word_ != 0;
}
