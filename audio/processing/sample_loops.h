#pragma once

// The inner loops that several stages share. Every vector width gives the same bits.
//
//   Units    frames of interleaved samples; gains Q24 (unsigned) or Q9, see foundation/fixed_point.h.
//   Threads  pure functions.

#include <cstdint>

namespace kiv {

// samples[i] = samples[i] * factorQ9 / 512, rounded down; the product wraps in 32 bits.
void ScaleQ9(std::int32_t* samples, std::int64_t count, std::int32_t factorQ9) noexcept;

// out = in * gain (MulGainQ24), the same gain for all channels of a frame; after each frame the gain grows by
// the increment and wraps in 32 bits. Answers the gain after the last frame. out may be in, but may not
// overlap it otherwise.
std::uint32_t ScaleRampQ24(std::int32_t* out, std::int32_t const* in, std::int32_t frames, std::int32_t channels,
                           std::uint32_t gainQ24, std::int32_t incrementQ24) noexcept;

}  // namespace kiv
