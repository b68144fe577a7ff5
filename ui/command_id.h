#pragma once

// Command identifiers, as interface files, menus and tool bars carry them: four characters.

#include <cstdint>

#include "foundation/four_cc.h"

namespace kiv {

inline constexpr std::uint32_t kCommandOk = kiv::FourCC("ok  ");
inline constexpr std::uint32_t kCommandCancel = kiv::FourCC("not!");
inline constexpr std::uint32_t kCommandQuit = kiv::FourCC("quit");
inline constexpr std::uint32_t kCommandAbout = kiv::FourCC("abou");
inline constexpr std::uint32_t kCommandPreferences = kiv::FourCC("pref");

// Four decimal digits become their number ('1203' is 1203); every other identifier stays as it is. The test looks at
// the whole word, not at each byte, so some identifiers without digits pass it too ('0:00' counts as 1000).
constexpr std::uint32_t TranslateCommand(std::uint32_t id) noexcept {
  const std::uint32_t digits = id - 0x30303030U;
  if (digits >= 0x0909090AU) return id;
  return (digits >> 24) * 1000 + (digits >> 16 & 0xFF) * 100 + (digits >> 8 & 0xFF) * 10 + (digits & 0xFF);
}

static_assert(TranslateCommand(kiv::FourCC("1203")) == 1203);
static_assert(TranslateCommand(kiv::FourCC("0000")) == 0);
static_assert(TranslateCommand(kiv::FourCC("9999")) == 9999);
static_assert(TranslateCommand(kiv::FourCC("quit")) == kiv::FourCC("quit"));
static_assert(TranslateCommand(kiv::FourCC("0:00")) == 1000);

}  // namespace kiv
