#pragma once

// Automatic level control of one finished recording, in its place.
//
//   Safety   the result is made beside the recording under a hidden name and takes its place by one rename; nothing is
//            deleted first. A result that is not what it should be (the recording could not be read to its end, it grew
//            meanwhile, the disk was full) still takes the place, and the recording as it was stays as
//            "<base> (original).wav". If not even a name for that can be had, the recording stays and the result goes.
//   Threads  the queue's worker.
//   Errors   in the log: "Error: Level control failed: " and the base name.

#include "foundation/thread.h"

namespace kiv {

enum class Levelled {
  Finished,  // levelled, or failed and logged
  Stopped,   // the thread was asked to stop; the recording is as it was
};

// name is the recording's base name, for the log. listFilePath names the list that the recording is in.
Levelled LevelRecording(LThread& thread, char const* path, char const* name, char const* listFilePath);

// Removes what a crashed run has left beside the recordings in a folder.
void RemoveLevelLeftovers(char const* folder);

}  // namespace kiv
