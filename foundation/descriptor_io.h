#pragma once

// Whole transfers at a place of an open file: goes on after an interruption or a short transfer, and leaves the file
// position alone. And the question whether they have arrived.
//   Units    bytes.
//   Threads  as the descriptor.

#include <cstddef>
#include <cstdint>

namespace kiv {

// Gives the number of bytes read: fewer than size at the end of the file or at an error.
std::size_t ReadFully(int file, void* out, std::size_t size, std::int64_t offset) noexcept;

// False when not everything could be written; errno tells why. What did fit is written.
bool WriteFully(int file, void const* data, std::size_t size, std::int64_t offset) noexcept;

// Returns when what was written would survive a power cut. False when the disk does not keep it: one behind a network
// may have taken every write, and refuse here and only to whoever asks first. What cannot be synchronised (a pipe) is
// no failure.
bool SyncData(int file) noexcept;

}  // namespace kiv
