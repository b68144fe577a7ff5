#pragma once

// Owners of one descriptor of an open file, and the line reader.
//
//   Owns     LReadFile and LReadWriteFile close their descriptor when they go; LReadFileRef owns nothing.
//   Empty    the descriptor is -1.
//   Threads  as an int.

#include <cstddef>

// Somebody else's descriptor.
class LReadFileRef {
 public:
  constexpr explicit LReadFileRef(int descriptor) noexcept : fd(descriptor) {}

  // Reads one line, without its end, from the file position on; at most size - 1 characters are stored (size
  // is the whole buffer, at least 1), the rest of a longer line is skipped. A line ends at CR, LF, CR LF or
  // LF CR. False at the end of the file; a last line without an end still counts if it holds a character.
  //
  // A CR or LF that is the very last byte of the file is not consumed: every further call gives an empty line
  // and true. Loops over files that others may have written must watch the file position.
  //
  // Reads byte by byte, so the file position is always just behind the line.
  bool ReadLine(char* buf, std::size_t size) const noexcept;

  int fd;
};

namespace kiv {

// What LReadFile and LReadWriteFile share.
class OwnedDescriptor {
 public:
  constexpr OwnedDescriptor() noexcept = default;
  constexpr explicit OwnedDescriptor(int descriptor) noexcept : fd_(descriptor) {}
  OwnedDescriptor(OwnedDescriptor&& other) noexcept : fd_(other.Release()) {}
  OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept;
  ~OwnedDescriptor() { Close(); }

  int Descriptor() const noexcept { return fd_; }
  bool IsOpen() const noexcept { return fd_ >= 0; }
  // Gives the descriptor to the caller and holds -1 from then on.
  [[nodiscard]] int Release() noexcept {
    const int fd = fd_;
    fd_ = -1;
    return fd;
  }
  void Close() noexcept;

 private:
  int fd_ = -1;
};

}  // namespace kiv

// A file open for reading.
class LReadFile : public kiv::OwnedDescriptor {
 public:
  using OwnedDescriptor::OwnedDescriptor;
  // Without a lock; not open when that failed (errno tells why). Never waits for the other end of a pipe.
  static LReadFile Open(const char* path) noexcept;
  LReadFileRef Ref() const noexcept { return LReadFileRef(Descriptor()); }
};

// A file open for reading and writing.
class LReadWriteFile : public kiv::OwnedDescriptor {
 public:
  using OwnedDescriptor::OwnedDescriptor;
  LReadFileRef Ref() const noexcept { return LReadFileRef(Descriptor()); }
};
