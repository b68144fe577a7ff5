#pragma once

// A note, kept beside the queue's list, of the result that is about to take a recording's place. When a crash comes
// between that and the removal of the recording from the list, the next start finds the result in place and does not
// level it a second time.
//
//   Threads  the queue's worker.
//   Errors   a note that cannot be written is not there: the recording would be levelled again, never lost.

#include <string>

namespace kiv {

class LevelledNote {
 public:
  // The note lies beside the list file.
  explicit LevelledNote(char const* listFilePath);

  // Notes that the finished file resultPath will be renamed to recordingPath.
  void Write(char const* recordingPath, char const* resultPath) const;
  // The file at recordingPath is the one that was noted for it.
  bool Tells(char const* recordingPath) const;
  void Remove() const;

 private:
  std::string path_;
};

}  // namespace kiv
