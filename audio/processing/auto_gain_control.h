#pragma once

// A slow-moving level that follows the speech in a window of blocks, one window ahead of what is being output.
//
// It moves toward the upper quartile of the window, and only while the block being output lies on the same side;
// it rises four times as fast as it falls.
//   Units    levels in dB; the window in blocks.
//   Start    the window holds 0 dB everywhere and the tracked level is 0, while its smoothed value starts at
//            -2.0: the first movement jumps there, so it is -1 or -2 after that.
//   Threads  one at a time.

#include <array>
#include <cstdint>
#include <vector>

#include "foundation/level.h"

class LAutoGainControl {
 public:
  // The tracked level stays between -a and -b. A window below 1 is taken as 1.
  LAutoGainControl(std::uint32_t blocks, LDB a, LDB b);

  // Pushes the level of the newest block into the window.
  void Add(LDB level);
  // Moves on by one block when there is no newer one; the window's quartile stays.
  void AddFinal();

  LDB TrackedLevel() const noexcept { return tracked_; }
  // Level of the block at the ring's index: the oldest in the window.
  LDB BlockLevel() const noexcept { return ring_[index_]; }
  // The upper quartile: more than a quarter of the window lies at or above it, at most a quarter above it.
  LDB Percentile() const noexcept { return percentile_; }

 private:
  std::uint32_t& CountAt(LDB level) noexcept { return histogram_.data()[128 + level]; }
  void StepIndex() noexcept { index_ = (index_ + 1) % blocks_; }
  // Takes the smoothed value 1/divisor of the way to the quartile.
  void MoveToward(std::uint32_t divisor) noexcept;
  void Track() noexcept;

  LDB lowest_;
  LDB highest_;
  std::uint32_t blocks_;
  std::uint32_t quarter_;
  std::vector<LDB> ring_;
  LDB percentile_;
  // Of the ring's contents; entry i stands for i - 128 dB.
  std::array<std::uint32_t, 256> histogram_{};
  // Ring entries at or above the quartile.
  std::uint32_t countAtOrAbove_;
  std::uint32_t index_ = 0;
  LDB tracked_;
  double smoothed_ = -2.0;
};
