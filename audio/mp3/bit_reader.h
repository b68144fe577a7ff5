#pragma once

// Reads main data, most significant bit first, through a 64-bit window.
//
//   Use      Refill makes at least kRefilled bits ready; Peek and Drop then cost an operation each. Between
//            two refills at most kRefilled bits may be taken.
//   Errors   none; it reads past any end (the reservoir has slack for that). Compare Position with the limit.
//   Threads  a value.

#include <cstdint>
#include <cstring>

namespace kiv::mp3 {

class BitReader {
 public:
  static constexpr int kRefilled = 56;

  BitReader(std::uint8_t const* data, int bit) noexcept : data_(data), next_(data + (bit >> 3)) {
    Refill();
    Drop(bit & 7);
  }

  void Refill() noexcept {
    std::uint64_t word;
    std::memcpy(&word, next_, sizeof word);
    window_ |= __builtin_bswap64(word) >> ready_;
    next_ += (63 - ready_) >> 3;
    ready_ |= 56;
  }
  // count is 1 to 63.
  std::uint32_t Peek(int count) const noexcept { return static_cast<std::uint32_t>(window_ >> (64 - count)); }
  // The next bits from the highest down; the first kRefilled of them hold after a Refill.
  std::uint64_t Window() const noexcept { return window_; }
  // count is 0 to 63.
  void Drop(int count) noexcept {
    window_ <<= count;
    ready_ -= count;
  }
  // count is 0 to 31.
  std::uint32_t Take(int count) noexcept {
    const auto value = static_cast<std::uint32_t>(window_ >> 1 >> (63 - count));
    Drop(count);
    return value;
  }
  // Bits taken since data.
  int Position() const noexcept { return static_cast<int>(next_ - data_) * 8 - ready_; }

 private:
  std::uint8_t const* data_;
  std::uint8_t const* next_;
  std::uint64_t window_ = 0;
  int ready_ = 0;
};

}  // namespace kiv::mp3
