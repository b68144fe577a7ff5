#include "ui/main_window.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QFileDialog>
#include <QKeyEvent>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <csignal>

#include "foundation/event_queue.h"
#include "tests/ui/ui_environment.h"
#include "ui/application_loop.h"
#include "ui/command_id.h"
#include "ui/key_codes.h"
#include "ui/message_box.h"
#include "ui/progress_dialog.h"
#include "ui/toolkit_window.h"
#include "ui/window.h"

namespace {

using kiv::FourCC;
using kiv::test::ClickCloseBox;
using kiv::test::Desktop;
using kiv::test::PressKey;
using kiv::test::WhenLoopRuns;
using testing::ElementsAre;

class RecordingFrame : public LMainWindow {
 public:
  std::vector<std::string> calls;
  bool mayQuit = true;
  std::function<void()> inLoop;

  void InitDialog() override {
    calls.push_back(kiv::IsWindowShown(Window()) ? "InitDialog shown" : "InitDialog");
    InstallKeyHandler();
    if (inLoop) WhenLoopRuns(inLoop);
  }
  bool CmCancel() override {
    calls.emplace_back("CmCancel");
    return mayQuit;
  }
  void DestroyDialog() override {
    calls.push_back(kiv::IsWindowShown(Window()) ? "DestroyDialog shown" : "DestroyDialog");
  }
  void Command(std::uint32_t id) override { calls.push_back("Command " + std::to_string(id)); }
  void EvSize() override { calls.emplace_back("EvSize"); }
  void EnableMainMenu() override { calls.emplace_back("EnableMainMenu"); }
  void CommandPress(int key) override { calls.push_back("CommandPress " + std::to_string(key)); }
  std::uint32_t Initialised() const { return initialised_; }
};

class MainWindowTest : public testing::Test {
 protected:
  void Run(std::function<void()> inLoop) {
    frame_.inLoop = std::move(inLoop);
    frame_.Run();
  }
  Desktop desktop_;
  RecordingFrame frame_;
};

TEST_F(MainWindowTest, RunsFromInitToDestroy) {
  Run([this] {
    EXPECT_TRUE(kiv::IsWindowShown(frame_.Window()));
    EXPECT_EQ(frame_.Initialised(), 1U);
    frame_.Close();
  });
  EXPECT_THAT(frame_.calls, ElementsAre("InitDialog", "DestroyDialog"));
  EXPECT_EQ(frame_.Window(), nullptr);
}

TEST_F(MainWindowTest, ReturnsAtOnceWithoutResources) {
  desktop_.folders.resources.reset();
  Run([] {});
  EXPECT_TRUE(frame_.calls.empty());
  kiv::services.folders = nullptr;
  Run([] {});
  EXPECT_TRUE(frame_.calls.empty());
  EXPECT_EQ(frame_.Window(), nullptr);
}

TEST_F(MainWindowTest, EventsQueuedBeforeAreHandedOutBeforeInitDialog) {
  auto& queue = kiv::EventQueue::Main();
  const auto handler = queue.Install(FourCC("Test"), 1, [this](const kiv::Event&) {
    frame_.calls.emplace_back(kiv::IsWindowShown(frame_.Window()) ? "event shown" : "event");
    // Posted during start-up, so handed out before the window is built, too.
    if (frame_.calls.size() == 1) kiv::EventQueue::Main().Post({FourCC("Test"), 1});
    return true;
  });
  queue.Post({FourCC("Test"), 1});
  Run([this] { frame_.Close(); });
  queue.Remove(handler);
  EXPECT_THAT(frame_.calls, ElementsAre("event", "event", "InitDialog", "DestroyDialog"));
}

TEST_F(MainWindowTest, ASecondStartUpEventDoesNothing) {
  Run([this] {
    kiv::EventQueue::Main().Post({FourCC("iNit"), FourCC("iNit")});
    WhenLoopRuns([this] { WhenLoopRuns([this] { frame_.Close(); }); });
  });
  EXPECT_THAT(frame_.calls, ElementsAre("InitDialog", "DestroyDialog"));
}

TEST_F(MainWindowTest, ALoopThatEndsBeforeTheStartUpEventDestroysNothing) {
  auto& queue = kiv::EventQueue::Main();
  const auto handler = queue.Install(FourCC("Test"), 1, [this](const kiv::Event&) {
    EXPECT_NE(frame_.Window(), nullptr);
    kiv::QuitApplicationEventLoop();
    return true;
  });
  queue.Post({FourCC("Test"), 1});
  frame_.Run();
  queue.Remove(handler);
  EXPECT_TRUE(frame_.calls.empty());
  EXPECT_EQ(frame_.Window(), nullptr);
}

TEST_F(MainWindowTest, CommandsAreTranslatedAndQuitIsNot) {
  Run([this] {
    for (const std::uint32_t command : {FourCC("0000"), FourCC("9999"), FourCC("1203"), FourCC("pref"), 101U}) {
      kiv::SendCommand(frame_.Window(), command);
    }
    kiv::SendCommand(frame_.Window(), FourCC("quit"));
  });
  EXPECT_THAT(frame_.calls,
              ElementsAre("InitDialog", "Command 0", "Command 9999", "Command 1203",
                          "Command " + std::to_string(FourCC("pref")), "Command 101", "CmCancel", "DestroyDialog"));
}

TEST_F(MainWindowTest, RefusedQuitAndCloseKeepTheProgram) {
  frame_.mayQuit = false;
  Run([this] {
    kiv::SendCommand(frame_.Window(), FourCC("quit"));
    ClickCloseBox(frame_.Window());
    EXPECT_TRUE(kiv::IsWindowShown(frame_.Window()));
    EXPECT_FALSE(kiv::IsQuitting());
    frame_.mayQuit = true;
    ClickCloseBox(frame_.Window());
  });
  EXPECT_THAT(frame_.calls, ElementsAre("InitDialog", "CmCancel", "CmCancel", "CmCancel", "DestroyDialog"));
}

TEST_F(MainWindowTest, WindowHandlerEndsItsEvents) {
  EXPECT_EQ(LMainWindow::_winEventHandler({kEventClassWindow, 4711}, &frame_), noErr);
  EXPECT_EQ(LMainWindow::_winEventHandler({kEventClassWindow, kEventWindowResizeCompleted}, &frame_), noErr);
  EXPECT_EQ(LMainWindow::_appEventHandler(kiv::CommandEvent(FourCC("abou")), &frame_), eventNotHandledErr);
  EXPECT_EQ(LMainWindow::_appEventHandler({kEventClassMenu, kEventMenuEnableItems}, &frame_), eventNotHandledErr);
  EXPECT_THAT(frame_.calls, ElementsAre("EvSize", "Command " + std::to_string(FourCC("abou")), "EnableMainMenu"));
}

TEST_F(MainWindowTest, ResizeIsToldOnceWhenItIsCompleted) {
  Run([this] {
    QWidget* window = kiv::WidgetOf(frame_.Window());
    for (int i = 1; i <= 5; ++i) window->resize(window->width() + 5, window->height() + 5);
    auto* wait = new QTimer(window);
    QObject::connect(wait, &QTimer::timeout, window, [this] {
      if (frame_.calls.back() == "EvSize") frame_.Close();
    });
    wait->start(1);
  });
  EXPECT_EQ(std::count(frame_.calls.begin(), frame_.calls.end(), "EvSize"), 1);
}

TEST_F(MainWindowTest, MenusTellBeforeTheyAreShownAndSendTheirCommands) {
  Run([this] {
    auto* window = dynamic_cast<kiv::MainFrame*>(kiv::WidgetOf(frame_.Window()));
    ASSERT_NE(window, nullptr);
    QMenu* call = window->menuBar()->actions().at(0)->menu();
    Q_EMIT call->aboutToShow();
    for (QAction* action : call->actions()) {
      if (action->property("command").toString() == "2001") action->trigger();
    }
    kiv::EnableMenuCommand(frame_.Window(), 2001, false);
    EXPECT_FALSE(kiv::IsMenuCommandEnabled(frame_.Window(), 2001));
    frame_.Close();
  });
  EXPECT_THAT(frame_.calls, ElementsAre("InitDialog", "EnableMainMenu", "Command 2001", "DestroyDialog"));
}

TEST_F(MainWindowTest, MenuItemsCanBeAppendedAndShowKeysThatDoNotAct) {
  Run([this] {
    auto* window = dynamic_cast<kiv::MainFrame*>(kiv::WidgetOf(frame_.Window()));
    QMenu* help = window->menuBar()->actions().last()->menu();
    const auto before = help->actions().size();
    kiv::AppendMenuItem(frame_.Window(), "Help", "Kiv Recorder Home Page", FourCC("ihom"));
    kiv::AppendMenuItem(frame_.Window(), "Help", "", 0);
    kiv::AppendMenuItem(frame_.Window(), "Help", "Oskmera Home Page", FourCC("iosk"));
    kiv::AppendMenuItem(frame_.Window(), "No such menu", "x", 1);
    EXPECT_EQ(help->actions().size(), before + 3);
    EXPECT_TRUE(help->actions().at(before + 1)->isSeparator());
    help->actions().at(before)->trigger();
    kiv::SetMenuItemKeyName(frame_.Window(), 2001, "F5");
    kiv::SetMenuItemKeyName(frame_.Window(), 2001, "F5");
    QAction* record = window->menuItems.find(2001)->second;
    EXPECT_EQ(record->text(), "&Record\tF5");
    EXPECT_TRUE(record->shortcut().isEmpty());
    frame_.Close();
  });
  EXPECT_THAT(frame_.calls, ElementsAre("InitDialog", "Command " + std::to_string(FourCC("ihom")), "DestroyDialog"));
}

TEST_F(MainWindowTest, FunctionKeysReachCommandPress) {
  Run([this] {
    kiv::FocusControl(kiv::GetControlByID(frame_.Window(), 108));
    for (const int key : {Qt::Key_F5, Qt::Key_F7, Qt::Key_F8, Qt::Key_A}) PressKey(frame_.Window(), key);
    QKeyEvent repeat(QEvent::KeyPress, Qt::Key_F5, Qt::NoModifier, {}, true);
    QApplication::sendEvent(kiv::WidgetOf(frame_.Window()), &repeat);
    QKeyEvent withControl(QEvent::KeyPress, Qt::Key_F5, Qt::ControlModifier);
    QApplication::sendEvent(kiv::WidgetOf(frame_.Window()), &withControl);
    frame_.Close();
  });
  EXPECT_THAT(frame_.calls, ElementsAre("InitDialog", "CommandPress " + std::to_string(0x600010),
                                        "CommandPress " + std::to_string(0x620010),
                                        "CommandPress " + std::to_string(0x640010), "DestroyDialog"));
}

TEST_F(MainWindowTest, AKeyThatIsHeldAsAHotKeyDoesNotComeTwice) {
  struct Silent : kiv::HotKeys::Listener {
    void HotKeyPressed(std::uint32_t) override {}
    void HotKeyReleased(std::uint32_t) override {}
  } listener;
  desktop_.hotKeys.Take(kiv::kVirtualKeyF7);
  desktop_.hotKeys.Register(kiv::kVirtualKeyF5, 0, listener);
  desktop_.hotKeys.Register(kiv::kVirtualKeyF7, 1, listener);
  Run([this] {
    PressKey(frame_.Window(), Qt::Key_F5);
    PressKey(frame_.Window(), Qt::Key_F7);  // Another program has it, so the window's own press counts.
    frame_.Close();
  });
  EXPECT_THAT(frame_.calls, ElementsAre("InitDialog", "CommandPress " + std::to_string(0x620010), "DestroyDialog"));
}

TEST_F(MainWindowTest, AboutBoxIsTheFrames) {
  bool seen = false;
  Run([&] {
    WhenLoopRuns([&seen] {
      auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
      ASSERT_NE(box, nullptr);
      EXPECT_TRUE(box->text().startsWith("Kiv Recorder "));
      seen = true;
      box->accept();
    });
    kiv::SendCommand(frame_.Window(), FourCC("abou"));
    frame_.Close();
  });
  EXPECT_TRUE(seen);
  EXPECT_EQ(frame_.calls[1], "Command " + std::to_string(FourCC("abou")));
}

TEST_F(MainWindowTest, BadgeIsRestoredBeforeEachOverlay) {
  frame_.SetApplicationBadge("iconrec");
  frame_.SetApplicationBadge("iconhold");
  frame_.SetApplicationBadge("nosuchbadge");
  frame_.ResetApplicationBadge();
  EXPECT_THAT(desktop_.badge.calls,
              ElementsAre("restore", "overlay iconrec.svg", "restore", "overlay iconhold.svg", "restore"));
}

TEST_F(MainWindowTest, WithoutABadgeNothingHappens) {
  kiv::services.badge = nullptr;
  frame_.SetApplicationBadge("iconrec");
  frame_.ResetApplicationBadge();
}

// --- Ways to end

class QuitBySignal : public testing::TestWithParam<int> {};

TEST_P(QuitBySignal, AsksCmCancelLikeTheCommand) {
  Desktop desktop;
  RecordingFrame frame;
  frame.inLoop = [&] { std::raise(GetParam()); };
  frame.Run();
  EXPECT_THAT(frame.calls, ElementsAre("InitDialog", "CmCancel", "DestroyDialog"));
}

TEST_P(QuitBySignal, CanBeRefused) {
  Desktop desktop;
  RecordingFrame frame;
  frame.mayQuit = false;
  frame.inLoop = [&] {
    std::raise(GetParam());
    auto* wait = new QTimer(kiv::WidgetOf(frame.Window()));
    QObject::connect(wait, &QTimer::timeout, wait, [&frame] {
      if (frame.calls.back() == "CmCancel") frame.Close();
    });
    wait->start(1);
  };
  frame.Run();
  EXPECT_THAT(frame.calls, ElementsAre("InitDialog", "CmCancel", "DestroyDialog"));
}

INSTANTIATE_TEST_SUITE_P(Signals, QuitBySignal, testing::Values(SIGTERM, SIGINT, SIGHUP));

TEST_F(MainWindowTest, SignalsAreAsBeforeAfterTheLoop) {
  struct sigaction before = {};
  sigaction(SIGTERM, nullptr, &before);
  Run([this] { frame_.Close(); });
  struct sigaction after = {};
  sigaction(SIGTERM, nullptr, &after);
  EXPECT_EQ(before.sa_handler, after.sa_handler);
}

TEST_F(MainWindowTest, QuitEndsAnOpenDialogWithItsCloseBox) {
  class Inner : public LDialog {
   public:
    std::vector<std::string> calls;
    bool CmCancel() override {
      calls.emplace_back("CmCancel");
      return false;
    }
    void DestroyDialog() override { calls.emplace_back("DestroyDialog"); }
  } inner;
  int result = -1;
  Run([&] {
    WhenLoopRuns([] { std::raise(SIGTERM); });
    result = inner.Open(frame_.Window(), "LTextEditDlg");
    frame_.calls.emplace_back("dialog ended");
  });
  EXPECT_EQ(result, 0);
  EXPECT_THAT(inner.calls, ElementsAre("DestroyDialog"));
  EXPECT_THAT(frame_.calls, ElementsAre("InitDialog", "CmCancel", "dialog ended", "DestroyDialog"));
}

TEST_F(MainWindowTest, QuitEndsDialogsOverDialogs) {
  LDialog outer;
  LDialog inner;
  Run([&] {
    WhenLoopRuns([&] {
      WhenLoopRuns([] { std::raise(SIGTERM); });
      inner.Open(nullptr, "LTextEditDlg");
      frame_.calls.emplace_back("inner");
    });
    outer.Open(frame_.Window(), "Preferences");
    frame_.calls.emplace_back("outer");
  });
  EXPECT_THAT(frame_.calls, ElementsAre("InitDialog", "CmCancel", "inner", "outer", "DestroyDialog"));
}

TEST_F(MainWindowTest, QuitEndsMessageBoxesAndOpensNoFurtherOnes) {
  Run([&] {
    WhenLoopRuns([] { std::raise(SIGTERM); });
    LMacMessageBox("Error", "one", kAlertStopAlert);
    frame_.calls.emplace_back("one");
    LMacMessageBox("Error", "two", kAlertStopAlert);
    LDialog late;
    EXPECT_EQ(late.Open(nullptr, "LTextEditDlg"), 0);
    kiv::ShowAboutBox();
    frame_.calls.emplace_back("two");
  });
  EXPECT_THAT(frame_.calls, ElementsAre("InitDialog", "CmCancel", "one", "two", "DestroyDialog"));
}

TEST_F(MainWindowTest, QuitEndsTheAboutBox) {
  Run([&] {
    WhenLoopRuns([] { std::raise(SIGTERM); });
    kiv::ShowAboutBox();
    frame_.calls.emplace_back("about ended");
  });
  EXPECT_THAT(frame_.calls, ElementsAre("InitDialog", "CmCancel", "about ended", "DestroyDialog"));
}

TEST_F(MainWindowTest, QuitWhileADialogOpensEndsItBeforeItRuns) {
  class Late : public LDialog {
   public:
    WindowRef frame = nullptr;
    bool destroyed = false;
    void InitDialog() override { kiv::SendCommand(frame, FourCC("quit")); }
    void DestroyDialog() override { destroyed = true; }
  } late;
  Run([&] {
    late.frame = frame_.Window();
    EXPECT_EQ(late.Open(nullptr, "LTextEditDlg"), 0);
    EXPECT_TRUE(late.destroyed);
    frame_.calls.emplace_back("dialog ended");
  });
  EXPECT_THAT(frame_.calls, ElementsAre("InitDialog", "CmCancel", "dialog ended", "DestroyDialog"));
}

TEST_F(MainWindowTest, QuitWhileAMenuIsOpen) {
  Run([this] {
    auto* window = dynamic_cast<kiv::MainFrame*>(kiv::WidgetOf(frame_.Window()));
    QMenu* call = window->menuBar()->actions().at(0)->menu();
    call->popup(window->mapToGlobal(QPoint(5, 20)));
    ASSERT_EQ(QApplication::activePopupWidget(), call);
    std::raise(SIGTERM);
  });
  EXPECT_THAT(frame_.calls, ElementsAre("InitDialog", "EnableMainMenu", "CmCancel", "DestroyDialog"));
  EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
}

TEST_F(MainWindowTest, QuitWhileHelpIsOpenClosesIt) {
  Run([] {
    LDialog().DisplayHelpPage(1);
    std::raise(SIGTERM);
  });
  EXPECT_THAT(frame_.calls, ElementsAre("InitDialog", "CmCancel", "DestroyDialog"));
  for (const QWidget* widget : QApplication::topLevelWidgets()) {
    EXPECT_NE(widget->windowTitle(), "Kiv Recorder Help");
  }
}

TEST_F(MainWindowTest, QuitEndsAPanel) {
  Run([&] {
    WhenLoopRuns([] { std::raise(SIGTERM); });
    QFileDialog panel;
    panel.setOption(QFileDialog::DontUseNativeDialog);
    EXPECT_EQ(panel.exec(), QDialog::Rejected);
  });
  EXPECT_THAT(frame_.calls, ElementsAre("InitDialog", "CmCancel", "DestroyDialog"));
}

TEST_F(MainWindowTest, QuitStopsWorkUnderAProgressWindow) {
  class Work : public LProgressDialog {
   public:
    Work() : LProgressDialog("Title") {}
    bool stopped = false;
    int MainFunction() override {
      std::raise(SIGTERM);
      for (int i = 0; i < 1000 && !stopped; ++i) stopped = IsToStop();
      return 1;
    }
  } work;
  Run([&] { EXPECT_EQ(work.Open(frame_.Window()), 1); });
  EXPECT_TRUE(work.stopped);
  EXPECT_THAT(frame_.calls, ElementsAre("InitDialog", "CmCancel", "DestroyDialog"));
}

TEST_F(MainWindowTest, QuitDuringInitDialogUnderAProgressWindow) {
  class Work : public LProgressDialog {
   public:
    Work() : LProgressDialog("Title") {}
    int MainFunction() override {
      std::raise(SIGTERM);
      while (!IsToStop()) {
      }
      return 1;
    }
  };
  class Frame : public RecordingFrame {
   public:
    void InitDialog() override {
      RecordingFrame::InitDialog();
      Work().Open(nullptr);
      LDialog late;
      EXPECT_EQ(late.Open(nullptr, "LTextEditDlg"), 0);
    }
  } frame;
  frame.Run();
  EXPECT_THAT(frame.calls, ElementsAre("InitDialog", "CmCancel", "DestroyDialog"));
}

}  // namespace
