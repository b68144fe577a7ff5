#pragma once

// The main window with made-up calls behind it: every state can be chosen, nothing is recorded.

#include <string>

#include "ui/hot_key_handler.h"
#include "ui/level_display.h"
#include "ui/main_window.h"
#include "ui/status_text.h"
#include "ui/timers.h"
#include "ui/toolbar.h"

namespace kiv {

class GalleryFrame : public LMainWindow, public LToolBar, public LTimers, public LHotKeyHandler {
 public:
  enum Mode { kIdle, kRecording, kOnHold };

  GalleryFrame();
  // The window without the loop, for pictures.
  void MakeWindow();
  void EndWindow();
  void SetMode(Mode mode);
  // A picture shows one level and time, not a moving one.
  void SetStill(bool still) { still_ = still; }

  void InitDialog() override;
  void DestroyDialog() override;
  void Command(std::uint32_t id) override;
  void CommandPress(int key) override;
  void EnableControls() override;
  void EvTimer(int id) override;
  void EvHotKey(std::uint32_t id) override;

 private:
  ToolBar bar_;
  LDBDisplay meter_;
  std::unique_ptr<StatusTextControl> status_;
  Mode mode_ = kIdle;
  bool still_ = false;
  int ticks_ = 0;
};

}  // namespace kiv
