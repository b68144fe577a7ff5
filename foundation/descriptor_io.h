#pragma once

// Whole transfers at a place of an open file: goes on after an interruption or a short transfer, and leaves the file
// position alone.
//   Units    bytes.
//   Threads  as the descriptor.

#include <cstddef>
#include <cstdint>

namespace kiv {

// Gives the number of bytes read: fewer than size at the end of the file or at an error.
std::size_t ReadFully(int file, void* out, std::size_t size, std::int64_t offset) noexcept;

// False when not everything could be written; errno tells why. What did fit is written.
bool WriteFully(int file, void const* data, std::size_t size, std::int64_t offset) noexcept;

}  // namespace kiv
