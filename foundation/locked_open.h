#pragma once

// The one way in which this program opens a file that it shares with other processes or threads.
//
//   Locks    advisory, on the whole file (flock), tied to the descriptor: gone when its last copy is closed. Two
//            descriptors of one process exclude each other like those of two processes.
//   Threads  any.
//   Errors   -1 and errno; a refused lock is EAGAIN.

#include <sys/types.h>

namespace kiv {

enum class FileLock { Shared, Exclusive };

// Opens path and locks it. flags as for open(2), with these differences:
//   O_NONBLOCK  a lock that somebody else holds is refused at once (EAGAIN); without it the call waits.
//   O_TRUNC     the file is emptied after it has been locked, so a refused lock leaves it whole.
//   always      O_CLOEXEC, since a child that inherits the descriptor would keep the lock; and the open itself never
//               waits for the other end of a pipe.
// The file behind the descriptor is the one that has that name after the lock was taken: when it was replaced
// or removed in between, the new one is opened. A file that is replaced again and again is EAGAIN at last.
int OpenLocked(const char* path, int flags, FileLock lock, mode_t mode = 0777) noexcept;

}  // namespace kiv
