#pragma once

// Settings files: plain text of [section] headers and name=value lines.
//
//   Text     names and values of at most 259 characters; longer ones are cut when they are stored, so that an over-long
//            name never finds what it stored. Names of files, sections and keys are compared without regard to ASCII
//            letter case; the spelling kept is the first one.
//   Life     a file is read at its first use and then lives in memory (gDatFileNativeSystem); what was changed is
//            written when the process exits, not before. Static objects may use everything here in their constructors
//            and destructors, in any order of translation units. A process that ends abnormally loses its changes.
//   Threads  any; all operations of the process take turns, the reading of a file at its first use included. That one
//            waits while another process holds the file's exclusive lock.
//   Errors   none: a file that cannot be read is empty, a file that cannot be written loses the changes.

#include <cstdint>

#include "foundation/level.h"
#include "foundation/sound_time.h"
#include "foundation/text.h"

// Stores a value. A null value removes the key, a null key the whole section.
void LDatFileSetValue(const char* path, const char* section, const char* key, const char* value);

// The stored value, or the default (its first 259 characters) where section or key is missing. out holds 260 bytes. An
// empty value is present.
void LDatFileGetValue(const char* path, const char* section, const char* key, const char* defaultValue, char* out);

// One settings file, by its path. Booleans are stored as the texts "true" and "false", levels and times as texts of
// the caller's making.
class LDatFile {
 public:
  constexpr LDatFile() noexcept = default;
  explicit LDatFile(const char* path) noexcept { tstrmcpy(path_, path); }

  const char* Path() const noexcept { return path_; }

  void SetValue(const char* section, const char* key, const char* value) const {
    LDatFileSetValue(path_, section, key, value);
  }
  void GetValue(const char* section, const char* key, const char* defaultValue, char* out) const {
    LDatFileGetValue(path_, section, key, defaultValue, out);
  }

  void SetLong(const char* section, const char* key, std::int32_t value) const;
  // A missing key and an empty value give the default. Leading digits count: "12abc" is 12, "abc" 0; what does not fit
  // 32 bits gives the end of the range.
  std::int32_t GetLong(const char* section, const char* key, std::int32_t defaultValue) const;
  // True when the text begins with a lower-case "t". So "True", "1", "yes" and an empty value are false, even where the
  // default is true; only a missing key gives the default.
  bool GetBool(const char* section, const char* key, bool defaultValue) const;
  // A missing key and an empty value give the default.
  LDB GetDB(const char* section, const char* key, LDB defaultValue) const;
  LSoundTime GetSoundTime(const char* section, const char* key, LSoundTime defaultValue) const;

 protected:
  char path_[kiv::kTextSize] = {};
};
