#include "tests/support/stall_watch.h"

#include <sched.h>

#include <atomic>
#include <thread>

namespace kiv::test {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kSleep(10);
constexpr std::chrono::milliseconds kOrdinaryDelay(10);

steady_clock::duration Stall(steady_clock::time_point fellAsleep, steady_clock::time_point now) {
  const auto late = now - fellAsleep - kSleep;
  return late > kOrdinaryDelay ? late : steady_clock::duration::zero();
}

}  // namespace

class StallWatch::Watcher {
 public:
  explicit Watcher(int processor) : thread_([this, processor] { Run(processor); }) {}
  ~Watcher() {
    stop_ = true;
    thread_.join();
  }
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;

  // With the stall that may be going on.
  steady_clock::duration StoodStill() const {
    return steady_clock::duration(stalls_) +
           Stall(steady_clock::time_point(steady_clock::duration(fellAsleep_)), steady_clock::now());
  }

 private:
  void Run(int processor) {
    cpu_set_t processors;
    CPU_ZERO(&processors);
    CPU_SET(static_cast<std::size_t>(processor), &processors);
    sched_setaffinity(0, sizeof processors, &processors);
    while (!stop_) {
      const auto before = steady_clock::now();
      fellAsleep_ = before.time_since_epoch().count();
      std::this_thread::sleep_for(kSleep);
      stalls_ += Stall(before, steady_clock::now()).count();
    }
  }

  std::atomic<bool> stop_{false};
  std::atomic<steady_clock::rep> fellAsleep_{steady_clock::now().time_since_epoch().count()};
  std::atomic<steady_clock::rep> stalls_{0};
  std::thread thread_;
};

StallWatch::StallWatch() {
  cpu_set_t processors;
  CPU_ZERO(&processors);
  sched_getaffinity(0, sizeof processors, &processors);
  for (int processor = 0; processor < CPU_SETSIZE; ++processor) {
    if (CPU_ISSET(static_cast<std::size_t>(processor), &processors))
      watchers_.push_back(std::make_unique<Watcher>(processor));
  }
}

StallWatch::~StallWatch() = default;

std::chrono::milliseconds StallWatch::StoodStill() const {
  steady_clock::duration sum{};
  for (const auto& watcher : watchers_) sum += watcher->StoodStill();
  return std::chrono::ceil<std::chrono::milliseconds>(sum);
}

}  // namespace kiv::test
