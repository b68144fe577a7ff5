#pragma once

// Sample rate of a source, by polyphase windowed-sinc interpolation with a rational step.
//
//   Rule     a filter of 63 taps around every output frame, one row of coefficients for each of up to 255 phases
//            between two input frames. Input is taken in blocks of 8192 frames; a block louder than 16 bits is scaled
//            down to 16 bits by a power of two, filtered, and scaled back.
//   Bits     the two half sums of a filter are exact, whatever the material; the result keeps its low 32 bits. How
//            reads are split, and the vector width, never change a bit.
//   Units    rates in Hz; counts and positions are frames.
//   Channels mono and stereo. Of any other channel count nothing is produced: Read leaves the buffer as it is.
//   Threads  made on one thread; Read and Seek on one thread at a time.
//   Errors   as LSoundProcessBase; kSourceInvalid also for an output rate below 1 (44100 is used instead) and for a
//            pair of rates that has no usable step, which reads as silence.
//   Owns     a reference to the input, the coefficient table and one block, all made at construction.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "audio/rate_filter.h"
#include "audio/sound_process.h"
#include "audio/sound_source.h"

// The step between rates and the filter's coefficients.
class LConvertRateBase {
 public:
  // Taps: 63 for sources, 15 for sinks. The wide guard puts the cut-off lower below the output's Nyquist
  // frequency, for the first of two stages.
  LConvertRateBase(std::int32_t inputRateHz, std::int32_t outputRateHz, std::int32_t taps, bool wideGuard);

  // Step() input frames correspond to Phases() output frames.
  std::int32_t Phases() const noexcept { return phases_; }
  std::int32_t Step() const noexcept { return step_; }
  std::int32_t Taps() const noexcept { return taps_; }
  // Taps() coefficients of a phase (0 to Phases() - 1), Q16.
  std::int32_t const* Row(std::int32_t phase) const noexcept {
    return coefficients_.data() + static_cast<std::size_t>(phase) * static_cast<std::size_t>(taps_);
  }
  // False when there is no step (it would be 0, or a rate is below 1) or when one step is more than a block
  // of kiv::kMaxPieceFrames. Nothing may be converted then.
  bool IsUsable() const noexcept { return usable_; }

 private:
  void FindStep(double ratio) noexcept;
  void DesignFilter(double inputRateHz, double outputRateHz, bool wideGuard);

  std::int32_t phases_ = 1;
  std::int32_t step_ = 0;
  std::int32_t taps_;
  bool usable_ = false;
  std::vector<std::int32_t> coefficients_;
};

class LSPConvertRate {
 public:
  explicit LSPConvertRate(std::int32_t rateHz) noexcept : rate_(rateHz) {}

  // A source with the wanted rate, or the input itself when it is in error or has that rate already. A target
  // below a quarter of the input's rate is reached in two stages, the first to twice the target.
  LSoundSource OpenSource(LSoundSource& input) const;

 private:
  std::int32_t rate_;
};

class LSRCConvertRate : public LSoundProcessBase {
 public:
  LSRCConvertRate(LSoundSource& input, std::int32_t rateHz, bool wideGuard);

  void Read(std::int32_t* buffer, std::int32_t frames) override;
  // Computed from the input's position and the place in the block. The position moves on with the next frame
  // read, not with the last one, so it may lag by one frame. Cut toward zero.
  std::int32_t GetPositionSample() const override;
  std::int32_t GetEndSample() const override;
  // Any frame, negative ones too (the input is then asked for its silence before the start).
  void Seek(std::int32_t frame) override;

  // Takes the next block from the input.
  void ReadBuffer();

 private:
  std::int32_t ToOutputFrames(std::int64_t inputFrames) const noexcept;
  void Convert(std::int32_t* buffer, std::int32_t frames) const;

  LConvertRateBase filter_;
  kiv::NarrowFilter narrowFilter_;
  std::vector<std::int32_t> block_;
  std::vector<std::int16_t> planes_;  // The block in 16 bits, one row a channel.
  std::int32_t blockPosition_;        // First frame in the block under the filter.
  std::int32_t phase_ = 0;            // May stand at or above the phase count between two output frames.
  int scaling_ = 0;                   // The block holds samples / 2^scaling.
  bool narrow_ = false;               // The planes hold the block; of block_ only the last frames are scaled.
  std::int32_t largest_ = 0;          // No scaled sample is further from 0.
  kiv::VectorWidth width_ = kiv::VectorWidth::Scalar;
};
