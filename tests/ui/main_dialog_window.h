#pragma once

// The main window as its Run makes it, without the loop.

#include "recorder/recording_queue.h"
#include "ui/application_loop.h"
#include "ui/main_dialog.h"
#include "ui/window.h"

namespace kiv::test {

class MainDialogWindow : public MainDialog {
 public:
  using MainDialog::MainDialog;
  ~MainDialogWindow() override { End(); }

  void Begin() {
    window_ = CreateWindowFromInterface("MainWindow");
    SetMenuBarFromInterface(window_, "MenuBar");
    InstallWindowHandler(window_, _winEventHandler, this, {{kEventClassWindow, kEventWindowClose}});
    InstallApplicationHandler(_appEventHandler, this, {{kEventClassCommand, kEventCommandProcess}});
    initialised_ = 1;
    InitDialog();
    ShowWindow(window_);
  }
  void End() {
    if (window_ == nullptr) return;
    HideWindow(window_);
    DestroyDialog();
    RemoveApplicationHandler(_appEventHandler, this);
    DisposeWindow(window_);
    window_ = nullptr;
  }
};

}  // namespace kiv::test
