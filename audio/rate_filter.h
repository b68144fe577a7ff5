#pragma once

// The filter loops of sample-rate conversion: a plain one for every material, and one of 16-bit multiply-add pairs
// for material and coefficients that fit it. Where both apply they give the same bits.
//
//   Rule     output = ((A >> 1) + (B >> 1) + rounding) >> shift, where A and B are the exact sums of coefficient *
//            sample over the first (taps + 1) / 2 taps and the rest, and rounding is half of 2^shift.
//   Threads  const after construction.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "foundation/vector_width.h"

class LConvertRateBase;

namespace kiv {

// Output frames that the narrow loop makes at a time.
inline constexpr std::ptrdiff_t kNarrowTogether = 4;

// Some output frames in a row.
struct RateRun {
  std::int32_t phase;    // Of the first output frame; its filter begins on the first sample given.
  std::int32_t count;    // Output frames.
  int shift;             // Of the result; the plain loop also takes -1, which doubles it.
  std::int32_t largest;  // No sample is further from 0, and it is at least 1; only the narrow loop asks.
};

// Output frames from the given phase on whose filter begins before frame `limit`.
std::int64_t CountBefore(LConvertRateBase const& filter, std::int32_t phase, std::int64_t limit) noexcept;

// Interleaved samples to interleaved output, for any sample value; the result keeps its low 32 bits.
void ConvertPlain(LConvertRateBase const& filter, RateRun run, std::int32_t const* samples, int channels,
                  std::int32_t* out) noexcept;

// Samples * 2^-scaling, rounded half up, as one row of 16-bit samples a channel, one behind the other. What comes out
// is good for samples below 2^30 that round to 16 bits, with a scaling of at most 15; others give anything. Returns the
// peak, so that a guessed scaling can be judged afterwards. Frames of one or two channels; any width but the scalar
// one.
std::int32_t PackNarrow(VectorWidth width, std::int32_t const* samples, std::int32_t frames, int channels, int scaling,
                        std::int16_t* planes) noexcept;

class NarrowFilter {
 public:
  explicit NarrowFilter(LConvertRateBase const& filter);

  // Whether the filter can be used at that width: it has 63 or 15 taps, and its sums are proven to stay in range when
  // no sample is further from 0 than `largest`, which is 1 to 32768.
  bool Serves(VectorWidth width, std::int32_t largest) const noexcept {
    return width != VectorWidth::Scalar && largest <= split_.largest;
  }

  // One channel: samples of its plane to every stride-th place of out. Shift is 0 to 15.
  void Convert(VectorWidth width, RateRun run, std::int16_t const* plane, std::int32_t* out,
               std::ptrdiff_t stride) const noexcept;

 private:
  struct alignas(32) Piece {
    std::array<std::int16_t, 16> coefficients;
  };
  struct Rows {
    std::vector<Piece> pieces;
    std::vector<std::int32_t> middles;  // What two middle coefficients have above their row, in units of 2^15.
    std::int32_t largest = 0;           // The largest sample that is proven to be safe; 0 where the rows do not fit.
  };
  static bool AddRow(std::int32_t const* row, std::int32_t taps, bool split, Rows& rows);

  // Everything is tabled in the order in which output frames need it, which is the same again after every
  // `period_` of them, `periodFrames_` further on. Three more entries follow, since four output frames are made at a
  // time.
  std::ptrdiff_t period_ = 0;
  std::int32_t periodFrames_ = 0;
  Rows whole_;                              // Quicker, for what it is safe for.
  Rows split_;                              // Middle coefficients are split.
  std::vector<std::int32_t> starts_;        // First frame, counted from that of the first entry.
  std::array<std::uint8_t, 256> places_{};  // Entry of a phase.
};

}  // namespace kiv
