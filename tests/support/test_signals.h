#pragma once

// Small signal generator and in-memory streams for tests. Same seed, same samples, on every machine.

#include <cstdint>
#include <vector>

#include "audio/sound_sink.h"
#include "audio/sound_source.h"

namespace kiv::test {

// A plain 64-bit generator (splitmix64).
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}
  std::uint64_t Next();
  // Uniform in [low, high].
  std::int32_t Between(std::int32_t low, std::int32_t high);

 private:
  std::uint64_t state_;
};

// frames * channels samples, uniform in [-peak, peak].
std::vector<std::int32_t> Noise(std::uint64_t seed, std::int32_t frames, int channels, std::int32_t peak);
// One sine on every channel; amplitude in internal units (524272 is 16-bit full scale).
std::vector<std::int32_t> Sine(double hz, double amplitude, std::int32_t rateHz, std::int32_t frames, int channels);

// A source over samples in memory; silence before its start and after its end, position as it stands, like
// file sources.
class MemorySource : public LSoundSourceBase {
 public:
  MemorySource(std::vector<std::int32_t> samples, std::int32_t rateHz, std::uint8_t channels,
               std::int32_t peak = kPeak16Bit);
  void Read(std::int32_t* buffer, std::int32_t frames) override;
  std::int32_t GetPositionSample() const override { return position_; }
  std::int32_t GetEndSample() const override;
  void Seek(std::int32_t frame) override { position_ = frame; }
  void SetError(std::uint8_t error) { error_ = error; }

 private:
  std::vector<std::int32_t> samples_;
  std::int32_t position_ = 0;
};

// A sink that keeps what it is given. Seek back cuts, Seek forward is refused, like file sinks.
class MemorySink : public LSoundSinkBase {
 public:
  MemorySink(std::int32_t rateHz, std::uint8_t channels) : LSoundSinkBase(rateHz, channels) {}
  void Write(std::int32_t const* buffer, std::int32_t frames) override;
  void Seek(std::int32_t frame) override;
  const std::vector<std::int32_t>& Samples() const { return samples_; }

 private:
  std::vector<std::int32_t> samples_;
};

// A handle on a new MemorySource.
LSoundSource OpenMemory(std::vector<std::int32_t> samples, std::int32_t rateHz, std::uint8_t channels,
                        std::int32_t peak = kPeak16Bit);

// Reads frames from the source in pieces of the given sizes, used in rotation.
std::vector<std::int32_t> ReadInPieces(LSoundSource& source, std::int32_t frames,
                                       const std::vector<std::int32_t>& pieces);

}  // namespace kiv::test
