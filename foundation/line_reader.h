#pragma once

// The rule by which bytes become lines, over any place that bytes come from.

#include <cstddef>

namespace kiv {

// Bytes has two operations: `bool Next(char& byte)`, false (and byte untouched) at the end, and `void
// Back()`, which moves the position back by one byte. Contract and quirk as LReadFileRef::ReadLine tells
// them.
template <typename Bytes>
bool ReadLineFrom(Bytes& bytes, char* buf, std::size_t size) noexcept {
  std::size_t stored = 0;
  char byte = 0;
  bool ended = false;
  while (!ended && bytes.Next(byte)) {
    if (byte == '\r' || byte == '\n') {
      ended = true;
    } else if (stored + 1 < size) {
      buf[stored++] = byte;
    }
  }
  buf[stored] = '\0';
  if (!ended) return stored > 0;

  // The other half of a two-byte line end is swallowed. Back is called at the end of the file, too, where it
  // uncovers the line end itself.
  char ahead = 0;
  bytes.Next(ahead);
  if ((ahead != '\r' && ahead != '\n') || ahead == byte) bytes.Back();
  return true;
}

}  // namespace kiv
