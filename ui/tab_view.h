#pragma once

// Shows the pane of the chosen tab: pane of tab i is control 80 + i, for i from 1 until the first that is missing.
//   Threads  main.
//   Owns     nothing; a view goes before its window, or after it without touching it.

#include <cstdint>

#include "ui/dialog.h"

class LTabView : public LDialog {
 public:
  LTabView() = default;
  // Removes the handler from the tab control.
  ~LTabView() override;

  // Ties the view to the tab control of the window.
  void Install(WindowRef window, ControlRef tabControl);

  // Called when the tab control's value may have changed. Not handled when it has not.
  static OSStatus _TabViewEventHandler(const kiv::Event& event, void* userData);

  std::int16_t CurrentTab() const { return currentTab_; }

 private:
  static void ValueChanged(ControlRef control, void* userData);

  ControlRef tabControl_ = nullptr;
  std::int16_t currentTab_ = 0;
};
