#include "tests/tools/kiv-gallery/gallery_frame.h"

#include <cmath>
#include <cstdio>

#include "recorder/status_window.h"
#include "ui/help.h"
#include "ui/key_codes.h"
#include "ui/message_box.h"
#include "ui/progress_dialog.h"
#include "ui/settings_dialog.h"
#include "ui/text_edit_dialog.h"
#include "ui/web_page.h"
#include "ui/window.h"

namespace kiv {
namespace {

const LToolBarItem kItems[] = {
    {101, 0, "kivoff", "com.Oskmera.Kiv.Record", "Record", "Start or Stop Recording", 1},
    {102, 0, "kivoff", "com.Oskmera.Kiv.Hold Call", "Hold Call", "Hold or Resume Call", 1},
    {0, 0, nullptr, nullptr, "", "", 1},
    {1001, 0, "find", "com.Oskmera.Kiv.Find & Play", "Find & Play", "Find and Play Recordings", 1},
    {FourCC("pref"), FourCC("tcus"), "", "com.Oskmera.Kiv.Preferences", "Preferences", "Kiv Recorder  Preferences", 1},
};

constexpr int kMeter = 103;
constexpr int kTime = 107;
constexpr int kStatus = 108;
constexpr int kInformation = 109;
constexpr int kState = 110;
constexpr int kTimer = 1;

class PretendedWork : public LProgressDialog {
 public:
  PretendedWork() : LProgressDialog("Extracting Files") {}
  int MainFunction() override {
    SetStatus("Uncompress System Prompts", 0);
    SetStatus("Please wait...", 1);
    for (int i = 0; i <= 2000000 && !IsToStop(); i += 500) SetProgress(i / 2000000.0);
    return 1;
  }
};

}  // namespace

GalleryFrame::GalleryFrame()
    : LToolBar(kItems, std::size(kItems)),
      bar_("com.Oskmera.Kiv", LToolBar::_toolbarEventHandler, static_cast<LToolBar*>(this)) {
  toolbar = &bar_;
}

void GalleryFrame::MakeWindow() {
  window_ = CreateWindowFromInterface("MainWindow");
  SetMenuBarFromInterface(window_, "MenuBar");
  InitDialog();
}

void GalleryFrame::EndWindow() {
  DestroyDialog();
  DisposeWindow(window_);
  window_ = nullptr;
}

void GalleryFrame::InitDialog() {
  AppendMenuItem(window_, "Help", "Kiv Recorder Home Page", FourCC("ihom"));
  AppendMenuItem(window_, "Help", "", 0);
  AppendMenuItem(window_, "Help", "Oskmera Home Page", FourCC("iosk"));
  SetMenuItemKeyName(window_, 2001, "F5");
  SetMenuItemKeyName(window_, 2002, "F7");
  SetMenuItemKeyName(window_, 2003, "F8");
  bar_.Build();
  AttachToolBar(window_, bar_);
  meter_.Attach(GetControl(kMeter));
  status_ = std::make_unique<StatusTextControl>(GetControl(kStatus));
  gStatusWindow.SetControl(status_.get());
  SetText(kInformation, "Kiv Recorder. Recordings are in /home/somebody/Kiv/Recordings");
  InstallKeyHandler();
  RegisterHotKey(kVirtualKeyF5, 0);
  RegisterHotKey(kVirtualKeyF7, 1);
  RegisterHotKey(kVirtualKeyF8, 2);
  gStatusWindow.DisplayStatus("09:05:01 Kiv Recorder Run\r");
  EnableControls();
  ClearKeyboardFocus(window_);
}

void GalleryFrame::DestroyDialog() {
  TimerReset(kTimer);
  for (std::uint32_t id = 0; id < 3; ++id) UnregisterHotKey(id);
  gStatusWindow.SetControl(nullptr);
  ResetApplicationBadge();
}

void GalleryFrame::SetMode(Mode mode) {
  mode_ = mode;
  ticks_ = mode == kIdle ? 0 : 7 * 60 + 42;
  static const char* const kLines[] = {"09:13:02 Stopped\r", "09:05:20 Recording started\r", "09:09:11 Call on-hold\r"};
  gStatusWindow.DisplayStatus(kLines[mode]);
  if (mode == kRecording) {
    gStatusWindow.DisplayStatus("09:05:20 Play start-of-recording prompt\r");
    gStatusWindow.DisplayStatus("09:05:24 Recording 2026-03-07 09-05-24 Invoice 1203\r");
  }
  meter_.level.channels = 1;
  meter_.level.level[0] = mode == kRecording ? 4 : -18;
  EnableControls();
  if (mode != kIdle && !still_) TimerSet(kTimer, 100);
}

void GalleryFrame::EnableControls() {
  if (mode_ == kIdle) {
    SetToolBarItemText(101, "  Record  ");
    SetToolBarItemText(102, "Hold Call");
    SetToolBarItemIcon(101, "kivoff");
    SetToolBarItemIcon(102, "kivoff");
    ResetApplicationBadge();
  } else if (mode_ == kRecording) {
    SetToolBarItemIcon(101, "kivon");
    SetToolBarItemText(101, "Recording");
    SetToolBarItemIcon(102, "kivoff");
    SetToolBarItemText(102, "Hold Call");
    SetApplicationBadge("iconrec");
  } else {
    SetToolBarItemIcon(101, "kivoff");
    SetToolBarItemText(101, "  Record  ");
    SetToolBarItemIcon(102, "kivgreen");
    SetToolBarItemText(102, " On Hold ");
    SetApplicationBadge("iconhold");
  }
  EnableMenuCommand(window_, 2001, mode_ != kRecording);
  EnableMenuCommand(window_, 2002, mode_ != kOnHold);
  EnableMenuCommand(window_, 2003, mode_ != kIdle);
  EnableControl(kMeter, mode_ != kIdle);
  EnableControl(kTime, mode_ != kIdle);
  SetValue(kState, mode_);
  char time[16];
  std::snprintf(time, sizeof(time), "%d:%.2d:%.2d", ticks_ / 3600, ticks_ / 60 % 60, ticks_ % 60);
  SetText(kTime, time);
  RedrawControl(GetControl(kMeter));
}

void GalleryFrame::EvTimer(int) {
  if (mode_ == kIdle) return;
  ++ticks_;
  meter_.level.level[0] = static_cast<int>(std::lround(-12 + 20 * std::sin(ticks_ * 0.2)));
  EnableControls();
  TimerSet(kTimer, 100);
}

void GalleryFrame::EvHotKey(std::uint32_t id) {
  if (id == 0) SetMode(mode_ == kRecording ? kIdle : kRecording);
  if (id == 1) SetMode(kIdle);
  if (id == 2) SetMode(mode_ == kOnHold ? kIdle : kOnHold);
}

void GalleryFrame::CommandPress(int key) {
  if (key >> 16 == kVirtualKeyF5) EvHotKey(0);
  if (key >> 16 == kVirtualKeyF7) EvHotKey(1);
  if (key >> 16 == kVirtualKeyF8) EvHotKey(2);
}

void GalleryFrame::Command(std::uint32_t id) {
  switch (id) {
    case 101:
    case 2001:
      EvHotKey(0);
      break;
    case 102:
    case 2002:
      EvHotKey(2);
      break;
    case 2003:
      EvHotKey(1);
      break;
    case 1001: {
      char text[260] = "1203";
      LTextEditDlg(text, "Enter file number").Open(window_);
      break;
    }
    case 1002:
      PretendedWork().Open(window_);
      break;
    case FourCC("pref"):
      SetDlg().Open(window_, "Preferences");
      break;
    case FourCC("ihom"):
      OpenOskWebPage("kiv/index");
      break;
    case FourCC("iosk"):
      LMacMessageBox("Error",
                     "The folder you want to copy files to must be specified if you select the Copy to Folder option.",
                     kAlertStopAlert);
      break;
    case FourCC("ahlp"):
      ShowHelpStart();
      break;
    default:
      break;
  }
}

}  // namespace kiv
