#pragma once

// Levels and gains in whole decibels.
//
//   Units    dB; -127 means silence (a factor of 0). Nothing stores -128.
//   Threads  values; LDB::tab is constant from the start of the program to its end and may be read by any
//            thread, also by constructors and destructors of static objects.
//   Errors   none: every operation is total.

#include <algorithm>
#include <cstdint>

class LDB {
 public:
  class LDBTablesClass;

  constexpr LDB() noexcept = default;
  // Clamps to [-127, 127].
  constexpr LDB(int dB) noexcept : dB_(static_cast<std::int8_t>(std::clamp(dB, -127, 127))) {}

  // The level as a number.
  constexpr operator int() const noexcept { return dB_; }

  // Takes the level from text as a person may have typed it into the settings file. A "-" anywhere makes it
  // negative, a second one means silence; digits are collected from the whole text ("12abc3" is 123); all
  // else is skipped, so "-6 dB" is -6 and "3.5" is 35. Clamped to [-127, 127]; an empty text gives 0. The
  // collected number wraps at 32 bits.
  void SetText(char const* text) noexcept;

  // Linear factors of all levels, Q24.
  static const LDBTablesClass tab;

 private:
  std::int8_t dB_ = 0;
};

static_assert(sizeof(LDB) == 1);

// entry(dB) = 10^(dB/20) * 2^24 (amplitude) or 10^(dB/10) * 2^24 (power), rounded to nearest, saturated at
// 2^31 - 1; 0 for -128 and -127. 256 entries each, from -128 to 127 dB.
class LDB::LDBTablesClass {
 public:
  constexpr LDBTablesClass() noexcept;
  LDBTablesClass(const LDBTablesClass&) = delete;
  LDBTablesClass& operator=(const LDBTablesClass&) = delete;

  constexpr std::uint32_t Amplitude(LDB level) const noexcept { return amplitudeCentre[int{level}]; }
  constexpr std::uint32_t Power(LDB level) const noexcept { return powerCentre[int{level}]; }

  // The 0 dB entries: a signed level indexes a table directly.
  const std::uint32_t* amplitudeCentre;
  const std::uint32_t* powerCentre;
  std::uint32_t amplitude[256] = {};
  std::uint32_t power[256] = {};
};

// One level per channel, as the level meters report it. There is room for every count that fits the 8-bit
// count, so no count is out of range.
class LDBMC {
 public:
  static constexpr int kMaxChannels = 255;

  constexpr LDBMC() noexcept = default;
  constexpr LDBMC(LDBMC const& other) noexcept { *this = other; }
  // Copies the count and the first count levels; the rest keeps what it had.
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): a level that is assigned to itself stays what it is.
  constexpr LDBMC& operator=(LDBMC const& other) noexcept {
    channels = other.channels;
    for (std::uint8_t c = 0; c < channels; ++c) level[c] = other.level[c];
    return *this;
  }

  // The level that stands for all channels: silence without channels, channel 0 of one, the larger of
  // channels 0 and 1 of two or more.
  constexpr LDB Overall() const noexcept {
    if (channels == 0) return -127;
    return channels == 1 ? int{level[0]} : std::max(int{level[0]}, int{level[1]});
  }

  std::uint8_t channels = 0;
  LDB level[kMaxChannels];
};

// Linear level to dB, rounded half away from zero and clamped; exactly zero gives silence.
//   peak        20 * log10(peak / 131072); peak as GetBufferPeak gives it, internal sample scale.
//   mean square 10 * log10(meanSquare / 8388626); as GetBufferMeanSquare gives it. The odd reference is the
//               system's own.
LDB DBFromPeak(std::int32_t peak) noexcept;
LDB DBFromMeanSquare(std::uint32_t meanSquare) noexcept;
