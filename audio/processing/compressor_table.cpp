#include "audio/processing/compressor_table.h"

#include <cmath>

#include "foundation/fixed_point.h"

LCompressorTableGain::LCompressorTableGain(LDB a, double base, LDB b) noexcept {
  // Constant output level above b: about -1 dB for each dB.
  constexpr double kFallPerDB = 0.8913;
  double gain = double{kiv::kUnityQ24};
  if (a < 0) gain /= std::pow(base, -a);
  for (int i = 0; i < 256; ++i) {
    entries_[static_cast<std::size_t>(i)] = kiv::TruncateToU32(gain);
    if (i >= a + 128) gain *= i < b + 128 ? base : kFallPerDB;
  }
}

LCompressorTableDB::LCompressorTableDB(LDB a, double slope, LDB b) noexcept {
  double gain = a * slope;
  for (int i = 0; i < 256; ++i) {
    entries_[static_cast<std::size_t>(i)] = kiv::RoundToI32(gain);
    if (i >= a + 128) gain += i < b + 128 ? slope : -1.0;
  }
}
