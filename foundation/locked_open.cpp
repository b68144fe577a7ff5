#include "foundation/locked_open.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace kiv {
namespace {

// Far more than any honest sequence of replacements between two system calls.
constexpr int kMaxReplacements = 1000;

enum class Outcome { Locked, Replaced, Failed };

// Closes without disturbing the reason of a failure.
void CloseKeepingErrno(int fd) noexcept {
  const int reason = errno;
  close(fd);
  errno = reason;
}

bool IsStillNamed(int fd, const char* path) noexcept {
  struct stat opened;
  struct stat named;
  if (fstat(fd, &opened) != 0) return true;  // Cannot tell: keep what we have.
  if (stat(path, &named) != 0) return false;
  return opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

Outcome Lock(int fd, const char* path, int operation) noexcept {
  int result;
  do {
    result = flock(fd, operation);
  } while (result != 0 && errno == EINTR);
  if (result != 0) return Outcome::Failed;
  return IsStillNamed(fd, path) ? Outcome::Locked : Outcome::Replaced;
}

bool Truncate(int fd) noexcept {
  int result;
  do {
    result = ftruncate(fd, 0);
  } while (result != 0 && errno == EINTR);
  return result == 0 || errno == EINVAL;  // Devices and pipes have no length.
}

}  // namespace

int OpenLocked(const char* path, int flags, FileLock lock, mode_t mode) noexcept {
  const int openFlags = (flags & ~O_TRUNC) | O_CLOEXEC | O_NONBLOCK;
  const int operation = (lock == FileLock::Shared ? LOCK_SH : LOCK_EX) | ((flags & O_NONBLOCK) != 0 ? LOCK_NB : 0);
  for (int i = 0; i < kMaxReplacements; ++i) {
    int fd;
    do {
      fd = open(path, openFlags, mode);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) return -1;

    const Outcome outcome = Lock(fd, path, operation);
    if (outcome == Outcome::Locked) {
      if ((flags & O_TRUNC) == 0 || Truncate(fd)) return fd;
    }
    CloseKeepingErrno(fd);
    if (outcome != Outcome::Replaced) return -1;
  }
  errno = EAGAIN;
  return -1;
}

}  // namespace kiv
