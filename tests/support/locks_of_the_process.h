#pragma once

// File locks as a network file system may have them: they keep other processes out, and not the threads and descriptors
// of one. This is the program's own flock, in place of the C library's, so one source of a test program includes it.

#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>

namespace kiv::test {

// While set, locks keep nobody out; from any thread.
inline std::atomic<bool> locksAreTheProcesss{false};

}  // namespace kiv::test

extern "C" int flock(int file, int operation) noexcept {
  return kiv::test::locksAreTheProcesss ? 0 : static_cast<int>(syscall(SYS_flock, file, operation));
}
