#pragma once

// Stored sample formats and their conversion from and to the internal scale (16-bit value times 16).
//
//   Units    n counts single samples: frames times channels. n below 1 converts nothing.
//   Rules    in:  8 bit (byte - 128) * 4096; 16 bit value * 16.
//            out: rounds half up - ((v + 2048) >> 12) + 128 or (v + 8) >> 4 - and keeps the low bits. It does
//            not clip: a value outside the range wraps. Keeping samples in range is the processing chain's business.
//   Threads  pure functions.

#include <cstdint>

struct LSFU8 {  // unsigned byte, 128 is silence
  std::uint8_t value;
};
struct LSFLE16 {  // signed 16 bit, little-endian, as in WAV files
  std::uint16_t stored;
};
struct LSF16 {  // signed 16 bit in the machine's order, as sound devices use it
  std::int16_t value;
};
static_assert(sizeof(LSFU8) == 1 && sizeof(LSFLE16) == 2 && sizeof(LSF16) == 2);

template <typename Format>
void ConvertSamplesIn(std::int32_t* out, Format const* in, std::int32_t n) noexcept;
template <typename Format>
void ConvertSamplesOut(Format* out, std::int32_t const* in, std::int32_t n) noexcept;

template <>
void ConvertSamplesIn<LSFU8>(std::int32_t* out, LSFU8 const* in, std::int32_t n) noexcept;
template <>
void ConvertSamplesIn<LSFLE16>(std::int32_t* out, LSFLE16 const* in, std::int32_t n) noexcept;
template <>
void ConvertSamplesIn<LSF16>(std::int32_t* out, LSF16 const* in, std::int32_t n) noexcept;
template <>
void ConvertSamplesOut<LSFU8>(LSFU8* out, std::int32_t const* in, std::int32_t n) noexcept;
template <>
void ConvertSamplesOut<LSFLE16>(LSFLE16* out, std::int32_t const* in, std::int32_t n) noexcept;
template <>
void ConvertSamplesOut<LSF16>(LSF16* out, std::int32_t const* in, std::int32_t n) noexcept;
