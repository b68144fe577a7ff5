#include "ui/settings_dialog.h"

#include <cstdio>
#include <string>

#include "foundation/file.h"
#include "foundation/text.h"
#include "platform/hot_keys.h"
#include "platform/services.h"
#include "recorder/activity_log.h"
#include "recorder/prompt_chain.h"
#include "recorder/prompt_files.h"
#include "recorder/setting_keys.h"
#include "ui/message_box.h"
#include "ui/progress_dialog.h"
#include "ui/window.h"

namespace {

// Controls by number.
constexpr int kPages = 80;
constexpr int kFirstPane = 81;
constexpr int kLastPane = 89;

constexpr int kPromptForDataBox = 1101;
constexpr int kPromptField = 1102;
constexpr int kCopyBox = 1104;
constexpr int kHotKeysBox = 1107;
constexpr int kCopyFolderField = 1108;
constexpr int kCopyFolderBrowse = 1109;
constexpr int k1HourStopBox = 1110;

constexpr int kStartPromptBox = 2101;
constexpr int kPlayStartPrompt = 2102;
constexpr int kLoadStartPrompt = 2103;
constexpr int kToneBox = 2104;
constexpr int kToneIntervalLabel = 2105;
constexpr int kToneIntervalField = 2106;
constexpr int kEndPromptBox = 2107;
constexpr int kPlayEndPrompt = 2108;
constexpr int kLoadEndPrompt = 2109;
constexpr int kDeleteDaysField = 2110;
constexpr int kLevelControlBox = 2111;

constexpr int kPlayOnHold1 = 3101;
constexpr int kLoadOnHold1 = 3102;
constexpr int kPlayOnHold2 = 3103;
constexpr int kLoadOnHold2 = 3104;
constexpr int kPlayOnHold3 = 3105;
constexpr int kLoadOnHold3 = 3106;
constexpr int kGainSlider = 3108;
constexpr int kHighPassField = 3109;
constexpr int kCompressorSlider = 3110;

// Our own, beside the settings: what a rule would otherwise hide.
constexpr int kNoGlobalKeysNote = 190;
constexpr int kGainStoredNote = 191;
constexpr int kCompressorStoredNote = 192;

constexpr char kFolderMissing[] =
    "The folder you want to copy files to must be specified if you select the Copy to Folder option.";

std::string TextSettingOf(const kiv::TextSetting& setting) {
  char text[kiv::kTextSize];
  kiv::GetSetting(setting, text);
  return text;
}

std::string StoredNote(LDB level) {
  std::string note("Stores ");
  if (level > 0) note.append("+");
  return note.append(std::to_string(level)).append(" dB");
}

}  // namespace

void SetDlg::InitDialog() {
  SetValue(kPages, 1);
  tabs_.Install(window_, GetControl(kPages));
  kiv::ClearKeyboardFocus(window_);
  for (int pane = kFirstPane; pane <= kLastPane; ++pane) {
    const ControlRef control = GetControl(pane);
    if (control == nullptr) break;
    kiv::ShowControl(control, pane == kFirstPane);
  }

  SetValue(kHotKeysBox, kiv::GetSetting(kiv::kHotKeys));
  SetValue(kPromptForDataBox, kiv::GetSetting(kiv::kPromptForData));
  SetText(kPromptField, TextSettingOf(kiv::kPrompt));
  SetValue(k1HourStopBox, kiv::GetSetting(kiv::k1HourStop));
  SetValue(kCopyBox, kiv::GetSetting(kiv::kCopyRecordings));
  SetText(kCopyFolderField, TextSettingOf(kiv::kCopyToFolder));
  SetText(kDeleteDaysField, std::to_string(kiv::GetSetting(kiv::kAutoDeleteDays)));
  SetValue(kLevelControlBox, kiv::GetSetting(kiv::kAutoLevelControl));

  SetValue(kGainSlider, kiv::SliderFromGain(kiv::GetSetting(kiv::kAudioGain)));
  SetValue(kCompressorSlider, kiv::SliderFromCompressorThreshold(kiv::GetSetting(kiv::kAudioCompressorThreshold)));
  SetText(kHighPassField, std::to_string(kiv::GetSetting(kiv::kAudioHighPass)));
  SetValue(kStartPromptBox, kiv::GetSetting(kiv::kStartPrompt));
  SetValue(kToneBox, kiv::GetSetting(kiv::kRecordTone));
  SetText(kToneIntervalField, std::to_string(kiv::GetSetting(kiv::kRecordToneSeconds)));
  SetValue(kEndPromptBox, kiv::GetSetting(kiv::kEndPrompt));

  kiv::ShowControl(GetControl(kNoGlobalKeysNote),
                   kiv::services.hotKeys == nullptr || !kiv::services.hotKeys->Available());
}

void SetDlg::DestroyDialog() {
  kiv::SetSetting(kiv::kHotKeys, IsChecked(kHotKeysBox));
  kiv::SetSetting(kiv::kPromptForData, IsChecked(kPromptForDataBox));
  char text[kiv::kTextSize];
  kiv::SetSetting(kiv::kPrompt, GetText(kPromptField, text));
  kiv::SetSetting(kiv::k1HourStop, IsChecked(k1HourStopBox));
  kiv::SetSetting(kiv::kCopyRecordings, IsChecked(kCopyBox));

  GetText(kCopyFolderField, text);
  // Said and no more: the window closes and the empty folder is stored.
  if (IsChecked(kCopyBox) && *text == '\0') LMacMessageBox("Error", kFolderMissing, kAlertStopAlert);
  kiv::SetSetting(kiv::kCopyToFolder, text);

  // A slider stores only its two ends.
  kiv::SetSetting(kiv::kAudioGain, kiv::GainFromSlider(GetValue(kGainSlider)));
  kiv::SetSetting(kiv::kAudioCompressorThreshold, kiv::CompressorThresholdFromSlider(GetValue(kCompressorSlider)));
  kiv::SetSetting(kiv::kAudioHighPass, GetNumber(kHighPassField));
  kiv::SetSetting(kiv::kStartPrompt, IsChecked(kStartPromptBox));
  kiv::SetSetting(kiv::kRecordTone, IsChecked(kToneBox));
  kiv::SetSetting(kiv::kRecordToneSeconds, GetNumber(kToneIntervalField));
  kiv::SetSetting(kiv::kEndPrompt, IsChecked(kEndPromptBox));
  kiv::SetSetting(kiv::kAutoDeleteDays, GetNumber(kDeleteDaysField));
  kiv::SetSetting(kiv::kAutoLevelControl, IsChecked(kLevelControlBox));

  player_.Stop();
}

void SetDlg::EnableControls() {
  EnableControl(kPromptField, IsChecked(kPromptForDataBox));
  EnableControlRange(kCopyFolderField, kCopyFolderBrowse, IsChecked(kCopyBox));
  EnableControlRange(kPlayStartPrompt, kLoadStartPrompt, IsChecked(kStartPromptBox));
  EnableControlRange(kToneIntervalLabel, kToneIntervalField, IsChecked(kToneBox));
  EnableControlRange(kPlayEndPrompt, kLoadEndPrompt, IsChecked(kEndPromptBox));
  SetText(kGainStoredNote, StoredNote(kiv::GainFromSlider(GetValue(kGainSlider))));
  SetText(kCompressorStoredNote, StoredNote(kiv::CompressorThresholdFromSlider(GetValue(kCompressorSlider))));
}

void SetDlg::Command(std::uint32_t id) {
  switch (id) {
    case kCopyFolderBrowse:
      return BrowseCopyFolder();
    case kPlayStartPrompt:
      return CmPlay(false);
    case kLoadStartPrompt:
      return CmChange(false);
    case kPlayEndPrompt:
      return CmPlay(true);
    case kLoadEndPrompt:
      return CmChange(true);
    case kPlayOnHold1:
      return CmPlay(1);
    case kLoadOnHold1:
      return CmChange(1);
    case kPlayOnHold2:
      return CmPlay(2);
    case kLoadOnHold2:
      return CmChange(2);
    case kPlayOnHold3:
      return CmPlay(3);
    case kLoadOnHold3:
      return CmChange(3);
    default:
      break;
  }
}

void SetDlg::EvListDoubleClicked() {}

void SetDlg::CmPlay(int slot) {
  slot_ = slot;
  char path[kiv::kTextSize];
  GetWavFilePath(path);
  Play(path);
}

void SetDlg::CmPlay(bool endPrompt) {
  endPrompt_ = endPrompt;
  char path[kiv::kTextSize];
  GetRecordWavFilePath(path);
  Play(path);
}

void SetDlg::CmChange(int slot) {
  slot_ = slot;
  CmLoadFile();
}

void SetDlg::CmChange(bool endPrompt) {
  endPrompt_ = endPrompt;
  CmLoadRecordFile();
}

void SetDlg::CmLoadFile() {
  char path[kiv::kTextSize];
  GetWavFilePath(path);
  Load(path);
}

void SetDlg::CmLoadRecordFile() {
  char path[kiv::kTextSize];
  GetRecordWavFilePath(path);
  Load(path);
}

void SetDlg::GetWavFilePath(char (&path)[kiv::kTextSize]) {
  char name[16];
  std::snprintf(name, sizeof name, "On-Hold %d", slot_);
  kiv::PathOfPrompt(path, name);
}

void SetDlg::GetRecordWavFilePath(char (&path)[kiv::kTextSize]) {
  kiv::PathOfPrompt(path, endPrompt_ ? "End Prompt" : "Start Prompt");
}

void SetDlg::Play(char const* path) {
  player_.Stop();
  LSoundSource source = kiv::OpenPrompt(path);
  if (source->Error() == kSourceGood) player_.Start(source);
}

void SetDlg::Load(char const* path) {
  char before[kiv::kTextSize];
  kiv::GetSetting(kiv::kWavImportDir, before);
  char chosen[kiv::kTextSize];
  if (!LFile::BrowseReadFilePath(window_, chosen, "Load Recording", before)) return;
  // The file itself, not its folder: a panel opens in the folder of such a place.
  kiv::SetSetting(kiv::kWavImportDir, chosen);
  const kiv::PromptImport import = kiv::ImportPrompt(chosen, path, [this](LPRSourceToSink& job) {
    LProcessDialog<LPRSourceToSink> progress("Loading Audio File", &job);
    progress.Open(window_);
    return progress.processResult;
  });
  // A file that is no sound is passed over without a word; a disk that is full is not.
  if (import == kiv::PromptImport::Failed) LogFile("Error: Unable to write prompt: ", path);
}

void SetDlg::BrowseCopyFolder() {
  char before[kiv::kTextSize];
  char chosen[kiv::kTextSize];
  GetText(kCopyFolderField, before);
  if (LFile::BrowseFolder(window_, chosen, "Locate folder to copy files to", before)) SetText(kCopyFolderField, chosen);
}

bool SetDlg::IsChecked(int id) {
  return GetValue(id) == 1;
}

std::int32_t SetDlg::GetNumber(int id) {
  char text[kiv::kTextSize];
  return kiv::ParseInt32(GetText(id, text));
}
