#pragma once

// How loud one channel of a recording speaks: a histogram of the levels of its blocks.
//
//   Units    levels in dB; counts are blocks.
//   Threads  one at a time.

#include <array>
#include <cstdint>

#include "foundation/level.h"

class LAutoLevelControl {
 public:
  // Counts one block.
  void Add(LDB level) noexcept { ++counts_.data()[128 + level]; }

  // The median of the blocks that lie at most 15 dB below the loudest eighth; -127 of nothing. Of one or two
  // blocks there is no median in this sense: the answer is then the lower end of that range.
  LDB GetLevelPreLimit() const noexcept;

 private:
  std::uint32_t CountAt(int level) const noexcept { return counts_.data()[128 + level]; }

  // Entry i stands for i - 128 dB.
  std::array<std::uint32_t, 256> counts_{};
};
