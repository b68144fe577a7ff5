#pragma once

// The one-pole low-pass in the high-pass filter and in the speech weighting of the level control, run over buffers.
//
// Its state s is the low-frequency part of the signal times 256. With that part taken off, y = x - (s >> 8), the state
// follows by s += y * k; all of it wraps in 32 bits.
//
// The recursion is serial, but its memory is short: two runs over the same samples from different states (of the same
// filter, so that they differ by a multiple of k) soon meet exactly. With wide vector instructions a long mono buffer
// is therefore cut into eight segments that run side by side, each from a guess a little ahead of its start. Where the
// end of one segment is not exactly the state that the next one started from, the beginning of that one is run again.
// So the bits are those of the serial loop, whatever the signal.
//
//   Units    k is Q8: 1 - e^(-2 pi cutoff / rate), truncated. Counts are samples of one channel; the stride is the
//            number of channels.
//   Threads  pure functions of their arguments and the constants of the object.

#include <cstdint>

namespace kiv {

std::int32_t OnePoleCoefficientQ8(std::int32_t cutoffHz, std::int32_t rateHz) noexcept;

class HighPassFilter {
 public:
  explicit HighPassFilter(std::int32_t kQ8) noexcept;

  // Filters in place from the state on and answers the state behind the last sample.
  std::int32_t Run(std::int32_t* samples, std::int64_t count, std::int64_t stride, std::int32_t state) const noexcept;

 private:
  std::int32_t kQ8_;
  std::int64_t warmUp_;
};

// The weighting toward the speech band: a high-pass, and 6 dB more above a second frequency.
//   h = x - (s1 >> 8), y = 2 h - (s2 >> 8), s1 += h * k1, s2 += (h - (s2 >> 8)) * k2
class SpeechFilter {
 public:
  struct State {
    std::int32_t s1 = 0;
    std::int32_t s2 = 0;
    bool operator==(const State&) const = default;
  };

  SpeechFilter(std::int32_t k1Q8, std::int32_t k2Q8) noexcept;

  // Writes the weighted samples to out, which is another buffer; stride is that of both.
  void Run(std::int32_t* out, std::int32_t const* in, std::int64_t count, std::int64_t stride,
           State& state) const noexcept;

 private:
  void Step(std::int32_t* out, std::int32_t x, State& state) const noexcept;
  void RunSerially(std::int32_t* out, std::int32_t const* in, std::int64_t count, std::int64_t stride,
                   State& state) const noexcept;

  std::int32_t k1Q8_;
  std::int32_t k2Q8_;
  std::int64_t warmUp_;
};

}  // namespace kiv
