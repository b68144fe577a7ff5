#include "audio/sample_format.h"

#include <bit>

#include "foundation/fixed_point.h"
#include "foundation/text.h"
#include "foundation/vector_width.h"

// Plain loops that the compiler vectorises, once for the instructions that every processor has and once for the wide
// ones, which halve the time of the conversions out.

namespace {

// Little-endian to the machine's order and back; the identity on little-endian machines.
constexpr std::uint16_t SwapIfBigEndian(std::uint16_t stored) noexcept {
  if constexpr (std::endian::native == std::endian::big) LEndianReverse(stored);
  return stored;
}

// The low 16 bits of v / 16 rounded half up.
constexpr std::uint16_t To16(std::int32_t v) noexcept {
  return static_cast<std::uint16_t>(kiv::WrapAdd32(v, 8) >> 4);
}

KIV_INLINE std::int32_t FromStored(LSFU8 in) noexcept {
  return (in.value - 128) * 4096;
}
KIV_INLINE std::int32_t FromStored(LSFLE16 in) noexcept {
  return static_cast<std::int16_t>(SwapIfBigEndian(in.stored)) * 16;
}
KIV_INLINE std::int32_t FromStored(LSF16 in) noexcept {
  return in.value * 16;
}

KIV_INLINE void ToStored(LSFU8& out, std::int32_t v) noexcept {
  out.value = static_cast<std::uint8_t>((kiv::WrapAdd32(v, 2048) >> 12) + 128);
}
KIV_INLINE void ToStored(LSFLE16& out, std::int32_t v) noexcept {
  out.stored = SwapIfBigEndian(To16(v));
}
KIV_INLINE void ToStored(LSF16& out, std::int32_t v) noexcept {
  out.value = static_cast<std::int16_t>(To16(v));
}

template <typename Format>
KIV_INLINE void InLoop(std::int32_t* out, Format const* in, std::int32_t n) noexcept {
  for (std::int32_t i = 0; i < n; ++i) out[i] = FromStored(in[i]);
}
template <typename Format>
KIV_INLINE void OutLoop(Format* out, std::int32_t const* in, std::int32_t n) noexcept {
  for (std::int32_t i = 0; i < n; ++i) ToStored(out[i], in[i]);
}

template <typename Format>
KIV_TARGET_AVX2 void InWide(std::int32_t* out, Format const* in, std::int32_t n) noexcept {
  InLoop(out, in, n);
}
template <typename Format>
KIV_TARGET_AVX2 void OutWide(Format* out, std::int32_t const* in, std::int32_t n) noexcept {
  OutLoop(out, in, n);
}

template <typename Format>
KIV_INLINE void In(std::int32_t* out, Format const* in, std::int32_t n) noexcept {
  if (kiv::BestVectorWidth() == kiv::VectorWidth::Avx2) return InWide(out, in, n);
  InLoop(out, in, n);
}
template <typename Format>
KIV_INLINE void Out(Format* out, std::int32_t const* in, std::int32_t n) noexcept {
  if (kiv::BestVectorWidth() == kiv::VectorWidth::Avx2) return OutWide(out, in, n);
  OutLoop(out, in, n);
}

}  // namespace

template <>
void ConvertSamplesIn<LSFU8>(std::int32_t* out, LSFU8 const* in, std::int32_t n) noexcept {
  In(out, in, n);
}
template <>
void ConvertSamplesIn<LSFLE16>(std::int32_t* out, LSFLE16 const* in, std::int32_t n) noexcept {
  In(out, in, n);
}
template <>
void ConvertSamplesIn<LSF16>(std::int32_t* out, LSF16 const* in, std::int32_t n) noexcept {
  In(out, in, n);
}

template <>
void ConvertSamplesOut<LSFU8>(LSFU8* out, std::int32_t const* in, std::int32_t n) noexcept {
  Out(out, in, n);
}
template <>
void ConvertSamplesOut<LSFLE16>(LSFLE16* out, std::int32_t const* in, std::int32_t n) noexcept {
  Out(out, in, n);
}
template <>
void ConvertSamplesOut<LSF16>(LSF16* out, std::int32_t const* in, std::int32_t n) noexcept {
  Out(out, in, n);
}
