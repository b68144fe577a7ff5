#include "foundation/preferences.h"

#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "platform/preference_store.h"
#include "platform/services.h"

namespace {

std::string Name(const char* section, const char* key) {
  return std::string(section).append("/").append(key);
}

std::optional<std::string> Stored(const char* section, const char* key) {
  if (kiv::services.preferences == nullptr) return std::nullopt;
  return kiv::services.preferences->Get(Name(section, key));
}

}  // namespace

void _LSettingGetString(const char* section, const char* key, const char* defaultValue, char* out) {
  if (const std::optional<std::string> value = Stored(section, key)) {
    tstrmcpy(out, value->c_str(), kiv::kTextSize);
  } else {
    std::memmove(out, defaultValue, std::strlen(defaultValue) + 1);
  }
}

void LSettingGetString(const char* section, const char* key, const char* defaultValue, char (&out)[kiv::kTextSize]) {
  const std::optional<std::string> value = Stored(section, key);
  tstrmcpy(out, value ? value->c_str() : defaultValue);
}

void LSettingSetString(const char* section, const char* key, const char* value) {
  if (kiv::services.preferences != nullptr) kiv::services.preferences->Set(Name(section, key), value);
}

template <>
bool LSettingGet<bool>(const char* section, const char* key, bool defaultValue) {
  char text[kiv::kTextSize];
  LSettingGetString(section, key, "", text);
  return text[0] == '\0' ? defaultValue : text[0] != '0';
}

template <>
void LSettingSet<bool>(const char* section, const char* key, bool value) {
  LSettingSetString(section, key, value ? "1" : "0");
}

template <>
std::int32_t LSettingGet<std::int32_t>(const char* section, const char* key, std::int32_t defaultValue) {
  char text[kiv::kTextSize];
  LSettingGetString(section, key, "", text);
  return text[0] == '\0' ? defaultValue : kiv::ParseInt32(text);
}

template <>
void LSettingSet<std::int32_t>(const char* section, const char* key, std::int32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "%d", value);
  LSettingSetString(section, key, text);
}
