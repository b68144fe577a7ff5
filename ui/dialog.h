#pragma once

// Base of every window: a window of the interface files, its controls by number, its commands, and how it is ended.
//
//   Order    Open: window made, InitDialog, EnableControls, shown; each command other than OK and Cancel: Command, then
//            EnableControls; at the end hidden, DestroyDialog (controls can still be read), window gone.
//   Modal    while it is open no other window takes input; timers, hot keys and the main queue go on.
//   Text     UTF-8 bytes.
//   Threads  main.
//   Errors   a window that cannot be made opens nothing and says nothing. Operations on a control that is not there do
//            nothing.

#include <cstdint>
#include <string>

#include "ui/controls.h"
#include "ui/ui_event.h"
#include "ui/window_ref.h"

class LDialog {
 public:
  LDialog() = default;
  LDialog(const LDialog&) = delete;
  LDialog& operator=(const LDialog&) = delete;

  // The order of the virtual operations is part of the interface.
  virtual ~LDialog() = default;
  virtual void InitDialog();
  // True lets the dialog close with result 1.
  virtual bool CmOk();
  // True lets the dialog close. The close box does not ask.
  virtual bool CmCancel();
  virtual void DestroyDialog();
  virtual void EnableControls();
  virtual void Command(std::uint32_t id);
  // Ends the modal loop.
  virtual void Close();

  // Runs the dialog to its end: 1 after OK, 0 otherwise and when it could not open or is open already. The parent is
  // not used: every dialog holds up the whole program. (parent, 7) opens the window named "7".
  int Open(WindowRef parent, const char* windowName);
  int Open(WindowRef parent, int number);

  void EnableControl(int id, bool enable);
  // Every number from first to last, in ascending order.
  void EnableControlRange(int first, int last, bool enable);
  // At most 259 bytes of the control's text and a terminator; buf holds 260. Gives buf.
  char* GetText(int id, char* buf);
  void SetText(int id, const std::string& text);
  int GetValue(int id);
  void SetValue(int id, int value);
  ControlRef GetControl(int id);

  // A page of the help, by its number.
  void DisplayHelpPage(int page);

  WindowRef Window() const { return window_; }

  static OSStatus _LDEventHandler(const kiv::Event& event, void* userData);

 protected:
  OSStatus LDEventHandler(const kiv::Event& event);

  WindowRef window_ = nullptr;  // Null while the dialog is not open.
  std::int32_t result_ = 0;
};
