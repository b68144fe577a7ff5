#include "audio/processing/high_pass.h"

#include <algorithm>
#include <cstddef>

#include "foundation/fixed_point.h"

LSoundSource LSPHighPass::OpenSource(LSoundSource& input) const {
  return LSoundSource(new LSRCHighPass(input, cutoffHz_));
}

LSRCHighPass::LSRCHighPass(LSoundSource& input, std::int32_t cutoffHz)
    : LSoundProcessBase(input), filter_(kiv::OnePoleCoefficientQ8(cutoffHz, Rate())), states_(Channels()) {
  if (peak_ <= 0x100000) peak_ = kiv::WrapShiftLeft32(peak_, 1);
}

void LSRCHighPass::Read(std::int32_t* buffer, std::int32_t frames) {
  if (frames < 1) return;
  input_->Read(buffer, frames);
  for (std::size_t c = 0; c < states_.size(); ++c) {
    states_[c] = filter_.Run(buffer + c, frames, Channels(), states_[c]);
  }
}

void LSRCHighPass::Seek(std::int32_t frame) {
  LSoundProcessBase::Seek(frame);
  std::fill(states_.begin(), states_.end(), 0);
}
