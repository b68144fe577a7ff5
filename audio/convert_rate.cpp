#include "audio/convert_rate.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "audio/buffer_level.h"
#include "foundation/fixed_point.h"

namespace {

using kiv::kMaxPieceFrames;

constexpr std::int32_t kTaps = 63;
constexpr std::int32_t kMiddle = kTaps / 2;  // Tap that lies on the output frame in phase 0.
// A block: the last frames of the one before, then new ones.
constexpr std::int32_t kBlockFrames = kTaps + kMaxPieceFrames;
// Behind the block, so that the first frame read takes a block and has the stream's first frame in the
// middle.
constexpr std::int32_t kStartPosition = kMaxPieceFrames + kTaps - kMiddle;

constexpr int kMaxNarrowScaling = 15;

constexpr std::int32_t kMaxPhases = 255;
constexpr double kGoodEnough = 0.001;  // Error of the step, in input frames per output frame.

constexpr double kOne = 65536.0;  // Coefficients are Q16.

// Modified Bessel function of order 0, to six terms.
double BesselI0(double x) {
  double sum = 1.0;
  double power = 1.0;
  double factorial = 1.0;
  for (int k = 1; k <= 6; ++k) {
    power *= (x / 2.0) * (x / 2.0);
    factorial *= k;
    sum += power / (factorial * factorial);
  }
  return sum;
}

}  // namespace

LConvertRateBase::LConvertRateBase(std::int32_t inputRateHz, std::int32_t outputRateHz, std::int32_t taps,
                                   bool wideGuard)
    : taps_(std::max(taps, 0)) {
  if (inputRateHz < 1 || outputRateHz < 1) return;
  FindStep(static_cast<double>(inputRateHz) / outputRateHz);
  if (usable_) DesignFilter(inputRateHz, outputRateHz, wideGuard);
}

void LConvertRateBase::FindStep(double ratio) noexcept {
  double best = ratio;
  for (std::int32_t i = 1; i <= kMaxPhases; ++i) {
    const double error = std::fabs(ratio - std::trunc(ratio * i + 0.5) / i);
    if (error < best) {
      phases_ = i;
      if (error < kGoodEnough) break;
      best = error;
    }
  }
  const double step = std::trunc(ratio * phases_ + 0.5);
  usable_ = step >= 1.0 && step <= static_cast<double>(kMaxPieceFrames) * phases_;
  if (usable_) step_ = kiv::TruncateToI32(step);
}

void LConvertRateBase::DesignFilter(double inputRateHz, double outputRateHz, bool wideGuard) {
  const bool up = outputRateHz > inputRateHz;
  const double guard = wideGuard ? 0.09375 : 0.046875;
  const double cutOff = up ? 0.975 : outputRateHz / inputRateHz - guard;  // 1.0 is the input's Nyquist frequency.
  const double beta = up ? 2.12 : 4.538;
  const double gain = cutOff * kOne / BesselI0(beta);
  const std::int32_t half = taps_ / 2;
  const double windowSquare = (half + 1.0) * (half + 1.0);

  coefficients_.resize(static_cast<std::size_t>(phases_) * static_cast<std::size_t>(taps_));
  std::size_t at = 0;
  for (std::int32_t p = 0; p < phases_; ++p) {
    const double delay = static_cast<double>(p) / phases_;
    for (std::int32_t k = 0; k < taps_; ++k) {
      const double t = (k - half) - delay;
      if (t == 0.0) {
        coefficients_[at++] = kiv::TruncateToI32(cutOff * kOne + 0.5);
      } else {
        // A cut-off of exactly 0 makes this 0 / 0, which rounds to the right coefficient: 0.
        const double angle = std::numbers::pi * cutOff * t;
        const double window = BesselI0(beta * std::sqrt(1.0 - t * t / windowSquare));
        coefficients_[at++] = kiv::RoundToI32(gain * std::sin(angle) / angle * window);
      }
    }
  }
}

LSoundSource LSPConvertRate::OpenSource(LSoundSource& input) const {
  if (input->Error() != kSourceGood || input->Rate() == rate_) return input;
  if (std::int64_t{4} * rate_ >= input->Rate()) return LSoundSource(new LSRCConvertRate(input, rate_, false));
  // Doubled only where it can be; an invalid target stays invalid.
  const std::int32_t between = rate_ < 1 ? rate_ : 2 * rate_;
  LSoundSource firstStage(new LSRCConvertRate(input, between, true));
  return LSoundSource(new LSRCConvertRate(firstStage, rate_, false));
}

LSRCConvertRate::LSRCConvertRate(LSoundSource& input, std::int32_t rateHz, bool wideGuard)
    : LSoundProcessBase(input),
      filter_(input->Rate(), rateHz < 1 ? kiv::kFallbackRate : rateHz, kTaps, wideGuard),
      narrowFilter_(filter_),
      block_(static_cast<std::size_t>(kBlockFrames) * input->Channels()),
      planes_(input->Channels() <= 2 ? block_.size() : 0),
      blockPosition_(kStartPosition) {
  rate_ = rateHz;
  if (rate_ < 1) {
    rate_ = kiv::kFallbackRate;
    error_ = kSourceInvalid;
  }
  if (!filter_.IsUsable()) error_ = kSourceInvalid;
  // Interpolation can overshoot.
  if (peak_ <= 1048576) peak_ = kiv::WrapMul32(peak_, 2);
}

std::int32_t LSRCConvertRate::ToOutputFrames(std::int64_t inputFrames) const noexcept {
  if (!filter_.IsUsable()) return 0;
  // Cut toward zero, before the start too, where Seek rounds down.
  return kiv::Wrap32(inputFrames * filter_.Phases() / filter_.Step());
}

std::int32_t LSRCConvertRate::GetPositionSample() const {
  return ToOutputFrames(std::int64_t{input_->GetPositionSample()} + blockPosition_ - kStartPosition);
}

std::int32_t LSRCConvertRate::GetEndSample() const {
  return ToOutputFrames(input_->GetEndSample());
}

void LSRCConvertRate::Seek(std::int32_t frame) {
  if (!filter_.IsUsable()) return;
  // Rounded toward minus infinity, so that the phase is never negative: a second stage that seeks to 0 sends
  // the first one before its start.
  const std::int64_t product = std::int64_t{frame} * filter_.Step();
  const std::int64_t inputFrame = kiv::FloorDivide(product, filter_.Phases());
  phase_ = static_cast<std::int32_t>(product - inputFrame * filter_.Phases());
  input_->Seek(kiv::Wrap32(inputFrame - kMiddle));
  blockPosition_ = kMaxPieceFrames;
  input_->Read(block_.data() + static_cast<std::size_t>(kMaxPieceFrames) * channels_, kTaps);
  scaling_ = 0;
}

void LSRCConvertRate::ReadBuffer() {
  const std::size_t channels = channels_;
  const std::size_t history = kTaps * channels;
  std::int32_t const* const lastFrames = block_.data() + kMaxPieceFrames * channels;
  for (std::size_t i = 0; i < history; ++i) block_[i] = kiv::WrapShiftLeft32(lastFrames[i], scaling_);
  input_->Read(block_.data() + history, kMaxPieceFrames);
  blockPosition_ -= kMaxPieceFrames;

  // Peak and 16-bit samples come from one pass, which takes the scaling to stay as it was.
  width_ = kiv::BestVectorWidth();
  const bool mayBeNarrow = channels_ <= 2 && narrowFilter_.Serves(width_, 1);
  const int guess = std::min(scaling_, kMaxNarrowScaling);
  const std::int32_t peak = mayBeNarrow
                                ? kiv::PackNarrow(width_, block_.data(), kBlockFrames, channels_, guess, planes_.data())
                                : GetBufferPeak(block_.data(), kBlockFrames, channels_);
  scaling_ = 0;
  while ((peak >> scaling_) > INT16_MAX) ++scaling_;
  const std::int64_t half = scaling_ > 0 ? std::int64_t{1} << (scaling_ - 1) : 0;

  // The peak may be rounded up to 32768, which 16 bits would take for -32768; and from 2^30 on the result is shifted
  // left.
  largest_ = (peak >> scaling_) + 1;
  narrow_ = mayBeNarrow && scaling_ <= kMaxNarrowScaling && ((peak + half) >> scaling_) <= INT16_MAX &&
            narrowFilter_.Serves(width_, largest_);
  std::size_t from = 0;
  if (narrow_) {
    if (scaling_ != guess) {
      kiv::PackNarrow(width_, block_.data(), kBlockFrames, channels_, scaling_, planes_.data());
    }
    from = kMaxPieceFrames * channels;  // The history of the next block is all that is still needed here.
  }
  if (scaling_ > 0) {
    for (std::size_t i = from; i < block_.size(); ++i) {
      block_[i] = static_cast<std::int32_t>((block_[i] + half) >> scaling_);
    }
  }
}

void LSRCConvertRate::Read(std::int32_t* buffer, std::int32_t frames) {
  if (channels_ > 2) return;
  if (!filter_.IsUsable()) {
    std::fill_n(buffer, std::ptrdiff_t{std::max(frames, 0)} * channels_, 0);
    return;
  }
  while (frames > 0) {
    const std::int32_t whole = phase_ / filter_.Phases();
    blockPosition_ += whole;
    phase_ -= whole * filter_.Phases();
    if (blockPosition_ >= kMaxPieceFrames) ReadBuffer();
    const std::int64_t inBlock = kiv::CountBefore(filter_, phase_, kMaxPieceFrames - blockPosition_);
    const auto count = static_cast<std::int32_t>(std::min<std::int64_t>(frames, inBlock));
    Convert(buffer, count);
    // The place stays at the last output frame; the step to the next one is taken when that is read.
    const std::int64_t steps = phase_ + std::int64_t{count - 1} * filter_.Step();
    blockPosition_ += static_cast<std::int32_t>(steps / filter_.Phases());
    phase_ = static_cast<std::int32_t>(steps % filter_.Phases()) + filter_.Step();
    buffer += std::ptrdiff_t{count} * channels_;
    frames -= count;
  }
}

void LSRCConvertRate::Convert(std::int32_t* buffer, std::int32_t frames) const {
  // Samples from 2^30 on are scaled by 16 bits, one more than the sums bring: the shift turns around.
  const kiv::RateRun run{phase_, frames, 15 - scaling_, largest_};
  const auto position = static_cast<std::size_t>(blockPosition_);
  if (!narrow_) {
    kiv::ConvertPlain(filter_, run, block_.data() + position * channels_, channels_, buffer);
    return;
  }
  for (std::size_t c = 0; c < channels_; ++c) {
    narrowFilter_.Convert(width_, run, planes_.data() + c * kBlockFrames + position, buffer + c, channels_);
  }
}
