#pragma once

// Bounded text, and byte order.
//   Text     NUL-terminated bytes (UTF-8). Paths, names and setting values live in buffers of kTextSize bytes;
//            what does not fit is cut silently.
//   Threads  pure functions.

#include <cstddef>
#include <cstdint>

namespace kiv {

inline constexpr std::size_t kTextSize = 260;

// ASCII lower case; every other byte as it is, whatever the locale.
constexpr char FoldCase(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
bool EqualIgnoringCase(const char* a, const char* b) noexcept;

// The number at the start of text: blanks, a sign, digits; 0 without digits. Beyond 32 bits the nearest end of the
// range.
std::int32_t ParseInt32(const char* text) noexcept;

}  // namespace kiv

// Copies at most size - 1 characters and always terminates; size is the whole buffer and at least 1.
void tstrmcpy(char* dst, const char* src, std::size_t size) noexcept;

// The same with the size that the compiler counts.
template <std::size_t size>
void tstrmcpy(char (&dst)[size], const char* src) noexcept {
  tstrmcpy(dst, src, size);
}

// Reverse the byte order in place.
constexpr void LEndianReverse(std::uint16_t& value) noexcept {
  value = static_cast<std::uint16_t>(value << 8 | value >> 8);
}
constexpr void LEndianReverse(std::uint32_t& value) noexcept {
  value = value << 24 | (value & 0xFF00) << 8 | (value >> 8 & 0xFF00) | value >> 24;
}
