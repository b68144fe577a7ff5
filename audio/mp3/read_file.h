#pragma once

// The bytes of an MP3 file that may be decoded: a descriptor plus the number of bytes still available.
//
//   Units    bytes. The available bytes are the file without its last kTrailingTagBytes.
//   Errors   a file that cannot be opened has no bytes. A file that turns out shorter than it was (another
//            program cut it) ends where it ends.
//   Threads  one at a time.
//   Owns     the descriptor.

#include <cstddef>
#include <cstdint>
#include <memory>

class MP3ReadFile {
 public:
  // Where a tag of the old kind would be. Never decoded, whether there is one or not.
  static constexpr std::int64_t kTrailingTagBytes = 128;

  explicit MP3ReadFile(char const* path) noexcept;
  ~MP3ReadFile();
  MP3ReadFile(MP3ReadFile const&) = delete;
  MP3ReadFile& operator=(MP3ReadFile const&) = delete;

  // All bytes that may be decoded.
  std::int64_t DataBytes() const noexcept { return dataBytes_; }
  // Bytes after the place of the next Read.
  std::int64_t Remaining() const noexcept { return remaining_; }

  // Reads up to count bytes; answers how many there were.
  std::size_t Read(std::uint8_t* bytes, std::size_t count) noexcept;
  // Passes over count bytes, fewer at the end.
  void Skip(std::int64_t count) noexcept;
  // The next Read is at offset (from 0; past the end there is nothing to read).
  void SeekTo(std::int64_t offset) noexcept;

 private:
  static constexpr std::size_t kBufferBytes = 16384;

  bool Fill() noexcept;

  int descriptor_ = -1;
  std::int64_t dataBytes_ = 0;
  std::int64_t remaining_ = 0;
  // A stretch of the file; the next Read begins at bufferNext_.
  std::unique_ptr<std::uint8_t[]> buffer_;
  std::size_t bufferNext_ = 0;
  std::size_t bufferEnd_ = 0;
};
