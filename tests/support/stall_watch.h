#pragma once

// Tells how long the machine has stood still for us, so that a test against the clock can allow for what a busy or a
// paused machine takes, and for no more: a thread on each processor sleeps a little again and again, and what a sleep
// takes longer than that is counted.
//   Threads  StoodStill: any, any time.

#include <chrono>
#include <memory>
#include <vector>

namespace kiv::test {

class StallWatch {
 public:
  // Begins to watch.
  StallWatch();
  ~StallWatch();
  StallWatch(const StallWatch&) = delete;
  StallWatch& operator=(const StallWatch&) = delete;

  // The time that the processors stood still since the beginning, added up: nothing that waits for all of them can have
  // been held up for longer. Delays of a few ms are not counted.
  std::chrono::milliseconds StoodStill() const;

 private:
  class Watcher;
  std::vector<std::unique_ptr<Watcher>> watchers_;
};

}  // namespace kiv::test
