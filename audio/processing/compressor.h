#pragma once

// Block-wise compressor with one block of look-ahead, driven by the mean square of whole blocks.
//
//   Units    block time in ms, at least 128 and at most 8192 frames; gains Q24.
//   Rule     the gain moves linearly through each block: where the next block wants less, four fifths of the way to its
//            gain (attack); otherwise half-way to the mean of this and the next block's (release). Gains and their sum
//            are unsigned words.
//   Peak     0x3FFFFF: the curve may raise the level.
//   Delay    none: the output lies where the input lay. Construction reads nothing; the first Read after it or after a
//            Seek reads two blocks ahead, and a Read that ends a block the next one.
//   Threads  made on main; Read, Seek and GetPositionSample on one device thread.
//   Errors   Error() is kSourceInput when the input failed; the output is then silence.
//   Owns     one reference to the input, two block buffers made at construction.

#include <cstdint>
#include <vector>

#include "audio/processing/compressor_table.h"
#include "audio/sound_process.h"
#include "foundation/level.h"
#include "foundation/sound_time.h"

class LSPCompressor {
 public:
  // Threshold, gain factor per dB above it, block time, upper knee.
  LSPCompressor(LDB a, double base, LSoundTime time, LDB b) noexcept : base_(base), time_(time), a_(a), b_(b) {}
  LSoundSource OpenSource(LSoundSource& input) const;

 private:
  double base_;
  LSoundTime time_;
  LDB a_;
  LDB b_;
};

class LSRCCompressor : public LSoundProcessBase {
 public:
  LSRCCompressor(LSoundSource& input, LDB a, double base, LSoundTime time, LDB b);
  void Read(std::int32_t* buffer, std::int32_t frames) override;
  std::int32_t GetPositionSample() const override;
  void Seek(std::int32_t frame) override;

  std::int32_t BlockFrames() const noexcept { return blockFrames_; }

 private:
  // Fills the block from the input and answers its gain.
  std::uint32_t ReadBlock(std::vector<std::int32_t>& block);
  void NextBlock();

  LCompressorTableGain table_;
  std::int32_t blockFrames_;
  std::int32_t position_;
  std::vector<std::int32_t> current_;
  std::vector<std::int32_t> ahead_;
  std::uint32_t currentBlockGain_ = 0;
  std::uint32_t aheadGain_ = 0;
  std::uint32_t gain_ = 0;
  std::int32_t increment_ = 0;
  bool restart_ = true;
};
