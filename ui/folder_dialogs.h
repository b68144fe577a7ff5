#pragma once

// The two commands that open a folder. The desktop's file browser shows it; there is no window of our own.
//   Text     absolute path, UTF-8.
//   Errors   a path that does not exist opens nothing.

#include "ui/dialog.h"

class LFindPlayDlg : public LDialog {
 public:
  using LDialog::Open;
  void Open(const char* path);
};

class ViewLogDlg : public LDialog {
 public:
  using LDialog::Open;
  void Open(const char* path);
};
