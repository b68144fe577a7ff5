// The narrow loops in the instructions that every 64-bit processor of this family has.

#if defined(__x86_64__)

#include "audio/rate_filter_loop.h"

namespace kiv {
namespace {

inline __m128i Load(std::int16_t const* from) {
  return _mm_loadu_si128(reinterpret_cast<__m128i const*>(from));
}

template <int Taps>
struct NarrowHalves {
  static constexpr int kTaps = Taps;
  static constexpr int kHalf = Taps / 2;

  static __m128i HalfRow(std::int16_t const* row, std::int16_t const* samples) {
    __m128i sum = _mm_madd_epi16(Load(row), Load(samples));
    for (int k = 8; k < kHalf; k += 8) {
      sum = _mm_add_epi32(sum, _mm_madd_epi16(Load(row + k), Load(samples + k)));
    }
    return sum;
  }
  static __m128i Sums(std::int16_t const* row, std::ptrdiff_t next, Starts const& x, int from) {
    row += from;
    return SumLanes(HalfRow(row, x[0] + from), HalfRow(row + next, x[1] + from), HalfRow(row + 2 * next, x[2] + from),
                    HalfRow(row + 3 * next, x[3] + from));
  }
  static __m128i Of(std::int16_t const* row, std::ptrdiff_t next, Starts const& x) {
    return _mm_add_epi32(_mm_srai_epi32(Sums(row, next, x, 0), 1), _mm_srai_epi32(Sums(row, next, x, kHalf), 1));
  }
};

}  // namespace

void LoopSse2(int taps, bool middles, NarrowTables const& tables, NarrowTask const& task) noexcept {
  if (taps == 16) {
    RunNarrowLoop<NarrowHalves<16>>(middles, tables, task);
  } else {
    RunNarrowLoop<NarrowHalves<64>>(middles, tables, task);
  }
}

void PackSse2(std::int32_t const* samples, std::int32_t frames, int channels, int scaling,
              std::int16_t* planes) noexcept {
  const __m128i half = _mm_set1_epi32((1 << scaling) / 2);
  const __m128i shift = _mm_cvtsi32_si128(scaling);
  const auto scaled = [&](std::int32_t const* from) {
    return _mm_sra_epi32(_mm_add_epi32(_mm_loadu_si128(reinterpret_cast<__m128i const*>(from)), half), shift);
  };
  const auto store = [](std::int16_t* to, __m128i low, __m128i high) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_packs_epi32(low, high));
  };
  std::int32_t i = 0;
  if (channels == 1) {
    for (; i + 8 <= frames; i += 8) store(planes + i, scaled(samples + i), scaled(samples + i + 4));
  } else {
    const auto left = [](__m128i a, __m128i b) {
      return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), 0x88));
    };
    const auto right = [](__m128i a, __m128i b) {
      return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), 0xDD));
    };
    for (; i + 8 <= frames; i += 8) {
      std::int32_t const* const from = samples + std::ptrdiff_t{2} * i;
      const __m128i a = scaled(from);
      const __m128i b = scaled(from + 4);
      const __m128i c = scaled(from + 8);
      const __m128i d = scaled(from + 12);
      store(planes + i, left(a, b), left(c, d));
      store(planes + frames + i, right(a, b), right(c, d));
    }
  }
  for (; i < frames; ++i) {
    for (int c = 0; c < channels; ++c) {
      planes[std::ptrdiff_t{c} * frames + i] = PackOne(samples[std::ptrdiff_t{i} * channels + c], scaling);
    }
  }
}

}  // namespace kiv

#endif
