#include "platform/simulated/simulated_line.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "platform/simulated/line_input.h"
#include "platform/simulated/line_output.h"

namespace kiv {

namespace {

constexpr std::int64_t kMillisecond = 1000000;

}  // namespace

class SimulatedLine::InputPort : public SoundInput {
 public:
  InputPort(LineCore& core, WaitClock* waits) : core_(core), waits_(waits) {}
  std::unique_ptr<SoundInputDevice> OpenDefault(const std::string& /*mediaName*/) override {
    {
      const std::lock_guard lock(core_.mutex);
      if (core_.refuseInput || LineCore::IsInside(core_.inputGone, core_.NowLocked())) return nullptr;
    }
    return std::make_unique<LineInputDevice>(core_);
  }
  WaitClock* Waits() override { return waits_; }

 private:
  LineCore& core_;
  WaitClock* waits_;
};

class SimulatedLine::OutputPort : public SoundOutput {
 public:
  OutputPort(LineCore& core, WaitClock* waits) : core_(core), waits_(waits) {}
  std::unique_ptr<SoundChannel> OpenChannel(const ChannelRequest& request) override {
    {
      const std::lock_guard lock(core_.mutex);
      if (core_.refuseOutput) return nullptr;
    }
    return std::make_unique<LineChannel>(core_, request);
  }
  WaitClock* Waits() override { return waits_; }

 private:
  LineCore& core_;
  WaitClock* waits_;
};

class SimulatedLine::LineClock : public Clock {
 public:
  LineClock(LineCore& core, std::int64_t startUnixMs) : core_(core), startUnixMs_(startUnixMs) {}
  std::int64_t UnixMilliseconds() override {
    const std::lock_guard lock(core_.mutex);
    return startUnixMs_ + core_.NowLocked() / kMillisecond;
  }

 private:
  LineCore& core_;
  const std::int64_t startUnixMs_;
};

// Waits on a line that runs at a multiple of real time. Three seconds of a fast line are soon over on a machine that
// has other things to do: a time is up only once the line's own thread is not late.
class SimulatedLine::ScaledClock : public WaitClock {
 public:
  explicit ScaledClock(LineCore& core) : core_(core) {}

  class ScaledWorker : public Worker {
   public:
    explicit ScaledWorker(LineCore& core) : core_(core) {}
    void Begin() override {}
    void End() override {}
    void Prepare() override {
      const std::lock_guard lock(mutex_);
      woken_ = false;
    }
    bool Wait(std::uint32_t waitMs) override {
      using Steady = std::chrono::steady_clock;
      constexpr auto kLookAgain = std::chrono::milliseconds(1);
      auto limit = Steady::now() + std::chrono::microseconds(static_cast<std::int64_t>(waitMs * 1000.0 / core_.speed));
      std::unique_lock lock(mutex_);
      while (!changed_.wait_until(lock, limit, [this] { return woken_; })) {
        // The line wakes us under its own lock, which comes first.
        lock.unlock();
        const bool late = IsLineLate();
        lock.lock();
        if (!late) return woken_;
        limit = Steady::now() + kLookAgain;
      }
      return true;
    }
    void Wake() override {
      const std::lock_guard lock(mutex_);
      woken_ = true;
      changed_.notify_all();
    }
    void Join() override {}

   private:
    bool IsLineLate() {
      const std::lock_guard lock(core_.mutex);
      return core_.NextEventLocked() <= core_.NowLocked();
    }

    LineCore& core_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool woken_ = false;
  };

  std::unique_ptr<Worker> AddWorker() override { return std::make_unique<ScaledWorker>(core_); }

 private:
  LineCore& core_;
};

SimulatedLine::SimulatedLine(const Options& options, std::unique_ptr<LineSignal> signal) : queue_(options.queue) {
  core_.lockStep = options.lockStep;
  core_.speed = options.speed;
  core_.systemStart = SystemNs();
  core_.signal = std::move(signal);
  core_.inputRateHz = options.inputRateHz;
  core_.inputChannels = options.inputChannels;
  core_.inputName = options.inputName;
  WaitClock* waits = nullptr;
  if (options.lockStep) {
    waits = &lockStep_;
  } else if (options.speed != 1.0) {
    scaledClock_ = std::make_unique<ScaledClock>(core_);
    waits = scaledClock_.get();
  }
  input_ = std::make_unique<InputPort>(core_, waits);
  output_ = std::make_unique<OutputPort>(core_, waits);
  wallClock_ = std::make_unique<LineClock>(core_, options.startUnixMs);
  if (!options.lockStep) driver_ = std::thread(&SimulatedLine::Drive, this);
}

SimulatedLine::~SimulatedLine() {
  if (driver_.joinable()) {
    {
      const std::lock_guard lock(core_.mutex);
      quit_ = true;
      core_.ChangedLocked();
    }
    driver_.join();
  }
}

SoundInput& SimulatedLine::Input() {
  return *input_;
}

SoundOutput& SimulatedLine::Output() {
  return *output_;
}

Clock& SimulatedLine::WallClock() {
  return *wallClock_;
}

// The line's own thread, when not in lock-step.
void SimulatedLine::Drive() {
  std::unique_lock lock(core_.mutex);
  while (!quit_) {
    const std::int64_t now = core_.NowLocked();
    if (core_.FireOneLocked(now)) continue;
    const std::int64_t next = core_.NextEventLocked();
    if (next == kNever) {
      core_.changed.wait(lock);
    } else {
      const auto real = static_cast<std::int64_t>(static_cast<double>(next - now) / core_.speed) + 1;
      core_.changed.wait_until(lock, std::chrono::steady_clock::now() + std::chrono::nanoseconds(real));
    }
  }
}

void SimulatedLine::WriteOutputTo(const LSoundSink& sink) {
  const std::lock_guard lock(core_.mutex);
  core_.outputSink = sink;
  core_.outputSinkStart = core_.NowLocked();
}

void SimulatedLine::OnPlayed(std::function<void(const PlayedSound&)> call) {
  const std::lock_guard lock(core_.mutex);
  core_.onPlayed = std::move(call);
}

std::int64_t SimulatedLine::NsFromMs(std::int64_t ms) {
  return ms >= kNever / kMillisecond ? kNever : ms * kMillisecond;
}

void SimulatedLine::RefuseInput(bool refuse) {
  const std::lock_guard lock(core_.mutex);
  core_.refuseInput = refuse;
}

void SimulatedLine::RefuseOutput(bool refuse) {
  const std::lock_guard lock(core_.mutex);
  core_.refuseOutput = refuse;
}

void SimulatedLine::AddFault(LineCore::Stretches LineCore::*stretches, std::int64_t atMs, std::int64_t forMs) {
  const std::lock_guard lock(core_.mutex);
  AddStretch(core_.*stretches, NsFromMs(atMs), NsFromMs(forMs));
  core_.ChangedLocked();
}

void SimulatedLine::StallInput(std::int64_t atMs, std::int64_t forMs) {
  AddFault(&LineCore::inputStalls, atMs, forMs);
}

void SimulatedLine::RemoveInput(std::int64_t atMs, std::int64_t forMs) {
  AddFault(&LineCore::inputGone, atMs, forMs);
}

void SimulatedLine::StallOutput(std::int64_t atMs, std::int64_t forMs) {
  AddFault(&LineCore::outputStalls, atMs, forMs);
}

void SimulatedLine::RemoveOutput(std::int64_t atMs, std::int64_t forMs) {
  AddFault(&LineCore::outputGone, atMs, forMs);
}

std::int64_t SimulatedLine::NowMs() {
  return NowNs() / kMillisecond;
}

std::int64_t SimulatedLine::NowNs() {
  const std::lock_guard lock(core_.mutex);
  return core_.NowLocked();
}

int SimulatedLine::OpenDevices() {
  const std::lock_guard lock(core_.mutex);
  return static_cast<int>(core_.devices.size());
}

void SimulatedLine::Settle() {
  // Main reacts as soon as a worker has had its turn, as it would with nothing else to do.
  do {
    while (queue_->Drain() > 0) {
    }
  } while (lockStep_.RunOne());
}

bool SimulatedLine::Step(std::int64_t limitNs) {
  Settle();
  {
    const std::int64_t deadline = lockStep_.NextDeadline();
    const std::lock_guard lock(core_.mutex);
    if (core_.devices.empty() || core_.lockStepNow >= limitNs) return false;
    const std::int64_t next = std::min({core_.NextEventLocked(), deadline, limitNs});
    // Nothing will ever happen again.
    if (next == kNever) return false;
    core_.lockStepNow = std::max(core_.lockStepNow, next);
    lockStep_.SetNow(core_.lockStepNow);
  }
  bool fired = true;
  while (fired) {
    {
      const std::lock_guard lock(core_.mutex);
      fired = core_.FireOneLocked(core_.lockStepNow);
    }
    // One at a time, so that the order in which workers report is the order in which devices complete.
    Settle();
  }
  return true;
}

void SimulatedLine::Run(std::int64_t ms) {
  std::int64_t limit = 0;
  {
    const std::lock_guard lock(core_.mutex);
    limit = core_.lockStepNow + NsFromMs(ms);
  }
  while (Step(limit)) {
  }
}

bool SimulatedLine::RunUntil(const std::function<bool()>& done, std::int64_t limitMs) {
  std::int64_t limit = 0;
  {
    const std::lock_guard lock(core_.mutex);
    limit = core_.lockStepNow + NsFromMs(limitMs);
  }
  Settle();
  while (!done()) {
    if (!Step(limit)) return done();
  }
  return true;
}

void SimulatedLine::Pass(std::int64_t ms) {
  const std::lock_guard lock(core_.mutex);
  if (!core_.devices.empty()) return;
  core_.lockStepNow += NsFromMs(ms);
  lockStep_.SetNow(core_.lockStepNow);
}

void SimulatedLine::HoldUpWorker(std::int64_t ms) {
  lockStep_.HoldUp(NsFromMs(ms));
}

}  // namespace kiv
