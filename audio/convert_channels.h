#pragma once

// Mono and stereo into one another; no other pair of channel counts is converted.
//
//   Rule     the two sides mix differently, and both are meant: a source takes the first channel of stereo, a
//            sink averages the two (rounding toward minus infinity, without overflow). One channel becomes
//            two equal ones on either side.
//   Units    counts are frames; any count is moved in pieces of at most kiv::kMaxPieceFrames.
//   Threads  as in sound_source.h and sound_sink.h.
//   Errors   none are raised: a pair that cannot be converted gives the input unchanged or an empty sink, which
//            the caller must check. A sink without output counts its frames and drops them.
//   Owns     a reference to the input or output, and one work buffer made at construction.

#include <array>
#include <cstdint>
#include <vector>

#include "audio/sound_process.h"
#include "audio/sound_sink.h"
#include "audio/sound_source.h"

class LSPConvChannels {
 public:
  explicit LSPConvChannels(std::uint16_t channels) noexcept : channels_(channels) {}

  // A source with the wanted channel count, or the input itself when it has that count already, is in error,
  // or the pair is not 1 and 2.
  LSoundSource OpenSource(LSoundSource& input) const;

 private:
  std::uint16_t channels_;
};

// Base of the two converting sources: the input's frames of one piece.
class LSRCConvChannels : public LSoundProcessBase {
 protected:
  LSRCConvChannels(LSoundSource& input, std::uint8_t channels);

  std::vector<std::int32_t> work_;
};

// The first channel; the others are dropped, not mixed.
class LSRCConvStereoMono : public LSRCConvChannels {
 public:
  explicit LSRCConvStereoMono(LSoundSource& input) : LSRCConvChannels(input, 1) {}
  void Read(std::int32_t* buffer, std::int32_t frames) override;
};

// The (first) channel twice.
class LSRCConvMonoStereo : public LSRCConvChannels {
 public:
  explicit LSRCConvMonoStereo(LSoundSource& input) : LSRCConvChannels(input, 2) {}
  void Read(std::int32_t* buffer, std::int32_t frames) override;
};

// Base of the two converting sinks, and the door to them.
class LSinkConvertChannels : public LSoundSinkBase {
 public:
  // A sink that takes frames of that many channels and writes them to the output: the output itself when it
  // has that count, empty when the pair is not 1 and 2. An empty output counts as mono.
  static LSoundSink OpenSink(LSoundSink& output, std::uint8_t channels);

  // Moves the output, then takes over its position, so a refused Seek leaves both in step (0 without output).
  void Seek(std::int32_t frame) override;

 protected:
  // The output's rate, 44100 without one; never in error.
  LSinkConvertChannels(LSoundSink& output, std::uint8_t channels) noexcept;

  LSoundSink output_;
};

// Lets a mono sink take stereo.
class LSinkConvertMonoToStereo : public LSinkConvertChannels {
 public:
  explicit LSinkConvertMonoToStereo(LSoundSink& output) noexcept : LSinkConvertChannels(output, 2) {}
  void Write(std::int32_t const* buffer, std::int32_t frames) override;

 private:
  std::array<std::int32_t, kiv::kMaxPieceFrames> work_{};
};

// Lets a stereo sink take mono.
class LSinkConvertStereoToMono : public LSinkConvertChannels {
 public:
  explicit LSinkConvertStereoToMono(LSoundSink& output) noexcept : LSinkConvertChannels(output, 1) {}
  void Write(std::int32_t const* buffer, std::int32_t frames) override;

 private:
  std::array<std::int32_t, std::size_t{2} * kiv::kMaxPieceFrames> work_{};
};
