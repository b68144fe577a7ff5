#include "audio/buffer_level.h"

#include <algorithm>
#include <cstring>

#include "foundation/fixed_point.h"
#include "foundation/vector_width.h"

// The loops are written once, in vectors of eight samples, and compiled twice: for the instructions that every
// processor has (which take such a vector in two halves) and for the wide ones.

namespace {

struct Extremes {
  std::int32_t high = 0;
  std::int32_t low = 0;

  KIV_INLINE void Add(std::int32_t v) {
    if (v > high) high = v;
    if (v < low) low = v;
  }
};

// Sum of squares, each split at bit 13 so that a long buffer of ordinary samples stays inside 32 bits.
struct SquareSum {
  std::uint32_t high = 0;
  std::uint32_t low = 0;

  KIV_INLINE void Add(std::int32_t v) {
    const std::uint32_t t = kiv::AsUnsigned(v >> 5);
    const std::uint32_t square = t * t;
    high += square >> 13;
    low += square & 0x1FFF;
  }
};

constexpr std::int64_t kLanes = 8;
using Vector = std::int32_t __attribute__((vector_size(sizeof(std::int32_t) * kLanes)));
using UnsignedVector = std::uint32_t __attribute__((vector_size(sizeof(std::uint32_t) * kLanes)));

// The same for the eight samples of a vector apart.
struct ExtremesLanes {
  Vector high = {};
  Vector low = {};

  KIV_INLINE void Add(std::int32_t const* from) {
    Vector v;
    std::memcpy(&v, from, sizeof v);
    Merge({v, v});
  }
  // Everything even into the first lane, everything odd into the second.
  KIV_INLINE void Fold() {
    Merge({__builtin_shufflevector(high, high, 4, 5, 6, 7, 0, 1, 2, 3),
           __builtin_shufflevector(low, low, 4, 5, 6, 7, 0, 1, 2, 3)});
    Merge({__builtin_shufflevector(high, high, 2, 3, 4, 5, 6, 7, 0, 1),
           __builtin_shufflevector(low, low, 2, 3, 4, 5, 6, 7, 0, 1)});
  }
  KIV_INLINE void Merge(ExtremesLanes const& other) {
    high = other.high > high ? other.high : high;
    low = other.low < low ? other.low : low;
  }
  KIV_INLINE void Into(Extremes& all, std::int64_t lane) const {
    all.Add(high[lane]);
    all.Add(low[lane]);
  }
};
struct SquareLanes {
  UnsignedVector high = {};
  UnsignedVector low = {};

  KIV_INLINE void Add(std::int32_t const* from) {
    Vector v;
    std::memcpy(&v, from, sizeof v);
    const Vector shifted = v >> 5;
    UnsignedVector t;
    std::memcpy(&t, &shifted, sizeof t);
    const UnsignedVector square = t * t;
    high += square >> 13;
    low += square & 0x1FFF;
  }
  // Everything even into the first lane, everything odd into the second.
  KIV_INLINE void Fold() {
    Merge({__builtin_shufflevector(high, high, 4, 5, 6, 7, 0, 1, 2, 3),
           __builtin_shufflevector(low, low, 4, 5, 6, 7, 0, 1, 2, 3)});
    Merge({__builtin_shufflevector(high, high, 2, 3, 4, 5, 6, 7, 0, 1),
           __builtin_shufflevector(low, low, 2, 3, 4, 5, 6, 7, 0, 1)});
  }
  KIV_INLINE void Merge(SquareLanes const& other) {
    high += other.high;
    low += other.low;
  }
  KIV_INLINE void Into(SquareSum& all, std::int64_t lane) const {
    all.high += high[lane];
    all.low += low[lane];
  }
};

// What is measured: one channel of so many, or all samples as the one channel there is.
struct Part {
  std::int32_t const* samples;
  std::int64_t frames;
  std::int64_t channels;
  std::int64_t channel;
};
Part All(std::int32_t const* samples, std::int32_t frames, std::uint8_t channels) {
  return {samples, std::int64_t{frames} * channels, 1, 0};
}

// Vectors of one and of two interleaved channels are measured whole; of two, every other lane counts in the end.
template <typename Result, typename Lanes>
KIV_INLINE Result MeasureAll(Part const& part) {
  const std::int64_t count = part.frames * part.channels;
  Result result;
  std::int64_t i = 0;
  if (part.channels <= 2) {
    Lanes lanes[4];
    for (; i + 4 * kLanes <= count; i += 4 * kLanes) {
      lanes[0].Add(part.samples + i);
      lanes[1].Add(part.samples + i + kLanes);
      lanes[2].Add(part.samples + i + 2 * kLanes);
      lanes[3].Add(part.samples + i + 3 * kLanes);
    }
    lanes[0].Merge(lanes[1]);
    lanes[2].Merge(lanes[3]);
    lanes[0].Merge(lanes[2]);
    lanes[0].Fold();
    if (part.channel == 0) lanes[0].Into(result, 0);
    if (part.channel == 1 || part.channels == 1) lanes[0].Into(result, 1);
  }
  for (i += part.channel; i < count; i += part.channels) result.Add(part.samples[i]);
  return result;
}

KIV_TARGET_AVX2 Extremes ExtremesWide(Part const& part) {
  return MeasureAll<Extremes, ExtremesLanes>(part);
}
Extremes ExtremesNarrow(Part const& part) {
  return MeasureAll<Extremes, ExtremesLanes>(part);
}
KIV_TARGET_AVX2 SquareSum SquaresWide(Part const& part) {
  return MeasureAll<SquareSum, SquareLanes>(part);
}
SquareSum SquaresNarrow(Part const& part) {
  return MeasureAll<SquareSum, SquareLanes>(part);
}

bool IsWide() {
  return kiv::BestVectorWidth() == kiv::VectorWidth::Avx2;
}

std::int32_t Peak(Part const& part) {
  if (part.frames <= 0) return 0;
  const Extremes e = IsWide() ? ExtremesWide(part) : ExtremesNarrow(part);
  const std::int32_t fromLow = e.low == INT32_MIN ? INT32_MAX : -e.low;
  return std::max(e.high, fromLow);
}

std::uint32_t MeanSquare(Part const& part) {
  // More samples than a word can count are more than the wrapped sum.
  if (part.frames <= 0 || part.frames > UINT32_MAX) return 0;
  const SquareSum sum = IsWide() ? SquaresWide(part) : SquaresNarrow(part);
  const std::uint32_t total = sum.high + (sum.low >> 13);
  const auto n = static_cast<std::uint32_t>(part.frames);
  return ((total / n) << 13) + ((total % n) << 13) / n;
}

}  // namespace

std::int32_t GetBufferPeak(std::int32_t const* samples, std::int32_t frames, std::uint8_t channels) noexcept {
  return Peak(All(samples, frames, channels));
}

std::int32_t GetBufferPeakChan(std::uint8_t channel, std::int32_t const* samples, std::int32_t frames,
                               std::uint8_t channels) noexcept {
  if (channels == 1) return GetBufferPeak(samples, frames, 1);
  if (channel >= channels) return 0;
  return Peak({samples, frames, channels, channel});
}

std::uint32_t GetBufferMeanSquare(std::int32_t const* samples, std::int32_t frames, std::uint8_t channels) noexcept {
  return MeanSquare(All(samples, frames, channels));
}

std::uint32_t GetBufferMeanSquareChan(std::uint8_t channel, std::int32_t const* samples, std::int32_t frames,
                                      std::uint8_t channels) noexcept {
  if (channels == 1) return GetBufferMeanSquare(samples, frames, 1);
  if (channel >= channels) return 0;
  return MeanSquare({samples, frames, channels, channel});
}
