#include "platform/simulated/lock_step.h"

#include <algorithm>

namespace kiv {

class LockStepClock::LockStepWorker : public WaitClock::Worker {
 public:
  explicit LockStepWorker(LockStepClock& clock) : clock_(clock) {}
  ~LockStepWorker() override;

  void Begin() override;
  void End() override;
  void Prepare() override;
  bool Wait(std::uint32_t waitMs) override { return WaitUntil(std::int64_t{waitMs} * 1000000, true); }
  void Wake() override;
  void Join() override;

  // Waits for its turn; wakeable waits end by Wake, too.
  bool WaitUntil(std::int64_t ns, bool wakeable);

  static thread_local LockStepWorker* current;

  LockStepClock& clock_;
  State state_ = State::Starting;
  std::int64_t deadline_ = kNever;
  bool wakeable_ = true;
  bool woken_ = false;
  bool joined_ = false;
};

thread_local LockStepClock::LockStepWorker* LockStepClock::LockStepWorker::current = nullptr;

LockStepClock::LockStepWorker::~LockStepWorker() {
  const std::lock_guard lock(clock_.mutex_);
  std::erase(clock_.workers_, this);
}

void LockStepClock::LockStepWorker::Begin() {
  current = this;
  std::unique_lock lock(clock_.mutex_);
  state_ = State::Ready;
  clock_.changed_.notify_all();
  clock_.changed_.wait(lock, [this] { return state_ == State::Running || joined_; });
  state_ = State::Running;
}

void LockStepClock::LockStepWorker::End() {
  current = nullptr;
  const std::lock_guard lock(clock_.mutex_);
  state_ = State::Ended;
  clock_.changed_.notify_all();
}

void LockStepClock::LockStepWorker::Prepare() {
  const std::lock_guard lock(clock_.mutex_);
  woken_ = false;
}

bool LockStepClock::LockStepWorker::WaitUntil(std::int64_t ns, bool wakeable) {
  std::unique_lock lock(clock_.mutex_);
  deadline_ = clock_.now_ + ns;
  wakeable_ = wakeable;
  state_ = State::Waiting;
  clock_.changed_.notify_all();
  clock_.changed_.wait(lock, [this] { return state_ == State::Running || joined_; });
  state_ = State::Running;
  return woken_ || joined_;
}

void LockStepClock::LockStepWorker::Wake() {
  const std::lock_guard lock(clock_.mutex_);
  woken_ = true;
}

void LockStepClock::LockStepWorker::Join() {
  std::unique_lock lock(clock_.mutex_);
  joined_ = true;
  clock_.changed_.notify_all();
  clock_.changed_.wait(lock, [this] { return state_ == State::Ended; });
}

std::unique_ptr<WaitClock::Worker> LockStepClock::AddWorker() {
  auto worker = std::make_unique<LockStepWorker>(*this);
  const std::lock_guard lock(mutex_);
  workers_.push_back(worker.get());
  return worker;
}

bool LockStepClock::IsRunnable(const LockStepWorker& worker) const {
  switch (worker.state_) {
    case State::Starting:
    case State::Ready:
      return true;
    case State::Waiting:
      return (worker.wakeable_ && worker.woken_) || worker.deadline_ <= now_;
    case State::Running:
    case State::Ended:
      break;
  }
  return false;
}

void LockStepClock::GiveTurn(std::unique_lock<std::mutex>& lock, LockStepWorker& worker) {
  changed_.wait(lock, [&] { return worker.state_ != State::Starting; });
  worker.state_ = State::Running;
  changed_.notify_all();
  changed_.wait(lock, [&] { return worker.state_ != State::Running; });
}

bool LockStepClock::RunOne() {
  std::unique_lock lock(mutex_);
  for (LockStepWorker* worker : workers_) {
    if (!IsRunnable(*worker)) continue;
    GiveTurn(lock, *worker);
    return true;
  }
  return false;
}

void LockStepClock::SetNow(std::int64_t now) {
  const std::lock_guard lock(mutex_);
  now_ = now;
}

std::int64_t LockStepClock::NextDeadline() {
  const std::lock_guard lock(mutex_);
  std::int64_t next = kNever;
  for (const LockStepWorker* worker : workers_) {
    if (worker->state_ == State::Waiting) next = std::min(next, worker->deadline_);
  }
  return next;
}

void LockStepClock::HoldUp(std::int64_t ns) {
  LockStepWorker* const worker = LockStepWorker::current;
  if (worker != nullptr && &worker->clock_ == this) worker->WaitUntil(ns, false);
}

}  // namespace kiv
