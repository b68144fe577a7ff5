#include "ui/dialog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QDir>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <cstring>

#include "foundation/event_queue.h"
#include "tests/support/temporary_folder.h"
#include "tests/ui/ui_environment.h"
#include "tests/ui/wait_until.h"
#include "ui/application_loop.h"
#include "ui/folder_dialogs.h"
#include "ui/text_edit_dialog.h"
#include "ui/timers.h"
#include "ui/toolkit_window.h"
#include "ui/web_page.h"
#include "ui/window.h"

namespace {

using kiv::test::ClickCloseBox;
using kiv::test::ClickCommand;
using kiv::test::ClickControl;
using kiv::test::Desktop;
using kiv::test::WhenLoopRuns;
using testing::ElementsAre;

// Writes down what is called, in order.
class RecordingDialog : public LDialog {
 public:
  std::vector<std::string> calls;
  bool okAnswer = true;
  bool cancelAnswer = true;
  std::function<void()> inLoop;

  void InitDialog() override {
    calls.push_back(kiv::IsWindowShown(Window()) ? "InitDialog shown" : "InitDialog");
    if (inLoop) WhenLoopRuns(inLoop);
  }
  bool CmOk() override {
    calls.emplace_back("CmOk");
    return okAnswer;
  }
  bool CmCancel() override {
    calls.emplace_back("CmCancel");
    return cancelAnswer;
  }
  void DestroyDialog() override {
    calls.push_back(std::string("DestroyDialog") + (Window() == nullptr ? " without" : "") +
                    (kiv::IsWindowShown(Window()) ? " shown" : ""));
  }
  void EnableControls() override { calls.emplace_back("EnableControls"); }
  void Command(std::uint32_t id) override { calls.push_back("Command " + std::to_string(id)); }
};

// 258 letters and a tail.
std::string Long(const char* tail) {
  std::string text;
  for (int i = 0; i < 258; ++i) text.push_back('x');
  return text.append(tail);
}

class DialogTest : public testing::Test {
 protected:
  int Open(const char* name, std::function<void()> inLoop) {
    dialog_.inLoop = std::move(inLoop);
    return dialog_.Open(nullptr, name);
  }
  Desktop desktop_;
  RecordingDialog dialog_;
};

TEST_F(DialogTest, OkEndsWithOneInTheStatedOrder) {
  EXPECT_EQ(Open("LTextEditDlg", [this] { ClickCommand(dialog_.Window(), "ok  "); }), 1);
  EXPECT_THAT(dialog_.calls, ElementsAre("InitDialog", "EnableControls", "CmOk", "DestroyDialog"));
  EXPECT_EQ(dialog_.Window(), nullptr);
}

TEST_F(DialogTest, CancelEndsWithZero) {
  EXPECT_EQ(Open("LTextEditDlg", [this] { ClickCommand(dialog_.Window(), "not!"); }), 0);
  EXPECT_THAT(dialog_.calls, ElementsAre("InitDialog", "EnableControls", "CmCancel", "DestroyDialog"));
}

TEST_F(DialogTest, CloseBoxEndsWithZeroWithoutAsking) {
  dialog_.cancelAnswer = false;
  EXPECT_EQ(Open("LTextEditDlg", [this] { ClickCloseBox(dialog_.Window()); }), 0);
  EXPECT_THAT(dialog_.calls, ElementsAre("InitDialog", "EnableControls", "DestroyDialog"));
}

TEST_F(DialogTest, RefusedOkAndCancelKeepItOpen) {
  dialog_.okAnswer = false;
  dialog_.cancelAnswer = false;
  EXPECT_EQ(Open("LTextEditDlg",
                 [this] {
                   ClickCommand(dialog_.Window(), "ok  ");
                   ClickCommand(dialog_.Window(), "not!");
                   EXPECT_TRUE(kiv::IsWindowShown(dialog_.Window()));
                   dialog_.okAnswer = true;
                   ClickCommand(dialog_.Window(), "ok  ");
                 }),
            1);
  EXPECT_THAT(dialog_.calls, ElementsAre("InitDialog", "EnableControls", "CmOk", "CmCancel", "CmOk", "DestroyDialog"));
}

TEST_F(DialogTest, ACommandIsFollowedByEnableControls) {
  Open("Preferences", [this] {
    ClickControl(dialog_.Window(), 2102);
    kiv::SendCommand(dialog_.Window(), kiv::FourCC("1203"));
    kiv::SendCommand(dialog_.Window(), kiv::FourCC("reco"));
    ClickCloseBox(dialog_.Window());
  });
  EXPECT_THAT(
      dialog_.calls,
      ElementsAre("InitDialog", "EnableControls", "Command 2102", "EnableControls", "Command 1203", "EnableControls",
                  "Command " + std::to_string(kiv::FourCC("reco")), "EnableControls", "DestroyDialog"));
}

TEST_F(DialogTest, OpeningAnOpenDialogGivesZeroAndNoSecondWindow) {
  Open("LTextEditDlg", [this] {
    const auto windows = QApplication::topLevelWidgets().size();
    EXPECT_EQ(dialog_.Open(nullptr, "LTextEditDlg"), 0);
    EXPECT_EQ(QApplication::topLevelWidgets().size(), windows);
    ClickCommand(dialog_.Window(), "ok  ");
  });
  EXPECT_EQ(std::count(dialog_.calls.begin(), dialog_.calls.end(), "InitDialog"), 1);
}

TEST_F(DialogTest, TheSameObjectOpensAgain) {
  EXPECT_EQ(Open("LTextEditDlg", [this] { ClickCommand(dialog_.Window(), "ok  "); }), 1);
  EXPECT_EQ(Open("LTextEditDlg", [this] { ClickCommand(dialog_.Window(), "not!"); }), 0);
}

TEST_F(DialogTest, MissingWindowGivesZeroAndCallsNothing) {
  EXPECT_EQ(dialog_.Open(nullptr, "NoSuchWindow"), 0);
  EXPECT_EQ(dialog_.Open(nullptr, 4711), 0);
  desktop_.folders.resources.reset();
  EXPECT_EQ(dialog_.Open(nullptr, "LTextEditDlg"), 0);
  EXPECT_TRUE(dialog_.calls.empty());
}

TEST_F(DialogTest, ANumberNamesAWindow) {
  const kiv::test::TemporaryFolder folder;
  ASSERT_TRUE(QDir(QString::fromStdString(folder.Path())).mkpath("interface/main"));
  kiv::test::WriteFile(folder.File("interface/main/12.ui"),
                       kiv::test::ReadFile(std::string(KIV_RESOURCES_FOLDER) + "/interface/main/LTextEditDlg.ui"));
  desktop_.folders.resources = folder.Path();
  dialog_.inLoop = [this] { ClickCommand(dialog_.Window(), "ok  "); };
  EXPECT_EQ(dialog_.Open(nullptr, 12), 1);
}

TEST_F(DialogTest, ControlsCanStillBeReadInDestroyDialog) {
  class Reader : public LDialog {
   public:
    std::string text;
    void InitDialog() override {
      SetText(100, "typed");
      WhenLoopRuns([this] { ClickCommand(Window(), "ok  "); });
    }
    void DestroyDialog() override {
      char buffer[260];
      text = GetText(100, buffer);
    }
  } reader;
  EXPECT_EQ(reader.Open(nullptr, "LTextEditDlg"), 1);
  EXPECT_EQ(reader.text, "typed");
}

TEST_F(DialogTest, EscapeCancelsAndReturnConfirms) {
  EXPECT_EQ(Open("LTextEditDlg", [this] { kiv::test::PressKey(dialog_.Window(), Qt::Key_Escape); }), 0);
  EXPECT_EQ(dialog_.calls[2], "CmCancel");
  EXPECT_EQ(Open("LTextEditDlg", [this] { kiv::test::PressKey(dialog_.Window(), Qt::Key_Return); }), 1);
}

TEST_F(DialogTest, EscapeOfAWindowWithCloseAlonePressesIt) {
  EXPECT_EQ(Open("Preferences", [this] { kiv::test::PressKey(dialog_.Window(), Qt::Key_Escape); }), 1);
  EXPECT_THAT(dialog_.calls, ElementsAre("InitDialog", "EnableControls", "CmOk", "DestroyDialog"));
}

TEST_F(DialogTest, ReturnInAFieldOfAWindowWithCloseAlonePressesNothing) {
  Open("Preferences", [this] {
    kiv::FocusControl(dialog_.GetControl(1102));
    kiv::test::PressKey(dialog_.Window(), Qt::Key_Return);
    EXPECT_TRUE(kiv::IsWindowShown(dialog_.Window()));
    ClickCloseBox(dialog_.Window());
  });
  EXPECT_THAT(dialog_.calls, ElementsAre("InitDialog", "EnableControls", "DestroyDialog"));
}

TEST_F(DialogTest, FocusStartsOnTheFirstControl) {
  Open("LTextEditDlg", [this] {
    QWidget* focused = kiv::WidgetOf(dialog_.Window())->focusWidget();
    ASSERT_NE(focused, nullptr);
    EXPECT_EQ(focused->objectName(), "entry");
    ClickCloseBox(dialog_.Window());
  });
}

// A controller may move the focus, so it is set before the first of them; both come before the window is seen.
TEST_F(DialogTest, FocusIsSetAndControlsAreEnabledBeforeTheWindowIsShown) {
  class Watcher : public LDialog {
   public:
    std::vector<std::string> calls;
    void InitDialog() override {
      QWidget* focused = kiv::WidgetOf(Window())->focusWidget();
      calls.push_back(Shown() + "InitDialog " + (focused == nullptr ? "" : focused->objectName().toStdString()));
      WhenLoopRuns([this] { ClickCloseBox(Window()); });
    }
    void EnableControls() override { calls.push_back(Shown() + "EnableControls"); }

   private:
    std::string Shown() { return kiv::IsWindowShown(Window()) ? "shown " : "hidden "; }
  } watcher;
  watcher.Open(nullptr, "LTextEditDlg");
  EXPECT_THAT(watcher.calls, ElementsAre("hidden InitDialog entry", "hidden EnableControls"));
}

// The application's handler gets what the dialog passes on: neither its commands nor its close box.
TEST_F(DialogTest, CommandsAndTheCloseBoxEndInTheDialogAndOtherEventsArePassedOn) {
  std::vector<std::uint32_t> passed;
  const auto handler = [](const kiv::Event& event, void* data) {
    static_cast<std::vector<std::uint32_t>*>(data)->push_back(event.Kind());
    return noErr;
  };
  kiv::InstallApplicationHandler(handler, &passed,
                                 {{kEventClassCommand, kEventCommandProcess},
                                  {kEventClassWindow, kEventWindowClose},
                                  {kEventClassWindow, kEventWindowResizeCompleted}});
  dialog_.cancelAnswer = false;
  dialog_.okAnswer = false;
  Open("LTextEditDlg", [this] {
    kiv::SendCommand(dialog_.Window(), kiv::FourCC("abou"));
    kiv::SendCommand(dialog_.Window(), kiv::FourCC("quit"));
    ClickCommand(dialog_.Window(), "ok  ");
    ClickCommand(dialog_.Window(), "not!");
    kiv::SendEvent(dialog_.Window(), {kEventClassWindow, kEventWindowResizeCompleted});
    ClickCloseBox(dialog_.Window());
  });
  kiv::RemoveApplicationHandler(handler, &passed);
  EXPECT_THAT(passed, ElementsAre(kEventWindowResizeCompleted));
  EXPECT_EQ(LDialog::_LDEventHandler({kEventClassWindow, kEventWindowResizeCompleted}, &dialog_), eventNotHandledErr);
  EXPECT_EQ(LDialog::_LDEventHandler({kEventClassMenu, kEventMenuEnableItems}, &dialog_), eventNotHandledErr);
}

TEST_F(DialogTest, RangesEnableInOrderAndEmptyRangesNothing) {
  Open("Preferences", [this] {
    dialog_.EnableControlRange(2101, 2104, false);
    for (int id = 2101; id <= 2104; ++id) EXPECT_FALSE(kiv::IsControlEnabled(dialog_.GetControl(id))) << id;
    EXPECT_TRUE(kiv::IsControlEnabled(dialog_.GetControl(2105)));
    dialog_.EnableControlRange(5, 3, true);
    dialog_.EnableControlRange(2104, 2101, true);
    EXPECT_FALSE(kiv::IsControlEnabled(dialog_.GetControl(2102)));
    dialog_.EnableControl(2102, true);
    EXPECT_TRUE(kiv::IsControlEnabled(dialog_.GetControl(2102)));
    dialog_.EnableControl(4711, true);
    ClickCloseBox(dialog_.Window());
  });
}

TEST_F(DialogTest, GetTextCutsAt259Bytes) {
  Open("LTextEditDlg", [this] {
    char buffer[260];
    std::memset(buffer, '#', sizeof(buffer));
    std::string entry;
    for (int i = 0; i < 300; ++i) entry += static_cast<char>('a' + i % 26);
    dialog_.SetText(100, entry);
    EXPECT_EQ(dialog_.GetText(100, buffer), buffer);
    EXPECT_EQ(std::string(buffer), entry.substr(0, 259));
    dialog_.SetText(100, Long("\xC3\xA4"));
    EXPECT_EQ(std::string(dialog_.GetText(100, buffer)), Long("\xC3"));
    EXPECT_STREQ(dialog_.GetText(4711, buffer), "");
    ClickCloseBox(dialog_.Window());
  });
}

// What a cut has left of a character, and bytes that are no text at all, are shown somehow and never break anything.
TEST_F(DialogTest, AnyBytesCanBeShown) {
  Open("LTextEditDlg", [this] {
    char buffer[260];
    dialog_.SetText(100, Long("\xC3"));
    EXPECT_EQ(std::string(dialog_.GetText(100, buffer)), Long(""));
    for (const char* bytes : {"\xFF\xFE", "\x80\x80\x80\x80", "a\xE2\x82", "\xF0\x9F\x93", "\xED\xA0\x80", "\xC3"}) {
      dialog_.SetText(100, bytes);
      dialog_.SetText(101, bytes);
      QWidget* widget = kiv::WidgetOf(dialog_.Window());
      widget->grab();
    }
    EXPECT_EQ(kiv::TextOf("a\xE2\x82"), "a");
    EXPECT_EQ(kiv::TextOf("\xF0\x9F\x93"), "");
    EXPECT_EQ(kiv::TextOf("\xC3\xA4"), QString(QChar(0xE4)));
    ClickCloseBox(dialog_.Window());
  });
}

// --- Events while a dialog is open

TEST_F(DialogTest, MainQueueGoesOnInOrderWhileADialogIsOpen) {
  constexpr std::uint32_t kClass = kiv::FourCC("Test");
  std::vector<std::uint32_t> order;
  auto& queue = kiv::EventQueue::Main();
  const auto handler = queue.Install(kClass, 1, [&](const kiv::Event& event) {
    const auto number = event.Get<std::uint32_t>(kClass, kClass).value_or(0);
    order.push_back(number);
    // The first opens a dialog; the dialog ends when the last has come.
    if (number == 0) Open("LTextEditDlg", [] {});
    if (number == 9) dialog_.Close();
    return true;
  });
  const kiv::EventSources sources;
  for (std::uint32_t i = 0; i < 10; ++i) {
    kiv::Event event(kClass, 1);
    event.Set(kClass, kClass, i);
    queue.Post(event);
  }
  EXPECT_TRUE(kiv::test::WaitUntil([&] { return order.size() == 10 && dialog_.Window() == nullptr; }));
  EXPECT_THAT(order, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9));
  queue.Remove(handler);
}

TEST_F(DialogTest, TimersGoOnWhileADialogIsOpen) {
  class Clock : public LTimers {
   public:
    explicit Clock(LDialog& dialog) : dialog_(dialog) {}
    int ticks = 0;
    void EvTimer(int id) override {
      if (++ticks < 3) {
        TimerSet(id, 1);
      } else {
        dialog_.Close();
      }
    }

   private:
    LDialog& dialog_;
  } clock(dialog_);
  clock.TimerSet(1, 1);
  EXPECT_EQ(Open("LTextEditDlg", [] {}), 0);
  EXPECT_EQ(clock.ticks, 3);
}

TEST_F(DialogTest, ADialogOverADialogEndsFirst) {
  RecordingDialog inner;
  EXPECT_EQ(Open("Preferences",
                 [&] {
                   inner.inLoop = [&] { ClickCommand(inner.Window(), "ok  "); };
                   EXPECT_EQ(inner.Open(dialog_.Window(), "LTextEditDlg"), 1);
                   EXPECT_TRUE(kiv::IsWindowShown(dialog_.Window()));
                   ClickCommand(dialog_.Window(), "ok  ");
                 }),
            1);
}

// --- Text entry

TEST(TextEditDialog, OffersTheOldTextSelectedAndGivesTheNew) {
  Desktop desktop;
  char text[260] = "previous";
  const char prompt[] = "Enter file & number";
  LTextEditDlg dialog(text, prompt);
  WhenLoopRuns([&] {
    EXPECT_EQ(kiv::WindowTitle(dialog.Window()), prompt);
    EXPECT_EQ(kiv::ControlText(dialog.GetControl(101)), prompt);
    auto* entry = qobject_cast<QLineEdit*>(kiv::WidgetOf(dialog.GetControl(100)));
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->selectedText(), "previous");
    QKeyEvent press(QEvent::KeyPress, Qt::Key_X, Qt::NoModifier, "x");
    QApplication::sendEvent(entry, &press);
    ClickCommand(dialog.Window(), "ok  ");
  });
  EXPECT_EQ(dialog.Open(nullptr), 1);
  EXPECT_STREQ(text, "x");
}

TEST(TextEditDialog, CancelLeavesTheBuffer) {
  Desktop desktop;
  char text[260] = "previous";
  LTextEditDlg dialog(text, "Question");
  WhenLoopRuns([&] {
    dialog.SetText(100, "changed");
    ClickCommand(dialog.Window(), "not!");
  });
  EXPECT_EQ(dialog.Open(nullptr), 0);
  EXPECT_STREQ(text, "previous");
}

TEST(TextEditDialog, MarkupInThePromptIsPlainText) {
  Desktop desktop;
  char text[260] = "";
  LTextEditDlg dialog(text, "<b>bold</b>");
  WhenLoopRuns([&] {
    EXPECT_EQ(qobject_cast<QLabel*>(kiv::WidgetOf(dialog.GetControl(101)))->textFormat(), Qt::PlainText);
    ClickCloseBox(dialog.Window());
  });
  dialog.Open(nullptr);
}

// --- Small helpers

TEST(WebPage, AddressIsBasePageAndHtml) {
  Desktop desktop;
  OpenOskWebPage("kiv/index");
  OpenOskWebPage("software/index");
  EXPECT_THAT(desktop.opener.opened,
              ElementsAre(testing::EndsWith("/kiv/index.html"), testing::EndsWith("/software/index.html")));
  EXPECT_EQ(desktop.opener.opened[0].substr(0, 5), "page ");
}

TEST(WebPage, AddressIsCutAt259Bytes) {
  Desktop desktop;
  OpenOskWebPage(std::string(400, 'x').c_str());
  EXPECT_EQ(desktop.opener.opened.at(0).size(), 5U + 259);
}

TEST(FolderDialogs, OpenTheFolderInTheFileBrowser) {
  Desktop desktop;
  const kiv::test::TemporaryFolder folder;
  LFindPlayDlg find;
  ViewLogDlg log;
  find.Open(folder.Path().c_str());
  log.Open(folder.Path().c_str());
  find.Open((folder.Path() + "/missing").c_str());
  EXPECT_THAT(desktop.opener.opened, ElementsAre("folder " + folder.Path(), "folder " + folder.Path()));
}

TEST(FolderDialogs, WithoutAnOpenerNothingHappens) {
  Desktop desktop;
  kiv::services.opener = nullptr;
  LFindPlayDlg().Open("/");
  OpenOskWebPage("kiv/index");
}

}  // namespace
