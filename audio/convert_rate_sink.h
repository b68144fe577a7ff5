#pragma once

// Sample rate on the way into a sink: takes one rate and writes another, with a filter of 15 taps.
//
//   Rule     samples are rounded down to 16-bit units (shifted right by 4), filtered and come out on the internal
//            scale. Every Write puts out all frames whose filter is complete; the filter looks 7 frames ahead, so the
//            last ones come when the sink is flushed: by Seek, _Flush, or the last release of the sink.
//   Bits     as in convert_rate.h: the half sums are exact, and how writes are split changes no bit.
//   Units    rates in Hz; counts and positions are frames of the rate that is written into the sink.
//   Channels mono and stereo. Frames of any other channel count are counted and dropped.
//   Threads  as in sound_sink.h.
//   Errors   kSinkFailed for an output without channels and for a pair of rates that has no usable step (frames are
//            then counted and dropped).
//   Owns     a reference to the output, the coefficient table and one buffer on either side.

#include <cstdint>
#include <vector>

#include "audio/convert_rate.h"
#include "audio/sound_sink.h"

class LSinkConvertRate {
 public:
  // The rate that will be written.
  explicit LSinkConvertRate(std::int32_t rateHz) noexcept : rate_(rateHz) {}

  // A sink of that rate over the output, or the output itself when it has that rate. No output counts as
  // 44100.
  LSoundSink OpenSink(LSoundSink& output) const;

 private:
  std::int32_t rate_;
};

class LSinkConvertRateBase : public LSoundSinkBase {
 public:
  LSinkConvertRateBase(LSoundSink& output, std::int32_t rateHz);
  ~LSinkConvertRateBase() override;

  // Any count; taken in pieces of at most kiv::kMaxPieceFrames.
  void Write(std::int32_t const* buffer, std::int32_t frames) override;
  // Flushes, moves the output to that frame of its own and takes over its position (0 without output).
  void Seek(std::int32_t frame) override;

  // Forgets the input so far and starts on silence.
  void _Init();
  // Puts out what the filter still holds, as if silence followed.
  void _Flush();
  // Converts what the input buffer holds and keeps the frames that later output needs.
  void _WriteBuffer();

 private:
  void Append(std::int32_t const* buffer, std::int32_t frames);

  LConvertRateBase filter_;
  kiv::NarrowFilter narrowFilter_;
  LSoundSink output_;
  std::vector<std::int32_t> input_;
  std::vector<std::int16_t> planes_;  // The input in 16 bits, one row a channel, where it fits.
  std::vector<std::int32_t> converted_;
  std::int32_t fill_ = 0;   // Samples in the input buffer.
  std::int32_t skip_ = 0;   // Input frames to come that a large step passes over.
  std::int32_t phase_ = 0;  // 0 to phases - 1.
};
