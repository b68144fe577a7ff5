#pragma once

// Second-order filter over a source, with equal first and last feed-forward coefficients:
//   y = c3 * (x + x2) + c4 * x1 - c1 * y1 - c2 * y2
//
//   Units    coefficients signed Q24. All are 0, and the output silence, until they are set.
//   Rule     MulQ24 products, each up to 2 below the exact one; sums wrap in 32 bits.
//   State    the last two inputs and outputs of each channel, 0 at first. A Seek keeps it.
//   Threads  made and set up on main; Read and Seek on one device thread.
//   Errors   Error() is kSourceInput when the input failed; Read still fills the buffer.
//   Owns     one reference to the input.

#include <cstdint>
#include <vector>

#include "audio/sound_process.h"

class LSRCHighPassIIR2 : public LSoundProcessBase {
 public:
  explicit LSRCHighPassIIR2(LSoundSource& input);
  void Read(std::int32_t* buffer, std::int32_t frames) override;

  // Takes effect with the next sample read; the state stays.
  void SetCoefficients(std::int32_t c1Q24, std::int32_t c2Q24, std::int32_t c3Q24, std::int32_t c4Q24) noexcept;

 private:
  struct State {
    std::int32_t x1 = 0;
    std::int32_t x2 = 0;
    std::int32_t y1 = 0;
    std::int32_t y2 = 0;
  };

  std::int32_t c1Q24_ = 0;
  std::int32_t c2Q24_ = 0;
  std::int32_t c3Q24_ = 0;
  std::int32_t c4Q24_ = 0;
  std::vector<State> states_;
};
