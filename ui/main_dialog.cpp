#include "ui/main_dialog.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "foundation/file.h"
#include "platform/hot_keys.h"
#include "platform/services.h"
#include "recorder/activity_log.h"
#include "recorder/engine_events.h"
#include "recorder/prompt_files.h"
#include "recorder/recover_recordings.h"
#include "recorder/setting_keys.h"
#include "recorder/settings.h"
#include "ui/command_id.h"
#include "ui/folder_dialogs.h"
#include "ui/help.h"
#include "ui/key_codes.h"
#include "ui/progress_dialog.h"
#include "ui/settings_dialog.h"
#include "ui/text_edit_dialog.h"
#include "ui/web_page.h"
#include "ui/window.h"

namespace {

constexpr std::uint32_t kItemRecord = 101;
constexpr std::uint32_t kItemHold = 102;
constexpr std::uint32_t kFindAndPlay = 1001;
constexpr std::uint32_t kViewLog = 1002;
constexpr std::uint32_t kMenuRecord = 2001;
constexpr std::uint32_t kMenuHold = 2002;
constexpr std::uint32_t kMenuStop = 2003;
constexpr std::uint32_t kHomePage = kiv::FourCC("ihom");
constexpr std::uint32_t kMakersPage = kiv::FourCC("iosk");
constexpr std::uint32_t kHelp = kiv::FourCC("ahlp");

const LToolBarItem kToolBarItems[] = {
    {kItemRecord, 0, "kivoff", "com.Oskmera.Kiv.Record", "Record", "Start or Stop Recording", 1},
    {kItemHold, 0, "kivoff", "com.Oskmera.Kiv.Hold Call", "Hold Call", "Hold or Resume Call", 1},
    {0, 0, nullptr, nullptr, "", "", 1},
    {kFindAndPlay, 0, "find", "com.Oskmera.Kiv.Find & Play", "Find & Play", "Find and Play Recordings", 1},
    {kiv::kCommandPreferences, kiv::FourCC("tcus"), "", "com.Oskmera.Kiv.Preferences", "Preferences",
     "Kiv Recorder  Preferences", 1},
};

// In the order of the hot keys' numbers: record or stop, stop, hold or resume.
constexpr int kHotKeys[] = {kiv::kVirtualKeyF5, kiv::kVirtualKeyF7, kiv::kVirtualKeyF8};

constexpr int KeyPress(int virtualKey) {
  return virtualKey << 16 | kiv::kFunctionKeyCharacter;
}
static_assert(KeyPress(kiv::kVirtualKeyF5) == 0x600010 && KeyPress(kiv::kVirtualKeyF7) == 0x620010 &&
              KeyPress(kiv::kVirtualKeyF8) == 0x640010);

constexpr std::int32_t kFirstLineMs = 500;
constexpr std::int32_t kNextLineMs = 8000;
constexpr std::size_t kFileNumberLength = 64;

// A telephone line that is connected is never this quiet for long: 60 dB below full scale.
constexpr int kSilentDB = -48;
constexpr std::int32_t kSilentMs = 10000;

}  // namespace

MainDialog::MainDialog(LALCListThread& queue)
    : LToolBar(kToolBarItems, std::size(kToolBarItems)),
      queue_(queue),
      bar_("com.Oskmera.Kiv", LToolBar::_toolbarEventHandler, static_cast<LToolBar*>(this)),
      engine_(queue) {
  toolbar = &bar_;
}

MainDialog::~MainDialog() {
  for (const auto handler : handlers_) kiv::EventQueue::Main().Remove(handler);
}

void MainDialog::InitDialog() {
  // Before the first line of the log, so that the window shows it.
  status_ = kiv::StatusTextControl(GetControl(kStatusControl));
  gStatusWindow.SetControl(&status_);
  LogFile("Kiv Recorder Run");

  kiv::AppendMenuItem(window_, "Help", "Kiv Recorder Home Page", kHomePage);
  kiv::AppendMenuItem(window_, "Help", "", 0);
  kiv::AppendMenuItem(window_, "Help", "Oskmera Home Page", kMakersPage);
  // The names stand in the order of the menu; F7 stops and F8 holds all the same. Users know it so.
  kiv::SetMenuItemKeyName(window_, kMenuRecord, "F5");
  kiv::SetMenuItemKeyName(window_, kMenuHold, "F7");
  kiv::SetMenuItemKeyName(window_, kMenuStop, "F8");

  bar_.Build();
  kiv::AttachToolBar(window_, bar_);
  meter_.Attach(GetControl(kMeterControl));
  kiv::SetControlFontStyle(GetControl(kStatusControl), kiv::FontStyle::SmallFixed);
  kiv::ClearKeyboardFocus(window_);

  kiv::EventQueue& queue = kiv::EventQueue::Main();
  for (const std::uint32_t kind : {kiv::kEngineLevel, kiv::kEngineTime, kiv::kEngineDisconnected}) {
    handlers_.push_back(queue.Install(kiv::kEngineClass, kind,
                                      [this](const kiv::Event& event) { return MainNotifyEventHandler(event); }));
  }
  engine_.SetEventQueue(&queue);

  char list[kiv::kTextSize];
  tstrmcpy(list, gSettings.dataFolder);
  LFile::_FilePathCat(list, "bgalc.dat");
  queue_.SetListFilePath(list);
  kiv::RecoverRecordings(queue_);
  kiv::ExtractMissingPrompts([this](LFileExtractorProcess& job) {
    LProcessDialog<LFileExtractorProcess> dialog("Extracting Files", &job);
    dialog.Open(window_);
  });
  TimerSet(kInformationTimer, kFirstLineMs);
  InstallKeyHandler();
  HotKeyStart();
}

void MainDialog::DestroyDialog() {
  queue_.Shutdown();
  HotKeyStop();
  engine_.SetMode(RequestedMode::None);
  engine_.StopDevices();
  LogFile("Kiv Recorder Exit");

  gStatusWindow.SetControl(nullptr);
  engine_.SetEventQueue(nullptr);
  TimerReset(kInformationTimer);
  ResetApplicationBadge();
}

void MainDialog::Command(std::uint32_t id) {
  switch (id) {
    case kItemRecord:
    case kMenuRecord:
      return RecordOrStop();
    case kItemHold:
    case kMenuHold:
      return HoldOrResume();
    case kMenuStop:
      // Tool bar and menu stay as they are until something else refreshes them.
      return Stop();
    case kFindAndPlay:
      return LFindPlayDlg().Open(gSettings.recordingsFolder);
    case kViewLog:
      return ViewLogDlg().Open(gSettings.logsFolder);
    case kiv::kCommandPreferences:
      return CmPreferences();
    case kHomePage:
      return OpenOskWebPage("kiv/index");
    case kMakersPage:
      return OpenOskWebPage("software/index");
    case kHelp:
      return CmHelp();
    default:
      return;
  }
}

void MainDialog::CommandPress(int key) {
  if (key == KeyPress(kiv::kVirtualKeyF1)) return CmHelp();
  for (std::uint32_t id = 0; id < std::size(kHotKeys); ++id) {
    if (key == KeyPress(kHotKeys[id])) return EvHotKey(id);
  }
}

void MainDialog::EvHotKey(std::uint32_t id) {
  switch (id) {
    case 0:
      return RecordOrStop();
    case 1:
      Stop();
      return EnableControls();
    case 2:
      return HoldOrResume();
    default:
      return;
  }
}

void MainDialog::RecordOrStop() {
  if (asking_) return;
  if (Mode() == RequestedMode::Record) {
    Stop();
  } else {
    CmRecord();
  }
  EnableControls();
}

void MainDialog::HoldOrResume() {
  if (asking_) return;
  if (Mode() == RequestedMode::Hold) {
    Stop();
  } else {
    const RequestedMode before = Mode();
    LogFile("Call on-hold");
    engine_.SetMode(RequestedMode::Hold);
    if (before == RequestedMode::None) engine_.SndStart();
  }
  EnableControls();
}

void MainDialog::Stop() {
  LogFile("Stopped");
  // The engine sees it at its next time report and then plays the end prompt.
  engine_.SetMode(RequestedMode::None);
  ShowState();
}

void MainDialog::CmRecord() {
  if (kiv::GetSetting(kiv::kPromptForData)) {
    char prompt[kiv::kTextSize];
    char answer[kiv::kTextSize];
    kiv::GetSetting(kiv::kPrompt, prompt);
    kiv::GetSetting(kiv::kPromptPrevious, answer);
    asking_ = true;
    const int result = LTextEditDlg(answer, prompt).Open(window_);
    asking_ = false;
    if (result == 0) return;
    kiv::SetSetting(kiv::kPromptPrevious, answer);
    char fileNumber[kiv::kTextSize] = {};
    LFile::PreprocessName(answer, fileNumber);
    fileNumber[kFileNumberLength] = '\0';
    engine_.SetFileNumber(fileNumber);
  }
  LogFile("Recording started");
  const RequestedMode before = Mode();
  engine_.SetMode(RequestedMode::Record);
  // From hold the engine changes over by itself.
  if (before == RequestedMode::None) engine_.SndStart();
}

void MainDialog::CmPreferences() {
  engine_.SetMode(RequestedMode::None);
  ShowState();
  // Without the engine's SndStop: a recording ends as one does that has reached its longest time.
  engine_.StopDevices();
  HotKeyStop();
  SetDlg().Open(window_, "Preferences");
  engine_.SetFileNumber("");
  engine_.SetEventQueue(&kiv::EventQueue::Main());
  HotKeyStart();
}

void MainDialog::CmHelp() {
  kiv::ShowHelpStart();
}

void MainDialog::HotKeyStart() {
  if (!kiv::GetSetting(kiv::kHotKeys)) return;
  for (std::uint32_t id = 0; id < std::size(kHotKeys); ++id) RegisterHotKey(kHotKeys[id], id);
}

void MainDialog::HotKeyStop() {
  for (std::uint32_t id = 0; id < std::size(kHotKeys); ++id) UnregisterHotKey(id);
}

void MainDialog::EnableControls() {
  const RequestedMode mode = Mode();
  switch (mode) {
    case RequestedMode::Record:
      SetToolBarItemIcon(kItemRecord, "kivon");
      SetToolBarItemText(kItemRecord, "Recording");
      SetToolBarItemIcon(kItemHold, "kivoff");
      SetToolBarItemText(kItemHold, "Hold Call");
      SetApplicationBadge("iconrec");
      break;
    case RequestedMode::Hold:
      SetToolBarItemIcon(kItemRecord, "kivoff");
      SetToolBarItemText(kItemRecord, "  Record  ");
      SetToolBarItemIcon(kItemHold, "kivgreen");
      SetToolBarItemText(kItemHold, " On Hold ");
      SetApplicationBadge("iconhold");
      break;
    case RequestedMode::None:
      SetToolBarItemText(kItemRecord, "  Record  ");
      SetToolBarItemText(kItemHold, "Hold Call");
      SetToolBarItemIcon(kItemRecord, "kivoff");
      SetToolBarItemIcon(kItemHold, "kivoff");
      ResetApplicationBadge();
      break;
  }
  kiv::EnableMenuCommand(window_, kMenuRecord, mode != RequestedMode::Record);
  kiv::EnableMenuCommand(window_, kMenuHold, mode != RequestedMode::Hold);
  kiv::EnableMenuCommand(window_, kMenuStop, mode != RequestedMode::None);
  EnableControl(kMeterControl, mode != RequestedMode::None);
  EnableControl(kTimeControl, mode != RequestedMode::None);
  if (mode == RequestedMode::None) SetTime(0);
  ShowState();
}

// The words beside the time tell what is going on even where the tool bar is not refreshed: after the menu's Stop, and
// when a call could not be begun or has broken off because of a missing file.
void MainDialog::ShowState() {
  const RequestedMode shown = State() == SndStateType::Idle ? RequestedMode::None : Mode();
  SetValue(kStateControl, static_cast<int>(shown));
}

void MainDialog::SetTime(int seconds) {
  if (seconds == shownSeconds_) return;
  char text[32];
  std::snprintf(text, sizeof text, "%d:%.2d:%.2d", seconds / 3600, seconds / 60 % 60, seconds % 60);
  SetText(kTimeControl, text);
  shownSeconds_ = seconds;
}

bool MainDialog::MainNotifyEventHandler(const kiv::Event& event) {
  if (event.Class() != kiv::kEngineClass) return false;
  switch (event.Kind()) {
    case kiv::kEngineLevel:
      ShowLevel(event.Get<std::int32_t>(kiv::kEngineLevelParameter, kiv::kEngineLevelParameter).value_or(0));
      return true;
    case kiv::kEngineTime:
      ShowTime(event.Get<LSoundTime>(kiv::kEngineTimeParameter, kiv::kEngineTimeParameter).value_or(0));
      return true;
    case kiv::kEngineDisconnected:
      EnableControls();
      return true;
    default:
      return false;
  }
}

void MainDialog::ShowLevel(std::int32_t dB) {
  meter_.level.channels = 1;
  meter_.level.level[0] = std::clamp<std::int32_t>(dB, -127, 127);
  kiv::RedrawControl(GetControl(kMeterControl));
  // The record tone is no sound of the line.
  if (dB > kSilentDB && !engine_.IsPlaying()) heardMs_ = recordedMs_;
}

void MainDialog::ShowTime(std::int32_t milliseconds) {
  SetTime(milliseconds / 1000);
  if (milliseconds < recordedMs_) heardMs_ = 0;  // Another recording.
  recordedMs_ = milliseconds;
  if (IsLineSilent() != silenceShown_) ShowInformation();
}

bool MainDialog::IsLineSilent() const noexcept {
  return State() == SndStateType::Recording && recordedMs_ - heardMs_ >= kSilentMs;
}

std::vector<std::string> MainDialog::InformationLines() const {
  std::vector<std::string> lines;
  lines.emplace_back("Kiv Recorder " KIV_VERSION);
  lines.emplace_back("Recordings are in ").append(gSettings.recordingsFolder);
  const kiv::HotKeys* hotKeys = kiv::services.hotKeys;
  const bool everywhere = hotKeys != nullptr && hotKeys->Available() && IsHotKeyRegistered(0);
  lines.emplace_back("F5 records and stops, F7 stops, F8 holds the call, F1 shows help");
  lines.emplace_back(everywhere ? "F5, F7 and F8 act while another program has the keyboard, too"
                                : "F5, F7 and F8 act while this window has the keyboard");
  const std::string input = engine_.InputName();
  lines.push_back(input.empty() ? "No sound input has been found" : "Sound input: " + input);
  return lines;
}

void MainDialog::ShowInformation() {
  silenceShown_ = IsLineSilent();
  if (silenceShown_) return SetText(kInformationControl, "No sound on the line");
  const std::vector<std::string> lines = InformationLines();
  if (informationIndex_ >= lines.size()) informationIndex_ = 0;
  SetText(kInformationControl, lines[informationIndex_]);
  ++informationIndex_;
}

void MainDialog::EvTimer(int id) {
  TimerReset(id);
  if (id != kInformationTimer) return;
  ShowInformation();
  ShowState();
  TimerSet(kInformationTimer, kNextLineMs);
}

void MainDialog::BringToFront() {
  kiv::BringToFront(window_);
}
