#pragma once

// Level of a buffer of samples, as plain numbers; foundation/level.h turns them into decibels.
//
//   Units    samples are interleaved, frames counts one sample of every channel. A peak is in sample units. A
//            mean square is of samples shifted right by 5, so 16-bit full scale (524288) gives 268435456.
//   Rules    nothing to measure (no frames, no channels, a channel that the buffer does not have) gives 0. In a
//            mono buffer the channel argument is ignored.
//            Squares, their sums and the mean are unsigned 32-bit words that wrap: above four times 16-bit
//            full scale the mean square is not a level any more.
//   Threads  pure functions. Every vector width gives the same bits.

#include <cstdint>

// The largest absolute value over all samples; INT32_MAX stands for that of INT32_MIN.
std::int32_t GetBufferPeak(std::int32_t const* samples, std::int32_t frames, std::uint8_t channels) noexcept;
// The same over one channel.
std::int32_t GetBufferPeakChan(std::uint8_t channel, std::int32_t const* samples, std::int32_t frames,
                               std::uint8_t channels) noexcept;
// The mean of the squares over all samples.
std::uint32_t GetBufferMeanSquare(std::int32_t const* samples, std::int32_t frames, std::uint8_t channels) noexcept;
// The same over one channel.
std::uint32_t GetBufferMeanSquareChan(std::uint8_t channel, std::int32_t const* samples, std::int32_t frames,
                                      std::uint8_t channels) noexcept;
