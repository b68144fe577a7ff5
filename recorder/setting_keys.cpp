#include "recorder/setting_keys.h"

#include <algorithm>
#include <cstdio>

#include "foundation/preferences.h"
#include "recorder/settings.h"

namespace kiv {
namespace {

constexpr char kPreferenceSection[] = "Settings";
constexpr char kFileSection[] = "settings";

int Clamped(int position) noexcept {
  return std::clamp(position, 0, 100);
}

}  // namespace

bool GetSetting(const BoolSetting& setting) {
  return setting.store == SettingStore::Preferences
             ? LSettingGet<bool>(kPreferenceSection, setting.key, setting.defaultValue)
             : gSettings.GetBool(kFileSection, setting.key, setting.defaultValue);
}

std::int32_t GetSetting(const LongSetting& setting) {
  return setting.store == SettingStore::Preferences
             ? LSettingGet<std::int32_t>(kPreferenceSection, setting.key, setting.defaultValue)
             : gSettings.GetLong(kFileSection, setting.key, setting.defaultValue);
}

void GetSetting(const TextSetting& setting, char (&out)[kTextSize]) {
  if (setting.store == SettingStore::Preferences) {
    LSettingGetString(kPreferenceSection, setting.key, setting.defaultValue, out);
  } else {
    gSettings.GetValue(kFileSection, setting.key, setting.defaultValue, out);
  }
}

LDB GetSetting(const LevelSetting& setting) {
  return gSettings.GetDB(kFileSection, setting.key, setting.defaultValue);
}

LSoundTime GetSetting(const TimeSetting& setting) {
  return gSettings.GetSoundTime(kFileSection, setting.key, setting.defaultValue);
}

void SetSetting(const BoolSetting& setting, bool value) {
  if (setting.store == SettingStore::Preferences) {
    LSettingSet<bool>(kPreferenceSection, setting.key, value);
  } else {
    gSettings.SetValue(kFileSection, setting.key, value ? "true" : "false");
  }
}

void SetSetting(const LongSetting& setting, std::int32_t value) {
  if (setting.store == SettingStore::Preferences) {
    LSettingSet<std::int32_t>(kPreferenceSection, setting.key, value);
  } else {
    gSettings.SetLong(kFileSection, setting.key, value);
  }
}

void SetSetting(const TextSetting& setting, char const* value) {
  if (setting.store == SettingStore::Preferences) {
    LSettingSetString(kPreferenceSection, setting.key, value);
  } else {
    gSettings.SetValue(kFileSection, setting.key, value);
  }
}

void SetSetting(const LevelSetting& setting, LDB value) {
  gSettings.SetLong(kFileSection, setting.key, value);
}

int SliderFromGain(LDB gain) noexcept {
  return Clamped((gain * 100 + 800) / 16);
}
int SliderFromCompressorThreshold(LDB threshold) noexcept {
  return Clamped((threshold * 100 + 1600) / 16);
}

LDB GainFromSlider(int position) noexcept {
  return std::clamp(position / 100 * 16 - 8, -8, 8);
}
LDB CompressorThresholdFromSlider(int position) noexcept {
  return std::clamp(position / 100 * 16 - 16, -16, 0);
}

}  // namespace kiv
