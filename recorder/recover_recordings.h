#pragma once

// Recordings that a crash has left: their sound is all there, but their header still says that its length is not known,
// and nobody has put them in the queue.
//
//   Left alone  a file that any process has open, which the kernel tells by granting or refusing a lease on it
//               (fcntl, F_SETLEASE); so are all on a file system without leases, and files of other users.
//   Threads     main, while no recording is under way.
//   Errors      a file that cannot be opened or written stays as it is.

#include "recorder/recording_queue.h"

namespace kiv {

// Finishes the header of each such file of the recordings folder, logs it and adds it to the queue, whose list file is
// set.
void RecoverRecordings(LALCListThread& queue);

}  // namespace kiv
