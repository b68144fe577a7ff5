#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "foundation/file.h"
#include "foundation/locked_open.h"

namespace {

bool IsFile(int descriptor, const char* path) noexcept {
  struct stat opened {};
  struct stat named {};
  return fstat(descriptor, &opened) == 0 && stat(path, &named) == 0 && opened.st_dev == named.st_dev &&
         opened.st_ino == named.st_ino;
}

}  // namespace

bool LFile::CopyFile(const char* from, const char* to) noexcept {
  const LReadFile input(kiv::OpenLocked(from, O_RDONLY | O_NONBLOCK, kiv::FileLock::Shared));
  if (!input.IsOpen()) return false;
  // The locks tell as much, but not on every network file system, and the file would be emptied.
  if (IsFile(input.Descriptor(), to)) return false;
  const LReadWriteFile output(kiv::OpenLocked(to, O_RDWR | O_CREAT | O_TRUNC | O_NONBLOCK, kiv::FileLock::Exclusive));
  if (!output.IsOpen()) return false;

  char block[8192];
  for (;;) {
    ssize_t got;
    do {
      got = read(input.Descriptor(), block, sizeof block);
    } while (got < 0 && errno == EINTR);
    if (got <= 0) return true;  // A failed read counts as the end of the file.

    ssize_t put;
    do {
      put = write(output.Descriptor(), block, static_cast<std::size_t>(got));
    } while (put < 0 && errno == EINTR);
    // A failed write goes unnoticed, as the header says.
  }
}

bool LFile::TestFileOpen(const char* path) noexcept {
  const LReadFile file(kiv::OpenLocked(path, O_RDONLY | O_NONBLOCK, kiv::FileLock::Exclusive));
  return !file.IsOpen() && errno == EAGAIN;
}
