#pragma once

// Settings files in memory. Users of settings want dat_file.h.
//
//   Threads  items, sections and files belong to the cache and are touched under its mutex only.
//   Cost     linear search: a file holds a few dozen lines. A get allocates nothing, a set of a new key one item.

#include <cstdint>
#include <mutex>

#include "foundation/list.h"
#include "foundation/text.h"

class LDatFileNativeItem {
 public:
  LDatFileNativeItem(const char* itemName, const char* itemValue) noexcept;

  LDatFileNativeItem* next = nullptr;
  char name[kiv::kTextSize];
  char value[kiv::kTextSize];
};

class LDatFileNativeSection {
 public:
  explicit LDatFileNativeSection(const char* sectionName) noexcept;

  // A null value removes the item. A value that replaces another keeps the item's place and the spelling of its name.
  void SetValue(const char* key, const char* value);
  // The first item of that name, past the end if there is none.
  LListIterator<LDatFileNativeItem> Find(const char* key) const noexcept;

  LDatFileNativeSection* next = nullptr;
  char name[kiv::kTextSize];
  LList<LDatFileNativeItem> items;
};

class LDatFileNativeFile {
 public:
  // Empty; nothing is read.
  explicit LDatFileNativeFile(const char* filePath) noexcept;

  // A null key removes the section; a null value removes the key, but makes the section if it was missing. Marks the
  // file as changed, whatever happens.
  void SetValue(const char* section, const char* key, const char* value);
  void GetValue(const char* section, const char* key, const char* defaultValue, char* out) noexcept;

  // Adds what the file on disk holds; nothing if it cannot be opened or is no regular file. Takes at most
  // kMaxLoadedEntries sections and items together, so that no file can fill the memory.
  void Load();
  // Rewrites the file on disk in place.
  void Save();

  static constexpr int kMaxLoadedEntries = 100000;

  LDatFileNativeFile* next = nullptr;
  char path[kiv::kTextSize];
  std::uint32_t lastUse;  // Low 32 bits of the ms since 1970, at the last get or set.
  bool dirty = false;     // Differs from the file on disk.
  LList<LDatFileNativeSection> sections;

 private:
  LListIterator<LDatFileNativeSection> Find(const char* section) const noexcept;
};

// Every settings file that this process has used. A path in another letter case is the same file.
//
// The process's own cache exists before any code runs and is closed after the last static object is gone; it is never
// destroyed, since it holds nothing then. Other instances must be closed by their owners.
class LDatFileNativeSystem {
 public:
  constexpr LDatFileNativeSystem() noexcept = default;
  LDatFileNativeSystem(const LDatFileNativeSystem&) = delete;
  LDatFileNativeSystem& operator=(const LDatFileNativeSystem&) = delete;

  void SetValue(const char* path, const char* section, const char* key, const char* value);
  void GetValue(const char* path, const char* section, const char* key, const char* defaultValue, char* out);

  // Saves what has changed and forgets everything. A set after this goes straight to the disk.
  void Close();

 private:
  // The record of that path, first in the list if it had to be loaded. The mutex is held.
  LDatFileNativeFile& Find(const char* path);
  void SaveAndForgetAll();

  std::mutex mutex_;
  LDatFileNativeFile* files_ = nullptr;  // The latest one first.
  bool closed_ = false;
};

extern constinit LDatFileNativeSystem gDatFileNativeSystem;
