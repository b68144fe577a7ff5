#include "audio/processing/high_pass_iir2.h"

#include <cstddef>

#include "foundation/fixed_point.h"

using kiv::MulQ24;
using kiv::WrapAdd32;
using kiv::WrapSub32;

LSRCHighPassIIR2::LSRCHighPassIIR2(LSoundSource& input) : LSoundProcessBase(input), states_(Channels()) {}

void LSRCHighPassIIR2::SetCoefficients(std::int32_t c1Q24, std::int32_t c2Q24, std::int32_t c3Q24,
                                       std::int32_t c4Q24) noexcept {
  c1Q24_ = c1Q24;
  c2Q24_ = c2Q24;
  c3Q24_ = c3Q24;
  c4Q24_ = c4Q24;
}

void LSRCHighPassIIR2::Read(std::int32_t* buffer, std::int32_t frames) {
  if (frames < 1) return;
  input_->Read(buffer, frames);
  const std::size_t stride = Channels();
  const std::size_t count = static_cast<std::size_t>(frames) * stride;
  for (std::size_t c = 0; c < stride; ++c) {
    State s = states_[c];
    for (std::size_t i = c; i < count; i += stride) {
      const std::int32_t x = buffer[i];
      const std::int32_t forward = WrapAdd32(MulQ24(WrapAdd32(x, s.x2), c3Q24_), MulQ24(s.x1, c4Q24_));
      const std::int32_t y = WrapSub32(WrapSub32(forward, MulQ24(s.y1, c1Q24_)), MulQ24(s.y2, c2Q24_));
      buffer[i] = y;
      s = {.x1 = x, .x2 = s.x1, .y1 = y, .y2 = s.y1};
    }
    states_[c] = s;
  }
}
