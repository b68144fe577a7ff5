#pragma once

// Paths, whole files and folders.
//
//   Text     NUL-terminated bytes; every `out` and every `path` that is written holds kiv::kTextSize (260) bytes.
//            '/' and '\' both separate. What does not fit is cut silently.
//   Threads  any, except the panels: main only.
//   Errors   only what the boolean result tells.

#include <dirent.h>

#include <cstddef>
#include <string>

#include "foundation/file_descriptor.h"
#include "platform/file_panels.h"

class LFile {
 public:
  // --- Paths

  // The user's home folder; "/Users/Shared" when none is known or its path does not fit.
  static void GetUserDataFolder(char* out);
  // The program's folder "Kiv" in it, made when missing. The result is mkdir's: -1 also for a folder that
  // exists, so it tells nothing and callers ignore it.
  static int GetUserDataFolderApp(char* out);
  // A folder in that one, made likewise.
  static int GetUserDataFolderAppSubFolder(const char* name, char* out);

  // Joins in place, with a '/' between when path is not empty and does not end in a separator. A path of 259
  // characters or more is left exactly as it is.
  static void _FilePathCat(char* path, const char* name) noexcept;
  // The same with two pieces and nothing between them (a name and its extension). Gives the length of path
  // after it.
  static std::size_t _FilePathCat(char* path, const char* a, const char* b) noexcept;
  static void FilePathCat(char* path, const char* name) noexcept { _FilePathCat(path, name); }
  static std::size_t FilePathCat(char* path, const char* a, const char* b) noexcept { return _FilePathCat(path, a, b); }

  // What follows the last separator. A component of 259 characters or more ends the search and is the result,
  // cut.
  static void _GetFileFromPath(char* out, const char* path) noexcept;
  // The same without its extension: cut at the last '.', unless that is its first character.
  static void _GetFileNameFromPath(char* out, const char* path) noexcept;

  // Makes part of a file name from what a person typed: drops " * . / : < > ? \ |, control characters and
  // every byte of 0x80 and above (so letters outside ASCII vanish, by intent). False when nothing is left.
  static bool PreprocessName(const char* in, char* out) noexcept;

  // --- Files

  // Copies bytes; `to` is made (0777 less the process's mask) or emptied first. Never waits for a lock: false
  // when `from` cannot be read under a shared lock or `to` not written under an exclusive one, and then `to`
  // is as it was (copying a file onto itself is such a case). Otherwise true, also when a read failed
  // half-way or the disk was full: the copy is short then, and nobody is told.
  static bool CopyFile(const char* from, const char* to) noexcept;

  // Is somebody holding a lock on the file? A missing or unreadable file is not in use.
  static bool TestFileOpen(const char* path) noexcept;

  // --- Panels

  // Let the user choose; false, with out empty, when the user cancelled, no panels are installed or the
  // chosen path does not fit: 259 characters for a folder, 255 for a file. startPlace: a folder, a file whose
  // folder is meant, or "".
  static bool BrowseFolder(WindowRef parent, char* out, const char* title, const char* startPlace = "");
  static bool BrowseReadFilePath(WindowRef parent, char* out, const char* title, const char* startPlace = "");

  // --- Folders

  // Every entry of one folder, "." and ".." included, in the order of the file system.
  class FolderIteratorAllFiles {
   public:
    FolderIteratorAllFiles() noexcept = default;
    ~FolderIteratorAllFiles() { Close(); }
    FolderIteratorAllFiles(const FolderIteratorAllFiles&) = delete;
    FolderIteratorAllFiles& operator=(const FolderIteratorAllFiles&) = delete;

    // Stands on the first entry afterwards; false when the folder cannot be read. A folder left open from
    // before is closed.
    bool Open(const char* folder) noexcept;
    // Moves on. False behind the last entry; the iterator is closed then and its name empty.
    bool Next() noexcept;
    // Name of the current entry, valid until the next move; "" when there is none.
    const char* Name() const noexcept { return entry_.d_name; }
    void Close() noexcept;

   protected:
    DIR* directory_ = nullptr;
    dirent entry_ = {};
  };

  // The entries whose name matches a shell wildcard ("*.wav"), letter case ignored; '/' and a leading '.' are
  // ordinary characters.
  //   for (bool more = it.Open(folder, "*.wav"); more; more = it.Next() && it.SkipToMatch()) ...
  class FolderIterator : public FolderIteratorAllFiles {
   public:
    // Stands on the first match afterwards; false, and closed, when there is none.
    bool Open(const char* folder, const char* pattern);
    // Moves on to the next match unless the current entry is one. False at the end.
    bool SkipToMatch() noexcept;

   private:
    std::string pattern_;
  };
};
