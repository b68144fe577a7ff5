#include "audio/mp3/stereo.h"

#include <algorithm>

#include "audio/mp3/huffman.h"
#include "audio/mp3/lookup_tables.h"
#include "audio/mp3/requantize.h"

namespace {

constexpr float kHalfRoot = 0.70710678118654752F;

struct Balance {
  float left;
  float right;
};

// MPEG-1: the ratio of left to right is the tangent of position times 15 degrees.
Balance BalanceMpeg1(int position) noexcept {  // position is 0 to 6
  // sin / (sin + cos) and cos / (sin + cos) of 0 to 90 degrees, so that position 6 needs no infinite ratio.
  static constexpr Balance kBalances[7] = {
      {0.0F, 1.0F}, {0.21132486540518713F, 0.78867513459481287F}, {0.36602540378443865F, 0.63397459621556135F},
      {0.5F, 0.5F}, {0.63397459621556135F, 0.36602540378443865F}, {0.78867513459481287F, 0.21132486540518713F},
      {1.0F, 0.0F}};
  return kBalances[position];
}

// MPEG-2: one channel stays as it is, the other falls in steps of 2^(-1/4) or 2^(-1/2).
Balance BalanceMpeg2(MP3LookupTables const& tables, int position, bool coarse) noexcept {
  const int steps = (position + 1) / 2;
  const float power = coarse ? tables.halfPower[steps] : tables.quarterPower[steps];
  return (position & 1) != 0 ? Balance{power, 1.0F} : Balance{1.0F, power};
}

class IntensityStereo {
 public:
  IntensityStereo(MP3Header const& header, MP3SideInfoGranule const& right, MP3ScaleFactors const& factors,
                  float* const spectrum[2]) noexcept
      : header_(header), right_(right), factors_(factors), spectrum_{spectrum[0], spectrum[1]} {}

  // Applies intensity wherever it holds; elsewhere middle/side.
  void Process(int rightLines) noexcept {
    if (right_.IsShort()) {
      ProcessShort();
    } else {
      ProcessLong(MP3LookupTables::kLongBands, rightLines);
    }
  }

 private:
  // Lines first, first + step, ... below end.
  void ProcessLines(int first, int end, int step, bool intensity, int position, int illegal) noexcept {
    float* const left = spectrum_[0];
    float* const right = spectrum_[1];
    // What MPEG-1 can send above 7 has no meaning there; it counts as 7 does.
    if (header_.IsMpeg1()) illegal = MP3ScaleFactors::kIllegalPositionMpeg1;
    if (intensity && position < illegal) {
      const Balance balance =
          header_.IsMpeg1() ? BalanceMpeg1(position)
                            : BalanceMpeg2(MP3LookupTables::InitTables(), position, (right_.scaleFactorCode & 1) != 0);
      for (int i = first; i < end; i += step) {
        right[i] = left[i] * balance.right;
        left[i] *= balance.left;
      }
    } else if (header_.UsesMidSide()) {
      for (int i = first; i < end; i += step) {
        const float middle = left[i];
        const float side = right[i];
        left[i] = (middle + side) * kHalfRoot;
        right[i] = (middle - side) * kHalfRoot;
      }
    }
  }

  // Long bands below endBand; rightLines bounds the right channel's lines that differ from 0.
  void ProcessLong(int endBand, int rightLines) noexcept {
    std::int16_t const* const bands = MP3LookupTables::longBands[header_.RateRow()];
    rightLines = std::min<int>(rightLines, bands[endBand]);
    while (rightLines > 0 && spectrum_[1][rightLines - 1] == 0.0F) --rightLines;
    for (int band = 0; band < endBand; ++band) {
      const int source = std::min(band, MP3LookupTables::kLongBands - 2);
      ProcessLines(bands[band], bands[band + 1], 1, bands[band] >= rightLines, factors_.longBand[source],
                   factors_.longIllegal[source]);
    }
  }

  // Each window has its own bound. Only when all three are silent in the right channel can a mixed block's
  // long part carry positions too.
  void ProcessShort() noexcept {
    std::int16_t const* const bands = MP3LookupTables::shortBands[header_.RateRow()];
    const int firstBand = right_.mixedBlock ? kiv::mp3::kMixedFirstShortBand : 0;
    bool silent = true;
    for (int window = 0; window < 3; ++window) {
      int bound = MP3LookupTables::kShortBands;
      while (bound > firstBand && IsSilent(3 * bands[bound - 1] + window, 3 * bands[bound])) --bound;
      silent = silent && bound == firstBand;
      for (int band = firstBand; band < MP3LookupTables::kShortBands; ++band) {
        const int source = std::min(band, MP3LookupTables::kShortBands - 2);
        ProcessLines(3 * bands[band] + window, 3 * bands[band + 1], 3, band >= bound,
                     factors_.shortBand[source][window], factors_.shortIllegal[source][window]);
      }
    }
    if (right_.mixedBlock) {
      // With sound in the short part, the long part counts as reaching up to it.
      const int longBands = kiv::mp3::MixedLongBands(header_);
      if (silent) {
        ProcessLong(longBands, kMp3Lines);
      } else {
        ProcessLines(0, 3 * bands[firstBand], 1, false, 0, 0);
      }
    }
  }

  bool IsSilent(int first, int end) const noexcept {
    for (int i = first; i < end; i += 3) {
      if (spectrum_[1][i] != 0.0F) return false;
    }
    return true;
  }

  MP3Header const& header_;
  MP3SideInfoGranule const& right_;
  MP3ScaleFactors const& factors_;
  float* const spectrum_[2];
};

}  // namespace

void JointStereoProcessing(MP3Header const& header, MP3SideInfoGranule const& right,
                           MP3ScaleFactors const& rightFactors, float* const spectrum[2], int lines[2]) noexcept {
  const int both = std::max(lines[0], lines[1]);
  if (header.UsesIntensity()) {
    IntensityStereo(header, right, rightFactors, spectrum).Process(lines[1]);
  } else if (header.UsesMidSide()) {
    float* const left = spectrum[0];
    float* const other = spectrum[1];
    for (int i = 0; i < both; ++i) {
      const float middle = left[i];
      const float side = other[i];
      left[i] = (middle + side) * kHalfRoot;
      other[i] = (middle - side) * kHalfRoot;
    }
  } else {
    return;
  }
  lines[0] = lines[1] = both;
}
