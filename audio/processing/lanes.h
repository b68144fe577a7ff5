#pragma once

// Eight runs over eight equally long segments of a buffer, side by side in one wide vector.
//
//   Rows     row i of LaneRows holds the sample at position i of each segment, lane by lane. They are read and written
//            eight positions at a time.
//   Only     in functions marked KIV_TARGET_AVX2, on processors that have these instructions (vector_width.h).

#include <cstddef>
#include <cstdint>

#include "foundation/vector_width.h"

#if defined(__x86_64__)
#include <immintrin.h>
#define KIV_LANES_INLINE KIV_TARGET_AVX2 KIV_INLINE
#endif

namespace kiv {

inline constexpr std::int64_t kLanes = 8;

#if defined(__x86_64__)

using Lanes = __m256i;
// Not std::array, whose template argument would lose the alignment that belongs to the type.
using LaneRows = Lanes[kLanes];

KIV_LANES_INLINE Lanes AllLanes(std::int32_t x) noexcept {
  return _mm256_set1_epi32(x);
}
KIV_LANES_INLINE Lanes AddLanes(Lanes a, Lanes b) noexcept {
  return _mm256_add_epi32(a, b);
}
KIV_LANES_INLINE Lanes SubLanes(Lanes a, Lanes b) noexcept {
  return _mm256_sub_epi32(a, b);
}
// The low 32 bits of the products.
KIV_LANES_INLINE Lanes MulLanes(Lanes a, Lanes b) noexcept {
  return _mm256_mullo_epi32(a, b);
}
// ShiftRight(x, 8).
KIV_LANES_INLINE Lanes ShiftLanes8(Lanes a) noexcept {
  return _mm256_srai_epi32(a, 8);
}
KIV_LANES_INLINE Lanes WithFirstLane(Lanes a, std::int32_t x) noexcept {
  return _mm256_insert_epi32(a, x, 0);
}
KIV_LANES_INLINE void StoreLanes(std::int32_t* to, Lanes a) noexcept {
  _mm256_storeu_si256(reinterpret_cast<Lanes*>(to), a);
}
KIV_LANES_INLINE Lanes LoadLanes(std::int32_t const* from) noexcept {
  return _mm256_loadu_si256(reinterpret_cast<Lanes const*>(from));
}

// Turns eight runs of eight positions into eight positions of eight lanes, and back.
KIV_LANES_INLINE void TransposeRows(LaneRows& r) noexcept {
  LaneRows pairs;
  for (int i = 0; i < 4; ++i) {
    pairs[2 * i] = _mm256_unpacklo_epi32(r[2 * i], r[2 * i + 1]);
    pairs[2 * i + 1] = _mm256_unpackhi_epi32(r[2 * i], r[2 * i + 1]);
  }
  LaneRows fours;
  for (int half = 0; half < 8; half += 4) {
    fours[half] = _mm256_unpacklo_epi64(pairs[half], pairs[half + 2]);
    fours[half + 1] = _mm256_unpackhi_epi64(pairs[half], pairs[half + 2]);
    fours[half + 2] = _mm256_unpacklo_epi64(pairs[half + 1], pairs[half + 3]);
    fours[half + 3] = _mm256_unpackhi_epi64(pairs[half + 1], pairs[half + 3]);
  }
  for (int i = 0; i < 4; ++i) {
    r[i] = _mm256_permute2x128_si256(fours[i], fours[i + 4], 0x20);
    r[i + 4] = _mm256_permute2x128_si256(fours[i], fours[i + 4], 0x31);
  }
}

// Eight positions from the given one of the first segment on, and the same of all others.
KIV_LANES_INLINE void LoadRows(LaneRows& rows, std::int32_t const* from, std::int64_t length) noexcept {
  for (std::int64_t j = 0; j < kLanes; ++j) rows[j] = LoadLanes(from + j * length);
  TransposeRows(rows);
}
KIV_LANES_INLINE void StoreRows(LaneRows& rows, std::int32_t* to, std::int64_t length) noexcept {
  TransposeRows(rows);
  for (std::int64_t j = 0; j < kLanes; ++j) StoreLanes(to + j * length, rows[j]);
}
// Eight positions of the stretch of `ahead` samples (at most a segment) in front of each segment. In front of the first
// there is nothing; its lane gets something.
KIV_LANES_INLINE void LoadAhead(LaneRows& rows, std::int32_t const* samples, std::int64_t length, std::int64_t ahead,
                                std::int64_t position) noexcept {
  rows[0] = LoadLanes(samples + position);
  for (std::int64_t j = 1; j < kLanes; ++j) rows[j] = LoadLanes(samples + j * length - ahead + position);
  TransposeRows(rows);
}

#endif

}  // namespace kiv
