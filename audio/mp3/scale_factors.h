#pragma once

// Scale factors of one channel of one granule.
//   Threads  values.

#include <cstdint>

#include "audio/mp3/bit_reader.h"
#include "audio/mp3/side_info.h"

// Values as transmitted. In an MPEG-2 channel of intensity positions the second half says for each band which value
// means "no intensity here"; MPEG-1 has kIllegalPositionMpeg1 for all bands.
struct MP3ScaleFactors {
  static constexpr std::uint8_t kIllegalPositionMpeg1 = 7;

  std::uint8_t longBand[22];
  std::uint8_t shortBand[13][3];  // [band][window]
  std::uint8_t longIllegal[22];
  std::uint8_t shortIllegal[13][3];
};

// Takes the scale factors of a channel from bits.
//   shared     groups of bands (bit 0: the lowest) for which factors keeps its values of the granule before
//   positions  the right channel of an intensity frame; MPEG-2 codes it differently
void DecodeScaleFactors(kiv::mp3::BitReader& bits, MP3Header const& header, MP3SideInfoGranule const& granule,
                        std::uint8_t shared, bool positions, MP3ScaleFactors& factors) noexcept;

// MPEG-2 sends the high-frequency boost inside the scale-factor code.
bool HighFrequencyBoost(MP3Header const& header, MP3SideInfoGranule const& granule, bool positions) noexcept;
