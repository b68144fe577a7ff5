#pragma once

// Where everything of the program's user lies. The settings object is also the settings file itself (LDatFile); values
// are read where they are used, so a change counts at the next use. Keys, types and defaults: setting_keys.h.
//
//   Threads  Load by main before any other thread runs; read by any thread afterwards. Usable, with empty texts, from
//            the start of the program.
//   Errors   a folder that cannot be made is not reported here: whoever opens a file in it reports that.

#include "foundation/dat_file.h"
#include "foundation/text.h"

class Settings : public LDatFile {
 public:
  constexpr Settings() noexcept = default;

  // Finds and makes the folders: "Kiv" in the user's home folder, and "Recordings" and "Logs" in it. Reads no values.
  void Load();

  char dataFolder[kiv::kTextSize] = {};
  char recordingsFolder[kiv::kTextSize] = {};
  char logsFolder[kiv::kTextSize] = {};
};

extern constinit Settings gSettings;
