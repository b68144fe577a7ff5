#include "foundation/dat_file.h"

#include <cstdio>

#include "foundation/dat_file_native.h"

void LDatFileSetValue(const char* path, const char* section, const char* key, const char* value) {
  gDatFileNativeSystem.SetValue(path, section, key, value);
}

void LDatFileGetValue(const char* path, const char* section, const char* key, const char* defaultValue, char* out) {
  gDatFileNativeSystem.GetValue(path, section, key, defaultValue, out);
}

void LDatFile::SetLong(const char* section, const char* key, std::int32_t value) const {
  char text[16];
  std::snprintf(text, sizeof text, "%d", value);
  SetValue(section, key, text);
}

std::int32_t LDatFile::GetLong(const char* section, const char* key, std::int32_t defaultValue) const {
  char text[kiv::kTextSize];
  GetValue(section, key, "", text);
  return text[0] == '\0' ? defaultValue : kiv::ParseInt32(text);
}

bool LDatFile::GetBool(const char* section, const char* key, bool defaultValue) const {
  char text[kiv::kTextSize];
  GetValue(section, key, defaultValue ? "true" : "", text);
  return text[0] == 't';
}

LDB LDatFile::GetDB(const char* section, const char* key, LDB defaultValue) const {
  char text[kiv::kTextSize];
  GetValue(section, key, "", text);
  if (text[0] == '\0') return defaultValue;
  LDB level;
  level.SetText(text);
  return level;
}

LSoundTime LDatFile::GetSoundTime(const char* section, const char* key, LSoundTime defaultValue) const {
  char text[kiv::kTextSize];
  GetValue(section, key, "", text);
  if (text[0] == '\0') return defaultValue;
  LSoundTime time;
  time.SetText(text);
  return time;
}
