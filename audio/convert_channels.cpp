#include "audio/convert_channels.h"

#include <algorithm>
#include <cstddef>

#include "foundation/fixed_point.h"

using kiv::kMaxPieceFrames;

LSoundSource LSPConvChannels::OpenSource(LSoundSource& input) const {
  if (input->Error() == kSourceGood) {
    if (channels_ == 1 && input->Channels() == 2) return LSoundSource(new LSRCConvStereoMono(input));
    if (channels_ == 2 && input->Channels() == 1) return LSoundSource(new LSRCConvMonoStereo(input));
  }
  return input;
}

LSRCConvChannels::LSRCConvChannels(LSoundSource& input, std::uint8_t channels)
    : LSoundProcessBase(input), work_(std::size_t{input->Channels()} * kMaxPieceFrames) {
  channels_ = channels;
}

void LSRCConvStereoMono::Read(std::int32_t* buffer, std::int32_t frames) {
  const std::size_t stride = input_->Channels();
  while (frames > 0) {
    const std::int32_t n = std::min(frames, kMaxPieceFrames);
    input_->Read(work_.data(), n);
    for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) buffer[i] = work_[i * stride];
    buffer += n;
    frames -= n;
  }
}

void LSRCConvMonoStereo::Read(std::int32_t* buffer, std::int32_t frames) {
  const std::size_t stride = input_->Channels();
  while (frames > 0) {
    const std::int32_t n = std::min(frames, kMaxPieceFrames);
    input_->Read(work_.data(), n);
    for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
      buffer[2 * i] = work_[i * stride];
      buffer[2 * i + 1] = work_[i * stride];
    }
    buffer += std::ptrdiff_t{2} * n;
    frames -= n;
  }
}

LSinkConvertChannels::LSinkConvertChannels(LSoundSink& output, std::uint8_t channels) noexcept
    : LSoundSinkBase(output.IsEmpty() ? kiv::kFallbackRate : output->Rate(), channels), output_(output) {}

LSoundSink LSinkConvertChannels::OpenSink(LSoundSink& output, std::uint8_t channels) {
  const std::uint8_t outputChannels = output.IsEmpty() ? std::uint8_t{1} : output->Channels();
  if (channels == outputChannels) return output;
  if (channels == 2 && outputChannels == 1) return LSoundSink(new LSinkConvertMonoToStereo(output));
  if (channels == 1 && outputChannels == 2) return LSoundSink(new LSinkConvertStereoToMono(output));
  return {};
}

void LSinkConvertChannels::Seek(std::int32_t frame) {
  if (output_.IsEmpty()) {
    position_ = 0;
    return;
  }
  output_->Seek(frame);
  position_ = output_->Position();
}

void LSinkConvertMonoToStereo::Write(std::int32_t const* buffer, std::int32_t frames) {
  while (frames > 0) {
    const std::int32_t n = std::min(frames, kMaxPieceFrames);
    position_ = kiv::WrapAdd32(position_, n);
    if (!output_.IsEmpty()) {
      for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
        work_[i] = kiv::FloorAverage32(buffer[2 * i], buffer[2 * i + 1]);
      }
      output_->Write(work_.data(), n);
    }
    buffer += std::ptrdiff_t{2} * n;
    frames -= n;
  }
}

void LSinkConvertStereoToMono::Write(std::int32_t const* buffer, std::int32_t frames) {
  while (frames > 0) {
    const std::int32_t n = std::min(frames, kMaxPieceFrames);
    position_ = kiv::WrapAdd32(position_, n);
    if (!output_.IsEmpty()) {
      for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
        work_[2 * i] = buffer[i];
        work_[2 * i + 1] = buffer[i];
      }
      output_->Write(work_.data(), n);
    }
    buffer += n;
    frames -= n;
  }
}
