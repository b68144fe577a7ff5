#include "audio/processing/one_pole.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "audio/processing/lanes.h"
#include "foundation/fixed_point.h"
#include "foundation/vector_width.h"

namespace kiv {
namespace {

// s + (x - (s >> 8)) * k, in the order with the shortest chain from one state to the next.
constexpr std::int32_t NextState(std::int32_t s, std::int32_t x, std::int32_t kQ8) noexcept {
  return WrapSub32(WrapAdd32(s, WrapMul32(x, kQ8)), WrapMul32(ShiftRight(s, 8), kQ8));
}

std::int32_t RunSerially(std::int32_t* samples, std::int64_t count, std::int64_t stride, std::int32_t kQ8,
                         std::int32_t s) noexcept {
  for (std::int64_t i = 0; i < count * stride; i += stride) {
    const std::int32_t x = samples[i];
    samples[i] = WrapSub32(x, ShiftRight(s, 8));
    s = NextState(s, x, kQ8);
  }
  return s;
}

// How many samples two runs need, as a rule, to meet: until an ordinary difference has shrunk to one k, and then until
// rounding has taken that. A multiple of the lanes; 0 where they never meet.
std::int64_t WarmUp(std::int32_t kQ8) noexcept {
  if (kQ8 < 1 || kQ8 > 255) return 0;
  const double shrink = std::log(static_cast<double>(1 << 24) / kQ8) / -std::log1p(-kQ8 / 256.0);
  const double rounding = 2.0 * 256.0 / kQ8;
  return (TruncateToI32(shrink + rounding) / kLanes + 1) * kLanes;
}

// A segment of whole rows for each lane, or 0 where the serial loop is the better way.
std::int64_t SegmentLength(std::int64_t count, std::int64_t stride, std::int64_t warmUp) noexcept {
  if (stride != 1 || warmUp == 0 || BestVectorWidth() != VectorWidth::Avx2) return 0;
  const std::int64_t length = count / kLanes / kLanes * kLanes;
  return length < warmUp ? 0 : length;
}

using LaneStates = std::array<std::int32_t, kLanes>;

struct Segments {
  LaneStates starts;
  LaneStates ends;
};

#if defined(__x86_64__)
KIV_TARGET_AVX2 inline Lanes NextStates(Lanes s, Lanes low, Lanes x, Lanes k) noexcept {
  return SubLanes(AddLanes(s, MulLanes(x, k)), MulLanes(low, k));
}

KIV_TARGET_AVX2 Segments RunSegments(std::int32_t* samples, std::int64_t length, std::int64_t warmUp, std::int32_t kQ8,
                                     std::int32_t state) noexcept {
  const Lanes k = AllLanes(kQ8);
  Lanes s = AllLanes(state);
  LaneRows rows;
  for (std::int64_t t = 0; t < warmUp; t += kLanes) {
    LoadAhead(rows, samples, length, warmUp, t);
    for (Lanes& x : rows) s = NextStates(s, ShiftLanes8(s), x, k);
  }
  s = WithFirstLane(s, state);
  Segments segments;
  StoreLanes(segments.starts.data(), s);
  for (std::int64_t t = 0; t < length; t += kLanes) {
    LoadRows(rows, samples + t, length);
    for (Lanes& x : rows) {
      const Lanes low = ShiftLanes8(s);
      s = NextStates(s, low, x, k);
      x = SubLanes(x, low);
    }
    StoreRows(rows, samples + t, length);
  }
  StoreLanes(segments.ends.data(), s);
  return segments;
}

struct SpeechSegments {
  Segments s1;
  Segments s2;
};

KIV_TARGET_AVX2 SpeechSegments RunSpeechSegments(std::int32_t* out, std::int32_t const* in, std::int64_t length,
                                                 std::int64_t warmUp, std::int32_t k1Q8, std::int32_t k2Q8,
                                                 const SpeechFilter::State& state) noexcept {
  const Lanes k1 = AllLanes(k1Q8);
  const Lanes k2 = AllLanes(k2Q8);
  Lanes s1 = AllLanes(state.s1);
  Lanes s2 = AllLanes(state.s2);
  LaneRows rows;
  for (std::int64_t t = 0; t < warmUp; t += kLanes) {
    LoadAhead(rows, in, length, warmUp, t);
    for (Lanes& x : rows) {
      const Lanes low1 = ShiftLanes8(s1);
      s2 = NextStates(s2, ShiftLanes8(s2), SubLanes(x, low1), k2);
      s1 = NextStates(s1, low1, x, k1);
    }
  }
  s1 = WithFirstLane(s1, state.s1);
  s2 = WithFirstLane(s2, state.s2);
  SpeechSegments segments;
  StoreLanes(segments.s1.starts.data(), s1);
  StoreLanes(segments.s2.starts.data(), s2);
  for (std::int64_t t = 0; t < length; t += kLanes) {
    LoadRows(rows, in + t, length);
    for (Lanes& x : rows) {
      const Lanes low1 = ShiftLanes8(s1);
      const Lanes low2 = ShiftLanes8(s2);
      const Lanes high = SubLanes(x, low1);
      s1 = NextStates(s1, low1, x, k1);
      s2 = NextStates(s2, low2, high, k2);
      x = SubLanes(AddLanes(high, high), low2);
    }
    StoreRows(rows, out + t, length);
  }
  StoreLanes(segments.s1.ends.data(), s1);
  StoreLanes(segments.s2.ends.data(), s2);
  return segments;
}
#endif

// Makes a segment that was run from the wrong state one that was run from the right one, and answers its end. The input
// samples are gone, but follow from the output and the wrong states.
std::int32_t RunAgain(std::int32_t* samples, std::int64_t count, std::int32_t kQ8, std::int32_t wrong,
                      std::int32_t right, std::int32_t end) noexcept {
  for (std::int64_t i = 0; i < count; ++i) {
    if (wrong == right) return end;
    const std::int32_t x = WrapAdd32(samples[i], ShiftRight(wrong, 8));
    wrong = NextState(wrong, x, kQ8);
    samples[i] = WrapSub32(x, ShiftRight(right, 8));
    right = NextState(right, x, kQ8);
  }
  return right;
}

}  // namespace

std::int32_t OnePoleCoefficientQ8(std::int32_t cutoffHz, std::int32_t rateHz) noexcept {
  // Nine decimals of 2 pi: the coefficient of every rate and cut-off is defined by this number.
  constexpr double kTwoPi = 6.283185307;
  return TruncateToI32((1.0 - std::exp(-kTwoPi * cutoffHz / rateHz)) * 256.0);
}

HighPassFilter::HighPassFilter(std::int32_t kQ8) noexcept : kQ8_(kQ8), warmUp_(WarmUp(kQ8)) {}

std::int32_t HighPassFilter::Run(std::int32_t* samples, std::int64_t count, std::int64_t stride,
                                 std::int32_t state) const noexcept {
#if defined(__x86_64__)
  const std::int64_t length = SegmentLength(count, stride, warmUp_);
  if (length > 0) {
    const Segments segments = RunSegments(samples, length, warmUp_, kQ8_, state);
    for (std::size_t j = 0; j < kLanes; ++j) {
      state = RunAgain(samples, length, kQ8_, segments.starts[j], state, segments.ends[j]);
      samples += length;
    }
    count -= length * kLanes;
  }
#endif
  return RunSerially(samples, count, stride, kQ8_, state);
}

SpeechFilter::SpeechFilter(std::int32_t k1Q8, std::int32_t k2Q8) noexcept : k1Q8_(k1Q8), k2Q8_(k2Q8) {
  const std::int64_t first = WarmUp(k1Q8);
  const std::int64_t second = WarmUp(k2Q8);
  // The second state can meet only once the first has.
  warmUp_ = first == 0 || second == 0 ? 0 : first + second;
}

inline void SpeechFilter::Step(std::int32_t* out, std::int32_t x, State& state) const noexcept {
  const std::int32_t high = WrapSub32(x, ShiftRight(state.s1, 8));
  *out = WrapSub32(WrapShiftLeft32(high, 1), ShiftRight(state.s2, 8));
  state.s1 = NextState(state.s1, x, k1Q8_);
  state.s2 = NextState(state.s2, high, k2Q8_);
}

void SpeechFilter::RunSerially(std::int32_t* out, std::int32_t const* in, std::int64_t count, std::int64_t stride,
                               State& state) const noexcept {
  State s = state;
  for (std::int64_t i = 0; i < count * stride; i += stride) Step(out + i, in[i], s);
  state = s;
}

void SpeechFilter::Run(std::int32_t* out, std::int32_t const* in, std::int64_t count, std::int64_t stride,
                       State& state) const noexcept {
#if defined(__x86_64__)
  const std::int64_t length = SegmentLength(count, stride, warmUp_);
  if (length > 0) {
    const SpeechSegments segments = RunSpeechSegments(out, in, length, warmUp_, k1Q8_, k2Q8_, state);
    for (std::size_t j = 0; j < kLanes; ++j) {
      State wrong{.s1 = segments.s1.starts[j], .s2 = segments.s2.starts[j]};
      std::int64_t i = 0;
      for (; i < length && wrong != state; ++i) {
        std::int32_t discarded = 0;
        Step(&discarded, in[i], wrong);
        Step(out + i, in[i], state);
      }
      if (wrong == state) state = {.s1 = segments.s1.ends[j], .s2 = segments.s2.ends[j]};
      in += length;
      out += length;
    }
    count -= length * kLanes;
  }
#endif
  RunSerially(out, in, count, stride, state);
}

}  // namespace kiv
