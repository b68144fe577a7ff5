#pragma once

// Static compression curves: one gain for every input level from -128 to 127 dB.
//
// Up to the knee a the curve is flat, from there to the upper knee b the gain falls by the given step per dB,
// and above b by about 1 dB per dB, so that the output level stays constant.
//   Units    levels in dB; gains Q24 (LCompressorTableGain) or whole dB (LCompressorTableDB).
//   Errors   none: any parameters give a table. A gain that leaves 32 bits saturates; dB clamp to [-127, 127].
//   Threads  constant after construction.

#include <array>
#include <cstddef>
#include <cstdint>

#include "foundation/level.h"

class LCompressorTableGain {
 public:
  // base is the factor per dB between a and b; below a negative a the gain is base^a, else 1.0.
  LCompressorTableGain(LDB a, double base, LDB b) noexcept;

  std::uint32_t GainQ24(LDB level) const noexcept { return entries_.data()[128 + level]; }
  // Entry i stands for i - 128 dB.
  const std::array<std::uint32_t, 256>& Entries() const noexcept { return entries_; }

 private:
  std::array<std::uint32_t, 256> entries_;
};

class LCompressorTableDB {
 public:
  // slope is in dB per dB between a and b; up to a the gain is a * slope.
  LCompressorTableDB(LDB a, double slope, LDB b) noexcept;

  LDB Gain(LDB level) const noexcept { return entries_.data()[128 + level]; }
  const std::array<LDB, 256>& Entries() const noexcept { return entries_; }

 private:
  std::array<LDB, 256> entries_;
};
