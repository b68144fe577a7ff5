#pragma once

// The queue's list on disk: an 8-byte header, then records of one size in the order in which they were added. The first
// record is the one being worked on; it goes only when it is done, so that a crash leaves it in the list.
//
//   Header   version, unsigned 16 bit, 1; start counter, unsigned 16 bit: how many program starts have resumed this
//            list without a record having been worked off since; record size, unsigned 32 bit. The machine's byte
//            order.
//   Locks    every operation opens the file under an advisory lock and lets go of it before it returns, so that adding
//            and removing, from any thread or process, never meet inside the file. A mutex is taken before: on network
//            file systems such a lock keeps other processes out and not the threads of one. The file is rewritten in
//            place.
//            Before a removal moves the rest up, the new content is put beside it under a hidden name; what a crash in
//            the middle of the move left is mended from there by the next change.
//   Threads  any, once the path is set.
//   Errors   a file that cannot be opened acts like an empty list; a write that fails leaves the list as it was or
//            shorter by what did not fit. Nothing is reported: recordings stay on disk whatever happens to the list.

#include <cstdint>
#include <mutex>

#include "foundation/text.h"

namespace kiv {

class RecordListFile {
 public:
  static constexpr std::uint16_t kVersion = 1;
  static constexpr std::uint16_t kMaxStarts = 2;
  static constexpr std::int64_t kHeaderSize = 8;

  explicit constexpr RecordListFile(std::uint32_t recordSize) noexcept : recordSize_(recordSize) {}

  void SetPath(char const* path) noexcept { tstrmcpy(path_, path); }
  char const* Path() const noexcept { return path_; }

  enum class Resumed {
    Yes,      // there is a list of ours; this start has been counted
    Nothing,  // no list, a foreign one, or one that two starts could not work off: it has been deleted
    Busy,     // somebody holds a lock; nothing was changed
  };
  // Called once at start. Does not wait for a lock.
  Resumed Resume();

  // Appends a record of recordSize bytes; the first one makes the header.
  void Append(void const* record);

  // Copies the first record. False when there is none; what is less than a record deletes the file.
  bool ReadFirst(void* record);

  // Removes the first record and sets the start counter back; the last one empties the file.
  void RemoveFirst();

 private:
  // Path of the content that a removal is about to put in place; empty when it would not fit a path.
  void JournalPath(char (&journal)[kTextSize]) const noexcept;
  void MendFromJournal(int file) const;

  std::mutex mutex_;  // Held for the whole of an operation.
  std::uint32_t recordSize_;
  char path_[kTextSize] = {};
};

}  // namespace kiv
