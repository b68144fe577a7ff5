#pragma once

// Every setting of the program: which store holds it under which key, its type and its default. Engine, queue, main
// window and preferences all take them from here.
//
//   Stores   the desktop's preference store, section "Settings", and the settings file, section "settings". Booleans
//            are "1" and "0" in the first, "true" and "false" in the second.
//   Threads  any.
//   Errors   none: what is missing or cannot be read has its default.

#include <cstdint>

#include "foundation/level.h"
#include "foundation/sound_time.h"
#include "foundation/text.h"

namespace kiv {

enum class SettingStore { Preferences, File };

struct BoolSetting {
  SettingStore store;
  char const* key;
  bool defaultValue;
};
struct LongSetting {
  SettingStore store;
  char const* key;
  std::int32_t defaultValue;
};
struct TextSetting {
  SettingStore store;
  char const* key;
  char const* defaultValue;
};
// Whole decibels; settings file only.
struct LevelSetting {
  char const* key;
  LDB defaultValue;
};
// A plain number in the file means seconds; settings file only.
struct TimeSetting {
  char const* key;
  LSoundTime defaultValue;
};

// --- Preference store

// Global hot keys are active while the program runs.
inline constexpr BoolSetting kHotKeys{SettingStore::Preferences, "HotKeys", true};
// Ask for a file number before each recording; the answer becomes part of the file's name.
inline constexpr BoolSetting kPromptForData{SettingStore::Preferences, "PromptForData", false};
// The question then, and the last answer.
inline constexpr TextSetting kPrompt{SettingStore::Preferences, "Prompt", "Enter file number"};
inline constexpr TextSetting kPromptPrevious{SettingStore::Preferences, "PromptPrevious", ""};
// A recording of one hour ends the call (true) or goes on in a new file (false).
inline constexpr BoolSetting k1HourStop{SettingStore::Preferences, "1HourStop", true};
// Copy each finished recording, and where to.
inline constexpr BoolSetting kCopyRecordings{SettingStore::Preferences, "CopyRecordings", false};
inline constexpr TextSetting kCopyToFolder{SettingStore::Preferences, "CopyToFolder", ""};
// Age in days after which recordings are deleted; 0 keeps them.
inline constexpr LongSetting kAutoDeleteDays{SettingStore::Preferences, "AutoDeleteDays", 30};
inline constexpr BoolSetting kAutoLevelControl{SettingStore::Preferences, "AutoLevelControl", true};

// --- Settings file

inline constexpr BoolSetting kStartPrompt{SettingStore::File, "startprompt", true};
inline constexpr BoolSetting kEndPrompt{SettingStore::File, "endprompt", true};
inline constexpr BoolSetting kRecordTone{SettingStore::File, "recordtone", true};
// Period of the record tone as the engine reads it.
inline constexpr TimeSetting kRecordToneInterval{"recordtoneinterval", LSoundTime(15000)};
// The same key as the preferences show and store it, in whole seconds. Its other default is the system's own: closing
// the preferences on a fresh account stores 0, which the engine raises to its shortest interval.
inline constexpr LongSetting kRecordToneSeconds{SettingStore::File, "recordtoneinterval", 0};
// Which on-hold music the next hold plays, 0 to 2.
inline constexpr LongSetting kHoldNumber{SettingStore::File, "holdno", 0};
// Cut-off of the prompts' high-pass in Hz; used above 20.
inline constexpr LongSetting kAudioHighPass{SettingStore::File, "audiohighpass", 0};
// Threshold of the prompts' compressor; used below -2 dB.
inline constexpr LevelSetting kAudioCompressorThreshold{"audiocompressorthres", LDB(0)};
// Gain of the prompts; used beyond 1 dB either way.
inline constexpr LevelSetting kAudioGain{"audiogain", LDB(0)};
// What was chosen last when a sound file was loaded as a prompt.
inline constexpr TextSetting kWavImportDir{SettingStore::File, "wavimportdir", ""};

bool GetSetting(const BoolSetting& setting);
std::int32_t GetSetting(const LongSetting& setting);
void GetSetting(const TextSetting& setting, char (&out)[kTextSize]);
LDB GetSetting(const LevelSetting& setting);
LSoundTime GetSetting(const TimeSetting& setting);

void SetSetting(const BoolSetting& setting, bool value);
void SetSetting(const LongSetting& setting, std::int32_t value);
void SetSetting(const TextSetting& setting, char const* value);
// Stored as a whole number of dB.
void SetSetting(const LevelSetting& setting, LDB value);

// --- The sliders of the two level settings, positions 0 to 100

// Shown: gain from -8 to 8 dB and threshold from -16 to 0 dB over the whole slider; values beyond stand at its ends.
int SliderFromGain(LDB gain) noexcept;
int SliderFromCompressorThreshold(LDB threshold) noexcept;

// Stored: only the two ends can be. Every position below 100 gives the least value, -8 or -16 dB; 100 the greatest, 8
// or 0.
LDB GainFromSlider(int position) noexcept;
LDB CompressorThresholdFromSlider(int position) noexcept;

}  // namespace kiv
