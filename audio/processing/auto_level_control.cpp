#include "audio/processing/auto_level_control.h"

LDB LAutoLevelControl::GetLevelPreLimit() const noexcept {
  constexpr int kLowest = -127;
  std::uint32_t rest = 0;
  for (int level = kLowest; level <= 127; ++level) rest += CountAt(level);

  // The lowest level at and above which no more than an eighth of the blocks lies.
  const std::uint32_t topEighth = (rest + 8) >> 3;
  int top = kLowest;
  while (rest > topEighth) rest -= CountAt(top++);

  const int bottom = top < -112 ? kLowest : top - 15;
  for (int level = top; level-- > bottom;) rest += CountAt(level);

  // The level whose removal leaves no more than half.
  const std::uint32_t half = (rest + 2) >> 1;
  int level = bottom;
  while (rest > half) {
    rest -= CountAt(level);
    if (rest > half) ++level;
  }
  return level;
}
