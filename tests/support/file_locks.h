#pragma once

// File locks seen from the side of the other process.

#include <string>

namespace kiv::test {

// A lock that somebody else holds, from construction to Release or the end.
class ForeignLock {
 public:
  // Opens the existing file and takes the lock; aborts the test program when that is not possible.
  ForeignLock(const std::string& path, bool exclusive);
  ~ForeignLock();
  ForeignLock(const ForeignLock&) = delete;
  ForeignLock& operator=(const ForeignLock&) = delete;
  void Release();

 private:
  int fd_;
};

// Waits, at most thirty seconds, until somebody stands in line for a lock on the file. The caller names the file
// by a path that still leads to it.
bool WaitUntilLockIsAwaited(const std::string& path);

}  // namespace kiv::test
