// The narrow loop in wide instructions; the only file that is compiled for them (see CMakeLists.txt) and that runs
// where the processor has them.

#if defined(__x86_64__)

#include "audio/rate_filter_loop.h"

namespace kiv {
namespace {

inline __m256i Load(std::int16_t const* from) {
  return _mm256_loadu_si256(reinterpret_cast<__m256i const*>(from));
}

struct WideHalves {
  static constexpr int kTaps = 64;
  static constexpr int kHalf = 32;

  static __m256i HalfRow(std::int16_t const* row, std::int16_t const* samples) {
    return _mm256_add_epi32(_mm256_madd_epi16(Load(row), Load(samples)),
                            _mm256_madd_epi16(Load(row + 16), Load(samples + 16)));
  }
  // As SumLanes, within either half of the vector.
  static __m256i Sums(std::int16_t const* row, std::ptrdiff_t next, Starts const& x, int from) {
    row += from;
    const __m256i a = HalfRow(row, x[0] + from);
    const __m256i b = HalfRow(row + next, x[1] + from);
    const __m256i c = HalfRow(row + 2 * next, x[2] + from);
    const __m256i d = HalfRow(row + 3 * next, x[3] + from);
    const __m256i ab = _mm256_add_epi32(_mm256_unpacklo_epi32(a, b), _mm256_unpackhi_epi32(a, b));
    const __m256i cd = _mm256_add_epi32(_mm256_unpacklo_epi32(c, d), _mm256_unpackhi_epi32(c, d));
    return _mm256_add_epi32(_mm256_unpacklo_epi64(ab, cd), _mm256_unpackhi_epi64(ab, cd));
  }
  static __m128i Of(std::int16_t const* row, std::ptrdiff_t next, Starts const& x) {
    const __m256i a = Sums(row, next, x, 0);
    const __m256i b = Sums(row, next, x, kHalf);
    const __m256i both = _mm256_add_epi32(_mm256_permute2x128_si256(a, b, 0x20), _mm256_permute2x128_si256(a, b, 0x31));
    const __m256i halved = _mm256_srai_epi32(both, 1);
    return _mm_add_epi32(_mm256_castsi256_si128(halved), _mm256_extracti128_si256(halved, 1));
  }
};

}  // namespace

void LoopAvx2(bool middles, NarrowTables const& tables, NarrowTask const& task) noexcept {
  RunNarrowLoop<WideHalves>(middles, tables, task);
}

std::int32_t PackAvx2(std::int32_t const* samples, std::int32_t frames, int channels, int scaling,
                      std::int16_t* planes) noexcept {
  const __m256i half = _mm256_set1_epi32((1 << scaling) / 2);
  const __m128i shift = _mm_cvtsi32_si128(scaling);
  __m256i high = _mm256_setzero_si256();
  __m256i low = _mm256_setzero_si256();
  const auto scaled = [&](std::int32_t const* from) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(from));
    high = _mm256_max_epi32(high, v);
    low = _mm256_min_epi32(low, v);
    return _mm256_sra_epi32(_mm256_add_epi32(v, half), shift);
  };
  const auto store = [](std::int16_t* to, __m256i packed) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), packed);
  };
  std::int32_t i = 0;
  if (channels == 1) {
    for (; i + 16 <= frames; i += 16) {
      const __m256i a = scaled(samples + i);
      const __m256i b = scaled(samples + i + 8);
      store(planes + i, _mm256_permute4x64_epi64(_mm256_packs_epi32(a, b), 0xD8));
    }
  } else {
    // Packing works within either half of a vector, so pairs of samples come out in this order.
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    const auto one = [&](__m256i a, __m256i b, __m256i c, __m256i d) {
      return _mm256_permutevar8x32_epi32(_mm256_packs_epi32(_mm256_unpacklo_epi64(a, b), _mm256_unpacklo_epi64(c, d)),
                                         order);
    };
    for (; i + 16 <= frames; i += 16) {
      std::int32_t const* const from = samples + std::ptrdiff_t{2} * i;
      // Left samples into the lower half of every 128 bits, right ones into the upper.
      const __m256i a = _mm256_shuffle_epi32(scaled(from), 0xD8);
      const __m256i b = _mm256_shuffle_epi32(scaled(from + 8), 0xD8);
      const __m256i c = _mm256_shuffle_epi32(scaled(from + 16), 0xD8);
      const __m256i d = _mm256_shuffle_epi32(scaled(from + 24), 0xD8);
      store(planes + i, one(a, b, c, d));
      store(planes + frames + i,
            _mm256_permutevar8x32_epi32(_mm256_packs_epi32(_mm256_unpackhi_epi64(a, b), _mm256_unpackhi_epi64(c, d)),
                                        order));
    }
  }
  alignas(32) std::int32_t highs[8];
  alignas(32) std::int32_t lows[8];
  _mm256_store_si256(reinterpret_cast<__m256i*>(highs), high);
  _mm256_store_si256(reinterpret_cast<__m256i*>(lows), low);
  std::int32_t top = 0;
  std::int32_t bottom = 0;
  const auto count = [&](std::int32_t sample) {
    if (sample > top) top = sample;
    if (sample < bottom) bottom = sample;
  };
  for (int lane = 0; lane < 8; ++lane) {
    count(highs[lane]);
    count(lows[lane]);
  }
  for (; i < frames; ++i) {
    for (int c = 0; c < channels; ++c) {
      const std::int32_t sample = samples[std::ptrdiff_t{i} * channels + c];
      count(sample);
      planes[std::ptrdiff_t{c} * frames + i] = PackOne(sample, scaling);
    }
  }
  const std::int32_t fromBottom = bottom == INT32_MIN ? INT32_MAX : -bottom;
  return top > fromBottom ? top : fromBottom;
}

}  // namespace kiv

#endif
