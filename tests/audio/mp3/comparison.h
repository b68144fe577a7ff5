#pragma once

// What our decoder makes of a stream, and how far it is from another's output.

#include <cstdint>
#include <string>
#include <vector>

#include "tests/audio/mp3/reference_decoders.h"

namespace kiv::test {

struct OurSound {
  std::int32_t rate = 0;
  int channels = 0;
  std::vector<std::int32_t> samples;
};

// Decodes the whole stream, with a block after it that is never decoded.
OurSound DecodeWithOurs(std::string const& bytes);

// The "full accuracy" class of the standard (ISO/IEC 11172-4), of full scale: 2^-15 / sqrt(12) and 2^-14.
inline constexpr double kRmsLimit = 1.0 / 32768 * 0.28867513459481287;
inline constexpr double kMaximumLimit = 1.0 / 16384;

// Of full scale.
struct Difference {
  double rms = 0;
  double maximum = 0;
  double towardZero = 0;  // mean of (ours - reference) * sign(reference), in steps of our output
  std::size_t count = 0;
};

// Over the samples that both have.
Difference Compare(std::vector<std::int32_t> const& ours, ReferenceSound const& reference);

}  // namespace kiv::test
