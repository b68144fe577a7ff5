#include "tests/support/file_locks.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <thread>

namespace kiv::test {

ForeignLock::ForeignLock(const std::string& path, bool exclusive) : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (fd_ < 0 || flock(fd_, (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0) std::abort();
}

ForeignLock::~ForeignLock() {
  Release();
}

void ForeignLock::Release() {
  if (fd_ >= 0) close(fd_);
  fd_ = -1;
}

bool WaitUntilLockIsAwaited(const std::string& path) {
  struct stat file;
  if (stat(path.c_str(), &file) != 0) return false;
  std::string inode = ":";
  inode += std::to_string(file.st_ino) += ' ';
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (std::chrono::steady_clock::now() < limit) {
    std::ifstream locks("/proc/locks");  // Those who wait are marked with an arrow.
    for (std::string line; std::getline(locks, line);) {
      if (line.find("->") != std::string::npos && line.find(inode) != std::string::npos) return true;
    }
    std::this_thread::yield();
  }
  return false;
}

}  // namespace kiv::test
