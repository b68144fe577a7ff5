#include "ui/dialog.h"

#include "foundation/text.h"
#include "ui/application_loop.h"
#include "ui/command_id.h"
#include "ui/help.h"
#include "ui/window.h"

void LDialog::InitDialog() {}

bool LDialog::CmOk() {
  return true;
}

bool LDialog::CmCancel() {
  return true;
}

void LDialog::DestroyDialog() {}

void LDialog::EnableControls() {}

void LDialog::Command(std::uint32_t) {}

void LDialog::Close() {
  kiv::QuitAppModalLoopForWindow(window_);
}

int LDialog::Open(WindowRef, const char* windowName) {
  if (window_ != nullptr || kiv::IsQuitting()) return 0;
  result_ = 0;
  window_ = kiv::CreateWindowFromInterface(windowName);
  if (window_ == nullptr) return 0;
  kiv::InstallWindowHandler(window_, _LDEventHandler, this,
                            {{kEventClassWindow, kEventWindowClose}, {kEventClassCommand, kEventCommandProcess}});
  kiv::SetApplicationModal(window_);
  kiv::AdvanceKeyboardFocus(window_);
  InitDialog();
  EnableControls();
  kiv::ShowWindow(window_);
  kiv::RunAppModalLoopForWindow(window_);
  kiv::HideWindow(window_);
  DestroyDialog();
  kiv::DisposeWindow(window_);
  window_ = nullptr;
  return result_;
}

int LDialog::Open(WindowRef parent, int number) {
  return Open(parent, std::to_string(number).c_str());
}

void LDialog::EnableControl(int id, bool enable) {
  kiv::EnableControl(GetControl(id), enable);
}

void LDialog::EnableControlRange(int first, int last, bool enable) {
  // In 64 bits, so that a last number of INT_MAX ends too.
  for (std::int64_t id = first; id <= last; ++id) EnableControl(static_cast<int>(id), enable);
}

char* LDialog::GetText(int id, char* buf) {
  tstrmcpy(buf, kiv::ControlText(GetControl(id)).c_str(), kiv::kTextSize);
  return buf;
}

void LDialog::SetText(int id, const std::string& text) {
  kiv::SetControlText(GetControl(id), text);
}

int LDialog::GetValue(int id) {
  return kiv::ControlValue(GetControl(id));
}

void LDialog::SetValue(int id, int value) {
  kiv::SetControlValue(GetControl(id), value);
}

ControlRef LDialog::GetControl(int id) {
  return kiv::GetControlByID(window_, id);
}

void LDialog::DisplayHelpPage(int page) {
  kiv::ShowHelpPage(std::to_string(page));
}

OSStatus LDialog::_LDEventHandler(const kiv::Event& event, void* userData) {
  return static_cast<LDialog*>(userData)->LDEventHandler(event);
}

OSStatus LDialog::LDEventHandler(const kiv::Event& event) {
  if (event.Class() == kEventClassCommand) {
    const std::uint32_t command = kiv::CommandOf(event);
    if (command == kiv::kCommandCancel) {
      if (CmCancel()) Close();
    } else if (command == kiv::kCommandOk) {
      if (CmOk()) {
        result_ = 1;
        Close();
      }
    } else {
      Command(kiv::TranslateCommand(command));
      EnableControls();
    }
    return noErr;
  }
  if (event.Class() == kEventClassWindow && event.Kind() == kEventWindowClose) {
    Close();
    return noErr;
  }
  return eventNotHandledErr;
}
