#pragma once

// What happens to a recording after the call: automatic level control, a copy to a chosen folder, and the deletion of
// old recordings. One at a time, oldest first, behind the next call.
//
// The preferences "AutoLevelControl", "CopyRecordings", "CopyToFolder" and "AutoDeleteDays" are read for each
// recording. Nothing here ever loses a recording: a result takes the recording's place by one rename, and when the
// level control failed, the recording as it was stays beside it, named "<base> (original).wav".

#include <sys/types.h>

#include "foundation/text.h"
#include "recorder/process_list_thread.h"

// One recording, by its full path. A record of the list file.
struct LALCListItem {
  char path[kiv::kTextSize];

  LALCListItem() = default;
  explicit LALCListItem(char const* recordingPath) noexcept : path{} { tstrmcpy(path, recordingPath); }

  // A record comes from a file that anybody may have written.
  void MakeValid() noexcept { path[sizeof path - 1] = '\0'; }

  // The list at that path is about to be resumed / its first record has been removed.
  static void PrepareList(char const* listFilePath);
  static void Removed(char const* listFilePath);
};
static_assert(sizeof(LALCListItem) == kiv::kTextSize);

using LALCListThread = LProcessListThread<LALCListItem, LProcessInterfaceNotifyVoid>;

namespace kiv {

// Deletes the "*.wav" files of the recordings folder that were last modified more than "AutoDeleteDays" days ago; none
// with 0 days. Runs after every recording worked off, not by a schedule.
void DeleteOldRecordings();

// The file mask of copies that are new in the chosen folder, which others may share; without a call it is the process's
// own. Before the queue is started.
void SetCopyMask(mode_t mask);

}  // namespace kiv

// Works one recording off, on the worker. 1 when the worker was asked to stop during the level control, else 0.
template <typename Thread>
int Process(Thread& thread, LALCListItem const& item);
extern template int Process<LALCListThread>(LALCListThread& thread, LALCListItem const& item);

// The queue of the program.
extern LALCListThread thrLALCListItem;
