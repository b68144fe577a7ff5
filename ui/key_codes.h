#pragma once

// Function keys: the toolkit's keys as virtual key codes.

#include <qnamespace.h>

#include "platform/hot_keys.h"

namespace kiv {

inline constexpr int kVirtualKeyF1 = 122;
inline constexpr int kVirtualKeyF5 = 96;
inline constexpr int kVirtualKeyF7 = 98;
inline constexpr int kVirtualKeyF8 = 100;
// The character that comes with every function key.
inline constexpr int kFunctionKeyCharacter = 0x10;

// The virtual key code of one of the toolkit's keys; -1 for every key but F1 to F12.
constexpr int FunctionKeyCode(int toolkitKey) {
  return toolkitKey >= Qt::Key_F1 && toolkitKey <= Qt::Key_F12 ? kFunctionKeyCodes[toolkitKey - Qt::Key_F1] : -1;
}

static_assert(FunctionKeyCode(Qt::Key_F1) == kVirtualKeyF1 && FunctionKeyCode(Qt::Key_F5) == kVirtualKeyF5 &&
              FunctionKeyCode(Qt::Key_F7) == kVirtualKeyF7);
static_assert(FunctionKeyCode(Qt::Key_F8) == kVirtualKeyF8 && FunctionKeyCode(Qt::Key_A) == -1);

}  // namespace kiv
