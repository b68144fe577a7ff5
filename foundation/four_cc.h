#pragma once

// Four-character codes ('TNet' and the like) as numbers, most significant character first. Multi-character
// literals would do the same but do not pass the warnings.

#include <cstdint>

namespace kiv {

consteval std::uint32_t FourCC(const char (&code)[5]) {
  std::uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(code[i]);
  return value;
}

static_assert(FourCC("1203") == 0x31323033);

}  // namespace kiv
