#pragma once

// Windows: made from the interface files, shown, hidden, disposed of; their handlers, menus and modal state.
//   Threads  main.
//   Errors   a null window is allowed everywhere and does nothing.
//   Owns     DisposeWindow ends what CreateWindowFromInterface made, with every control in it.

#include <cstdint>
#include <initializer_list>
#include <string>

#include "ui/ui_event.h"
#include "ui/window_ref.h"

namespace kiv {

// A hidden window from <resources>/interface/main/<name>.ui; null when the file cannot be found or loaded.
WindowRef CreateWindowFromInterface(const std::string& name);
// Takes the menu bar from the interface file of that name; commands of its items go to the window. False when the file
// or the window cannot have one.
bool SetMenuBarFromInterface(WindowRef window, const std::string& name);
void DisposeWindow(WindowRef window);

// The handler gets only the kinds it asks for. At most one handler for a window.
void InstallWindowHandler(WindowRef window, UiEventHandler handler, void* userData,
                          std::initializer_list<EventTypeSpec> specs);
void RemoveWindowHandler(WindowRef window);
// To the window's handler, and when that passes it on, to the application's.
OSStatus SendEvent(WindowRef window, const Event& event);
inline OSStatus SendCommand(WindowRef window, std::uint32_t commandId) {
  return SendEvent(window, CommandEvent(commandId));
}

// Key presses of function keys in a window, as key code in the high half and the function-key character (0x10) in the
// low half. The handler answers whether it used the press. Repeats of a held key and keys with modifiers are left out.
using KeyHandler = bool (*)(int key, void* userData);
void InstallKeyHandler(WindowRef window, KeyHandler handler, void* userData);

void ShowWindow(WindowRef window);
void HideWindow(WindowRef window);
bool IsWindowShown(WindowRef window);
void ActivateWindow(WindowRef window);
// In front of other programs, with what is open over it; a hidden window stays hidden.
void BringToFront(WindowRef window);
void SetWindowTitle(WindowRef window, const std::string& title);
std::string WindowTitle(WindowRef window);
void AdvanceKeyboardFocus(WindowRef window);
void ClearKeyboardFocus(WindowRef window);
// Other windows take no input from here on; before the window is shown.
void SetApplicationModal(WindowRef window);

// Menu items, by their command.
void EnableMenuCommand(WindowRef window, std::uint32_t commandId, bool enable);
bool IsMenuCommandEnabled(WindowRef window, std::uint32_t commandId);
// Shows the name of a key beside the item. The key itself does nothing by that.
void SetMenuItemKeyName(WindowRef window, std::uint32_t commandId, const std::string& key);
// Appends to the menu with that title (without mnemonic mark); a command of 0 is a separator.
void AppendMenuItem(WindowRef window, const std::string& menuTitle, const std::string& text, std::uint32_t commandId);

}  // namespace kiv
