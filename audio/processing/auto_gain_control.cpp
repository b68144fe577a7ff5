#include "audio/processing/auto_gain_control.h"

#include <algorithm>

#include "foundation/fixed_point.h"

LAutoGainControl::LAutoGainControl(std::uint32_t blocks, LDB a, LDB b)
    : lowest_(-a),
      highest_(-b),
      blocks_(std::max(blocks, 1U)),
      quarter_(blocks_ / 4),
      ring_(blocks_),
      countAtOrAbove_(blocks_) {
  CountAt(0) = blocks_;
}

void LAutoGainControl::Add(LDB level) {
  LDB& entry = ring_[index_];
  --CountAt(entry);
  if (entry >= percentile_) --countAtOrAbove_;
  entry = level;
  ++CountAt(level);
  if (level >= percentile_) ++countAtOrAbove_;
  StepIndex();

  // At -127 dB all of the window counts, so this ends.
  while (countAtOrAbove_ <= quarter_) {
    percentile_ = percentile_ - 1;
    countAtOrAbove_ += CountAt(percentile_);
  }
  while (countAtOrAbove_ - CountAt(percentile_) > quarter_) {
    countAtOrAbove_ -= CountAt(percentile_);
    percentile_ = percentile_ + 1;
  }
  Track();
}

void LAutoGainControl::AddFinal() {
  StepIndex();
  Track();
}

void LAutoGainControl::MoveToward(std::uint32_t divisor) noexcept {
  smoothed_ += (percentile_ - smoothed_) / divisor;
  tracked_ = kiv::TruncateToI32(smoothed_);
}

void LAutoGainControl::Track() noexcept {
  const LDB output = BlockLevel();
  if (output > tracked_ && percentile_ > tracked_ && tracked_ < highest_) MoveToward(quarter_);
  if (output < tracked_ && percentile_ < tracked_ && tracked_ > lowest_) MoveToward(blocks_);
}
