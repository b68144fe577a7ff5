#include "audio/processing/peak_limit.h"

#include <algorithm>
#include <cstddef>

#include "audio/buffer_level.h"
#include "audio/processing/sample_loops.h"
#include "foundation/fixed_point.h"

using kiv::AsSigned;
using kiv::AsUnsigned;
using kiv::ShiftRight;
using kiv::WrapAdd32;
using kiv::WrapMul32;
using kiv::WrapShiftLeft32;
using kiv::WrapSub32;

namespace {

constexpr std::int32_t kUnity = AsSigned(kiv::kUnityQ24);
// The largest limit that the gain formula can shift left by 9.
constexpr std::int32_t kMaxLimit = 0x3FFFFF;

}  // namespace

LSoundSource LSPPeakLimit::OpenSource(LSoundSource& input) const {
  return input->Peak() > limit_ ? LSoundSource(new LSRCPeakLimit(input, limit_)) : input;
}

LSRCPeakLimit::LSRCPeakLimit(LSoundSource& input, std::int32_t limit)
    : LSoundProcessBase(input),
      blockFrames_(std::clamp(Rate() / 35, 20, kiv::kMaxPieceFrames)),
      restartMarker_(3 * blockFrames_),
      position_(restartMarker_) {
  peak_ = std::min(limit, kMaxLimit);
  for (Block* block : {&out_, &next_, &afterNext_}) {
    block->samples.resize(static_cast<std::size_t>(blockFrames_) * Channels());
  }
}

void LSRCPeakLimit::ReadBlock(Block& block) {
  input_->Read(block.samples.data(), blockFrames_);
  const std::int32_t peak = GetBufferPeak(block.samples.data(), blockFrames_, Channels());
  block.gain = kUnity;
  if (peak > peak_) {
    // limit / peak, rounded down: the divisor is the peak in units of 64, rounded up past it.
    const auto divisor = AsSigned((AsUnsigned(peak) + 64) >> 6);
    block.gain = WrapMul32(WrapShiftLeft32(peak_, 9) / divisor, 512);
  }
}

void LSRCPeakLimit::StartRamp() {
  const std::int32_t sum = WrapAdd32(WrapAdd32(previousGain_, out_.gain), WrapAdd32(next_.gain, afterNext_.gain));
  const std::int32_t delta =
      std::min(WrapSub32(ShiftRight(sum, 2), gain_), WrapSub32(std::min(next_.gain, out_.gain), gain_));
  increment_ = delta / blockFrames_;
  // The remainder is taken at once, so that the ramp lands exactly.
  gain_ = WrapAdd32(gain_, delta - increment_ * blockFrames_);
  position_ = 0;
}

void LSRCPeakLimit::Restart() {
  ReadBlock(out_);
  previousGain_ = out_.gain;
  ReadBlock(next_);
  ReadBlock(afterNext_);
  gain_ = out_.gain;
  StartRamp();
}

void LSRCPeakLimit::Read(std::int32_t* buffer, std::int32_t frames) {
  const std::size_t channels = Channels();
  while (frames > 0) {
    if (position_ >= restartMarker_) {
      Restart();
    } else if (position_ >= blockFrames_) {
      previousGain_ = out_.gain;
      std::swap(out_, next_);
      std::swap(next_, afterNext_);
      ReadBlock(afterNext_);
      StartRamp();
    }
    const std::int32_t n = std::min(frames, blockFrames_ - position_);
    const std::int32_t* const in = out_.samples.data() + static_cast<std::size_t>(position_) * channels;
    if (gain_ >= kUnity && increment_ == 0) {
      std::copy_n(in, static_cast<std::size_t>(n) * channels, buffer);
    } else {
      gain_ = AsSigned(kiv::ScaleRampQ24(buffer, in, n, Channels(), AsUnsigned(gain_), increment_));
    }
    buffer += static_cast<std::size_t>(n) * channels;
    frames -= n;
    position_ += n;
  }
}

std::int32_t LSRCPeakLimit::GetPositionSample() const {
  return WrapAdd32(input_->GetPositionSample(), position_ - restartMarker_);
}

void LSRCPeakLimit::Seek(std::int32_t frame) {
  LSoundProcessBase::Seek(frame);
  Restart();
}
