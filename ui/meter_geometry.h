#pragma once

// Where a level meter puts its bars, and the scale under it its marks: one segment per dB from -36 to +12 dB.
//   Units    whole pixels of the picture drawn on, y growing downwards; right and bottom are past the last pixel.
//   Threads  pure functions.

#include <cstdint>
#include <vector>

#include "foundation/level.h"

namespace kiv {

inline constexpr int kMeterLowestDB = -36;
inline constexpr int kMeterHighestDB = 12;

struct PixelRect {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
};

enum class MeterColour { Grey, Black, Green, Red };

struct MeterFill {
  int x;
  int y;
  int width;
  int height;
  MeterColour colour;
};

// Parts of 255, rounded from 0.49 and 0.85.
struct Colour {
  std::uint8_t red;
  std::uint8_t green;
  std::uint8_t blue;
};
constexpr Colour ColourOf(MeterColour colour) noexcept {
  switch (colour) {
    case MeterColour::Grey:
      return {125, 125, 125};
    case MeterColour::Black:
      return {0, 0, 0};
    case MeterColour::Green:
      return {0, 217, 0};
    case MeterColour::Red:
      return {255, 0, 0};
  }
  return {};
}

// Width of a segment; a step to the next one is 2 wider. Not above 0 when the bounds are narrow.
constexpr int MeterSegmentWidth(const PixelRect& bounds) noexcept {
  return (bounds.right - bounds.left) / 49 - 2;
}

// Where the segment begins that a level of dB lights last plus one: the end of the lit part.
constexpr int MeterLevelX(const PixelRect& bounds, int dB) noexcept {
  return bounds.left + 2 + (dB - kMeterLowestDB) * (MeterSegmentWidth(bounds) + 2);
}

// What is to be filled, in drawing order; the first fill covers the bounds. Fills of no width or height draw nothing.
std::vector<MeterFill> MeterFills(const LDBMC& level, const PixelRect& bounds, bool enabled);

}  // namespace kiv
