#include "tests/support/test_signals.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace kiv::test {

std::uint64_t Random::Next() {
  std::uint64_t z = (state_ += 0x9E3779B97F4A7C15U);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
  return z ^ (z >> 31);
}

std::int32_t Random::Between(std::int32_t low, std::int32_t high) {
  const auto span = static_cast<std::uint64_t>(std::int64_t{high} - low + 1);
  return static_cast<std::int32_t>(low + static_cast<std::int64_t>(Next() % span));
}

std::vector<std::int32_t> Noise(std::uint64_t seed, std::int32_t frames, int channels, std::int32_t peak) {
  Random random(seed);
  std::vector<std::int32_t> samples(static_cast<std::size_t>(frames) * static_cast<std::size_t>(channels));
  for (std::int32_t& s : samples) s = random.Between(-peak, peak);
  return samples;
}

std::vector<std::int32_t> Sine(double hz, double amplitude, std::int32_t rateHz, std::int32_t frames, int channels) {
  std::vector<std::int32_t> samples;
  samples.reserve(static_cast<std::size_t>(frames) * static_cast<std::size_t>(channels));
  for (std::int32_t i = 0; i < frames; ++i) {
    const double value = amplitude * std::sin(2.0 * std::numbers::pi * hz * i / rateHz);
    samples.insert(samples.end(), static_cast<std::size_t>(channels), static_cast<std::int32_t>(std::lround(value)));
  }
  return samples;
}

MemorySource::MemorySource(std::vector<std::int32_t> samples, std::int32_t rateHz, std::uint8_t channels,
                           std::int32_t peak)
    : LSoundSourceBase(rateHz, channels, peak), samples_(std::move(samples)) {}

void MemorySource::Read(std::int32_t* buffer, std::int32_t frames) {
  for (std::int32_t i = 0; i < frames; ++i) {
    const std::int64_t frame = std::int64_t{position_} + i;
    const bool inside = frame >= 0 && frame < GetEndSample();
    for (int c = 0; c < Channels(); ++c) {
      *buffer++ = inside ? samples_[static_cast<std::size_t>(frame * Channels() + c)] : 0;
    }
  }
  position_ += std::max(frames, 0);
}

std::int32_t MemorySource::GetEndSample() const {
  return static_cast<std::int32_t>(samples_.size() / Channels());
}

void MemorySink::Write(std::int32_t const* buffer, std::int32_t frames) {
  samples_.insert(samples_.end(), buffer, buffer + std::ptrdiff_t{std::max(frames, 0)} * Channels());
  position_ += std::max(frames, 0);
}

void MemorySink::Seek(std::int32_t frame) {
  if (frame > position_) return;
  position_ = std::max(frame, 0);
  samples_.resize(static_cast<std::size_t>(position_) * Channels());
}

LSoundSource OpenMemory(std::vector<std::int32_t> samples, std::int32_t rateHz, std::uint8_t channels,
                        std::int32_t peak) {
  return LSoundSource(new MemorySource(std::move(samples), rateHz, channels, peak));
}

std::vector<std::int32_t> ReadInPieces(LSoundSource& source, std::int32_t frames,
                                       const std::vector<std::int32_t>& pieces) {
  const std::size_t channels = source->Channels();
  std::vector<std::int32_t> samples(static_cast<std::size_t>(frames) * channels);
  std::int32_t done = 0;
  for (std::size_t i = 0; done < frames; ++i) {
    const std::int32_t n = std::min(pieces[i % pieces.size()], frames - done);
    source->Read(samples.data() + static_cast<std::size_t>(done) * channels, n);
    done += n;
  }
  return samples;
}

}  // namespace kiv::test
