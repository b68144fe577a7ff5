#include "foundation/text.h"

#include <algorithm>
#include <cstring>

void tstrmcpy(char* dst, const char* src, std::size_t size) noexcept {
  const std::size_t length = strnlen(src, size - 1);
  std::memmove(dst, src, length);
  dst[length] = '\0';
}

namespace kiv {

bool EqualIgnoringCase(const char* a, const char* b) noexcept {
  for (;; ++a, ++b) {
    if (*a != *b && FoldCase(*a) != FoldCase(*b)) return false;
    if (*a == '\0') return true;
  }
}

std::int32_t ParseInt32(const char* text) noexcept {
  while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
  const bool negative = *text == '-';
  if (negative || *text == '+') ++text;
  constexpr std::int64_t kBeyond = std::int64_t{INT32_MAX} + 1;
  std::int64_t number = 0;
  for (; *text >= '0' && *text <= '9'; ++text) number = std::min(number * 10 + (*text - '0'), kBeyond);
  return static_cast<std::int32_t>(negative ? -number : std::min<std::int64_t>(number, INT32_MAX));
}

}  // namespace kiv
