#include "platform/pulse/byte_ring.h"

#include <algorithm>
#include <cstring>

namespace kiv {

void ByteRing::Reset(std::size_t capacity) {
  bytes_.assign(capacity, std::byte{0});
  begin_ = 0;
  size_ = 0;
}

std::size_t ByteRing::Push(void const* data, std::size_t size, std::size_t unit) {
  const std::size_t capacity = bytes_.size();
  if (capacity == 0) return size;
  std::size_t dropped = 0;
  const auto* from = static_cast<std::byte const*>(data);
  if (size > capacity) {  // Only the newest part can stay.
    const std::size_t tooMuch = (size - capacity + unit - 1) / unit * unit;
    if (from != nullptr) from += tooMuch;
    size -= tooMuch;
    dropped += tooMuch;
  }
  if (size_ + size > capacity) {
    const std::size_t oldest = std::min(size_, (size_ + size - capacity + unit - 1) / unit * unit);
    begin_ = (begin_ + oldest) % capacity;
    size_ -= oldest;
    dropped += oldest;
  }
  const std::size_t end = (begin_ + size_) % capacity;
  const std::size_t first = std::min(size, capacity - end);
  if (from != nullptr) {
    std::memcpy(bytes_.data() + end, from, first);
    std::memcpy(bytes_.data(), from + first, size - first);
  } else {
    std::memset(bytes_.data() + end, 0, first);
    std::memset(bytes_.data(), 0, size - first);
  }
  size_ += size;
  return dropped;
}

bool ByteRing::Pop(void* out, std::size_t size) {
  if (size > size_) return false;
  if (size == 0) return true;
  const std::size_t first = std::min(size, bytes_.size() - begin_);
  std::memcpy(out, bytes_.data() + begin_, first);
  std::memcpy(static_cast<std::byte*>(out) + first, bytes_.data(), size - first);
  begin_ = (begin_ + size) % bytes_.size();
  size_ -= size;
  return true;
}

}  // namespace kiv
