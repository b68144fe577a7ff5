#pragma once

// Vectors of floats for the transforms, written once for every width: V is float, Lanes4 or Lanes8.
//
// A file that uses Lanes8 is compiled for AVX2, one that uses Lanes4 or float is not; so no function of this
// header exists in two versions, and nothing of the standard library is used here.

#include <cstdint>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace kiv::mp3 {

using Lanes4 = float __attribute__((vector_size(16)));
using Lanes8 = float __attribute__((vector_size(32)));

template <typename V>
inline constexpr int kLanes = static_cast<int>(sizeof(V) / sizeof(float));

template <typename V>
inline V Load(float const* from) noexcept {
  V v;
  __builtin_memcpy(&v, from, sizeof v);
  return v;
}
template <typename V>
inline void Store(float* to, V v) noexcept {
  __builtin_memcpy(to, &v, sizeof v);
}
// The same value in all lanes.
template <typename V>
inline V Splat(float x) noexcept {
  return x - V{};
}

// The lanes in reverse order.
inline float Reverse(float x) noexcept {
  return x;
}
// The lanes of both in turn: low gets those of the first halves, high those of the second.
inline void Interleave(float a, float b, float& low, float& high) noexcept {
  low = a;
  high = b;
}
// Whole numbers toward zero; what leaves 32 bits is clamped.
inline void StoreTruncated(std::int32_t* to, float x) noexcept {
  *to = x >= 2147483648.0F ? INT32_MAX : x > -2147483648.0F ? static_cast<std::int32_t>(x) : INT32_MIN;
}

#if defined(__x86_64__)
inline Lanes4 Reverse(Lanes4 x) noexcept {
  return __builtin_shufflevector(x, x, 3, 2, 1, 0);
}
inline void Interleave(Lanes4 a, Lanes4 b, Lanes4& low, Lanes4& high) noexcept {
  low = __builtin_shufflevector(a, b, 0, 4, 1, 5);
  high = __builtin_shufflevector(a, b, 2, 6, 3, 7);
}
// The conversion gives the smallest number for all that it cannot hold; turning its bits makes the largest of it.
inline void StoreTruncated(std::int32_t* to, Lanes4 x) noexcept {
  const __m128i large = _mm_castps_si128(_mm_cmpge_ps(x, _mm_set1_ps(2147483648.0F)));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_xor_si128(_mm_cvttps_epi32(x), large));
}
#endif
#if defined(__AVX2__)
inline Lanes8 Reverse(Lanes8 x) noexcept {
  return __builtin_shufflevector(x, x, 7, 6, 5, 4, 3, 2, 1, 0);
}
inline void Interleave(Lanes8 a, Lanes8 b, Lanes8& low, Lanes8& high) noexcept {
  const Lanes8 even = __builtin_shufflevector(a, b, 0, 8, 1, 9, 4, 12, 5, 13);
  const Lanes8 odd = __builtin_shufflevector(a, b, 2, 10, 3, 11, 6, 14, 7, 15);
  low = __builtin_shufflevector(even, odd, 0, 1, 2, 3, 8, 9, 10, 11);
  high = __builtin_shufflevector(even, odd, 4, 5, 6, 7, 12, 13, 14, 15);
}
inline void StoreTruncated(std::int32_t* to, Lanes8 x) noexcept {
  const __m256i large = _mm256_castps_si256(_mm256_cmp_ps(x, _mm256_set1_ps(2147483648.0F), _CMP_GE_OQ));
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), _mm256_xor_si256(_mm256_cvttps_epi32(x), large));
}
#endif

// Turns n rows of n values (n = kLanes<V>), `stride` apart, into columns.
template <typename V>
inline void LoadTransposed(float const* from, int stride, V* columns) noexcept;

template <>
inline void LoadTransposed<float>(float const* from, int /*stride*/, float* columns) noexcept {
  columns[0] = from[0];
}
#if defined(__x86_64__)
template <>
inline void LoadTransposed<Lanes4>(float const* from, int stride, Lanes4* columns) noexcept {
  const Lanes4 a = Load<Lanes4>(from);
  const Lanes4 b = Load<Lanes4>(from + stride);
  const Lanes4 c = Load<Lanes4>(from + 2 * stride);
  const Lanes4 d = Load<Lanes4>(from + 3 * stride);
  const Lanes4 ab01 = __builtin_shufflevector(a, b, 0, 4, 1, 5);
  const Lanes4 ab23 = __builtin_shufflevector(a, b, 2, 6, 3, 7);
  const Lanes4 cd01 = __builtin_shufflevector(c, d, 0, 4, 1, 5);
  const Lanes4 cd23 = __builtin_shufflevector(c, d, 2, 6, 3, 7);
  columns[0] = __builtin_shufflevector(ab01, cd01, 0, 1, 4, 5);
  columns[1] = __builtin_shufflevector(ab01, cd01, 2, 3, 6, 7);
  columns[2] = __builtin_shufflevector(ab23, cd23, 0, 1, 4, 5);
  columns[3] = __builtin_shufflevector(ab23, cd23, 2, 3, 6, 7);
}
#endif
#if defined(__AVX2__)
template <>
inline void LoadTransposed<Lanes8>(float const* from, int stride, Lanes8* columns) noexcept {
  Lanes8 pairs[8];
  for (int i = 0; i < 8; i += 2) {
    const Lanes8 a = Load<Lanes8>(from + i * stride);
    const Lanes8 b = Load<Lanes8>(from + (i + 1) * stride);
    pairs[i] = __builtin_shufflevector(a, b, 0, 8, 1, 9, 4, 12, 5, 13);
    pairs[i + 1] = __builtin_shufflevector(a, b, 2, 10, 3, 11, 6, 14, 7, 15);
  }
  Lanes8 fours[8];  // In each half the four values of rows 0 to 3 (even) or 4 to 7 (odd) of one column.
  for (int i = 0; i < 2; ++i) {
    for (int part = 0; part < 2; ++part) {
      const Lanes8 a = pairs[4 * i + part];
      const Lanes8 b = pairs[4 * i + 2 + part];
      fours[4 * i + 2 * part] = __builtin_shufflevector(a, b, 0, 1, 8, 9, 4, 5, 12, 13);
      fours[4 * i + 2 * part + 1] = __builtin_shufflevector(a, b, 2, 3, 10, 11, 6, 7, 14, 15);
    }
  }
  for (int i = 0; i < 4; ++i) {
    columns[i] = __builtin_shufflevector(fours[i], fours[4 + i], 0, 1, 2, 3, 8, 9, 10, 11);
    columns[4 + i] = __builtin_shufflevector(fours[i], fours[4 + i], 4, 5, 6, 7, 12, 13, 14, 15);
  }
}
#endif

}  // namespace kiv::mp3
