#include "audio/processing/gain.h"

#include "audio/processing/sample_loops.h"
#include "foundation/fixed_point.h"

LSoundSource LSPGain::OpenSource(LSoundSource& input) const {
  return LSoundSource(new LSRCGain(input, gain_));
}

LSRCGain::LSRCGain(LSoundSource& input, LDB gain) noexcept
    : LSoundProcessBase(input), factorQ9_(kiv::AsSigned(LDB::tab.Amplitude(gain) >> 15)) {
  if (gain > 0) peak_ = kiv::kPeakRaised;
}

void LSRCGain::Read(std::int32_t* buffer, std::int32_t frames) {
  if (frames < 1) return;
  input_->Read(buffer, frames);
  kiv::ScaleQ9(buffer, std::int64_t{frames} * Channels(), factorQ9_);
}
