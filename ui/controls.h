#pragma once

// Controls of a window, by their number.
//   Text     UTF-8 bytes; bytes that are no UTF-8 show as replacement marks. A null reference is allowed everywhere:
//            reading gives nothing or 0, writing does nothing.
//   Threads  main.

#include <cstdint>
#include <string>

#include "ui/window_ref.h"

namespace kiv {

// The control whose number (property controlId of the interface file) is id, or null.
ControlRef GetControlByID(WindowRef window, int id);

void SetControlText(ControlRef control, const std::string& text);
std::string ControlText(ControlRef control);
// Selects characters start to end of an edit field; an end past the text means the text's end.
void SelectControlText(ControlRef control, int start, int end);

// Check boxes: 0 or 1; sliders and progress bars: their position; tab controls: the tab, from 1.
int ControlValue(ControlRef control);
void SetControlValue(ControlRef control, int value);

void EnableControl(ControlRef control, bool enable);
bool IsControlEnabled(ControlRef control);
void ShowControl(ControlRef control, bool show);
// Whether the control itself is to be seen; its window may still be hidden.
bool IsControlShown(ControlRef control);
// Draws soon.
void RedrawControl(ControlRef control);
void FocusControl(ControlRef control);

// A property is a pointer under a signature and a tag; null removes it.
void SetControlProperty(ControlRef control, std::uint32_t signature, std::uint32_t tag, void* value);
void* GetControlProperty(ControlRef control, std::uint32_t signature, std::uint32_t tag);

// Tells when the value of a tab control changes, whoever changes it; with null once when the control goes. One handler
// for a control and user data.
using ValueHandler = void (*)(ControlRef control, void* userData);
void InstallValueHandler(ControlRef control, ValueHandler handler, void* userData);
void RemoveValueHandler(ControlRef control, void* userData);

// The look of a text.
enum class FontStyle { Normal, SmallFixed };
void SetControlFontStyle(ControlRef control, FontStyle style);

}  // namespace kiv
