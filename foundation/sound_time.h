#pragma once

// A time or duration in whole milliseconds, signed 32-bit.
//   Threads  a value.
//   Errors   none; arithmetic wraps at 32 bits.

#include <cstdint>

#include "foundation/fixed_point.h"

class LSoundTime {
 public:
  constexpr LSoundTime() noexcept = default;
  constexpr LSoundTime(std::int32_t milliseconds) noexcept : ms_(milliseconds) {}

  constexpr operator std::int32_t() const noexcept { return ms_; }

  // Takes the time from text: [-][[hours:]minutes:]seconds[.fraction]. "5" is 5 s, "1:30" 90 s, "2.5" 2500
  // ms. A "-" anywhere makes it negative; fraction digits from the fourth on count nothing; other characters
  // are skipped.
  void SetText(char const* text) noexcept;

 private:
  std::int32_t ms_ = 0;
};

static_assert(sizeof(LSoundTime) == 4);

namespace kiv {

// Frames at a rate in Hz (at least 1) to whole milliseconds and back, truncated toward zero.
constexpr LSoundTime TimeFromFrames(std::int32_t frames, std::int32_t rateHz) noexcept {
  return WrapAdd32(WrapMul32(frames / rateHz, 1000), WrapMul32(frames % rateHz, 1000) / rateHz);
}
constexpr std::int32_t FramesFromTime(LSoundTime time, std::int32_t rateHz) noexcept {
  const std::int32_t ms = time;
  return WrapAdd32(WrapMul32(ms / 1000, rateHz), WrapMul32(ms % 1000, rateHz) / 1000);
}

static_assert(TimeFromFrames(12345, 8000) == 1543);
static_assert(FramesFromTime(1543, 8000) == 12344);
static_assert(FramesFromTime(3600000, 8000) == 28800000);

}  // namespace kiv
