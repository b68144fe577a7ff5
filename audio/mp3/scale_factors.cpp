#include "audio/mp3/scale_factors.h"

#include <cstring>

namespace {

using kiv::mp3::BitReader;

// Widths of the two groups of MPEG-1, by scale-factor code.
constexpr std::uint8_t kWidths1[16] = {0, 0, 0, 0, 3, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4};
constexpr std::uint8_t kWidths2[16] = {0, 1, 2, 3, 0, 1, 2, 3, 1, 2, 3, 1, 2, 3, 2, 3};
constexpr int kSharedGroupStart[5] = {0, 6, 11, 16, 21};
constexpr int kFirstWideBand = 11;      // long bands from here on have the second width
constexpr int kFirstWideShortBand = 6;  // short bands from here on
constexpr int kMixedLongBandsMpeg1 = 8;
constexpr int kMixedLongBandsMpeg2 = 6;
constexpr int kMixedFirstShortBand = 3;

// MPEG-2: factors in each of the four groups, by kind of code and kind of block (long, short, mixed).
constexpr std::uint8_t kGroups[6][3][4] = {
    {{6, 5, 5, 5}, {9, 9, 9, 9}, {6, 9, 9, 9}},       {{6, 5, 7, 3}, {9, 9, 12, 6}, {6, 9, 12, 6}},
    {{11, 10, 0, 0}, {18, 18, 0, 0}, {15, 18, 0, 0}}, {{7, 7, 7, 0}, {12, 12, 12, 0}, {6, 15, 12, 0}},
    {{6, 6, 6, 3}, {12, 9, 9, 6}, {6, 12, 9, 6}},     {{8, 8, 5, 0}, {15, 12, 9, 0}, {6, 18, 9, 0}}};

struct Code {
  int kind;       // row of kGroups
  int widths[4];  // bits of a factor in each group
};

Code CodeOf(int value, bool positions) noexcept {
  if (positions) {
    value >>= 1;  // The lowest bit is the intensity scale.
    if (value < 180) return {3, {value / 36, value % 36 / 6, value % 6, 0}};
    if (value < 244) {
      value -= 180;
      return {4, {value >> 4, value >> 2 & 3, value & 3, 0}};
    }
    value -= 244;
    return {5, {value / 3, value % 3, 0, 0}};
  }
  if (value < 400) return {0, {(value >> 4) / 5, (value >> 4) % 5, value >> 2 & 3, value & 3}};
  if (value < 500) {
    value -= 400;
    return {1, {(value >> 2) / 5, (value >> 2) % 5, value & 3, 0}};
  }
  value -= 500;
  return {2, {value / 3, value % 3, 0, 0}};
}

std::uint8_t TakeFactor(BitReader& bits, int width) noexcept {
  bits.Refill();
  return static_cast<std::uint8_t>(bits.Take(width));
}

void TakeShort(BitReader& bits, int firstBand, int endBand, int width, MP3ScaleFactors& factors) noexcept {
  for (int band = firstBand; band < endBand; ++band) {
    for (std::uint8_t& factor : factors.shortBand[band]) factor = TakeFactor(bits, width);
  }
}

void DecodeMpeg1(BitReader& caller, MP3SideInfoGranule const& granule, std::uint8_t shared,
                 MP3ScaleFactors& factors) noexcept {
  BitReader bits = caller;  // A copy that the compiler can keep in registers.
  const int width1 = kWidths1[granule.scaleFactorCode];
  const int width2 = kWidths2[granule.scaleFactorCode];
  if (granule.IsShort()) {
    int firstShort = 0;
    if (granule.mixedBlock) {
      for (int band = 0; band < kMixedLongBandsMpeg1; ++band) factors.longBand[band] = TakeFactor(bits, width1);
      firstShort = kMixedFirstShortBand;
    }
    TakeShort(bits, firstShort, kFirstWideShortBand, width1, factors);
    TakeShort(bits, kFirstWideShortBand, 12, width2, factors);
    caller = bits;
    return;
  }
  for (int group = 0; group < 4; ++group) {
    if ((shared >> group & 1) != 0) continue;
    for (int band = kSharedGroupStart[group]; band < kSharedGroupStart[group + 1]; ++band) {
      factors.longBand[band] = TakeFactor(bits, band < kFirstWideBand ? width1 : width2);
    }
  }
  caller = bits;
}

void DecodeMpeg2(BitReader& bits, MP3SideInfoGranule const& granule, bool positions,
                 MP3ScaleFactors& factors) noexcept {
  const Code code = CodeOf(granule.scaleFactorCode, positions);
  const int blocks = granule.IsMixed() ? 2 : granule.IsShort() ? 1 : 0;
  const int longBands = granule.IsMixed() ? kMixedLongBandsMpeg2 : granule.IsShort() ? 0 : 21;
  const int firstShort = granule.IsMixed() ? kMixedFirstShortBand : 0;
  int index = 0;
  for (int group = 0; group < 4; ++group) {
    const int width = code.widths[group];
    for (int i = 0; i < kGroups[code.kind][blocks][group]; ++i, ++index) {
      const std::uint8_t factor = TakeFactor(bits, width);
      const auto illegal = static_cast<std::uint8_t>((1 << width) - 1);
      if (index < longBands) {
        factors.longBand[index] = factor;
        factors.longIllegal[index] = illegal;
      } else {
        const int band = firstShort + (index - longBands) / 3;
        const int window = (index - longBands) % 3;
        factors.shortBand[band][window] = factor;
        factors.shortIllegal[band][window] = illegal;
      }
    }
  }
}

}  // namespace

void DecodeScaleFactors(BitReader& bits, MP3Header const& header, MP3SideInfoGranule const& granule,
                        std::uint8_t shared, bool positions, MP3ScaleFactors& factors) noexcept {
  if (granule.IsShort() || !header.IsMpeg1()) shared = 0;
  if (shared == 0) {
    std::memset(factors.longBand, 0, sizeof factors.longBand);
    std::memset(factors.shortBand, 0, sizeof factors.shortBand);
  }
  if (header.IsMpeg1()) {
    DecodeMpeg1(bits, granule, shared, factors);
  } else {
    DecodeMpeg2(bits, granule, positions, factors);
  }
  // The last band has no factor of its own (0), and where it carries a position it is that of the band below.
}

bool HighFrequencyBoost(MP3Header const& header, MP3SideInfoGranule const& granule, bool positions) noexcept {
  if (header.IsMpeg1()) return granule.highFrequencyBoost;
  return !positions && granule.scaleFactorCode >= 500;
}
