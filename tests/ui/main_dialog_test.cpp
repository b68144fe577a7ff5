// The real main window over the real engine, on a simulated line in lock-step.

#include "ui/main_dialog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QMenuBar>
#include <QTimer>
#include <algorithm>
#include <filesystem>

#include "foundation/text.h"
#include "recorder/engine_events.h"
#include "recorder/settings.h"
#include "tests/recorder/engine_fixture.h"
#include "tests/ui/main_dialog_window.h"
#include "tests/ui/ui_environment.h"
#include "ui/command_id.h"
#include "ui/controls.h"
#include "ui/help.h"
#include "ui/key_codes.h"
#include "ui/message_box.h"
#include "ui/toolkit_window.h"
#include "ui/widgets.h"
#include "ui/window.h"

namespace {

using kiv::FourCC;
using kiv::kVirtualKeyF5;
using kiv::kVirtualKeyF7;
using kiv::kVirtualKeyF8;
using Program = kiv::test::MainDialogWindow;
using kiv::test::WhenLoopRuns;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// What the three ways to tell a state say.
struct Look {
  std::string recordLabel, recordIcon, holdLabel, holdIcon, badge;
  bool operator==(const Look&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Look& look) {
  return out << look.recordLabel << '/' << look.recordIcon << '/' << look.holdLabel << '/' << look.holdIcon << '/'
             << look.badge;
}
const Look kIdleLook = {"  Record  ", "kivoff", "Hold Call", "kivoff", "restore"};
const Look kRecordingLook = {"Recording", "kivon", "Hold Call", "kivoff", "overlay iconrec.svg"};
const Look kOnHoldLook = {"  Record  ", "kivoff", " On Hold ", "kivgreen", "overlay iconhold.svg"};

class MainDialogTest : public kiv::test::EngineFixture {
 protected:
  MainDialogTest() {
    kiv::services.clock = &line.line.WallClock();
    desktop_.folders.home = home.Path();
    gSettings.Load();
    gStatusWindow.DisplayStatus("");
  }
  ~MainDialogTest() override {
    program_.End();
    line.line.Settle();
  }

  void Begin() { program_.Begin(); }
  void Press(int virtualKey) {
    desktop_.hotKeys.Press(virtualKey);
    desktop_.hotKeys.Release(virtualKey);
  }
  void Send(std::uint32_t command) { kiv::SendCommand(program_.Window(), command); }
  void Menu(std::uint32_t command) {
    const auto item = MenuItems().find(command);
    ASSERT_NE(item, MenuItems().end()) << "no menu item " << command;
    item->second->trigger();
  }
  bool Reaches(SndStateType state, std::int64_t limitMs = 20000) {
    return line.line.RunUntil([&] { return program_.State() == state; }, limitMs);
  }
  void StartRecordingByKey() {
    Press(kVirtualKeyF5);
    ASSERT_TRUE(Reaches(SndStateType::Recording));
  }

  std::multimap<std::uint32_t, QAction*>& MenuItems() { return kiv::ToolkitWindowOf(program_.Window())->menuItems; }
  bool MenuEnabled(std::uint32_t command) { return kiv::IsMenuCommandEnabled(program_.Window(), command); }
  ControlRef Control(int id) { return kiv::GetControlByID(program_.Window(), id); }
  std::string Text(int id) { return kiv::ControlText(Control(id)); }
  int StateShown() { return kiv::ControlValue(Control(MainDialog::kStateControl)); }
  Look LookNow() {
    const auto& items = program_.toolbar->Items();
    return {items[0].label, items[0].iconName, items[1].label, items[1].iconName,
            desktop_.badge.calls.empty() ? "" : desktop_.badge.calls.back()};
  }
  void Report(std::uint32_t kind, std::uint32_t parameter, std::int32_t value) {
    kiv::Event event(kiv::kEngineClass, kind);
    event.Set(parameter, parameter, value);
    kiv::EventQueue::Main().Post(event);
    line.line.Settle();
  }
  void ReportTime(std::int32_t ms) {
    kiv::Event event(kiv::kEngineClass, kiv::kEngineTime);
    event.Set(kiv::kEngineTimeParameter, kiv::kEngineTimeParameter, LSoundTime(ms));
    kiv::EventQueue::Main().Post(event);
    line.line.Settle();
  }
  int MeterLevel() {
    const auto* meter = static_cast<const LDBDisplay*>(
        kiv::GetControlProperty(Control(MainDialog::kMeterControl), FourCC("oskm"), FourCC("tHis")));
    EXPECT_NE(meter, nullptr);
    EXPECT_EQ(meter->level.channels, 1);
    return meter->level.level[0];
  }

  kiv::test::Desktop desktop_;
  Program program_{queue};
};

// --- Start

TEST_F(MainDialogTest, StartsIdleAsTheTableAndTheFileHaveIt) {
  Begin();
  EXPECT_EQ(program_.Mode(), RequestedMode::None);
  // The labels before the first refresh have no blanks around them.
  EXPECT_EQ(LookNow(), (Look{"Record", "kivoff", "Hold Call", "kivoff", ""}));
  EXPECT_EQ(Text(MainDialog::kTimeControl), "0:00:00");
  EXPECT_FALSE(kiv::IsControlEnabled(Control(MainDialog::kMeterControl)));
  EXPECT_FALSE(kiv::IsControlEnabled(Control(MainDialog::kTimeControl)));
  EXPECT_EQ(StateShown(), 0);
  EXPECT_TRUE(MenuEnabled(2001));
  EXPECT_TRUE(MenuEnabled(2002));
  EXPECT_FALSE(MenuEnabled(2003));
  EXPECT_EQ(desktop_.hotKeys.Registered(), 3U);
}

TEST_F(MainDialogTest, LogsItsStartAndShowsIt) {
  Begin();
  EXPECT_THAT(LogLines(), ElementsAre("Kiv Recorder Run"));
  EXPECT_THAT(Text(MainDialog::kStatusControl), testing::EndsWith(" Kiv Recorder Run"));
}

TEST_F(MainDialogTest, ToolBarHasTheFiveRows) {
  Begin();
  const auto& items = program_.toolbar->Items();
  ASSERT_EQ(items.size(), 5U);
  EXPECT_EQ(program_.toolbar->Identifier(), "com.Oskmera.Kiv");
  const auto row = [](const kiv::ToolBarItem& item) {
    return std::to_string(item.command) + "|" + item.identifier + "|" + item.label + "|" + item.helpText + "|" +
           item.iconName;
  };
  EXPECT_EQ(row(items[0]), "101|com.Oskmera.Kiv.Record|Record|Start or Stop Recording|kivoff");
  EXPECT_EQ(row(items[1]), "102|com.Oskmera.Kiv.Hold Call|Hold Call|Hold or Resume Call|kivoff");
  EXPECT_EQ(items[2].identifier, kiv::kToolBarSpace);
  EXPECT_EQ(row(items[3]), "1001|com.Oskmera.Kiv.Find & Play|Find & Play|Find and Play Recordings|find");
  EXPECT_EQ(row(items[4]), std::to_string(FourCC("pref")) +
                               "|com.Oskmera.Kiv.Preferences|Preferences|Kiv Recorder  Preferences|preferences");
}

TEST_F(MainDialogTest, HelpMenuGetsItsThreeItemsAndTheMenuNamesTheKeys) {
  Begin();
  auto* frame = dynamic_cast<kiv::MainFrame*>(kiv::WidgetOf(program_.Window()));
  const auto help = frame->menuBar()->actions().last()->menu()->actions();
  ASSERT_GE(help.size(), 3);
  EXPECT_EQ(help[help.size() - 3]->text(), "Kiv Recorder Home Page");
  EXPECT_TRUE(help[help.size() - 2]->isSeparator());
  EXPECT_EQ(help[help.size() - 1]->text(), "Oskmera Home Page");
  // Not what the keys do: F7 stops and F8 holds.
  EXPECT_EQ(MenuItems().find(2001)->second->text().section('\t', 1), "F5");
  EXPECT_EQ(MenuItems().find(2002)->second->text().section('\t', 1), "F7");
  EXPECT_EQ(MenuItems().find(2003)->second->text().section('\t', 1), "F8");
}

TEST_F(MainDialogTest, QueueHasItsListInTheDataFolder) {
  Begin();
  EXPECT_EQ(queue.ListFilePath(), DataPath("bgalc.dat"));
}

TEST_F(MainDialogTest, WithTheHotKeysOffNoneIsRegisteredAndTheKeysActInTheWindow) {
  SetPreference("HotKeys", "0");
  Begin();
  EXPECT_EQ(desktop_.hotKeys.Registered(), 0U);
  kiv::test::PressKey(program_.Window(), Qt::Key_F5);
  EXPECT_EQ(program_.Mode(), RequestedMode::Record);
  kiv::test::PressKey(program_.Window(), Qt::Key_F8);
  EXPECT_EQ(program_.Mode(), RequestedMode::Hold);
  kiv::test::PressKey(program_.Window(), Qt::Key_F7);
  EXPECT_EQ(program_.Mode(), RequestedMode::None);
  EXPECT_EQ(LookNow(), kIdleLook);
}

// --- Recording

TEST_F(MainDialogTest, F5TwiceIsOneRecording) {
  Begin();
  Press(kVirtualKeyF5);
  EXPECT_EQ(program_.Mode(), RequestedMode::Record);
  EXPECT_EQ(program_.State(), SndStateType::StartPrompt);
  EXPECT_EQ(LookNow(), kRecordingLook);
  EXPECT_EQ(StateShown(), 1);
  EXPECT_FALSE(MenuEnabled(2001));
  EXPECT_TRUE(MenuEnabled(2002));
  EXPECT_TRUE(MenuEnabled(2003));
  EXPECT_TRUE(kiv::IsControlEnabled(Control(MainDialog::kMeterControl)));
  EXPECT_TRUE(kiv::IsControlEnabled(Control(MainDialog::kTimeControl)));
  ASSERT_TRUE(Reaches(SndStateType::Recording));
  line.line.Run(3500);
  EXPECT_EQ(Text(MainDialog::kTimeControl), "0:00:03");
  EXPECT_GT(MeterLevel(), -60);

  Press(kVirtualKeyF5);
  EXPECT_EQ(program_.Mode(), RequestedMode::None);
  EXPECT_EQ(LookNow(), kIdleLook);
  EXPECT_EQ(StateShown(), 0);
  EXPECT_EQ(Text(MainDialog::kTimeControl), "0:00:00");
  EXPECT_FALSE(kiv::IsControlEnabled(Control(MainDialog::kMeterControl)));
  EXPECT_FALSE(kiv::IsControlEnabled(Control(MainDialog::kTimeControl)));
  ASSERT_TRUE(Reaches(SndStateType::Idle));
  EXPECT_EQ(Queued().size(), 1U);
  EXPECT_THAT(LogLines(), ElementsAre("Kiv Recorder Run", "Recording started", "Play start-of-recording prompt",
                                      StartsWith("Recording 20"), "Stopped", "Play end-of-recording prompt"));
}

TEST_F(MainDialogTest, EveryWayToRecordIsTheSame) {
  Begin();
  const std::vector<std::function<void()>> ways = {
      [this] { Send(101); },
      [this] { Send(FourCC("2001")); },
      [this] { Press(kVirtualKeyF5); },
      [this] { program_.CommandPress(0x600010); },
  };
  for (std::size_t way = 0; way < ways.size(); ++way) {
    ways[way]();
    EXPECT_EQ(program_.Mode(), RequestedMode::Record) << way;
    EXPECT_EQ(LookNow(), kRecordingLook) << way;
    ways[way]();
    EXPECT_EQ(program_.Mode(), RequestedMode::None) << way;
    EXPECT_EQ(LookNow(), kIdleLook) << way;
  }
}

TEST_F(MainDialogTest, RecordItemOfTheMenuIsOffWhileRecordingAndHoldItemWhileOnHold) {
  Begin();
  Menu(2001);
  EXPECT_EQ(program_.Mode(), RequestedMode::Record);
  Menu(2001);  // A disabled item does nothing.
  EXPECT_EQ(program_.Mode(), RequestedMode::Record);
  Menu(2002);
  EXPECT_EQ(program_.Mode(), RequestedMode::Hold);
  EXPECT_TRUE(MenuEnabled(2001));
  EXPECT_FALSE(MenuEnabled(2002));
  EXPECT_TRUE(MenuEnabled(2003));
}

TEST_F(MainDialogTest, StopOfTheMenuLeavesTheToolBarAndNoReportRefreshesIt) {
  Begin();
  StartRecordingByKey();
  line.line.Run(2500);
  Menu(2003);
  EXPECT_EQ(program_.Mode(), RequestedMode::None);
  ASSERT_TRUE(Reaches(SndStateType::EndPrompt));
  ASSERT_TRUE(Reaches(SndStateType::Idle));
  EXPECT_EQ(LookNow(), kRecordingLook);
  EXPECT_FALSE(MenuEnabled(2001));
  EXPECT_NE(Text(MainDialog::kTimeControl), "0:00:00");
  // The words tell the truth.
  EXPECT_EQ(StateShown(), 0);
  // The next refresh.
  Press(kVirtualKeyF7);
  EXPECT_EQ(LookNow(), kIdleLook);
  EXPECT_EQ(Text(MainDialog::kTimeControl), "0:00:00");
}

TEST_F(MainDialogTest, StopKeyRefreshesAndLogsEvenWhenIdle) {
  Begin();
  Press(kVirtualKeyF7);
  EXPECT_EQ(LookNow(), kIdleLook);
  EXPECT_THAT(LogLines(), ElementsAre("Kiv Recorder Run", "Stopped"));
}

TEST_F(MainDialogTest, AMissingStartPromptLeavesTheModeAndTheWordsTellTheTruth) {
  Begin();
  std::filesystem::remove(DataPath("Start Prompt.wav"));
  Press(kVirtualKeyF5);
  EXPECT_EQ(program_.State(), SndStateType::Idle);
  EXPECT_EQ(program_.Mode(), RequestedMode::Record);
  EXPECT_EQ(LookNow(), kRecordingLook);
  EXPECT_EQ(StateShown(), 0);
  EXPECT_THAT(LogLines(), Contains("Error: File Missing: " + DataPath("Start Prompt.wav")));
  Press(kVirtualKeyF5);
  EXPECT_EQ(program_.Mode(), RequestedMode::None);
}

TEST_F(MainDialogTest, TheEnginesOwnEndOfACallRefreshes) {
  Begin();
  StartRecordingByKey();
  Menu(2003);
  EXPECT_EQ(LookNow(), kRecordingLook);
  kiv::EventQueue::Main().Post({kiv::kEngineClass, kiv::kEngineDisconnected});
  line.line.Settle();
  EXPECT_EQ(LookNow(), kIdleLook);
  EXPECT_EQ(Text(MainDialog::kTimeControl), "0:00:00");
}

// --- Hold

TEST_F(MainDialogTest, F8WhileIdlePlaysMusic) {
  Begin();
  Press(kVirtualKeyF8);
  EXPECT_EQ(program_.State(), SndStateType::OnHold);
  EXPECT_EQ(LookNow(), kOnHoldLook);
  EXPECT_EQ(StateShown(), 2);
  EXPECT_FALSE(MenuEnabled(2002));
  EXPECT_TRUE(MenuEnabled(2001));
  EXPECT_TRUE(kiv::IsControlEnabled(Control(MainDialog::kTimeControl)));
  Press(kVirtualKeyF8);
  EXPECT_EQ(program_.Mode(), RequestedMode::None);
  EXPECT_EQ(LookNow(), kIdleLook);
  ASSERT_TRUE(Reaches(SndStateType::Idle));
  EXPECT_THAT(LogLines(), ElementsAre("Kiv Recorder Run", "Call on-hold", "Stopped"));
  EXPECT_THAT(Queued(), IsEmpty());
}

TEST_F(MainDialogTest, HoldAndResumeMakeASecondFile) {
  Begin();
  StartRecordingByKey();
  line.line.Run(1000);
  Press(kVirtualKeyF8);
  EXPECT_EQ(LookNow(), kOnHoldLook);
  // The engine changes over by itself: end prompt, then music.
  EXPECT_EQ(program_.State(), SndStateType::Recording);
  ASSERT_TRUE(Reaches(SndStateType::OnHold));
  line.line.Run(300);
  Press(kVirtualKeyF5);
  EXPECT_EQ(LookNow(), kRecordingLook);
  EXPECT_EQ(program_.State(), SndStateType::OnHold);
  ASSERT_TRUE(Reaches(SndStateType::Recording));
  line.line.Run(1000);
  Press(kVirtualKeyF7);
  ASSERT_TRUE(Reaches(SndStateType::Idle));
  EXPECT_EQ(Queued().size(), 2U);
  EXPECT_THAT(LogLines(), ElementsAre("Kiv Recorder Run", "Recording started", "Play start-of-recording prompt",
                                      StartsWith("Recording 20"), "Call on-hold", "Play end-of-recording prompt",
                                      "Recording started", "Play start-of-recording prompt", StartsWith("Recording 20"),
                                      "Stopped", "Play end-of-recording prompt"));
}

// --- Time and level

TEST_F(MainDialogTest, TimeIsInWholeSeconds) {
  Begin();
  const std::pair<std::int32_t, const char*> cases[] = {
      {999, "0:00:00"}, {59999, "0:00:59"}, {60000, "0:01:00"}, {3599999, "0:59:59"}, {36000000, "10:00:00"}};
  for (const auto& [ms, text] : cases) {
    ReportTime(ms);
    EXPECT_EQ(Text(MainDialog::kTimeControl), text) << ms;
  }
  program_.SetTime(3661);
  EXPECT_EQ(Text(MainDialog::kTimeControl), "1:01:01");
}

TEST_F(MainDialogTest, TimeTextIsWrittenOnlyWhenItChanges) {
  Begin();
  ReportTime(5000);
  kiv::SetControlText(Control(MainDialog::kTimeControl), "elsewhere");
  ReportTime(5900);
  EXPECT_EQ(Text(MainDialog::kTimeControl), "elsewhere");
  ReportTime(6000);
  EXPECT_EQ(Text(MainDialog::kTimeControl), "0:00:06");
}

TEST_F(MainDialogTest, LevelIsClamped) {
  Begin();
  const std::pair<std::int32_t, int> cases[] = {{200, 127}, {-200, -127}, {-12, -12}, {127, 127}};
  for (const auto& [reported, shown] : cases) {
    Report(kiv::kEngineLevel, kiv::kEngineLevelParameter, reported);
    EXPECT_EQ(MeterLevel(), shown);
  }
}

TEST_F(MainDialogTest, OtherEventsArePassedOn) {
  Begin();
  class Open : public Program {
   public:
    using MainDialog::MainNotifyEventHandler;
    using Program::Program;
  };
  LALCListThread other;
  Open open(other);
  EXPECT_FALSE(open.MainNotifyEventHandler({FourCC("LNot"), kiv::kEngineTime}));
  EXPECT_FALSE(open.MainNotifyEventHandler({kiv::kEngineClass, FourCC("TNxx")}));
}

// --- File number

TEST_F(MainDialogTest, FileNumberIsAskedForAndBecomesPartOfTheName) {
  SetPreference("PromptForData", "1");
  SetPreference("Prompt", "Which case?");
  SetPreference("PromptPrevious", "before");
  kiv::SetSetting(kiv::kStartPrompt, false);
  Begin();
  bool asked = false;
  WhenLoopRuns([&] {
    QWidget* dialog = QApplication::activeModalWidget();
    ASSERT_NE(dialog, nullptr);
    const WindowRef window = kiv::WindowRefOf(dialog);
    EXPECT_EQ(kiv::WindowTitle(window), "Which case?");
    EXPECT_EQ(kiv::ControlText(kiv::GetControlByID(window, 101)), "Which case?");
    EXPECT_EQ(kiv::ControlText(kiv::GetControlByID(window, 100)), "before");
    kiv::SetControlText(kiv::GetControlByID(window, 100), "47/11: *late*");
    asked = true;
    kiv::SendCommand(window, kiv::kCommandOk);
  });
  Press(kVirtualKeyF5);
  ASSERT_TRUE(asked);
  EXPECT_EQ(Preference("PromptPrevious"), "47/11: *late*");
  EXPECT_EQ(program_.State(), SndStateType::Recording);
  EXPECT_THAT(LogLines(), Contains(testing::EndsWith(" 4711 late")));
}

TEST_F(MainDialogTest, FileNumberIsCutToSixtyFourCharacters) {
  SetPreference("PromptForData", "1");
  kiv::SetSetting(kiv::kStartPrompt, false);
  Begin();
  WhenLoopRuns([&] {
    const WindowRef window = kiv::WindowRefOf(QApplication::activeModalWidget());
    kiv::SetControlText(kiv::GetControlByID(window, 100), std::string(100, 'x'));
    kiv::SendCommand(window, kiv::kCommandOk);
  });
  Press(kVirtualKeyF5);
  EXPECT_EQ(Preference("PromptPrevious"), std::string(100, 'x'));
  EXPECT_THAT(LogLines(), Contains(testing::EndsWith(" " + std::string(64, 'x'))));
  EXPECT_THAT(LogLines(), testing::Not(Contains(HasSubstr(std::string(65, 'x')))));
}

TEST_F(MainDialogTest, CancelledFileNumberDoesNothing) {
  SetPreference("PromptForData", "1");
  Begin();
  WhenLoopRuns([] { kiv::SendCommand(kiv::WindowRefOf(QApplication::activeModalWidget()), kiv::kCommandCancel); });
  Press(kVirtualKeyF5);
  EXPECT_EQ(program_.Mode(), RequestedMode::None);
  EXPECT_EQ(Preference("PromptPrevious"), "");
  EXPECT_THAT(LogLines(), ElementsAre("Kiv Recorder Run"));
}

TEST_F(MainDialogTest, WhileTheFileNumberIsAskedForRecordAndHoldDoNothing) {
  SetPreference("PromptForData", "1");
  Begin();
  WhenLoopRuns([this] {
    Press(kVirtualKeyF5);
    Press(kVirtualKeyF8);
    EXPECT_EQ(program_.Mode(), RequestedMode::None);
    EXPECT_EQ(program_.State(), SndStateType::Idle);
    kiv::SendCommand(kiv::WindowRefOf(QApplication::activeModalWidget()), kiv::kCommandCancel);
  });
  Press(kVirtualKeyF5);
  EXPECT_EQ(program_.Mode(), RequestedMode::None);
  EXPECT_THAT(LogLines(), ElementsAre("Kiv Recorder Run"));
  // Afterwards they act again.
  Press(kVirtualKeyF8);
  EXPECT_EQ(program_.Mode(), RequestedMode::Hold);
}

// --- Preferences

TEST_F(MainDialogTest, PreferencesEndACallByTheEnginesOwnSteps) {
  Begin();
  StartRecordingByKey();
  line.line.Run(1000);
  std::vector<std::string> queuedMeanwhile;
  bool open = false;
  WhenLoopRuns([&] {
    const WindowRef window = kiv::WindowRefOf(QApplication::activeModalWidget());
    EXPECT_EQ(kiv::WindowTitle(window), "Preferences");
    open = true;
    EXPECT_EQ(desktop_.hotKeys.Registered(), 0U);
    EXPECT_EQ(program_.Mode(), RequestedMode::None);
    EXPECT_EQ(program_.State(), SndStateType::EndPrompt);
    queuedMeanwhile = Queued();
    kiv::test::ClickCloseBox(window);
  });
  Send(FourCC("pref"));
  ASSERT_TRUE(open);
  EXPECT_EQ(queuedMeanwhile.size(), 1U);
  EXPECT_TRUE(IsFinished(queuedMeanwhile[0]));
  EXPECT_EQ(desktop_.hotKeys.Registered(), 3U);
  EXPECT_THAT(LogLines(), ElementsAre("Kiv Recorder Run", "Recording started", "Play start-of-recording prompt",
                                      StartsWith("Recording 20"), "1 hour limit reached - autostop",
                                      "Play end-of-recording prompt"));
  line.line.Settle();
  // The engine's event has refreshed the window.
  EXPECT_EQ(LookNow(), kIdleLook);
  ASSERT_TRUE(Reaches(SndStateType::Idle));
}

TEST_F(MainDialogTest, PreferencesWhileOnHoldRefreshNothing) {
  Begin();
  Press(kVirtualKeyF8);
  WhenLoopRuns([] { kiv::test::ClickCloseBox(kiv::WindowRefOf(QApplication::activeModalWidget())); });
  Send(FourCC("pref"));
  line.line.Run(3000);
  EXPECT_EQ(program_.Mode(), RequestedMode::None);
  EXPECT_EQ(LookNow(), kOnHoldLook);
  EXPECT_EQ(StateShown(), 0);
}

TEST_F(MainDialogTest, PreferencesForgetTheFileNumber) {
  SetPreference("PromptForData", "1");
  kiv::SetSetting(kiv::kStartPrompt, false);
  kiv::SetSetting(kiv::kEndPrompt, false);
  Begin();
  WhenLoopRuns([] {
    const WindowRef window = kiv::WindowRefOf(QApplication::activeModalWidget());
    kiv::SetControlText(kiv::GetControlByID(window, 100), "4711");
    kiv::SendCommand(window, kiv::kCommandOk);
  });
  Press(kVirtualKeyF5);
  Press(kVirtualKeyF5);
  ASSERT_TRUE(Reaches(SndStateType::Idle));
  WhenLoopRuns([] { kiv::test::ClickCloseBox(kiv::WindowRefOf(QApplication::activeModalWidget())); });
  Send(FourCC("pref"));
  SetPreference("PromptForData", "0");
  kiv::SetSetting(kiv::kStartPrompt, false);
  Press(kVirtualKeyF5);
  ASSERT_EQ(program_.State(), SndStateType::Recording);
  const auto log = LogLines();
  const auto named = std::count_if(log.begin(), log.end(), [](const std::string& text) {
    return text.starts_with("Recording 20") && text.ends_with(" 4711");
  });
  EXPECT_EQ(named, 1);
}

TEST_F(MainDialogTest, PreferencesMaySwitchTheHotKeysOff) {
  Begin();
  WhenLoopRuns([] {
    const WindowRef window = kiv::WindowRefOf(QApplication::activeModalWidget());
    kiv::SetControlValue(kiv::GetControlByID(window, 1107), 0);
    kiv::test::ClickCloseBox(window);
  });
  Send(FourCC("pref"));
  EXPECT_EQ(desktop_.hotKeys.Registered(), 0U);
}

// --- Other commands

TEST_F(MainDialogTest, FoldersAndPagesAreOpenedByTheDesktop) {
  Begin();
  Send(1001);
  Menu(1002);
  Menu(FourCC("ihom"));
  Menu(FourCC("iosk"));
  ASSERT_EQ(desktop_.opener.opened.size(), 4U);
  EXPECT_EQ(desktop_.opener.opened[0], "folder " + std::string(gSettings.recordingsFolder));
  EXPECT_EQ(desktop_.opener.opened[1], "folder " + std::string(gSettings.logsFolder));
  EXPECT_THAT(desktop_.opener.opened[2], testing::EndsWith("/kiv/index.html"));
  EXPECT_THAT(desktop_.opener.opened[3], testing::EndsWith("/software/index.html"));
}

TEST_F(MainDialogTest, HelpOpensByItsItemAndByF1) {
  Begin();
  const auto helpShown = [] {
    const auto windows = QApplication::topLevelWidgets();
    return std::any_of(windows.begin(), windows.end(),
                       [](QWidget* w) { return w->isVisible() && w->windowTitle() == "Kiv Recorder Help"; });
  };
  EXPECT_FALSE(helpShown());
  kiv::test::PressKey(program_.Window(), Qt::Key_F1);
  EXPECT_TRUE(helpShown());
  kiv::CloseHelp();
  EXPECT_FALSE(helpShown());
  Menu(FourCC("ahlp"));
  EXPECT_TRUE(helpShown());
  kiv::CloseHelp();
}

TEST_F(MainDialogTest, UnknownCommandsAndKeysDoNothing) {
  Begin();
  for (const std::uint32_t id : {std::uint32_t{0}, std::uint32_t{103}, FourCC("abou"), FourCC("zzzz")}) {
    program_.Command(id);
  }
  for (const int key : {0, 0x610010, 0x600000}) program_.CommandPress(key);
  program_.EvHotKey(3);
  EXPECT_EQ(program_.Mode(), RequestedMode::None);
  EXPECT_THAT(LogLines(), ElementsAre("Kiv Recorder Run"));
}

// --- Informational lines

TEST_F(MainDialogTest, LinesRotateAndBeginAnew) {
  Begin();
  const std::vector<std::string> lines = program_.InformationLines();
  ASSERT_GE(lines.size(), 4U);
  EXPECT_THAT(lines[0], StartsWith("Kiv Recorder "));
  EXPECT_THAT(lines, Contains("Recordings are in " + std::string(gSettings.recordingsFolder)));
  EXPECT_THAT(lines, Contains(HasSubstr("F7 stops")));
  EXPECT_THAT(lines, Contains("Sound input: Simulated line"));
  for (int round = 0; round < 2; ++round) {
    for (const std::string& text : lines) {
      program_.EvTimer(MainDialog::kInformationTimer);
      EXPECT_EQ(Text(MainDialog::kInformationControl), text);
    }
  }
}

TEST_F(MainDialogTest, OtherTimersShowNothing) {
  Begin();
  program_.EvTimer(2);
  EXPECT_EQ(Text(MainDialog::kInformationControl), "");
}

TEST_F(MainDialogTest, TheFirstLineComesByItself) {
  Begin();
  QTimer limit;
  limit.start(10);
  for (int i = 0; i < 3000 && Text(MainDialog::kInformationControl).empty(); ++i) {
    QApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
  EXPECT_THAT(Text(MainDialog::kInformationControl), StartsWith("Kiv Recorder "));
  // It is set again for the next one.
  ASSERT_NE(LTimers::lTimers.head, nullptr);
  EXPECT_EQ(LTimers::lTimers.head->id, MainDialog::kInformationTimer);
}

TEST_F(MainDialogTest, ASilentLineIsToldAfterTenSecondsOfARecording) {
  kiv::SetSetting(kiv::kStartPrompt, false);
  Begin();
  Press(kVirtualKeyF5);
  line.line.StallInput(line.line.NowMs(), 0);
  ASSERT_EQ(program_.State(), SndStateType::Recording);
  const auto silent = [this](std::int32_t fromMs, std::int32_t toMs) {
    for (std::int32_t ms = fromMs; ms <= toMs; ms += 100) {
      ReportTime(ms);
      Report(kiv::kEngineLevel, kiv::kEngineLevelParameter, -127);
    }
  };
  silent(100, 9900);
  EXPECT_NE(Text(MainDialog::kInformationControl), "No sound on the line");
  silent(10000, 10000);
  EXPECT_EQ(Text(MainDialog::kInformationControl), "No sound on the line");
  program_.EvTimer(MainDialog::kInformationTimer);
  EXPECT_EQ(Text(MainDialog::kInformationControl), "No sound on the line");
  Report(kiv::kEngineLevel, kiv::kEngineLevelParameter, -20);
  ReportTime(10100);
  EXPECT_NE(Text(MainDialog::kInformationControl), "No sound on the line");
  // And anew from there.
  silent(10200, 19900);
  EXPECT_NE(Text(MainDialog::kInformationControl), "No sound on the line");
  silent(20000, 20200);
  EXPECT_EQ(Text(MainDialog::kInformationControl), "No sound on the line");
}

// --- End

TEST_F(MainDialogTest, QuittingFinishesTheRecordingAndKeepsItInTheList) {
  Begin();
  StartRecordingByKey();
  line.line.Run(2000);
  program_.End();
  const auto queued = Queued();
  ASSERT_EQ(queued.size(), 1U);
  EXPECT_TRUE(IsFinished(queued[0]));
  EXPECT_GE(FramesOf(queued[0]), 8000);
  EXPECT_EQ(LogLines().back(), "Kiv Recorder Exit");
  EXPECT_EQ(desktop_.hotKeys.Registered(), 0U);
  EXPECT_EQ(desktop_.badge.calls.back(), "restore");
  line.line.Run(5000);
  EXPECT_EQ(LogLines().back(), "Kiv Recorder Exit");
}

TEST_F(MainDialogTest, AfterTheEndTheStatusLogShowsNowhere) {
  Begin();
  program_.End();
  gStatusWindow.DisplayStatus("late\r");
  line.line.Settle();
}

TEST_F(MainDialogTest, ComesToTheFrontOnlyWhenItIsShown) {
  program_.BringToFront();
  Begin();
  kiv::HideWindow(program_.Window());
  program_.BringToFront();
  EXPECT_FALSE(kiv::IsWindowShown(program_.Window()));
  kiv::ShowWindow(program_.Window());
  QWidget* window = kiv::WidgetOf(program_.Window());
  window->showMinimized();
  program_.BringToFront();
  EXPECT_FALSE(window->isMinimized());
}

}  // namespace
