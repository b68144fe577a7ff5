#pragma once

// Where in a known noise a recorded piece of it lies, also when resamplers were between.

#include <cmath>
#include <cstdint>
#include <span>

namespace kiv::test {

struct Place {
  std::int64_t frame = -1;  // Of the noise, where the piece begins.
  double match = 0;         // 1 for the same, up to a factor; about 0 where nothing is alike.
};

inline Place FindInNoise(std::span<const std::int32_t> noise, std::span<const std::int32_t> piece) {
  Place best;
  double pieceEnergy = 0;
  for (const std::int32_t sample : piece) pieceEnergy += static_cast<double>(sample) * sample;
  if (pieceEnergy <= 0) return best;
  for (std::size_t at = 0; at + piece.size() <= noise.size(); ++at) {
    double product = 0;
    double energy = 0;
    for (std::size_t i = 0; i < piece.size(); ++i) {
      const double there = noise[at + i];
      product += there * piece[i];
      energy += there * there;
    }
    const double match = energy > 0 ? product / std::sqrt(energy * pieceEnergy) : 0;
    if (match > best.match) best = {.frame = static_cast<std::int64_t>(at), .match = match};
  }
  return best;
}

}  // namespace kiv::test
