#pragma once

// The loop of 16-bit multiply-add pairs, for the two files that hold it for one instruction set each. It stands in an
// unnamed namespace and uses nothing of the library, so that no code of the wider set gets into a function that other
// files share.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <immintrin.h>

#include "audio/rate_filter.h"

namespace kiv {

// What the loop reads, in the order of the output frames; see NarrowFilter.
struct NarrowTables {
  std::int16_t const* rows;
  std::int32_t const* middles;
  std::int32_t const* starts;
  std::ptrdiff_t period;
  std::ptrdiff_t periodFrames;
};

// What is to be made. Place is the entry of the first frame in the tables.
struct NarrowTask {
  std::ptrdiff_t place;
  std::int32_t count;
  int shift;
  std::int16_t const* plane;
  std::int32_t* out;
  std::ptrdiff_t stride;
};

void LoopSse2(int taps, bool middles, NarrowTables const& tables, NarrowTask const& task) noexcept;
// 63 taps only.
void LoopAvx2(bool middles, NarrowTables const& tables, NarrowTask const& task) noexcept;

// PackNarrow; only the second returns the peak, since the first instruction set has no quick way to find it.
void PackSse2(std::int32_t const* samples, std::int32_t frames, int channels, int scaling,
              std::int16_t* planes) noexcept;
std::int32_t PackAvx2(std::int32_t const* samples, std::int32_t frames, int channels, int scaling,
                      std::int16_t* planes) noexcept;

namespace {

// Where their filters begin.
using Starts = std::int16_t const* [kNarrowTogether];

// Lane i is the sum of the four lanes of the i-th vector.
[[maybe_unused]] inline __m128i SumLanes(__m128i a, __m128i b, __m128i c, __m128i d) {
  const __m128i ab = _mm_add_epi32(_mm_unpacklo_epi32(a, b), _mm_unpackhi_epi32(a, b));
  const __m128i cd = _mm_add_epi32(_mm_unpacklo_epi32(c, d), _mm_unpackhi_epi32(c, d));
  return _mm_add_epi32(_mm_unpacklo_epi64(ab, cd), _mm_unpackhi_epi64(ab, cd));
}

inline std::int32_t LoadPair(std::int16_t const* from) {
  std::int32_t pair = 0;
  std::memcpy(&pair, from, sizeof pair);
  return pair;
}

// One sample of a pack. Samples that are too loud may wrap.
[[maybe_unused]] inline std::int16_t PackOne(std::int32_t sample, int scaling) {
  const std::uint32_t rounded = static_cast<std::uint32_t>(sample) + (1U << scaling) / 2;
  return static_cast<std::int16_t>(static_cast<std::int32_t>(rounded) >> scaling);
}

// Rounding and shift of the halves' sum and, where there are any, the multiples of 2^15.
template <bool Middles>
class NarrowFinish {
 public:
  explicit NarrowFinish(int shift)
      : first_(_mm_cvtsi32_si128(shift < 14 ? shift : 14)),
        middle_(_mm_cvtsi32_si128(shift < 14 ? 14 - shift : 0)),
        last_(_mm_cvtsi32_si128(shift < 14 ? 0 : shift - 14)),
        rounding_(_mm_set1_epi32((1 << shift) / 2)) {}

  // X at the middle taps.
  __m128i Of(__m128i halves, Starts const& x, std::ptrdiff_t middle, __m128i multiples) const {
    __m128i y = _mm_sra_epi32(_mm_add_epi32(halves, rounding_), first_);
    if constexpr (Middles) {
      const __m128i pairs = _mm_set_epi32(LoadPair(x[3] + middle), LoadPair(x[2] + middle), LoadPair(x[1] + middle),
                                          LoadPair(x[0] + middle));
      y = _mm_add_epi32(y, _mm_sll_epi32(_mm_madd_epi16(pairs, multiples), middle_));
    }
    return _mm_sra_epi32(y, last_);
  }

 private:
  __m128i first_;
  __m128i middle_;
  __m128i last_;
  __m128i rounding_;
};

// Halves::Of(row, next, x) gives (A' >> 1) + (B' >> 1) of four output frames whose rows are `next` coefficients apart;
// Halves::kTaps is the length of a row. Middles says whether there are multiples of 2^15 to add.
template <typename Halves, bool Middles>
class NarrowLoop {
 public:
  NarrowLoop(NarrowTables const& tables, NarrowTask const& task)
      : tables_(tables), task_(task), offset_(-tables.starts[task.place]) {}

  void Run() {
    while (task_.count >= kNarrowTogether * tables_.period) FourPeriods();
    while (task_.count > 0) FourInARow();
  }

 private:
  static constexpr std::ptrdiff_t kTaps = Halves::kTaps;
  static constexpr std::ptrdiff_t kMiddle = kTaps / 2 - 1;

  // Frames a whole period apart have the same row, which is loaded once for the four.
  void FourPeriods() {
    Periods(task_.place, tables_.period, task_.out);
    offset_ += tables_.periodFrames;
    Periods(0, task_.place, task_.out + (tables_.period - task_.place) * task_.stride);
    offset_ += (kNarrowTogether - 1) * tables_.periodFrames;
    task_.count -= static_cast<std::int32_t>(kNarrowTogether * tables_.period);
    task_.out += kNarrowTogether * tables_.period * task_.stride;
  }
  void Periods(std::ptrdiff_t from, std::ptrdiff_t to, std::int32_t* out) const {
    const NarrowFinish<Middles> finish(task_.shift);
    const std::ptrdiff_t stride = task_.stride;
    const std::ptrdiff_t apart = tables_.period * stride;
    const std::ptrdiff_t frames = tables_.periodFrames;
    std::int16_t const* const plane = task_.plane + offset_;
    std::int16_t const* row = tables_.rows + from * kTaps;
    for (std::ptrdiff_t place = from; place < to; ++place) {
      std::int16_t const* const start = plane + tables_.starts[place];
      const Starts x = {start, start + frames, start + 2 * frames, start + 3 * frames};
      std::int32_t made[kNarrowTogether];
      Store(made, finish.Of(Halves::Of(row, 0, x), x, kMiddle, _mm_set1_epi32(tables_.middles[place])));
      for (std::ptrdiff_t i = 0; i < kNarrowTogether; ++i) out[i * apart] = made[i];
      out += stride;
      row += kTaps;
    }
  }

  void FourInARow() {
    std::int32_t const* const start = tables_.starts + task_.place;
    Starts x;
    for (std::ptrdiff_t i = 0; i < kNarrowTogether; ++i) x[i] = task_.plane + (offset_ + start[i]);
    // The last frames may be fewer. What is made beside them is not stored, but must not be read beyond the plane.
    for (std::ptrdiff_t i = task_.count; i < kNarrowTogether; ++i) x[i] = x[0];
    const __m128i multiples = _mm_loadu_si128(reinterpret_cast<__m128i const*>(tables_.middles + task_.place));
    const __m128i y = NarrowFinish<Middles>(task_.shift)
                          .Of(Halves::Of(tables_.rows + task_.place * kTaps, kTaps, x), x, kMiddle, multiples);
    if (task_.stride == 1 && task_.count >= kNarrowTogether) {
      Store(task_.out, y);
    } else {
      std::int32_t made[kNarrowTogether];
      Store(made, y);
      for (std::ptrdiff_t i = 0; i < kNarrowTogether && i < task_.count; ++i) task_.out[i * task_.stride] = made[i];
    }
    task_.count -= kNarrowTogether;
    task_.out += kNarrowTogether * task_.stride;
    task_.place += kNarrowTogether;
    while (task_.place >= tables_.period) {
      task_.place -= tables_.period;
      offset_ += tables_.periodFrames;
    }
  }

  static void Store(std::int32_t* to, __m128i y) { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), y); }

  NarrowTables tables_;
  NarrowTask task_;
  std::ptrdiff_t offset_;  // From the plane to the frame where the tables' first entry starts.
};

template <typename Halves>
void RunNarrowLoop(bool middles, NarrowTables const& tables, NarrowTask const& task) {
  if (middles) {
    NarrowLoop<Halves, true>(tables, task).Run();
  } else {
    NarrowLoop<Halves, false>(tables, task).Run();
  }
}

}  // namespace
}  // namespace kiv
