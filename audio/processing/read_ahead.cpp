#include "audio/processing/read_ahead.h"

#include <algorithm>
#include <cstddef>

#include "foundation/fixed_point.h"

namespace kiv {
namespace {

constexpr std::int32_t kBufferSamples = 16 * 1024;
// Closer to the end than this many buffers the input is read as asked.
constexpr std::int64_t kBuffersBeforeEnd = 4;

}  // namespace

LSRCReadAhead::LSRCReadAhead(LSoundSource& input)
    : LSoundProcessBase(input),
      bufferFrames_(std::max(kBufferSamples / Channels(), 1)),
      buffer_(static_cast<std::size_t>(bufferFrames_) * Channels()) {}

void LSRCReadAhead::Read(std::int32_t* buffer, std::int32_t frames) {
  const std::size_t channels = Channels();
  while (frames > 0) {
    if (framesLeft_ == 0) {
      const std::int64_t toEnd = std::int64_t{input_->GetEndSample()} - input_->GetPositionSample();
      if (toEnd < kBuffersBeforeEnd * bufferFrames_) {
        input_->Read(buffer, frames);
        return;
      }
      input_->Read(buffer_.data(), bufferFrames_);
      framesLeft_ = bufferFrames_;
    }
    const std::int32_t n = std::min(frames, framesLeft_);
    const auto used = static_cast<std::size_t>(bufferFrames_ - framesLeft_);
    std::copy_n(buffer_.data() + used * channels, static_cast<std::size_t>(n) * channels, buffer);
    buffer += static_cast<std::size_t>(n) * channels;
    framesLeft_ -= n;
    frames -= n;
  }
}

std::int32_t LSRCReadAhead::GetPositionSample() const {
  return WrapSub32(input_->GetPositionSample(), framesLeft_);
}

void LSRCReadAhead::Seek(std::int32_t frame) {
  LSoundProcessBase::Seek(frame);
  framesLeft_ = 0;
}

}  // namespace kiv
