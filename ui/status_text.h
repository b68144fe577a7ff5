#pragma once

// Shows the status log in a text control of a window.
//   Threads  main. The owner takes it off the log (SetControl(nullptr)) before the window or this object goes.

#include "recorder/status_window.h"
#include "ui/window_ref.h"

namespace kiv {

class StatusTextControl : public StatusText {
 public:
  // Null shows nothing.
  explicit StatusTextControl(ControlRef control) : control_(control) {}
  void ShowStatus(const std::string& log) override;

 private:
  ControlRef control_;
};

}  // namespace kiv
