#pragma once

// Single values in the desktop's per-user preference store of the application, named "section/key".
//
//   Text     a value of more than 259 characters is cut when it is read.
//   Threads  any.
//   Errors   a missing value, and a missing store (kiv::services.preferences), give the default; a set that fails is
//            lost. A set is on disk before it returns, which takes some ms: set when a dialog closes, not in a loop.

#include <cstdint>

#include "foundation/text.h"

// The value, or the whole default. out holds 260 bytes, and the default too if that is longer.
void _LSettingGetString(const char* section, const char* key, const char* defaultValue, char* out);
// The same with a default that is cut to fit.
void LSettingGetString(const char* section, const char* key, const char* defaultValue, char (&out)[kiv::kTextSize]);
void LSettingSetString(const char* section, const char* key, const char* value);

template <typename T>
T LSettingGet(const char* section, const char* key, T defaultValue);
template <typename T>
void LSettingSet(const char* section, const char* key, T value);

// A missing and an empty value give the default; everything else is true unless it begins with "0". Stored as "1" and
// "0".
template <>
bool LSettingGet<bool>(const char* section, const char* key, bool defaultValue);
template <>
void LSettingSet<bool>(const char* section, const char* key, bool value);

// A missing and an empty value give the default; otherwise leading digits count, 0 without any, and what does not fit
// 32 bits gives the end of the range.
template <>
std::int32_t LSettingGet<std::int32_t>(const char* section, const char* key, std::int32_t defaultValue);
template <>
void LSettingSet<std::int32_t>(const char* section, const char* key, std::int32_t value);
