#pragma once

// The second pass of the level control: reads back what the first one spooled and applies a gain that moves from
// block to block.
//
//   Files    samples: interleaved 32-bit words in memory order. Levels: one signed byte (dB) per channel and block.
//   Units    levels in dB, gains Q24, counts in frames.
//   Rule     a block's target gain takes its channel to the tracked level's opposite and then along the compression
//            curve; the gain goes two thirds of the way there in a block. The last block fades to silence.
//   End      fixed at construction: the blocks kept, whole. Behind it the gain is next to nothing, the count of
//            blocks left goes on below 0, and a buffer keeps what it had.
//   Peak     kPeakRaised.
//   Seek     none.
//   Threads  made on one thread, read on one thread.
//   Errors   Error() is kSourceInvalid for an invalid rate or channel count; it then reads as silence. Failed()
//            tells that a file ended too early.
//   Owns     both files; the caller's handles hold nothing afterwards.

#include <array>
#include <cstdint>
#include <vector>

#include "audio/processing/auto_gain_control.h"
#include "audio/processing/compressor_table.h"
#include "audio/processing/spool_file.h"
#include "audio/sound_source.h"
#include "foundation/file_descriptor.h"
#include "foundation/level.h"

class LDPSRCAutoGain : public LSoundSourceBase {
 public:
  // speechLevels: one for each channel. trim: leave out what is much quieter than speech at both ends. a, b: limits
  // of the tracked level. c, slope, d: the compression curve.
  LDPSRCAutoGain(std::int32_t rateHz, std::uint8_t channels, LDBMC const& speechLevels, std::int32_t blocks,
                 LReadWriteFile& sampleFile, LReadWriteFile& levelFile, std::int32_t blockFrames, bool trim, LDB a,
                 LDB b, LDB c, double slope, LDB d);

  void Read(std::int32_t* buffer, std::int32_t frames) override;
  std::int32_t GetPositionSample() const override { return position_; }
  std::int32_t GetEndSample() const override { return end_; }

  bool Failed() const noexcept { return failed_; }

 private:
  // The gain of one channel, and what it grows by in each frame.
  struct Ramp {
    std::int32_t gain = 0;
    std::int32_t increment = 0;
  };

  using LevelRecord = std::array<std::int8_t, LDBMC::kMaxChannels>;

  void Trim(LDBMC const& speechLevels);
  // The next record of the level file: the louder of the first two channels, each with its offset. False when it is not
  // there as a whole.
  bool ReadBlockLevel(LDBMC const& offsets, LDB& level);
  LDB BlockLevel(const LevelRecord& record, LDBMC const& offsets) const noexcept;
  // Pushes the next block's level into the look-ahead, or notes that there is none.
  void LookAhead();
  std::int32_t TargetGain(int channel) const noexcept;
  void StartBlock() noexcept;
  void Apply(std::int32_t* samples, std::int32_t frames) noexcept;

  LAutoGainControl control_;
  LCompressorTableDB curve_;
  LReadWriteFile sampleFile_;
  LReadWriteFile levelFile_;
  kiv::SpoolReader samples_;
  kiv::SpoolReader levels_;
  std::int32_t blocksLeft_;
  std::int32_t blockFrames_;
  std::int32_t framesLeft_ = 0;  // In the current block.
  LDBMC offsets_;
  std::vector<Ramp> ramps_;
  std::int32_t position_ = 0;
  std::int32_t end_ = 0;
  bool failed_ = false;
};
