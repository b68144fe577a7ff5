#include <fnmatch.h>

#include "foundation/file.h"
#include "foundation/text.h"

bool LFile::FolderIteratorAllFiles::Open(const char* folder) noexcept {
  Close();
  directory_ = opendir(folder);
  return Next();
}

bool LFile::FolderIteratorAllFiles::Next() noexcept {
  entry_.d_name[0] = '\0';
  if (directory_ == nullptr) return false;
  const dirent* const entry = readdir(directory_);
  if (entry == nullptr) {
    Close();
    return false;
  }
  entry_.d_ino = entry->d_ino;
  entry_.d_type = entry->d_type;
  tstrmcpy(entry_.d_name, entry->d_name);
  return true;
}

void LFile::FolderIteratorAllFiles::Close() noexcept {
  entry_.d_name[0] = '\0';
  if (directory_ != nullptr) closedir(directory_);
  directory_ = nullptr;
}

bool LFile::FolderIterator::Open(const char* folder, const char* pattern) {
  pattern_ = pattern;
  return FolderIteratorAllFiles::Open(folder) && SkipToMatch();
}

bool LFile::FolderIterator::SkipToMatch() noexcept {
  while (directory_ != nullptr) {
    if (fnmatch(pattern_.c_str(), Name(), FNM_CASEFOLD) == 0) return true;
    Next();
  }
  return false;
}
