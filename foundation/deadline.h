#pragma once

// The moment at which a timed wait gives up.
//   Units    seconds and microseconds of the clock's time now; ms to wait.
//   Threads  pure.

#include <cstdint>
#include <ctime>

namespace kiv {

constexpr timespec DeadlineAfter(std::int64_t seconds, std::int32_t microseconds, std::uint32_t waitMs) noexcept {
  std::int64_t nanoseconds = std::int64_t{microseconds} * 1000 + std::int64_t{waitMs % 1000} * 1000000;
  seconds += waitMs / 1000;
  // Both parts are below a second, so one carry is enough.
  if (nanoseconds > 999999999) {
    ++seconds;
    nanoseconds -= 1000000000;
  }
  timespec deadline{};
  deadline.tv_sec = static_cast<decltype(deadline.tv_sec)>(seconds);
  deadline.tv_nsec = static_cast<decltype(deadline.tv_nsec)>(nanoseconds);
  return deadline;
}

static_assert(DeadlineAfter(7, 600000, 1500).tv_sec == 9 && DeadlineAfter(7, 600000, 1500).tv_nsec == 100000000);
static_assert(DeadlineAfter(0, 999999, 999).tv_sec == 1 && DeadlineAfter(0, 999999, 999).tv_nsec == 998999000);

}  // namespace kiv
