#include "audio/mp3/requantize.h"

#include <algorithm>
#include <cstring>

#include "audio/mp3/huffman.h"
#include "audio/mp3/lookup_tables.h"

namespace {

// The factor 2^(quarters / 4) for quarters = global gain - 210 - (what the scale factors take off). The largest
// global gain is 255; so that all powers come from the table of falling ones, 2^12 is taken out first.
constexpr float kTakenOut = 4096.0F;
constexpr int kTableOffset = 258;  // 210 + 4 * 12

float Factor(MP3LookupTables const& tables, MP3SideInfoGranule const& granule, int takenOffQuarters) noexcept {
  return kTakenOut * tables.quarterPower[kTableOffset - granule.globalGain + takenOffQuarters];
}

int RequantizeLong(MP3LookupTables const& tables, MP3Header const& header, MP3SideInfoGranule const& granule,
                   MP3ScaleFactors const& factors, bool boost, int endBand, int lines, float* spectrum) noexcept {
  std::int16_t const* const bands = MP3LookupTables::longBands[header.RateRow()];
  const int quartersPerStep = granule.scaleFactorScale != 0 ? 4 : 2;
  for (int band = 0; band < endBand && bands[band] < lines; ++band) {
    const int factor = factors.longBand[band] + (boost ? MP3LookupTables::highFrequencyBoost[band] : 0);
    const float scale = Factor(tables, granule, quartersPerStep * factor);
    for (int i = bands[band]; i < bands[band + 1]; ++i) spectrum[i] *= scale;
  }
  return lines;
}

int RequantizeShort(MP3LookupTables const& tables, MP3Header const& header, MP3SideInfoGranule const& granule,
                    MP3ScaleFactors const& factors, int firstBand, int lines, float* spectrum) noexcept {
  std::int16_t const* const bands = MP3LookupTables::shortBands[header.RateRow()];
  const int quartersPerStep = granule.scaleFactorScale != 0 ? 4 : 2;
  float coded[3 * 192];
  int end = lines;
  for (int band = firstBand; band < MP3LookupTables::kShortBands; ++band) {
    const int start = 3 * bands[band];
    if (start >= lines) break;
    const int width = bands[band + 1] - bands[band];
    std::memcpy(coded, spectrum + start, sizeof(float) * static_cast<std::size_t>(3 * width));
    for (int window = 0; window < 3; ++window) {
      const float scale =
          Factor(tables, granule, 8 * granule.subblockGain[window] + quartersPerStep * factors.shortBand[band][window]);
      float const* const from = coded + window * width;
      float* const to = spectrum + start + window;
      for (int i = 0; i < width; ++i) to[3 * i] = from[i] * scale;
    }
    end = start + 3 * width;
  }
  return end;
}

}  // namespace

int RequantizeSpectrum(MP3Header const& header, MP3SideInfoGranule const& granule, MP3ScaleFactors const& factors,
                       bool highFrequencyBoost, int lines, float* spectrum) noexcept {
  MP3LookupTables const& tables = MP3LookupTables::InitTables();
  if (lines == 0) return 0;
  if (!granule.IsShort()) {
    return RequantizeLong(tables, header, granule, factors, highFrequencyBoost, MP3LookupTables::kLongBands, lines,
                          spectrum);
  }
  int firstShort = 0;
  if (granule.mixedBlock) {
    RequantizeLong(tables, header, granule, factors, highFrequencyBoost, kiv::mp3::MixedLongBands(header), lines,
                   spectrum);
    firstShort = kiv::mp3::kMixedFirstShortBand;
  }
  return RequantizeShort(tables, header, granule, factors, firstShort, lines, spectrum);
}
