#pragma once

// Everything the system asks of the desktop, in one record.
//
// main or a test fixture fills it before anything else runs; it is never changed while another thread runs,
// and what it points to lives until the process ends. A class takes its port from it when it is made, static
// objects at first use. A null port means that there is none: its user says so or does without, as its header tells.

namespace kiv {

class ApplicationBadge;
class Clock;
class FilePanels;
class Folders;
class HotKeys;
class Opener;
class PreferenceStore;
class SoundInput;
class SoundOutput;

struct Services {
  SoundInput* soundInput = nullptr;
  SoundOutput* soundOutput = nullptr;
  PreferenceStore* preferences = nullptr;
  Folders* folders = nullptr;
  FilePanels* filePanels = nullptr;
  Clock* clock = nullptr;
  HotKeys* hotKeys = nullptr;
  ApplicationBadge* badge = nullptr;
  Opener* opener = nullptr;
};

inline constinit Services services;

}  // namespace kiv
