#pragma once

// First-order high-pass over a source, against hum and DC from the line.
//
//   Units    cut-off in Hz.
//   Rule     per channel y = x - (s >> 8), then s += y * k (see one_pole.h); everything wraps in 32 bits.
//   Peak     the input's, doubled while it is at most 0x100000, since the output can swing to twice the input.
//   State    one word per channel, 0 at first and after every Seek.
//   Threads  made on main; Read and Seek on one device thread.
//   Errors   Error() is kSourceInput when the input failed; Read still fills the buffer.
//   Owns     one reference to the input.

#include <cstdint>
#include <vector>

#include "audio/processing/one_pole.h"
#include "audio/sound_process.h"

class LSPHighPass {
 public:
  explicit LSPHighPass(std::int32_t cutoffHz) noexcept : cutoffHz_(cutoffHz) {}
  LSoundSource OpenSource(LSoundSource& input) const;

 private:
  std::int32_t cutoffHz_;
};

class LSRCHighPass : public LSoundProcessBase {
 public:
  LSRCHighPass(LSoundSource& input, std::int32_t cutoffHz);
  void Read(std::int32_t* buffer, std::int32_t frames) override;
  void Seek(std::int32_t frame) override;

 private:
  kiv::HighPassFilter filter_;
  std::vector<std::int32_t> states_;
};
