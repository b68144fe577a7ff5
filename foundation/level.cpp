#include "foundation/level.h"

#include <cmath>

#include "foundation/fixed_point.h"

namespace {

// 10^(1/20) and 10^(1/10); extended precision keeps a power of 127 exact to far below half a table unit.
constexpr long double kAmplitudeStep = 1.12201845430196343559103894647790573672L;
constexpr long double kPowerStep = 1.25892541179416721042395410639580060609L;

// step^dB * 2^24, rounded to nearest, saturated at 2^31 - 1.
constexpr std::uint32_t TableEntry(long double step, int dB) {
  long double magnitude = 1.0L;
  for (int i = 0; i < (dB < 0 ? -dB : dB); ++i) magnitude *= step;
  const long double entry = (dB < 0 ? 1.0L / magnitude : magnitude) * 16777216.0L + 0.5L;
  return entry < 2147483647.0L ? static_cast<std::uint32_t>(entry) : 2147483647U;
}

}  // namespace

constexpr LDB::LDBTablesClass::LDBTablesClass() noexcept : amplitudeCentre(&amplitude[128]), powerCentre(&power[128]) {
  for (int dB = -126; dB <= 127; ++dB) {
    amplitude[dB + 128] = TableEntry(kAmplitudeStep, dB);
    power[dB + 128] = TableEntry(kPowerStep, dB);
  }
}

// Computed by the compiler: no static object can ever see it unmade or destroyed.
constinit const LDB::LDBTablesClass LDB::tab;

void LDB::SetText(char const* text) noexcept {
  std::int32_t magnitude = 0;
  bool negative = false;
  for (; *text != '\0'; ++text) {
    if (*text == '-') {
      if (negative) magnitude = 127;
      negative = true;
    } else if (*text >= '0' && *text <= '9') {
      magnitude = kiv::WrapAdd32(kiv::WrapMul32(magnitude, 10), *text - '0');
    }
  }
  *this = LDB(negative ? kiv::WrapNegate32(magnitude) : magnitude);
}

namespace {

LDB DBFromRatio(double factor, double ratio) noexcept {
  const double dB = factor * std::log10(ratio);
  return kiv::TruncateToI32(ratio >= 1.0 ? dB + 0.5 : dB - 0.5);
}

}  // namespace

LDB DBFromPeak(std::int32_t peak) noexcept {
  return peak <= 0 ? LDB(-127) : DBFromRatio(20.0, peak / 131072.0);
}

LDB DBFromMeanSquare(std::uint32_t meanSquare) noexcept {
  return meanSquare == 0 ? LDB(-127) : DBFromRatio(10.0, meanSquare / 8388626.0);
}
