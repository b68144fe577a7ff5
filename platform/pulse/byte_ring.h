#pragma once

// First in, first out, of bytes; when it is full the oldest go.
//   Threads  one at a time.

#include <cstddef>
#include <vector>

namespace kiv {

class ByteRing {
 public:
  // Forgets everything and has room for capacity bytes from then on.
  void Reset(std::size_t capacity);

  // Appends; null data appends zeros. Gives the number of bytes that had to go, the oldest ones, in whole multiples of
  // unit (so that what is left still begins with a whole frame). capacity and size are such multiples.
  std::size_t Push(void const* data, std::size_t size, std::size_t unit);

  // Takes size bytes, oldest first; false, and nothing taken, when there are fewer.
  bool Pop(void* out, std::size_t size);

  std::size_t Size() const noexcept { return size_; }

 private:
  std::vector<std::byte> bytes_;
  std::size_t begin_ = 0;
  std::size_t size_ = 0;
};

}  // namespace kiv
