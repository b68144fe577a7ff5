#include "foundation/thread.h"

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

#include "foundation/deadline.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
constexpr auto kLimit = std::chrono::seconds(20);
constexpr std::uint32_t kLongMs = 20000;

// A worker whose body is given; stops itself in its destructor as the header asks.
class Worker : public LThread {
 public:
  explicit Worker(std::function<void(Worker&)> body) : body_(std::move(body)) {}
  ~Worker() override {
    StopThreadSoon();
    Join();
  }
  // Ends the run early, as a worker that finds nothing left to do.
  template <typename Decision>
  void Decide(Decision decision) {
    const StateLock lock(*this);
    decision();
    SetNotRunning(lock);
  }

 private:
  void ThreadFunction() override { body_(*this); }
  std::function<void(Worker&)> body_;
};

// A priority that everybody may ask for, also where the tests themselves run at a low one; 19 is the lowest.
int LowerPriority(int steps) {
  return std::min(getpriority(PRIO_PROCESS, 0) + steps, 19);
}

TEST(Deadline, CarriesMillisecondsAndMicroseconds) {
  const timespec deadline = kiv::DeadlineAfter(100, 600000, 1500);
  EXPECT_EQ(deadline.tv_sec, 102);
  EXPECT_EQ(deadline.tv_nsec, 100000000);
}

TEST(Deadline, ExactlyOneSecondOfNanosecondsCarries) {
  EXPECT_EQ(kiv::DeadlineAfter(100, 500000, 500).tv_sec, 101);
  EXPECT_EQ(kiv::DeadlineAfter(100, 500000, 500).tv_nsec, 0);
  EXPECT_EQ(kiv::DeadlineAfter(100, 499999, 500).tv_sec, 100);
  EXPECT_EQ(kiv::DeadlineAfter(100, 499999, 500).tv_nsec, 999999000);
}

TEST(Deadline, LongestWaitDoesNotWrap) {
  EXPECT_EQ(kiv::DeadlineAfter(100, 0, 0xFFFFFFFF).tv_sec, 100 + 4294967);
  EXPECT_EQ(kiv::DeadlineAfter(100, 0, 0xFFFFFFFF).tv_nsec, 295000000);
}

TEST(LThread, WaitBeforeAnyStartReturnsAtOnce) {
  Worker worker([](Worker&) {});
  LSignalObject signal;
  const auto start = steady_clock::now();
  EXPECT_FALSE(worker.Wait(kLongMs));
  EXPECT_TRUE(worker.WaitSignal(signal, kLongMs));
  EXPECT_LT(steady_clock::now() - start, kLimit);
  EXPECT_TRUE(worker.IsStopRequested());
  EXPECT_FALSE(worker.HasThread());
}

TEST(LThread, WaitTellsThatTheWholeTimePassed) {
  std::promise<bool> whole;
  std::promise<bool> timedOut;
  LSignalObject signal;
  Worker worker([&](Worker& self) {
    const auto start = steady_clock::now();
    const bool result = self.Wait(30);
    whole.set_value(result && steady_clock::now() - start >= milliseconds(30));
    timedOut.set_value(!self.WaitSignal(signal, 1));
  });
  worker.Start(0);
  EXPECT_TRUE(whole.get_future().get());
  EXPECT_TRUE(timedOut.get_future().get());
}

TEST(LThread, RaisedSignalIsSeenWithoutWaitingAndStaysRaised) {
  LSignalObject signal;
  std::promise<bool> result;
  Worker worker([&](Worker& self) {
    const bool first = self.WaitSignal(signal, kLongMs);
    const bool second = self.WaitSignal(signal, kLongMs);
    const bool kept = self.IsRaised(signal);
    self.ClearSignal(signal);
    result.set_value(first && second && kept && !self.IsRaised(signal));
  });
  worker.RaiseSignal(signal);
  const auto start = steady_clock::now();
  worker.Start(0);
  EXPECT_TRUE(result.get_future().get());
  EXPECT_LT(steady_clock::now() - start, kLimit);
}

TEST(LThread, RaisingWakesTheWaiter) {
  LSignalObject signal;
  std::promise<void> ready;
  std::promise<bool> woken;
  Worker worker([&](Worker& self) {
    ready.set_value();
    woken.set_value(self.WaitSignal(signal, kLongMs) && self.IsRaised(signal));
  });
  worker.Start(0);
  ready.get_future().get();
  worker.RaiseSignal(signal);
  EXPECT_TRUE(woken.get_future().get());
}

TEST(LThread, StopEndsEveryWaitAtOnce) {
  LSignalObject signal;
  std::promise<void> ready;
  std::promise<bool> result;
  Worker worker([&](Worker& self) {
    ready.set_value();
    const bool interrupted = !self.Wait(kLongMs);
    const bool afterwards = !self.Wait(kLongMs) && self.WaitSignal(signal, kLongMs);
    result.set_value(interrupted && afterwards && !self.IsRaised(signal));
  });
  const auto start = steady_clock::now();
  worker.Start(0);
  ready.get_future().get();
  worker.StopThreadSoon();
  EXPECT_TRUE(result.get_future().get());
  EXPECT_LT(steady_clock::now() - start, kLimit);
}

TEST(LThread, DestructorWakesAndJoinsAWaitingThread) {
  std::atomic<bool> ended{false};
  const auto start = steady_clock::now();
  {
    std::promise<void> ready;
    Worker worker([&](Worker& self) {
      ready.set_value();
      self.Wait(kLongMs);
      ended = true;
    });
    worker.Start(0);
    ready.get_future().get();
  }
  EXPECT_TRUE(ended);
  EXPECT_LT(steady_clock::now() - start, kLimit);
}

TEST(LThread, SecondStartWhileRunningIsIgnoredWithItsPriority) {
  std::atomic<int> runs{0};
  std::promise<void> ready;
  std::promise<int> priority;
  LSignalObject go;
  Worker worker([&](Worker& self) {
    ++runs;
    ready.set_value();
    self.WaitSignal(go, kLongMs);
    priority.set_value(getpriority(PRIO_PROCESS, 0));
  });
  worker.Start(LowerPriority(3));
  ready.get_future().get();
  worker.Start(LowerPriority(7));
  worker.RaiseSignal(go);
  EXPECT_EQ(priority.get_future().get(), LowerPriority(3));
  worker.Join();
  EXPECT_EQ(runs, 1);
}

TEST(LThread, StartAfterTheEndRunsAgainWithTheNewPriority) {
  std::vector<int> priorities;
  Worker worker([&](Worker&) { priorities.push_back(getpriority(PRIO_PROCESS, 0)); });
  worker.Start(LowerPriority(1));
  worker.Join();
  EXPECT_FALSE(worker.HasThread());
  worker.Start(LowerPriority(2));
  worker.Join();
  EXPECT_THAT(priorities, testing::ElementsAre(LowerPriority(1), LowerPriority(2)));
}

TEST(LThread, RefusedPriorityIsIgnored) {
  std::promise<void> ran;
  Worker worker([&](Worker&) { ran.set_value(); });
  worker.Start(-20);
  ran.get_future().get();
}

// The worker finds its list empty and says so under the state mutex; work that comes right afterwards must
// find either a worker that will still look, or make a new one.
TEST(LThread, StartThatMeetsAWorkerOnItsWayOutIsNeverLost) {
  std::mutex mutex;
  int waiting = 0;
  std::atomic<int> done{0};
  Worker worker([&](Worker& self) {
    while (true) {
      bool empty = false;
      {
        const std::lock_guard lock(mutex);
        if (waiting > 0) {
          --waiting;
          ++done;
          continue;
        }
      }
      self.Decide([&] {
        const std::lock_guard lock(mutex);
        empty = waiting == 0;
      });
      if (empty) return;
    }
  });
  constexpr int kItems = 2000;
  for (int i = 0; i < kItems; ++i) {
    {
      const std::lock_guard lock(mutex);
      ++waiting;
    }
    worker.Start(0);
  }
  worker.Join();
  EXPECT_EQ(done, kItems);
}

TEST(LThread, ConcurrentStartsMakeOneThread) {
  std::atomic<int> inside{0};
  std::atomic<int> most{0};
  Worker worker([&](Worker&) {
    most = std::max<int>(most, ++inside);
    --inside;
  });
  std::vector<std::thread> starters;
  for (int t = 0; t < 4; ++t) {
    starters.emplace_back([&] {
      for (int i = 0; i < 200; ++i) worker.Start(0);
    });
  }
  for (auto& starter : starters) starter.join();
  worker.Join();
  EXPECT_EQ(most, 1);
}

// A clock that is moved by hand: time-outs follow it alone.
class HandClock : public kiv::WaitClock {
 public:
  class HandWorker : public Worker {
   public:
    explicit HandWorker(HandClock& clock) : clock_(clock) {}
    void Begin() override { ++clock_.begun; }
    void End() override { ++clock_.ended; }
    void Prepare() override {
      const std::lock_guard lock(clock_.mutex);
      woken_ = false;
    }
    bool Wait(std::uint32_t waitMs) override {
      std::unique_lock lock(clock_.mutex);
      const std::int64_t until = clock_.nowMs + waitMs;
      clock_.waiting = true;
      clock_.changed.notify_all();
      clock_.changed.wait(lock, [&] { return woken_ || clock_.nowMs >= until; });
      clock_.waiting = false;
      return woken_;
    }
    void Wake() override {
      const std::lock_guard lock(clock_.mutex);
      woken_ = true;
      clock_.changed.notify_all();
    }
    void Join() override { ++clock_.joined; }

   private:
    HandClock& clock_;
    bool woken_ = false;
  };

  std::unique_ptr<Worker> AddWorker() override { return std::make_unique<HandWorker>(*this); }
  void AwaitWaiter() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return waiting; });
  }
  void Advance(std::int64_t ms) {
    AwaitWaiter();
    const std::lock_guard lock(mutex);
    nowMs += ms;
    changed.notify_all();
  }

  std::mutex mutex;
  std::condition_variable changed;
  std::int64_t nowMs = 0;
  bool waiting = false;
  std::atomic<int> begun{0};
  std::atomic<int> ended{0};
  std::atomic<int> joined{0};
};

TEST(LThread, TimeOutsFollowAClockOfTheirOwn) {
  HandClock clock;
  LSignalObject signal;
  std::promise<bool> timedOut;
  std::promise<bool> whole;
  Worker worker([&](Worker& self) {
    timedOut.set_value(!self.WaitSignal(signal, 3600000));
    whole.set_value(self.Wait(3600000));
  });
  worker.UseWaitClock(&clock);
  const auto start = steady_clock::now();
  worker.Start(0);
  clock.Advance(3600000);
  EXPECT_TRUE(timedOut.get_future().get());
  clock.Advance(3600000);
  EXPECT_TRUE(whole.get_future().get());
  worker.Join();
  EXPECT_LT(steady_clock::now() - start, kLimit);
  EXPECT_EQ(clock.begun, 1);
  EXPECT_EQ(clock.ended, 1);
  EXPECT_EQ(clock.joined, 1);
}

TEST(LThread, SignalAndStopWakeAWorkerOnAClockOfItsOwn) {
  HandClock clock;
  LSignalObject signal;
  std::promise<bool> woken;
  std::promise<bool> stopped;
  Worker worker([&](Worker& self) {
    woken.set_value(self.WaitSignal(signal, 1000) && self.IsRaised(signal));
    stopped.set_value(!self.Wait(1000));
  });
  worker.UseWaitClock(&clock);
  worker.Start(0);
  clock.AwaitWaiter();
  worker.RaiseSignal(signal);
  EXPECT_TRUE(woken.get_future().get());
  clock.AwaitWaiter();
  worker.StopThreadSoon();
  EXPECT_TRUE(stopped.get_future().get());
}

TEST(LThread, NextStartJoinsAFinishedWorkerOnAClockOfItsOwnThere) {
  HandClock clock;
  Worker worker([](Worker&) {});
  worker.UseWaitClock(&clock);
  worker.Start(0);
  const auto start = steady_clock::now();
  while (clock.ended == 0 && steady_clock::now() - start < kLimit) std::this_thread::yield();
  worker.Start(0);
  EXPECT_EQ(clock.joined, 1);
  worker.Join();
  EXPECT_EQ(clock.joined, 2);
}

}  // namespace
