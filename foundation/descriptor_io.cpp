#include "foundation/descriptor_io.h"

#include <unistd.h>

#include <cerrno>

namespace kiv {

std::size_t ReadFully(int file, void* out, std::size_t size, std::int64_t offset) noexcept {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t n = pread(file, static_cast<char*>(out) + done, size - done, offset + static_cast<off_t>(done));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<std::size_t>(n);
  }
  return done;
}

bool WriteFully(int file, void const* data, std::size_t size, std::int64_t offset) noexcept {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t n =
        pwrite(file, static_cast<char const*>(data) + done, size - done, offset + static_cast<off_t>(done));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

bool SyncData(int file) noexcept {
  int result = 0;
  do {
    result = fdatasync(file);
  } while (result != 0 && errno == EINTR);
  return result == 0 || errno == EINVAL || errno == EROFS;
}

}  // namespace kiv
