#include "audio/processing/compressor.h"

#include <algorithm>
#include <cstddef>

#include "audio/buffer_level.h"
#include "audio/processing/sample_loops.h"
#include "foundation/fixed_point.h"

using kiv::AsSigned;

LSoundSource LSPCompressor::OpenSource(LSoundSource& input) const {
  return LSoundSource(new LSRCCompressor(input, a_, base_, time_, b_));
}

LSRCCompressor::LSRCCompressor(LSoundSource& input, LDB a, double base, LSoundTime time, LDB b)
    : LSoundProcessBase(input),
      table_(a, base, b),
      blockFrames_(std::clamp(kiv::FramesFromTime(time, Rate()), 128, kiv::kMaxPieceFrames)),
      position_(blockFrames_),
      current_(static_cast<std::size_t>(blockFrames_) * Channels()),
      ahead_(current_.size()) {
  peak_ = 0x3FFFFF;
}

std::uint32_t LSRCCompressor::ReadBlock(std::vector<std::int32_t>& block) {
  input_->Read(block.data(), blockFrames_);
  return table_.GainQ24(DBFromMeanSquare(GetBufferMeanSquare(block.data(), blockFrames_, Channels())));
}

void LSRCCompressor::NextBlock() {
  if (restart_) {
    currentBlockGain_ = ReadBlock(current_);
    gain_ = currentBlockGain_;
    restart_ = false;
  } else {
    std::swap(current_, ahead_);
    currentBlockGain_ = aheadGain_;
  }
  aheadGain_ = ReadBlock(ahead_);
  if (aheadGain_ < gain_) {
    increment_ = AsSigned(aheadGain_ - gain_) / (blockFrames_ + blockFrames_ / 4);
  } else {
    increment_ = AsSigned(((aheadGain_ + currentBlockGain_) >> 1) - gain_) / (2 * blockFrames_);
  }
  position_ = 0;
}

void LSRCCompressor::Read(std::int32_t* buffer, std::int32_t frames) {
  const std::size_t channels = Channels();
  if (frames < 1) return;
  if (Error() != kSourceGood) {
    std::fill_n(buffer, static_cast<std::size_t>(frames) * channels, 0);
    return;
  }
  while (frames > 0) {
    const std::int32_t n = std::min(frames, blockFrames_ - position_);
    const std::int32_t* const in = current_.data() + static_cast<std::size_t>(position_) * channels;
    gain_ = kiv::ScaleRampQ24(buffer, in, n, Channels(), gain_, increment_);
    buffer += static_cast<std::size_t>(n) * channels;
    frames -= n;
    position_ += n;
    if (position_ >= blockFrames_) NextBlock();
  }
}

std::int32_t LSRCCompressor::GetPositionSample() const {
  const std::int32_t read = input_->GetPositionSample();
  return restart_ ? read : kiv::WrapAdd32(read, position_ - 2 * blockFrames_);
}

void LSRCCompressor::Seek(std::int32_t frame) {
  LSoundProcessBase::Seek(frame);
  restart_ = true;
  position_ = blockFrames_;
}
