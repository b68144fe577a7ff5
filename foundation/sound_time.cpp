#include "foundation/sound_time.h"

using kiv::WrapAdd32;
using kiv::WrapMul32;

void LSoundTime::SetText(char const* text) noexcept {
  std::int32_t total = 0;
  std::int32_t field = 0;
  std::int32_t multiplier = 100;
  bool inFraction = false;
  bool negative = false;
  for (; *text != '\0'; ++text) {
    const char c = *text;
    if (c >= '0' && c <= '9') {
      const std::int32_t digit = c - '0';
      if (inFraction) {
        total = WrapAdd32(total, digit * multiplier);
        multiplier /= 10;
      } else {
        const std::int32_t growth = WrapAdd32(WrapMul32(9, field), digit * 1000);
        total = WrapAdd32(total, growth);
        field = WrapAdd32(field, growth);
      }
    } else if (c == ':') {
      total = WrapMul32(total, 60);
      field = 0;
    } else if (c == '.' && !inFraction) {
      inFraction = true;
    } else if (c == '-') {
      negative = true;
    }
  }
  ms_ = negative ? kiv::WrapNegate32(total) : total;
}
