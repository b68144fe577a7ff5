#include "foundation/file_descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "foundation/line_reader.h"

namespace {

// Byte by byte from a descriptor; a failed read counts as the end.
class DescriptorBytes {
 public:
  explicit DescriptorBytes(int fd) : fd_(fd) {}
  bool Next(char& byte) const noexcept {
    ssize_t result;
    do {
      result = read(fd_, &byte, 1);
    } while (result < 0 && errno == EINTR);
    return result == 1;
  }
  void Back() const noexcept { lseek(fd_, -1, SEEK_CUR); }

 private:
  int fd_;
};

}  // namespace

bool LReadFileRef::ReadLine(char* buf, std::size_t size) const noexcept {
  DescriptorBytes bytes(fd);
  return kiv::ReadLineFrom(bytes, buf, size);
}

namespace kiv {

OwnedDescriptor& OwnedDescriptor::operator=(OwnedDescriptor&& other) noexcept {
  const int fd = other.Release();  // First, so that assigning to itself keeps the descriptor.
  Close();
  fd_ = fd;
  return *this;
}

void OwnedDescriptor::Close() noexcept {
  if (fd_ >= 0) close(fd_);
  fd_ = -1;
}

}  // namespace kiv

LReadFile LReadFile::Open(const char* path) noexcept {
  int fd;
  do {
    fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  } while (fd < 0 && errno == EINTR);
  return LReadFile(fd);
}
