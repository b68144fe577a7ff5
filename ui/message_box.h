#pragma once

// A message that the user dismisses.
//   Text     UTF-8; the explanation may be empty.
//   Threads  main; returns when it has been dismissed, at once while the program quits.

enum AlertType : short {
  kAlertStopAlert = 0,
  kAlertNoteAlert = 1,
  kAlertCautionAlert = 2,
  kAlertPlainAlert = 3,
};

void LMacMessageBox(const char* message, const char* explanation, short alertType);

namespace kiv {

// Name and version, and what the program does.
void ShowAboutBox();

}  // namespace kiv
