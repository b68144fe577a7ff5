#pragma once

// A sink on a disk that stands still once, by the system's clock, when it has a second of 8000 Hz.

#include <atomic>
#include <chrono>
#include <thread>

#include "tests/support/test_signals.h"

namespace kiv::test {

class StalledSink : public MemorySink {
 public:
  explicit StalledSink(std::chrono::milliseconds stall) : MemorySink(8000, 1), stall_(stall) {}
  void Write(std::int32_t const* buffer, std::int32_t frames) override {
    if (Position() == 8000) std::this_thread::sleep_for(stall_);
    MemorySink::Write(buffer, frames);
    written = Position();
  }
  std::atomic<std::int32_t> written{0};

 private:
  std::chrono::milliseconds stall_;
};

}  // namespace kiv::test
