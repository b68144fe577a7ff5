#pragma once

// Asks for one line of text.
//   Text     the caller's 260-byte buffer holds the text offered and, after OK, the entry (at most 259 bytes).

#include "ui/dialog.h"

class LTextEditDlg : public LDialog {
 public:
  // Both must live until Open returns.
  LTextEditDlg(char* text, const char* prompt) : text_(text), prompt_(prompt) {}

  using LDialog::Open;
  // 1 when the buffer holds the entry.
  int Open(WindowRef parent) { return Open(parent, "LTextEditDlg"); }

  void InitDialog() override;
  bool CmOk() override;

 private:
  char* text_;
  const char* prompt_;
};
