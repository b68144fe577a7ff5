#pragma once

// Look-ahead peak limiter: no sample leaves it above its limit, whatever goes in.
//
//   Units    the limit in sample units, at most 0x3FFFFF; gains Q24.
//   Rule     each block of rate / 35 frames (20 to 8192) has the gain that its own peak needs, at most 1.0; the gain
//            moves linearly through a block and ends at or below what this block and the next need. At 1.0 throughout,
//            samples pass bit for bit.
//   Bound    for a limit of at least 0 no output is above +limit and none below -(limit + 2): a block's gain is rounded
//            down and the split product rounds down by less than 3 (see MulQ24). With the limit 524272 nothing wraps in
//            the step to 16 bits.
//   Peak     the limit.
//   Delay    none: the output lies where the input lay. Three blocks are read ahead, by the first Read and by
//            every Seek.
//   Threads  made on main; Read, Seek and GetPositionSample on one device thread.
//   Errors   Error() is kSourceInput when the input failed; Read still fills the buffer.
//   Owns     one reference to the input, three block buffers made at construction.

#include <cstdint>
#include <vector>

#include "audio/sound_process.h"

class LSPPeakLimit {
 public:
  explicit LSPPeakLimit(std::int32_t limit) noexcept : limit_(limit) {}
  // The input itself when its declared peak is not above the limit.
  LSoundSource OpenSource(LSoundSource& input) const;

 private:
  std::int32_t limit_;
};

class LSRCPeakLimit : public LSoundProcessBase {
 public:
  LSRCPeakLimit(LSoundSource& input, std::int32_t limit);
  void Read(std::int32_t* buffer, std::int32_t frames) override;
  std::int32_t GetPositionSample() const override;
  void Seek(std::int32_t frame) override;

  // Fills the look-ahead from where the input stands.
  void Restart();

  std::int32_t BlockFrames() const noexcept { return blockFrames_; }

 private:
  struct Block {
    std::vector<std::int32_t> samples;
    std::int32_t gain = 0;
  };

  // Fills the block from the input and computes its gain.
  void ReadBlock(Block& block);
  // Starts the ramp through the first block.
  void StartRamp();

  std::int32_t blockFrames_;
  std::int32_t restartMarker_;
  std::int32_t position_;
  Block out_;   // being output
  Block next_;  // to be output after it
  Block afterNext_;
  std::int32_t previousGain_ = 0;
  std::int32_t gain_ = 0;
  std::int32_t increment_ = 0;
};
