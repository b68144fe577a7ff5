#pragma once

// Integer arithmetic of the signal path, said once.
//
// Samples, gains and filter states are 32-bit words. Where a result leaves 32 bits it wraps, by design, and
// the name of the operation says so; everything here is defined for every input, so no sanitizer and no
// optimiser can object.
//
//   Units    Qn is fixed point with n fraction bits: 1.0 is 1 << n.
//   Threads  pure functions; any thread.
//   Errors   none.

#include <cstdint>

namespace kiv {

// The 32-bit word with the same bits. Conversion between the two is modulo 2^32 in both directions.
constexpr std::uint32_t AsUnsigned(std::int32_t x) noexcept {
  return static_cast<std::uint32_t>(x);
}
constexpr std::int32_t AsSigned(std::uint32_t x) noexcept {
  return static_cast<std::int32_t>(x);
}

// The low 32 bits of a wider value.
constexpr std::int32_t Wrap32(std::int64_t x) noexcept {
  return AsSigned(static_cast<std::uint32_t>(static_cast<std::uint64_t>(x)));
}

constexpr std::int32_t WrapAdd32(std::int32_t a, std::int32_t b) noexcept {
  return AsSigned(AsUnsigned(a) + AsUnsigned(b));
}
constexpr std::int32_t WrapSub32(std::int32_t a, std::int32_t b) noexcept {
  return AsSigned(AsUnsigned(a) - AsUnsigned(b));
}
constexpr std::int32_t WrapMul32(std::int32_t a, std::int32_t b) noexcept {
  return AsSigned(AsUnsigned(a) * AsUnsigned(b));
}
constexpr std::int32_t WrapNegate32(std::int32_t a) noexcept {
  return AsSigned(0U - AsUnsigned(a));
}

// x * 2^bits, bits lost at the top; bits is 0 to 31.
constexpr std::int32_t WrapShiftLeft32(std::int32_t x, int bits) noexcept {
  return AsSigned(AsUnsigned(x) << bits);
}

// x / 2^bits rounded toward minus infinity; bits is 0 to 31.
constexpr std::int32_t ShiftRight(std::int32_t x, int bits) noexcept {
  return x >> bits;
}

// (a + b) / 2 rounded toward minus infinity; no sum that could overflow.
constexpr std::int32_t FloorAverage32(std::int32_t a, std::int32_t b) noexcept {
  return (a & b) + ((a ^ b) >> 1);
}

// a / b rounded toward minus infinity; b is above 0.
constexpr std::int64_t FloorDivide(std::int64_t a, std::int64_t b) noexcept {
  return a / b - (a % b < 0 ? 1 : 0);
}

// x * c / 2^24 with a signed Q24 coefficient, from three 32-bit partial products of 12-bit halves. The
// low-by-low product is dropped, so the result may be up to 2 below the exact quotient's floor; sums wrap.
constexpr std::int32_t MulQ24(std::int32_t x, std::int32_t cQ24) noexcept {
  const std::int32_t xHigh = x >> 12;
  const std::int32_t xLow = x & 0xFFF;
  const std::int32_t cHigh = cQ24 >> 12;
  const std::int32_t cLow = cQ24 & 0xFFF;
  return WrapAdd32(WrapAdd32(WrapMul32(xHigh, cHigh), (xLow * cHigh) >> 12), (xHigh * cLow) >> 12);
}

// The same product with an unsigned Q24 gain, for the gain stages. For gains below 2^31 (128.0) it equals MulQ24.
constexpr std::int32_t MulGainQ24(std::int32_t x, std::uint32_t gainQ24) noexcept {
  const std::int32_t xHigh = x >> 12;
  const std::uint32_t xLow = AsUnsigned(x) & 0xFFF;
  const std::uint32_t gHigh = gainQ24 >> 12;
  const auto gLow = static_cast<std::int32_t>(gainQ24 & 0xFFF);
  return AsSigned(AsUnsigned(xHigh) * gHigh + ((xLow * gHigh) >> 12) + AsUnsigned((xHigh * gLow) >> 12));
}

inline constexpr std::uint32_t kUnityQ24 = 1U << 24;
inline constexpr std::int32_t kUnityQ9 = 1 << 9;

// The one door from double to fixed point: the integer part (toward zero), saturated at the type's ends.
// Not-a-number gives 0.
constexpr std::int32_t TruncateToI32(double x) noexcept {
  if (!(x > -2147483649.0)) return x != x ? 0 : INT32_MIN;
  if (x >= 2147483648.0) return INT32_MAX;
  return static_cast<std::int32_t>(x);
}
constexpr std::uint32_t TruncateToU32(double x) noexcept {
  if (!(x > 0.0)) return 0;
  if (x >= 4294967296.0) return UINT32_MAX;
  return static_cast<std::uint32_t>(x);
}

// Nearest integer, halves away from zero, saturated.
constexpr std::int32_t RoundToI32(double x) noexcept {
  return TruncateToI32(x < 0.0 ? x - 0.5 : x + 0.5);
}

static_assert(WrapAdd32(INT32_MAX, 1) == INT32_MIN);
static_assert(WrapSub32(INT32_MIN, 1) == INT32_MAX);
static_assert(WrapMul32(65536, 65536) == 0);
static_assert(WrapMul32(1 << 30, 3) == -(1 << 30));
static_assert(WrapNegate32(INT32_MIN) == INT32_MIN);
static_assert(Wrap32(INT64_C(0x1FFFFFFFF)) == -1);
static_assert(ShiftRight(-1, 8) == -1);
static_assert(FloorAverage32(3, -4) == -1 && FloorAverage32(-3, 0) == -2);
static_assert(FloorAverage32(INT32_MAX, INT32_MAX) == INT32_MAX);
static_assert(FloorAverage32(INT32_MIN, INT32_MAX) == -1);
static_assert(FloorDivide(-1, 3) == -1 && FloorDivide(-3, 3) == -1 && FloorDivide(5, 3) == 1);
static_assert(MulQ24(-1, 1 << 24) == -1);
static_assert(MulQ24(524272, 1 << 23) == 262136);
static_assert(MulQ24(1000, -(1 << 24)) == -1000);
static_assert(MulGainQ24(-1, kUnityQ24) == -1);
static_assert(MulGainQ24(-524288, kUnityQ24) == -524288);
static_assert(MulGainQ24(4096, 4095) == 0);
static_assert(MulGainQ24(1 << 12, 3U << 30) == 3 << 18);
static_assert(TruncateToI32(-1.9) == -1);
static_assert(TruncateToI32(3e9) == INT32_MAX);
static_assert(TruncateToI32(-2147483648.5) == INT32_MIN);
static_assert(TruncateToU32(3e9) == 3000000000U);
static_assert(TruncateToU32(-1.0) == 0);
static_assert(RoundToI32(-2.5) == -3 && RoundToI32(2.5) == 3 && RoundToI32(2.4999) == 2);

}  // namespace kiv
