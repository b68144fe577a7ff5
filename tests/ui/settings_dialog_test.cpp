#include "ui/settings_dialog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>
#include <QIcon>
#include <QLineEdit>
#include <QMessageBox>
#include <QSlider>
#include <QTabWidget>
#include <QTest>
#include <filesystem>
#include <map>
#include <optional>

#include "audio/processing/peak_limit.h"
#include "audio/wave_file.h"
#include "foundation/dat_file_native.h"
#include "platform/file_panels.h"
#include "platform/preference_store.h"
#include "recorder/prompt_chain.h"
#include "recorder/setting_keys.h"
#include "recorder/settings.h"
#include "tests/audio/mp3/mp3_writer.h"
#include "tests/devices/line_fixture.h"
#include "tests/support/recorder_fixture.h"
#include "tests/ui/ui_environment.h"
#include "tests/ui/wait_until.h"
#include "ui/application_loop.h"
#include "ui/resources.h"
#include "ui/toolkit_window.h"
#include "ui/window.h"

namespace {

using kiv::test::ClickCloseBox;
using kiv::test::ClickCommand;
using kiv::test::ClickControl;
using kiv::test::WaitUntil;
using kiv::test::WhenLoopRuns;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int32_t kRate = 8000;

// 258 letters and a tail.
std::string Long(const std::string& tail) {
  return std::string(258, 'x').append(tail);
}

// Preferences in memory that note every set.
class NotedPreferences : public kiv::PreferenceStore {
 public:
  std::map<std::string, std::string> values;
  std::vector<std::string> sets;
  std::function<void(const std::string&)> onSet;

  std::optional<std::string> Get(const std::string& name) override {
    const auto found = values.find(name);
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }
  void Set(const std::string& name, const std::string& value) override {
    values[name] = value;
    sets.push_back(name + "=" + value);
    if (onSet) onSet(name);
  }
  void Synchronize() override {}
};

// A user who answers the panels.
class AnsweredPanels : public kiv::FilePanels {
 public:
  std::optional<std::string> answer;
  struct Asked {
    std::string panel;
    WindowRef parent;
    std::string title;
    std::string startPlace;
  };
  std::vector<Asked> asked;

  std::optional<std::string> ChooseFolder(WindowRef parent, const std::string& title,
                                          const std::string& startPlace) override {
    asked.push_back({"folder", parent, title, startPlace});
    return answer;
  }
  std::optional<std::string> ChooseFile(WindowRef parent, const std::string& title,
                                        const std::string& startPlace) override {
    asked.push_back({"file", parent, title, startPlace});
    return answer;
  }
};

// Calls back, from the loop, for every window that appears.
class WindowWatcher : public QObject {
 public:
  explicit WindowWatcher(std::function<void(QWidget*)> onShow) : onShow_(std::move(onShow)) {
    qApp->installEventFilter(this);
  }
  bool eventFilter(QObject* object, QEvent* event) override {
    auto* widget = qobject_cast<QWidget*>(object);
    if (event->type() == QEvent::Show && widget != nullptr && widget->isWindow()) {
      QTimer::singleShot(0, widget, [this, widget] { onShow_(widget); });
    }
    return false;
  }

 private:
  std::function<void(QWidget*)> onShow_;
};

// The real window on an account of its own, with a line in lock-step behind the previews.
class Preferences : public kiv::test::RecorderFixture {
 protected:
  Preferences() {
    kiv::services.preferences = &store;
    kiv::services.filePanels = &panels;
    desktop.folders.home = home.Path();
    gSettings.Load();
  }

  int Open(std::function<void()> inLoop) {
    WhenLoopRuns(std::move(inLoop));
    return dialog.Open(nullptr, "Preferences");
  }
  void OpenAndClose() {
    Open([this] { Close(); });
  }
  void Close() { ClickCommand(dialog.Window(), "ok  "); }

  void Click(int id) { ClickControl(dialog.Window(), id); }
  bool IsEnabled(int id) { return kiv::IsControlEnabled(dialog.GetControl(id)); }
  bool IsShown(int id) { return kiv::IsControlShown(dialog.GetControl(id)); }
  std::string TextOf(int id) { return kiv::ControlText(dialog.GetControl(id)); }
  // As the user moves it.
  void MoveSlider(int id, int position) {
    auto* slider = qobject_cast<QSlider*>(kiv::WidgetOf(dialog.GetControl(id)));
    ASSERT_NE(slider, nullptr);
    slider->setValue(position);
  }

  void SetPreference(const std::string& key, const std::string& value) { store.values["Settings/" + key] = value; }
  std::string Preference(const std::string& key) { return store.Get("Settings/" + key).value_or("(none)"); }
  static void SetFileValue(const char* key, const char* value) { gSettings.SetValue("settings", key, value); }
  static std::string FileValue(const char* key) {
    char value[kiv::kTextSize];
    gSettings.GetValue("settings", key, "(none)", value);
    return value;
  }

  // A process writes its settings file when it ends: here a copy of this one.
  static void WriteSettingsAsAtExit() {
    const pid_t child = fork();
    if (child == 0) {
      gDatFileNativeSystem.Close();
      _exit(0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
  }

  NotedPreferences store;
  AnsweredPanels panels;
  kiv::test::Desktop desktop;
  kiv::test::InstalledLine installed{kiv::MakeSilence()};
  SetDlg dialog;
};

// --- What the window shows

TEST_F(Preferences, FreshAccountShowsTheDefaults) {
  Open([this] {
    for (const int id : {1107, 1110, 2101, 2104, 2107, 2111}) EXPECT_EQ(dialog.GetValue(id), 1) << id;
    for (const int id : {1101, 1104}) EXPECT_EQ(dialog.GetValue(id), 0) << id;
    EXPECT_EQ(TextOf(1102), "Enter file number");
    EXPECT_EQ(TextOf(1108), "");
    EXPECT_EQ(TextOf(2110), "30");
    EXPECT_EQ(TextOf(3109), "0");
    EXPECT_EQ(dialog.GetValue(3108), 50);
    EXPECT_EQ(dialog.GetValue(3110), 100);
    Close();
  });
}

// The engine takes 15 seconds for the same missing key.
TEST_F(Preferences, MissingToneIntervalShowsAsZero) {
  Open([this] {
    EXPECT_EQ(TextOf(2106), "0");
    Close();
  });
}

TEST_F(Preferences, ShowsEveryStoredValue) {
  for (const char* key : {"HotKeys", "1HourStop", "AutoLevelControl"}) SetPreference(key, "0");
  for (const char* key : {"PromptForData", "CopyRecordings"}) SetPreference(key, "1");
  SetPreference("Prompt", "Who & <b>why</b>?");
  SetPreference("CopyToFolder", "/mnt/Anrufe f\xC3\xBCr uns");
  SetPreference("AutoDeleteDays", "-7");
  for (const char* key : {"startprompt", "recordtone", "endprompt"}) SetFileValue(key, "false");
  SetFileValue("recordtoneinterval", "45");
  SetFileValue("audiohighpass", "300");
  SetFileValue("audiogain", "8");
  SetFileValue("audiocompressorthres", "-16");
  Open([this] {
    for (const int id : {1107, 1110, 2101, 2104, 2107, 2111}) EXPECT_EQ(dialog.GetValue(id), 0) << id;
    for (const int id : {1101, 1104}) EXPECT_EQ(dialog.GetValue(id), 1) << id;
    EXPECT_EQ(TextOf(1102), "Who & <b>why</b>?");
    EXPECT_EQ(TextOf(1108), "/mnt/Anrufe f\xC3\xBCr uns");
    EXPECT_EQ(TextOf(2110), "-7");
    EXPECT_EQ(TextOf(2106), "45");
    EXPECT_EQ(TextOf(3109), "300");
    EXPECT_EQ(dialog.GetValue(3108), 100);
    EXPECT_EQ(dialog.GetValue(3110), 0);
    Close();
  });
}

struct ShownLevel {
  const char* stored;
  int position;
};

TEST_F(Preferences, GainShowsOverTheWholeSlider) {
  for (const ShownLevel& level : {ShownLevel{"-127", 0},
                                  {"-9", 0},
                                  {"-8", 0},
                                  {"-7", 6},
                                  {"-1", 43},
                                  {"0", 50},
                                  {"1", 56},
                                  {"7", 93},
                                  {"8", 100},
                                  {"9", 100},
                                  {"127", 100},
                                  {"-4 dB", 25}}) {
    SetFileValue("audiogain", level.stored);
    Open([&] {
      EXPECT_EQ(dialog.GetValue(3108), level.position) << level.stored;
      Close();
    });
  }
}

TEST_F(Preferences, ThresholdShowsOverTheWholeSlider) {
  for (const ShownLevel& level :
       {ShownLevel{"-127", 0}, {"-17", 0}, {"-16", 0}, {"-15", 6}, {"-3", 81}, {"-1", 93}, {"0", 100}, {"12", 100}}) {
    SetFileValue("audiocompressorthres", level.stored);
    Open([&] {
      EXPECT_EQ(dialog.GetValue(3110), level.position) << level.stored;
      Close();
    });
  }
}

// A time of 1:30 is 90 seconds to the engine, and a number that begins with 1 to this window.
TEST_F(Preferences, ToneIntervalInMinutesShowsAndStoresItsFirstNumber) {
  SetFileValue("recordtoneinterval", "1:30");
  Open([this] {
    EXPECT_EQ(TextOf(2106), "1");
    Close();
  });
  EXPECT_EQ(FileValue("recordtoneinterval"), "1");
}

TEST_F(Preferences, ValuesAreReadAtEachOpening) {
  OpenAndClose();
  SetPreference("Prompt", "Another");
  SetFileValue("audiohighpass", "123");
  Open([this] {
    EXPECT_EQ(TextOf(1102), "Another");
    EXPECT_EQ(TextOf(3109), "123");
    Close();
  });
}

TEST_F(Preferences, SaysSoWhenTheDesktopHasNoGlobalKeys) {
  for (const bool available : {true, false}) {
    desktop.hotKeys.available = available;
    Open([&] {
      EXPECT_EQ(IsShown(190), !available);
      Close();
    });
  }
  kiv::services.hotKeys = nullptr;
  Open([&] {
    EXPECT_TRUE(IsShown(190));
    Close();
  });
}

// --- What it stores

// Among it the least gain, since the slider stands in its middle, and an interval of 0.
TEST_F(Preferences, ClosingOnAFreshAccountStoresAllOfIt) {
  EXPECT_EQ(Open([this] { Close(); }), 1);
  EXPECT_EQ(store.values, (std::map<std::string, std::string>{{"Settings/HotKeys", "1"},
                                                              {"Settings/PromptForData", "0"},
                                                              {"Settings/Prompt", "Enter file number"},
                                                              {"Settings/1HourStop", "1"},
                                                              {"Settings/CopyRecordings", "0"},
                                                              {"Settings/CopyToFolder", ""},
                                                              {"Settings/AutoDeleteDays", "30"},
                                                              {"Settings/AutoLevelControl", "1"}}));
  EXPECT_EQ(FileValue("audiogain"), "-8");
  EXPECT_EQ(FileValue("audiocompressorthres"), "0");
  EXPECT_EQ(FileValue("audiohighpass"), "0");
  EXPECT_EQ(FileValue("startprompt"), "true");
  EXPECT_EQ(FileValue("recordtone"), "true");
  EXPECT_EQ(FileValue("recordtoneinterval"), "0");
  EXPECT_EQ(FileValue("endprompt"), "true");
  EXPECT_EQ(FileValue("holdno"), "(none)");
  EXPECT_EQ(FileValue("wavimportdir"), "(none)");
  // So the engine, which took 15 seconds before, now goes to its shortest interval.
  EXPECT_EQ(kiv::GetSetting(kiv::kRecordToneInterval), 0);
}

TEST_F(Preferences, StoresInTheStatedOrder) {
  std::vector<std::string> fileAtSet;
  store.onSet = [&](const std::string& name) {
    // Which values of the file are there by then.
    std::string present;
    for (const char* key : {"audiogain", "audiocompressorthres", "audiohighpass", "startprompt", "recordtone",
                            "recordtoneinterval", "endprompt"}) {
      if (FileValue(key) != "(none)") present.append(" ").append(key);
    }
    fileAtSet.push_back(name + ":" + present);
  };
  OpenAndClose();
  EXPECT_THAT(fileAtSet,
              ElementsAre("Settings/HotKeys:", "Settings/PromptForData:", "Settings/Prompt:", "Settings/1HourStop:",
                          "Settings/CopyRecordings:", "Settings/CopyToFolder:",
                          "Settings/AutoDeleteDays: audiogain audiocompressorthres audiohighpass startprompt "
                          "recordtone recordtoneinterval endprompt",
                          "Settings/AutoLevelControl: audiogain audiocompressorthres audiohighpass startprompt "
                          "recordtone recordtoneinterval endprompt"));
  // New keys of a file stand in the order in which they came.
  WriteSettingsAsAtExit();
  EXPECT_EQ(kiv::test::ReadFile(DataPath("settings.ini")),
            "[settings]\r\naudiogain=-8\r\naudiocompressorthres=0\r\naudiohighpass=0\r\nstartprompt=true\r\n"
            "recordtone=true\r\nrecordtoneinterval=0\r\nendprompt=true\r\n\r\n");
}

TEST_F(Preferences, StoresWhatTheUserHasChanged) {
  Open([this] {
    for (const int id : {1107, 1101, 1110, 1104, 2111, 2101, 2104, 2107}) Click(id);
    dialog.SetText(1102, "Name?");
    dialog.SetText(1108, "/mnt/calls");
    dialog.SetText(2110, "7");
    dialog.SetText(2106, "20");
    dialog.SetText(3109, "250");
    MoveSlider(3108, 100);
    MoveSlider(3110, 40);
    Close();
  });
  for (const char* key : {"HotKeys", "1HourStop", "AutoLevelControl"}) EXPECT_EQ(Preference(key), "0") << key;
  for (const char* key : {"PromptForData", "CopyRecordings"}) EXPECT_EQ(Preference(key), "1") << key;
  EXPECT_EQ(Preference("Prompt"), "Name?");
  EXPECT_EQ(Preference("CopyToFolder"), "/mnt/calls");
  EXPECT_EQ(Preference("AutoDeleteDays"), "7");
  for (const char* key : {"startprompt", "recordtone", "endprompt"}) EXPECT_EQ(FileValue(key), "false") << key;
  EXPECT_EQ(FileValue("recordtoneinterval"), "20");
  EXPECT_EQ(FileValue("audiohighpass"), "250");
  EXPECT_EQ(FileValue("audiogain"), "8");
  EXPECT_EQ(FileValue("audiocompressorthres"), "-16");
}

TEST_F(Preferences, EveryWayOutStores) {
  const std::pair<std::function<void()>, int> ways[] = {
      {[this] { Close(); }, 1},
      {[this] { ClickCloseBox(dialog.Window()); }, 0},
      {[this] { kiv::test::PressKey(dialog.Window(), Qt::Key_Escape); }, 1},
  };
  for (const auto& [leave, result] : ways) {
    store.sets.clear();
    EXPECT_EQ(Open(leave), result);
    EXPECT_EQ(store.sets.size(), 8U);
  }
}

TEST_F(Preferences, NothingIsStoredBeforeTheWindowCloses) {
  Open([this] {
    Click(1107);
    dialog.SetText(1102, "Name?");
    MoveSlider(3108, 100);
    EXPECT_THAT(store.sets, IsEmpty());
    EXPECT_EQ(FileValue("audiogain"), "(none)");
    Close();
  });
}

// --- Sliders

TEST_F(Preferences, SlidersStoreOnlyTheirEnds) {
  for (const int position : {0, 1, 50, 99, 100}) {
    Open([&] {
      MoveSlider(3108, position);
      MoveSlider(3110, position);
      Close();
    });
    EXPECT_EQ(FileValue("audiogain"), position == 100 ? "8" : "-8") << position;
    EXPECT_EQ(FileValue("audiocompressorthres"), position == 100 ? "0" : "-16") << position;
  }
}

TEST_F(Preferences, SlidersSayWhatTheyWillStore) {
  Open([this] {
    EXPECT_EQ(TextOf(191), "Stores -8 dB");
    EXPECT_EQ(TextOf(192), "Stores 0 dB");
    MoveSlider(3108, 100);
    MoveSlider(3110, 99);
    EXPECT_EQ(TextOf(191), "Stores +8 dB");
    EXPECT_EQ(TextOf(192), "Stores -16 dB");
    MoveSlider(3108, 99);
    EXPECT_EQ(TextOf(191), "Stores -8 dB");
    Close();
  });
}

TEST_F(Preferences, SlidersGoFrom0To100) {
  Open([this] {
    for (const int id : {3108, 3110}) {
      auto* slider = qobject_cast<QSlider*>(kiv::WidgetOf(dialog.GetControl(id)));
      ASSERT_NE(slider, nullptr);
      EXPECT_EQ(slider->minimum(), 0);
      EXPECT_EQ(slider->maximum(), 100);
    }
    Close();
  });
}

// --- Numbers and texts

TEST_F(Preferences, NumbersCountUpToTheFirstOtherCharacter) {
  for (const auto& [typed, stored] :
       {std::pair("42", "42"), std::pair(" 42abc", "42"), std::pair("abc", "0"), std::pair("", "0"),
        std::pair("-5", "-5"), std::pair("+7", "7"), std::pair("1:30", "1"), std::pair("3.9", "3"),
        std::pair("- 5", "0"), std::pair("0x10", "0"), std::pair("99999999999", "2147483647")}) {
    Open([&, text = std::string(typed)] {
      for (const int id : {3109, 2106, 2110}) dialog.SetText(id, text);
      Close();
    });
    EXPECT_EQ(FileValue("audiohighpass"), stored) << typed;
    EXPECT_EQ(FileValue("recordtoneinterval"), stored) << typed;
    EXPECT_EQ(Preference("AutoDeleteDays"), stored) << typed;
  }
}

TEST_F(Preferences, TextsAreCutAt259Bytes) {
  Open([this] {
    dialog.SetText(1102, Long("yz and more"));
    dialog.SetText(1108, Long("\xC3\xA4"));  // In the middle of a letter.
    Close();
  });
  EXPECT_EQ(Preference("Prompt"), Long("y"));
  EXPECT_EQ(Preference("CopyToFolder"), Long("\xC3"));
  // What the cut has left of the letter is not shown, and gone at the next closing.
  Open([this] {
    EXPECT_EQ(TextOf(1102), Long("y"));
    EXPECT_EQ(TextOf(1108), Long(""));
    Close();
  });
  EXPECT_EQ(Preference("CopyToFolder"), Long(""));
}

TEST_F(Preferences, TextsAreStoredAsTheyAre) {
  for (const char* text : {"  blanks  ", "<b>&amp;</b>", "\xE2\x82\xAC=\xF0\x9F\x93\x9E;#", ""}) {
    Open([&] {
      dialog.SetText(1102, text);
      Close();
    });
    EXPECT_EQ(Preference("Prompt"), text);
  }
}

// --- Copy folder

class PreferencesCopyFolder : public Preferences {
 protected:
  // Notes each message box and dismisses it.
  WindowWatcher watcher{[this](QWidget* window) {
    auto* box = qobject_cast<QMessageBox*>(window);
    if (box == nullptr) return;
    boxes.push_back(box->text().toStdString() + "|" + box->informativeText().toStdString());
    storedByThen = store.sets;
    gainByThen = FileValue("audiogain");
    const QPixmap drawing = box->iconPixmap();
    const QIcon stop(QString::fromStdString(kiv::ResourceByName("icons", "alert-stop")));
    EXPECT_EQ(drawing.toImage(), stop.pixmap(drawing.size()).toImage());
    box->accept();
  }};
  std::vector<std::string> boxes;
  std::vector<std::string> storedByThen;
  std::string gainByThen;
};

TEST_F(PreferencesCopyFolder, MissingWhileCopyingIsSaidOnceAndStoredAllTheSame) {
  Open([this] {
    Click(1104);
    dialog.SetText(1108, "");
    dialog.SetText(1102, "Name?");
    Close();
  });
  EXPECT_THAT(boxes, ElementsAre("Error|The folder you want to copy files to must be specified if you select the Copy "
                                 "to Folder option."));
  EXPECT_EQ(Preference("CopyRecordings"), "1");
  EXPECT_EQ(Preference("CopyToFolder"), "");
  EXPECT_EQ(Preference("AutoLevelControl"), "1");
  // Between the fifth value and the sixth.
  EXPECT_THAT(storedByThen, ElementsAre("Settings/HotKeys=1", "Settings/PromptForData=0", "Settings/Prompt=Name?",
                                        "Settings/1HourStop=1", "Settings/CopyRecordings=1"));
  EXPECT_EQ(gainByThen, "(none)");
}

TEST_F(PreferencesCopyFolder, IsNotAskedForWithoutCopying) {
  OpenAndClose();
  EXPECT_THAT(boxes, IsEmpty());
}

TEST_F(PreferencesCopyFolder, ABlankIsAFolder) {
  Open([this] {
    Click(1104);
    dialog.SetText(1108, " ");
    Close();
  });
  EXPECT_THAT(boxes, IsEmpty());
  EXPECT_EQ(Preference("CopyToFolder"), " ");
}

TEST_F(PreferencesCopyFolder, IsSaidAfterTheCloseBoxToo) {
  SetPreference("CopyRecordings", "1");
  Open([this] { ClickCloseBox(dialog.Window()); });
  EXPECT_EQ(boxes.size(), 1U);
  EXPECT_EQ(Preference("AutoLevelControl"), "1");
}

TEST_F(PreferencesCopyFolder, BrowsingStartsAtTheTextAndReplacesIt) {
  SetPreference("CopyRecordings", "1");
  SetPreference("CopyToFolder", "/stored");
  Open([this] {
    dialog.SetText(1108, "/typed");
    panels.answer = "/chosen/folder";
    Click(1109);
    ASSERT_EQ(panels.asked.size(), 1U);
    EXPECT_EQ(panels.asked[0].panel, "folder");
    EXPECT_EQ(panels.asked[0].parent, dialog.Window());
    EXPECT_EQ(panels.asked[0].title, "Locate folder to copy files to");
    EXPECT_EQ(panels.asked[0].startPlace, "/typed");
    EXPECT_EQ(TextOf(1108), "/chosen/folder");
    EXPECT_EQ(Preference("CopyToFolder"), "/stored");
    Close();
  });
  EXPECT_EQ(Preference("CopyToFolder"), "/chosen/folder");
}

TEST_F(PreferencesCopyFolder, CancelledBrowsingLeavesTheText) {
  SetPreference("CopyRecordings", "1");
  SetPreference("CopyToFolder", "/stored");
  Open([this] {
    Click(1109);
    EXPECT_EQ(TextOf(1108), "/stored");
    panels.answer = std::string(260, 'x');  // Cut, it would name some other folder.
    Click(1109);
    EXPECT_EQ(TextOf(1108), "/stored");
    kiv::services.filePanels = nullptr;
    Click(1109);
    EXPECT_EQ(TextOf(1108), "/stored");
    Close();
  });
}

// --- What can be used when

TEST_F(Preferences, FieldsAreEnabledByTheirCheckBoxes) {
  const std::map<int, std::vector<int>> dependents = {
      {1101, {1102}}, {1104, {1108, 1109}}, {2101, {2102, 2103}}, {2104, {2105, 2106}}, {2107, {2108, 2109}}};
  SetPreference("CopyToFolder", "/somewhere");
  Open([&] {
    for (const auto& [box, controls] : dependents) {
      for (int click = 0; click < 3; ++click) {
        for (const int control : controls) EXPECT_EQ(IsEnabled(control), dialog.GetValue(box) == 1) << control;
        Click(box);
      }
    }
    Close();
  });
}

TEST_F(Preferences, EverythingElseIsAlwaysEnabled) {
  Open([this] {
    for (const int box : {1107, 1101, 1110, 1104, 2111, 2101, 2104, 2107}) {
      for (int click = 0; click < 2; ++click) {
        Click(box);
        for (const int id : {80, 1107, 1101, 1110, 1104, 2101, 2104, 2107, 2110, 2111, 3101, 3102, 3103, 3104, 3105,
                             3106, 3108, 3109, 3110}) {
          EXPECT_TRUE(dialog.GetControl(id) != nullptr && kiv::WidgetOf(dialog.GetControl(id))->isEnabled()) << id;
        }
      }
    }
    dialog.SetText(1108, "/somewhere");
    Close();
  });
}

TEST_F(Preferences, OtherCommandsDoNothing) {
  Open([this] {
    for (const std::uint32_t command :
         {kiv::FourCC("1203"), kiv::FourCC("0080"), kiv::FourCC("2105"), kiv::FourCC("2110"), kiv::FourCC("3100"),
          kiv::FourCC("3107"), kiv::FourCC("pref")}) {
      kiv::SendCommand(dialog.Window(), command);
    }
    EXPECT_THAT(panels.asked, IsEmpty());
    EXPECT_THAT(LogLines(), IsEmpty());
    EXPECT_EQ(installed.line.OpenDevices(), 0);
    Close();
  });
}

TEST_F(Preferences, IsTheOwnerOfNoListAndTakesADoubleClickCalmly) {
  LListViewNotify& owner = dialog;
  owner.EvListDoubleClicked();
  owner.EvListSelChanged();
  EXPECT_THAT(store.sets, IsEmpty());
}

// --- Pages

TEST_F(Preferences, OpensOnItsFirstPageEveryTime) {
  const auto shown = [this] {
    std::vector<int> panes;
    for (int pane = 81; pane <= 85; ++pane) {
      if (IsShown(pane)) panes.push_back(pane);
    }
    return panes;
  };
  for (int opening = 0; opening < 2; ++opening) {
    Open([&] {
      EXPECT_EQ(dialog.GetValue(80), 1);
      EXPECT_THAT(shown(), ElementsAre(81));
      for (const int page : {3, 1, 5, 2, 4, 3}) {
        dialog.SetValue(80, page);
        EXPECT_THAT(shown(), ElementsAre(80 + page));
      }
      Close();
    });
  }
}

// --- By keyboard alone

class PreferencesKeys : public Preferences {
 protected:
  void OpenForKeys(std::function<void()> inLoop) {
    Open([this, inLoop = std::move(inLoop)] {
      QWidget* window = kiv::WidgetOf(dialog.Window());
      window->activateWindow();
      ASSERT_TRUE(WaitUntil([window] { return window->isActiveWindow(); }));
      inLoop();
      Close();
    });
  }
  // To whatever has the keyboard.
  static void Key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    QWidget* focused = QApplication::focusWidget();
    QTest::keyClick(focused != nullptr ? focused : QApplication::activeWindow(), key, modifiers);
  }
  static void Alt(Qt::Key key) { Key(key, Qt::AltModifier); }
  static int Focused() {
    const QWidget* focused = QApplication::focusWidget();
    return focused == nullptr ? 0 : focused->property("controlId").toInt();
  }
};

TEST_F(PreferencesKeys, LettersLeadToPagesAndControls) {
  OpenForKeys([this] {
    const std::pair<Qt::Key, int> pages[] = {
        {Qt::Key_T, 2}, {Qt::Key_M, 3}, {Qt::Key_N, 4}, {Qt::Key_U, 5}, {Qt::Key_L, 1}};
    for (const auto& [key, page] : pages) {
      Alt(key);
      EXPECT_EQ(dialog.GetValue(80), page);
    }
    Alt(Qt::Key_A);
    EXPECT_TRUE(WaitUntil([this] { return IsEnabled(1102); }));
    Alt(Qt::Key_Q);
    EXPECT_EQ(Focused(), 1102);

    Alt(Qt::Key_M);
    Alt(Qt::Key_2);
    EXPECT_TRUE(WaitUntil([this] { return !LogLines().empty(); }));
    EXPECT_THAT(LogLines(), ElementsAre("Error: File Missing: " + DataPath("On-Hold 2.wav")));
    panels.answer = std::nullopt;
    Alt(Qt::Key_D);
    EXPECT_TRUE(WaitUntil([this] { return panels.asked.size() == 1; }));

    Alt(Qt::Key_U);
    Alt(Qt::Key_G);
    EXPECT_EQ(Focused(), 3108);
    Key(Qt::Key_End);
    EXPECT_EQ(dialog.GetValue(3108), 100);
    EXPECT_EQ(TextOf(191), "Stores +8 dB");
    Key(Qt::Key_Left);
    EXPECT_EQ(TextOf(191), "Stores -8 dB");
  });
}

TEST_F(PreferencesKeys, TabReachesEveryControlOfAPage) {
  SetPreference("PromptForData", "1");
  SetPreference("CopyRecordings", "1");
  SetPreference("CopyToFolder", "/somewhere");
  const std::vector<std::vector<int>> pages = {{1107, 1101, 1102, 1110},
                                               {2101, 2102, 2103, 2107, 2108, 2109, 2104, 2106},
                                               {3101, 3102, 3103, 3104, 3105, 3106},
                                               {2111, 1104, 1108, 1109, 2110},
                                               {3108, 3110, 3109}};
  OpenForKeys([&] {
    for (std::size_t page = 0; page < pages.size(); ++page) {
      dialog.SetValue(80, static_cast<int>(page) + 1);
      std::vector<int> reached;
      // Round once: the tabs, the page, Close.
      for (std::size_t i = 0; i < pages[page].size() + 2; ++i) {
        Key(Qt::Key_Tab);
        if (Focused() != 0) reached.push_back(Focused());
      }
      EXPECT_EQ(reached, pages[page]) << "page " << page + 1;
      EXPECT_EQ(dialog.GetValue(80), static_cast<int>(page) + 1);
    }
  });
}

TEST_F(PreferencesKeys, TurningAPageLeavesTheFocusAtEveryOpening) {
  for (int opening = 0; opening < 2; ++opening) {
    OpenForKeys([this] {
      kiv::FocusControl(dialog.GetControl(80));
      EXPECT_NE(QApplication::focusWidget(), nullptr);
      dialog.SetValue(80, 3);
      EXPECT_EQ(QApplication::focusWidget(), nullptr);
    });
  }
}

// The window clears the focus before it is shown; what becomes active gives the keyboard to its first control.
TEST_F(PreferencesKeys, ArrowsOnTheTabsTurnThePages) {
  OpenForKeys([this] {
    Key(Qt::Key_Right);
    EXPECT_EQ(dialog.GetValue(80), 2);
    // Turning has taken the focus away; the tabs are the first to get it again.
    EXPECT_EQ(QApplication::focusWidget(), nullptr);
    Key(Qt::Key_Tab);
    Key(Qt::Key_Right);
    EXPECT_EQ(dialog.GetValue(80), 3);
  });
}

// --- Previews

class PreferencesPreview : public Preferences {
 protected:
  PreferencesPreview() {
    installed.line.OnPlayed([this](const kiv::PlayedSound& sound) {
      heard.insert(heard.end(), sound.samples.begin(), sound.samples.end());
    });
    int hz = 300;
    for (const char* name : kNames) MakePrompt(name, hz += 100);
  }
  ~PreferencesPreview() override { installed.line.OnPlayed(nullptr); }

  void MakePrompt(const std::string& name, int hz) {
    const auto samples = kiv::test::Sine(hz, 200000, kRate, kFrames, 1);
    LSoundSink sink = LWaveFile::OpenSinkPCM(DataPath(name + ".wav").c_str(), kRate, 1, 16, 0);
    sink->Write(samples.data(), kFrames);
  }

  // What the line hears of a prompt with the settings that are stored now.
  std::vector<std::int16_t> Sound(const std::string& name) {
    LSoundSource prompt = kiv::OpenPrompt(DataPath(name + ".wav").c_str());
    LSoundSource source = LSPPeakLimit(kiv::kPeak16Bit).OpenSource(prompt);
    std::vector<std::int32_t> samples(kFrames);
    source->Read(samples.data(), kFrames);
    std::vector<std::int16_t> sound;
    for (const std::int32_t sample : samples) sound.push_back(static_cast<std::int16_t>((sample + 8) >> 4));
    return sound;
  }
  // Clicks and listens for so long.
  std::vector<std::int16_t> Hear(int id, std::int64_t ms = 10000) {
    heard.clear();
    Click(id);
    installed.line.Run(ms);
    return heard;
  }

  static constexpr std::int32_t kFrames = 2 * kRate;
  static constexpr const char* kNames[] = {"Start Prompt", "End Prompt", "On-Hold 1", "On-Hold 2", "On-Hold 3"};
  std::vector<std::int16_t> heard;
};

TEST_F(PreferencesPreview, EachButtonPlaysItsPromptToTheEnd) {
  Open([this] {
    int button = 0;
    for (const int id : {2102, 2108, 3101, 3103, 3105}) {
      EXPECT_EQ(Hear(id), Sound(kNames[button])) << id;
      ++button;
      EXPECT_EQ(installed.line.OpenDevices(), 0);
    }
    Close();
  });
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(PreferencesPreview, GoesThroughTheStoredStages) {
  SetFileValue("audiohighpass", "400");
  SetFileValue("audiocompressorthres", "-16");
  SetFileValue("audiogain", "8");
  const auto processed = Sound("On-Hold 2");
  Open([&] {
    EXPECT_EQ(Hear(3103), processed);
    Close();
  });
  SetFileValue("audiohighpass", "0");
  SetFileValue("audiocompressorthres", "0");
  SetFileValue("audiogain", "0");
  EXPECT_NE(Sound("On-Hold 2"), processed);
}

TEST_F(PreferencesPreview, MovedSlidersAreHeardAfterTheWindowHasBeenClosed) {
  const auto plain = Sound("Start Prompt");
  Open([&] {
    MoveSlider(3108, 100);
    dialog.SetText(3109, "600");
    EXPECT_EQ(Hear(2102), plain);
    Close();
  });
  const auto louder = Sound("Start Prompt");
  EXPECT_NE(louder, plain);
  Open([&] {
    EXPECT_EQ(Hear(2102), louder);
    Close();
  });
}

TEST_F(PreferencesPreview, TheNextOneEndsTheOneBefore) {
  Open([this] {
    EXPECT_EQ(Hear(3101, 500).size(), 4000U);
    EXPECT_EQ(Hear(3105), Sound("On-Hold 3"));
    Close();
  });
}

TEST_F(PreferencesPreview, TheSameOneAgainBeginsAnew) {
  Open([this] {
    EXPECT_EQ(Hear(2108, 500).size(), 4000U);
    EXPECT_EQ(Hear(2108), Sound("End Prompt"));
    Close();
  });
}

TEST_F(PreferencesPreview, AMissingPromptIsLoggedAndEndsTheOneBefore) {
  std::filesystem::remove(DataPath("On-Hold 2.wav"));
  Open([this] {
    Hear(3101, 500);
    EXPECT_THAT(Hear(3103), IsEmpty());
    EXPECT_EQ(installed.line.OpenDevices(), 0);
    Close();
  });
  EXPECT_THAT(LogLines(), ElementsAre("Error: File Missing: " + DataPath("On-Hold 2.wav")));
}

TEST_F(PreferencesPreview, EndsWithTheWindow) {
  Open([this] {
    Hear(3101, 500);
    EXPECT_EQ(installed.line.OpenDevices(), 1);
    Close();
  });
  EXPECT_EQ(installed.line.OpenDevices(), 0);
}

TEST_F(PreferencesPreview, WithoutASoundOutputNothingIsHeard) {
  installed.line.RefuseOutput(true);
  Open([this] {
    EXPECT_THAT(Hear(3101), IsEmpty());
    installed.line.RefuseOutput(false);
    EXPECT_EQ(Hear(3101), Sound("On-Hold 1"));
    Close();
  });
}

// --- Files of the user's own

class PreferencesLoad : public PreferencesPreview {
 protected:
  // A tone of one second.
  std::string MakeWave(const std::string& name, std::int32_t rateHz, std::uint8_t channels) {
    const std::string path = home.File(name);
    const auto samples = kiv::test::Sine(500, 100000, rateHz, rateHz, channels);
    LSoundSink sink = LWaveFile::OpenSinkPCM(path.c_str(), rateHz, channels, 16, 0);
    sink->Write(samples.data(), rateHz);
    return path;
  }
  std::string MakeMp3(const std::string& name, int mpegFrames) {
    const std::string path = home.File(name);
    const MP3Header header = kiv::test::MakeHeader(MP3Version::Mpeg1, 128, 0);
    kiv::test::WriteFile(path, kiv::test::NoiseStream(5, header, mpegFrames) + kiv::test::TrailingTag());
    return path;
  }
  void Load(int id, const std::string& path) {
    panels.answer = path;
    Click(id);
  }
  std::string Bytes(const std::string& prompt) { return kiv::test::ReadFile(DataPath(prompt + ".wav")); }
  // Nothing but the prompts and the program's folders.
  std::vector<std::string> DataFiles() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(home.Path() + "/Kiv")) {
      if (entry.is_regular_file()) names.push_back(entry.path().filename().string());
    }
    return names;
  }
  // The fields of a prompt's format and how long it sounds.
  void ExpectPrompt(const std::string& prompt, std::int32_t frames) {
    LSoundSource source = LWaveFile::OpenSource(DataPath(prompt + ".wav").c_str());
    ASSERT_EQ(source->Error(), kSourceGood) << prompt;
    EXPECT_EQ(source->Rate(), kRate) << prompt;
    EXPECT_EQ(source->Channels(), 1) << prompt;
    EXPECT_NEAR(source->GetEndSample(), frames, 2) << prompt;
    EXPECT_EQ(Bytes(prompt).size(), 46U + 2U * static_cast<unsigned>(source->GetEndSample())) << prompt;
    std::vector<std::int32_t> samples(static_cast<std::size_t>(source->GetEndSample()));
    source->Read(samples.data(), source->GetEndSample());
    std::int32_t loudest = 0;
    for (const std::int32_t sample : samples) loudest = std::max(loudest, std::abs(sample));
    EXPECT_GT(loudest, 0) << prompt;
  }

  // What each progress window says once its work has begun; onProgress may press its button.
  WindowWatcher watcher{[this](QWidget* window) {
    const WindowRef progress = kiv::WindowRefOf(window);
    if (kiv::GetControlByID(progress, 103) == nullptr) return;
    windows.push_back(kiv::WindowTitle(progress) + "|" + kiv::ControlText(kiv::GetControlByID(progress, 101)) + "|" +
                      kiv::ControlText(kiv::GetControlByID(progress, 102)));
    if (onProgress) onProgress(progress);
  }};
  std::vector<std::string> windows;
  std::function<void(WindowRef)> onProgress;
};

TEST_F(PreferencesLoad, EachButtonReplacesItsPrompt) {
  const std::string path = MakeWave("tone.wav", 44100, 2);
  Open([&] {
    int button = 0;
    for (const int id : {2103, 2109, 3102, 3104, 3106}) {
      std::map<std::string, std::string> before;
      for (const char* name : kNames) before[name] = Bytes(name);
      Load(id, path);
      for (const char* name : kNames) EXPECT_EQ(Bytes(name) != before[name], name == kNames[button]) << id << name;
      ExpectPrompt(kNames[button], kRate);
      ++button;
    }
    Close();
  });
  EXPECT_EQ(windows.size(), 5U);
  EXPECT_THAT(LogLines(), IsEmpty());
  EXPECT_EQ(DataFiles().size(), 5U);
}

TEST_F(PreferencesLoad, HappensUnderAProgressWindow) {
  const std::string path = MakeWave("tone.wav", 8000, 1);
  Open([&] {
    Load(3102, path);
    EXPECT_EQ(QApplication::activeModalWidget(), kiv::WidgetOf(dialog.Window()));
    Close();
  });
  EXPECT_THAT(windows, ElementsAre("Loading Audio File|Process Audio|Please wait..."));
}

TEST_F(PreferencesLoad, AFileInTheFormatOfPromptsIsTakenAsItIs) {
  const std::string path = MakeWave("tone.wav", 8000, 1);
  Open([&] {
    Load(2109, path);
    Close();
  });
  EXPECT_EQ(Bytes("End Prompt"), kiv::test::ReadFile(path));
}

TEST_F(PreferencesLoad, AnMp3FileBecomesAPrompt) {
  const std::string path = MakeMp3("music.mp3", 100);
  Open([&] {
    Load(3104, path);
    Close();
  });
  ExpectPrompt("On-Hold 2", 100 * 1152 * 80 / 441);
}

TEST_F(PreferencesLoad, TheNewPromptIsWhatThePreviewPlays) {
  const auto before = Sound("On-Hold 3");
  const std::string path = MakeWave("tone.wav", 8000, 1);
  Open([&] {
    Load(3106, path);
    auto after = Sound("On-Hold 3");
    EXPECT_NE(after, before);
    after.resize(kRate);  // It lasts one second.
    EXPECT_EQ(Hear(3105), after);
    Close();
  });
}

TEST_F(PreferencesLoad, APreviewGoesOnWithTheOldSound) {
  const auto before = Sound("On-Hold 1");
  const std::string path = MakeWave("tone.wav", 8000, 1);
  Open([&] {
    Hear(3101, 500);
    Load(3102, path);
    installed.line.Run(10000);
    EXPECT_EQ(heard, before);
    Close();
  });
}

TEST_F(PreferencesLoad, ThePanelOpensWhereTheLastFileWas) {
  const std::string first = MakeWave("first.wav", 8000, 1);
  const std::string second = MakeWave("second.wav", 8000, 1);
  Open([&] {
    Load(3102, first);
    EXPECT_EQ(FileValue("wavimportdir"), first);
    Load(2103, second);
    EXPECT_EQ(FileValue("wavimportdir"), second);
    ASSERT_EQ(panels.asked.size(), 2U);
    for (const auto& asked : panels.asked) {
      EXPECT_EQ(asked.panel, "file");
      EXPECT_EQ(asked.parent, dialog.Window());
      EXPECT_EQ(asked.title, "Load Recording");
    }
    EXPECT_EQ(panels.asked[0].startPlace, "");
    EXPECT_EQ(panels.asked[1].startPlace, first);
    Close();
  });
  EXPECT_EQ(FileValue("wavimportdir"), second);
}

TEST_F(PreferencesLoad, ACancelledPanelChangesNothing) {
  SetFileValue("wavimportdir", "/before");
  const std::string before = Bytes("On-Hold 1");
  Open([&] {
    Click(3102);
    panels.answer = std::string(256, 'x');  // Does not fit.
    Click(3102);
    kiv::services.filePanels = nullptr;
    Click(3102);
    Close();
  });
  EXPECT_EQ(FileValue("wavimportdir"), "/before");
  EXPECT_EQ(Bytes("On-Hold 1"), before);
  EXPECT_THAT(windows, IsEmpty());
}

TEST_F(PreferencesLoad, WhatIsNoSoundIsPassedOverWithoutAWord) {
  const std::string garbage = home.File("letter.txt");
  kiv::test::WriteFile(garbage, "Dear Sir or Madam, this is not a sound.");
  const std::string empty = home.File("empty.mp3");
  kiv::test::WriteFile(empty, "");
  const std::string before = Bytes("Start Prompt");
  Open([&] {
    for (const std::string& path : {garbage, empty, home.File("missing.wav"), home.Path()}) {
      Load(2103, path);
      EXPECT_EQ(Bytes("Start Prompt"), before) << path;
      // Chosen is chosen.
      EXPECT_EQ(FileValue("wavimportdir"), path);
    }
    Close();
  });
  EXPECT_THAT(windows, IsEmpty());
  EXPECT_THAT(LogLines(), IsEmpty());
  EXPECT_EQ(DataFiles().size(), 5U);
}

TEST_F(PreferencesLoad, AStoppedLoadLeavesAShorterPrompt) {
  const std::string path = MakeMp3("long.mp3", 4000);
  onProgress = [](WindowRef window) { ClickCommand(window, "not!"); };
  Open([&] {
    Load(3104, path);
    EXPECT_TRUE(kiv::IsWindowShown(dialog.Window()));
    Close();
  });
  EXPECT_EQ(windows.size(), 1U);
  const LSoundSource prompt = LWaveFile::OpenSource(DataPath("On-Hold 2.wav").c_str());
  ASSERT_EQ(prompt->Error(), kSourceGood);
  EXPECT_LT(prompt->GetEndSample(), 4000 * 1152 * 80 / 441 / 2);
  EXPECT_EQ(DataFiles().size(), 5U);
}

TEST_F(PreferencesLoad, APromptCanBeLoadedInItsOwnPlace) {
  const std::string before = Bytes("On-Hold 1");
  Open([&] {
    Load(3102, DataPath("On-Hold 1.wav"));
    Close();
  });
  EXPECT_EQ(Bytes("On-Hold 1"), before);
  EXPECT_EQ(windows.size(), 1U);
}

TEST_F(PreferencesLoad, APromptThatCannotBeWrittenStaysAndIsLogged) {
  const std::string path = MakeWave("tone.wav", 8000, 1);
  std::filesystem::remove(DataPath("On-Hold 1.wav"));
  std::filesystem::create_directory(DataPath("On-Hold 1.wav"));
  Open([&] {
    Load(3102, path);
    Close();
  });
  EXPECT_TRUE(std::filesystem::is_directory(DataPath("On-Hold 1.wav")));
  EXPECT_THAT(LogLines(), ElementsAre("Error: Unable to write prompt: " + DataPath("On-Hold 1.wav")));
}

TEST_F(PreferencesLoad, AMissingPromptIsMade) {
  std::filesystem::remove(DataPath("End Prompt.wav"));
  const std::string path = MakeWave("tone.wav", 22050, 1);
  Open([&] {
    Load(2109, path);
    Close();
  });
  ExpectPrompt("End Prompt", kRate);
}

// --- Quitting

TEST_F(PreferencesCopyFolder, QuittingClosesStoresAndAsksNothing) {
  SetPreference("CopyRecordings", "1");
  WhenLoopRuns([this] {
    WhenLoopRuns([] { kiv::QuitApplicationEventLoop(); });
    EXPECT_EQ(dialog.Open(nullptr, "Preferences"), 0);
  });
  kiv::RunApplicationEventLoop();
  EXPECT_THAT(boxes, IsEmpty());
  EXPECT_EQ(store.sets.size(), 8U);
}

}  // namespace
