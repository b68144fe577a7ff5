#pragma once

// Constants of the standard and tables computed from formulas, built once and shared by all decoders.
//   Threads  InitTables may be called on any thread; what it returns never changes.

#include <cstdint>

struct MP3LookupTables {
  // Builds the tables at the first call.
  static MP3LookupTables const& InitTables() noexcept;

  static constexpr int kLongBands = 22;
  static constexpr int kShortBands = 13;
  static constexpr int kRateRows = 9;
  // First line of every scale-factor band, then 576; [MP3Header::RateRow()].
  static const std::int16_t longBands[kRateRows][kLongBands + 1];
  // The same for one window of a short block, then 192.
  static const std::int16_t shortBands[kRateRows][kShortBands + 1];
  // What the high-frequency boost adds to the scale factors of long blocks.
  static const std::uint8_t highFrequencyBoost[kLongBands];

  static constexpr int kQuarterPowers = 448;
  static constexpr int kHalfPowers = 32;
  static constexpr int kMaxQuantized = 15 + 8191;

  float quarterPower[kQuarterPowers];   // 2^(-i/4)
  float halfPower[kHalfPowers];         // 2^(-i/2)
  float fourThirds[kMaxQuantized + 1];  // i^(4/3)

  // Matrixing cosines of the polyphase synthesis, multiplied by 524288, so that the synthesis delivers samples
  // in the internal scale. The 32-point transform is folded twice; with Y[m] = sum of S[k] cos((2k+1) m pi/64):
  alignas(32) float matrixQuarter[8][8];  // [k][m]: Y[4m]   from the 8 twice folded sums
  alignas(32) float matrixHalf[8][8];     // [k][m]: Y[4m+2] from the 8 folded differences of sums
  alignas(32) float matrixOdd[16][16];    // [k][m]: Y[2m+1] from the 16 folded differences

  // Synthesis window of the standard, D[i].
  alignas(32) float window[512];

 private:
  MP3LookupTables() noexcept;
};
