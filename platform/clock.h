#pragma once

#include <cstdint>

namespace kiv {

// Port: the wall clock, for names, dates and ages. Never for waiting.
//   Units    ms since 1970-01-01 00:00 UTC.
//   Threads  any.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual std::int64_t UnixMilliseconds() = 0;
};

}  // namespace kiv
