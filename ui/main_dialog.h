#pragma once

// The program's main window: turns commands, keys and hot keys into the requested mode of the engine, and shows what
// the engine reports.
//
//   Threads  main. What the engine reports comes as events of the main queue.
//   Errors   are in the activity log, which the window shows.
//   Owns     the engine. The queue is told its list file by InitDialog and shut down by DestroyDialog.
//   Once     from InitDialog to DestroyDialog; a second run needs another object and another queue.

#include <cstdint>
#include <string>
#include <vector>

#include "recorder/engine.h"
#include "ui/hot_key_handler.h"
#include "ui/level_display.h"
#include "ui/list_view.h"
#include "ui/main_window.h"
#include "ui/status_text.h"
#include "ui/timers.h"
#include "ui/toolbar.h"

class MainDialog : public LMainWindow, public LToolBar, public LHotKeyHandler, public LTimers, public LListViewNotify {
 public:
  // Numbers of the window's controls.
  static constexpr int kMeterControl = 103;
  static constexpr int kTimeControl = 107;
  static constexpr int kStatusControl = 108;
  static constexpr int kInformationControl = 109;
  static constexpr int kStateControl = 110;  // What the call is doing: a RequestedMode.
  // The timer of the informational lines.
  static constexpr int kInformationTimer = 1;

  // Finished recordings go to queue.
  explicit MainDialog(LALCListThread& queue = thrLALCListItem);
  ~MainDialog() override;

  void InitDialog() override;
  void DestroyDialog() override;
  void Command(std::uint32_t id) override;
  void CommandPress(int key) override;
  // Brings tool bar, menu, badge, time and state in step with the mode. InitDialog leaves them as the table and the
  // interface file have them.
  void EnableControls() override;
  void EvTimer(int id) override;
  void EvHotKey(std::uint32_t id) override;

  // Starts recording, after asking for a file number if that is wanted; does nothing when that is cancelled.
  void CmRecord();
  void CmHelp();
  // The global hot keys F5, F7 and F8, if the user wants them.
  void HotKeyStart();
  void HotKeyStop();
  // The elapsed time, in whole seconds.
  void SetTime(int seconds);

  // Puts the window in front of those of other programs; nothing before it has been shown.
  void BringToFront();

  RequestedMode Mode() const noexcept { return engine_.Mode(); }
  SndStateType State() const noexcept { return engine_.State(); }
  // The rotating lines, as they would be shown now.
  std::vector<std::string> InformationLines() const;

 protected:
  // Events of the engine; others are passed on.
  bool MainNotifyEventHandler(const kiv::Event& event);

 private:
  void RecordOrStop();
  void HoldOrResume();
  void Stop();
  void CmPreferences();
  void ShowState();
  void ShowLevel(std::int32_t dB);
  void ShowTime(std::int32_t milliseconds);
  void ShowInformation();
  bool IsLineSilent() const noexcept;

  LALCListThread& queue_;
  kiv::ToolBar bar_;
  LDBDisplay meter_;
  kiv::StatusTextControl status_{nullptr};
  LKivEngine engine_;
  std::vector<kiv::EventQueue::HandlerId> handlers_;
  int shownSeconds_ = 0;
  std::size_t informationIndex_ = 0;
  bool asking_ = false;  // The file-number dialog is open.

  // Of the recording in progress: its time, and the time up to which something was heard.
  std::int32_t recordedMs_ = 0;
  std::int32_t heardMs_ = 0;
  bool silenceShown_ = false;
};
