#pragma once

// Temporary files that are written once from front to back and then read the same way, in large pieces.
//
//   Names    hidden, ".kiv-level-" and six random characters, in a folder that the caller names; so they lie on
//            the file system of what they belong to and match no pattern of sound files.
//   Locks    each is locked while it is in use, which tells it from one that a crash left behind.
//   Errors   as told below; a full disk shows when a writer is flushed at the latest.
//   Threads  one at a time; none of the objects owns its descriptor.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/file_descriptor.h"

namespace kiv {

// Makes and locks a temporary file in the folder and puts its path into path. Not open when that failed (errno
// tells why); path is then empty.
LReadWriteFile CreateSpoolFile(const std::string& folder, std::string& path);

// Removes the temporary files in the folder that no process holds. Answers how many went.
int RemoveStaleSpoolFiles(const std::string& folder);

// Collects writes.
class SpoolWriter {
 public:
  explicit SpoolWriter(int descriptor);

  void Write(const void* bytes, std::size_t size);
  // Passes what is left to the system. False when any byte since construction was not taken.
  bool Flush();
  // A write fell short. What follows it is dropped.
  bool Failed() const noexcept { return failed_; }

 private:
  void Put(const std::uint8_t* bytes, std::size_t size);

  int descriptor_;
  std::vector<std::uint8_t> buffer_;
  std::size_t used_ = 0;
  bool failed_ = false;
};

// Reads ahead.
class SpoolReader {
 public:
  explicit SpoolReader(int descriptor);

  // The number of bytes stored; fewer than size only at the end of the file or after a read error.
  std::size_t Read(void* bytes, std::size_t size);
  void Seek(std::int64_t offset);

 private:
  int descriptor_;
  std::int64_t offset_ = 0;  // Of the file, behind what the buffer holds.
  std::vector<std::uint8_t> buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

}  // namespace kiv
