#include "audio/processing/sample_loops.h"

#include "foundation/fixed_point.h"
#include "foundation/vector_width.h"

// Plain loops that the compiler vectorises, once for the instructions that every processor has and once for
// the wide ones.

namespace kiv {
namespace {

KIV_INLINE void ScaleQ9Loop(std::int32_t* samples, std::int64_t count, std::int32_t factorQ9) {
  for (std::int64_t i = 0; i < count; ++i) samples[i] = ShiftRight(WrapMul32(samples[i], factorQ9), 9);
}

// The gain of frame i, as a function of i so that the loops have no serial dependence.
KIV_INLINE std::uint32_t GainAt(std::uint32_t gainQ24, std::uint32_t incrementQ24, std::int32_t i) {
  return gainQ24 + static_cast<std::uint32_t>(i) * incrementQ24;
}

template <std::int32_t Channels>
KIV_INLINE void RampLoop(std::int32_t* out, std::int32_t const* in, std::int32_t frames, std::int32_t channels,
                         std::uint32_t gainQ24, std::uint32_t incrementQ24) {
  const std::int64_t stride = Channels != 0 ? Channels : channels;
  for (std::int32_t i = 0; i < frames; ++i) {
    const std::uint32_t gain = GainAt(gainQ24, incrementQ24, i);
    for (std::int64_t c = 0; c < stride; ++c) out[i * stride + c] = MulGainQ24(in[i * stride + c], gain);
  }
}
KIV_INLINE void Ramp(std::int32_t* out, std::int32_t const* in, std::int32_t frames, std::int32_t channels,
                     std::uint32_t gainQ24, std::uint32_t incrementQ24) {
  if (channels == 1) return RampLoop<1>(out, in, frames, 1, gainQ24, incrementQ24);
  if (channels == 2) return RampLoop<2>(out, in, frames, 2, gainQ24, incrementQ24);
  RampLoop<0>(out, in, frames, channels, gainQ24, incrementQ24);
}

void ScaleQ9Narrow(std::int32_t* samples, std::int64_t count, std::int32_t factorQ9) {
  ScaleQ9Loop(samples, count, factorQ9);
}
KIV_TARGET_AVX2 void ScaleQ9Wide(std::int32_t* samples, std::int64_t count, std::int32_t factorQ9) {
  ScaleQ9Loop(samples, count, factorQ9);
}
void RampNarrow(std::int32_t* out, std::int32_t const* in, std::int32_t frames, std::int32_t channels,
                std::uint32_t gainQ24, std::uint32_t incrementQ24) {
  Ramp(out, in, frames, channels, gainQ24, incrementQ24);
}
KIV_TARGET_AVX2 void RampWide(std::int32_t* out, std::int32_t const* in, std::int32_t frames, std::int32_t channels,
                              std::uint32_t gainQ24, std::uint32_t incrementQ24) {
  Ramp(out, in, frames, channels, gainQ24, incrementQ24);
}

bool IsWide() noexcept {
  return BestVectorWidth() == VectorWidth::Avx2;
}

}  // namespace

void ScaleQ9(std::int32_t* samples, std::int64_t count, std::int32_t factorQ9) noexcept {
  (IsWide() ? ScaleQ9Wide : ScaleQ9Narrow)(samples, count, factorQ9);
}

std::uint32_t ScaleRampQ24(std::int32_t* out, std::int32_t const* in, std::int32_t frames, std::int32_t channels,
                           std::uint32_t gainQ24, std::int32_t incrementQ24) noexcept {
  if (frames < 1) return gainQ24;
  const std::uint32_t increment = AsUnsigned(incrementQ24);
  (IsWide() ? RampWide : RampNarrow)(out, in, frames, channels, gainQ24, increment);
  return GainAt(gainQ24, increment, frames);
}

}  // namespace kiv
