#include "audio/convert_rate_sink.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "foundation/fixed_point.h"

namespace {

using kiv::kMaxPieceFrames;

constexpr std::int32_t kTaps = 15;
constexpr std::int32_t kHistoryFrames = kTaps / 2;
// The frames that complete the filter over the last one, and one more, since a filter runs only when a frame
// follows it.
constexpr std::int32_t kFlushFrames = 8;
constexpr int kTo16Bit = 4;
constexpr int kFrom16Bit = 11;  // Two halves of Q16 sums, to 16 times the 16-bit value.

constexpr std::int32_t kInputFrames = kTaps + kMaxPieceFrames;

std::int32_t OutputRate(LSoundSink const& output) {
  return output.IsEmpty() ? kiv::kFallbackRate : output->Rate();
}

}  // namespace

LSoundSink LSinkConvertRate::OpenSink(LSoundSink& output) const {
  if (OutputRate(output) == rate_) return output;
  return LSoundSink(new LSinkConvertRateBase(output, rate_));
}

LSinkConvertRateBase::LSinkConvertRateBase(LSoundSink& output, std::int32_t rateHz)
    : LSoundSinkBase(rateHz, output.IsEmpty() ? std::uint8_t{1} : output->Channels()),
      filter_(rateHz, OutputRate(output), kTaps, false),
      narrowFilter_(filter_),
      output_(output) {
  if (channels_ == 0) {
    channels_ = 1;
    error_ |= kSinkFailed;
  }
  if (!filter_.IsUsable()) error_ |= kSinkFailed;
  input_.resize(static_cast<std::size_t>(kInputFrames) * channels_);
  planes_.resize(channels_ <= 2 ? input_.size() : 0);
  converted_.resize(static_cast<std::size_t>(kMaxPieceFrames) * channels_);
  _Init();
}

LSinkConvertRateBase::~LSinkConvertRateBase() {
  _Flush();
}

void LSinkConvertRateBase::_Init() {
  phase_ = 0;
  skip_ = 0;
  fill_ = kHistoryFrames * channels_;
  std::fill_n(input_.begin(), fill_, 0);
}

void LSinkConvertRateBase::Write(std::int32_t const* buffer, std::int32_t frames) {
  if (frames < 1) return;
  position_ = kiv::WrapAdd32(position_, frames);
  while (frames > 0) {
    const std::int32_t n = std::min(frames, kMaxPieceFrames);
    Append(buffer, n);
    _WriteBuffer();
    buffer += std::ptrdiff_t{n} * channels_;
    frames -= n;
  }
}

void LSinkConvertRateBase::Append(std::int32_t const* buffer, std::int32_t frames) {
  const std::int32_t passed = std::min(skip_, frames);
  skip_ -= passed;
  buffer += std::ptrdiff_t{passed} * channels_;
  const std::int32_t samples = (frames - passed) * channels_;
  std::transform(buffer, buffer + samples, input_.begin() + fill_,
                 [](std::int32_t sample) { return kiv::ShiftRight(sample, kTo16Bit); });
  fill_ += samples;
}

void LSinkConvertRateBase::_WriteBuffer() {
  if (channels_ > 2 || !filter_.IsUsable()) {
    fill_ = 0;
    return;
  }
  const std::ptrdiff_t channels = channels_;
  const std::int32_t filled = fill_ / channels_;
  const std::int32_t available = filled - kTaps;
  const kiv::VectorWidth width = kiv::BestVectorWidth();
  std::int32_t largest = 1;
  bool narrow = available > 0 && narrowFilter_.Serves(width, largest);
  if (narrow) {
    largest = std::max(largest, kiv::PackNarrow(width, input_.data(), filled, channels_, 0, planes_.data()));
    narrow = largest <= INT16_MAX && narrowFilter_.Serves(width, largest);
  }

  std::int32_t at = 0;
  while (at < available) {
    const std::int64_t ready = kiv::CountBefore(filter_, phase_, available - at);
    const auto count = static_cast<std::int32_t>(std::min<std::int64_t>(ready, kMaxPieceFrames));
    const kiv::RateRun run{phase_, count, kFrom16Bit, largest};
    if (narrow) {
      for (std::ptrdiff_t c = 0; c < channels; ++c) {
        narrowFilter_.Convert(width, run, planes_.data() + c * filled + at, converted_.data() + c, channels);
      }
    } else {
      kiv::ConvertPlain(filter_, run, input_.data() + at * channels, channels_, converted_.data());
    }
    if (!output_.IsEmpty()) output_->Write(converted_.data(), count);
    const std::int64_t steps = phase_ + std::int64_t{count} * filter_.Step();
    at += static_cast<std::int32_t>(steps / filter_.Phases());
    phase_ = static_cast<std::int32_t>(steps % filter_.Phases());
  }

  // What is before the next output frame's filter has done its work. A large step may end behind the buffer.
  const std::int32_t used = std::min(at, filled);
  skip_ += at - used;
  std::copy(input_.begin() + used * channels, input_.begin() + fill_, input_.begin());
  fill_ -= static_cast<std::int32_t>(used * channels);
}

void LSinkConvertRateBase::_Flush() {
  static constexpr std::array<std::int32_t, std::size_t{kFlushFrames} * UINT8_MAX> kSilence{};
  Append(kSilence.data(), kFlushFrames);
  _WriteBuffer();
}

void LSinkConvertRateBase::Seek(std::int32_t frame) {
  _Flush();
  if (output_.IsEmpty()) {
    position_ = 0;
  } else {
    output_->Seek(frame);
    position_ = output_->Position();
  }
  _Init();
}
