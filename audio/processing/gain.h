#pragma once

// Fixed gain over a source.
//
//   Units    whole dB in; factor Q9, 512 = 1.0.
//   Rule     a sample times the factor in 32 bits, which wrap, and the last 9 bits off: at 16-bit full scale the
//            product wraps from +19 dB on. 0 dB leaves every sample inside 0x3FFFFF as it is.
//   Peak     kPeakRaised for a gain above 0 dB, else the input's.
//   Threads  made on main; Read and Seek on one device thread.
//   Errors   Error() is kSourceInput when the input failed; Read still fills the buffer.
//   Owns     one reference to the input.

#include <cstdint>

#include "audio/sound_process.h"
#include "foundation/level.h"

class LSPGain {
 public:
  explicit LSPGain(LDB gain) noexcept : gain_(gain) {}
  LSoundSource OpenSource(LSoundSource& input) const;

 private:
  LDB gain_;
};

class LSRCGain : public LSoundProcessBase {
 public:
  LSRCGain(LSoundSource& input, LDB gain) noexcept;
  void Read(std::int32_t* buffer, std::int32_t frames) override;

 private:
  std::int32_t factorQ9_;
};
