#pragma once

// Requantisation: scales the spectrum by gain and scale factors and brings short blocks into the order
// frequency, then window.
//   Threads  pure.

#include "audio/mp3/scale_factors.h"
#include "audio/mp3/side_info.h"

// spectrum is what DecodeHuffmanData left, with lines as it answered. Answers the number of lines that may now
// differ from 0 (reordering moves them).
int RequantizeSpectrum(MP3Header const& header, MP3SideInfoGranule const& granule, MP3ScaleFactors const& factors,
                       bool highFrequencyBoost, int lines, float* spectrum) noexcept;

namespace kiv::mp3 {

// Long bands at the bottom of a mixed block; its short part begins with short band kMixedFirstShortBand, at the
// same line.
inline constexpr int kMixedFirstShortBand = 3;
inline int MixedLongBands(MP3Header const& header) noexcept {
  return header.IsMpeg1() ? 8 : 6;
}

}  // namespace kiv::mp3
