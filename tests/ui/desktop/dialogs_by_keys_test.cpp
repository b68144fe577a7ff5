// Dialogs worked by keys alone, as the X server and the window manager hand them on: the preferences, with what they
// have stored afterwards, and the text entry.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QFileDialog>
#include <QPointer>
#include <QPushButton>
#include <QTimer>
#include <functional>

#include "platform/qt/file_panels.h"
#include "platform/qt/preference_store.h"
#include "recorder/settings.h"
#include "tests/support/temporary_folder.h"
#include "tests/ui/desktop/desktop_tools.h"
#include "tests/ui/ui_environment.h"
#include "tests/ui/wait_until.h"
#include "ui/settings_dialog.h"
#include "ui/text_edit_dialog.h"
#include "ui/toolkit_window.h"
#include "ui/window.h"

namespace {

using kiv::test::GiveKeyboard;
using kiv::test::RunTool;
using kiv::test::WaitUntil;

void Keys(std::vector<std::string> keys) {
  keys.insert(keys.begin(), "key");
  RunTool(std::move(keys));
}

// In place of what the field that has the keyboard holds.
void Type(const std::string& text) {
  Keys({"ctrl+a"});
  RunTool({"type", "--delay", "20", text});
}

// Does it as soon as the dialog has been shown and has the keyboard. It has to end the dialog; where that fails, the
// dialog ends all the same.
void WhenOpen(LDialog& dialog, std::function<void()> action) {
  QTimer::singleShot(0, qApp, [&dialog, action = std::move(action)] {
    QWidget* window = kiv::WidgetOf(dialog.Window());
    ASSERT_NE(window, nullptr);
    GiveKeyboard(*window);
    EXPECT_TRUE(WaitUntil([window] { return window->isActiveWindow(); }));
    action();
    QTimer::singleShot(testing::Test::HasFailure() ? 0 : kiv::test::kLimitMs, window, [&dialog] {
      ADD_FAILURE() << "the dialog stays open";
      dialog.Close();
    });
  });
}

// The number of the control that has the keyboard; 0 when it has none.
int Focused() {
  const QWidget* focused = QApplication::focusWidget();
  return focused == nullptr ? 0 : focused->property("controlId").toInt();
}

// On an account of its own, with both stores on disk.
class PreferencesByKeys : public testing::Test {
 protected:
  PreferencesByKeys() {
    kiv::services.preferences = &store_;
    kiv::services.filePanels = &panels_;
    desktop_.folders.home = home_.Path();
    gSettings.Load();
  }
  // As the dialog's Open.
  int Open(std::function<void()> action) {
    WhenOpen(dialog_, std::move(action));
    return dialog_.Open(nullptr, "Preferences");
  }
  void PressUntilFocused(const std::string& keys, int id) {
    Keys({keys});
    ASSERT_TRUE(WaitUntil([id] { return Focused() == id; })) << keys << " leads to " << Focused() << ", not " << id;
  }
  // A check box that is pressed by its letter is shown pressed for a moment first.
  void PressUntilTurned(const std::string& keys, int id) {
    const int before = dialog_.GetValue(id);
    Keys({keys});
    ASSERT_TRUE(WaitUntil([&] { return dialog_.GetValue(id) != before; })) << keys << " does not turn " << id;
  }
  void TurnTo(const std::string& keys, int page) {
    Keys({keys});
    ASSERT_TRUE(WaitUntil([&] { return dialog_.GetValue(80) == page; })) << keys;
  }
  void TypeInto(const std::string& keys, int id, const std::string& text) {
    PressUntilFocused(keys, id);
    Type(text);
    ASSERT_TRUE(WaitUntil([&] { return TextOf(id) == text; })) << TextOf(id);
  }
  std::string TextOf(int id) { return kiv::ControlText(dialog_.GetControl(id)); }

  // As another program finds it in the file.
  std::string Preference(const std::string& key) const {
    return kiv::QtPreferenceStore(store_.Path()).Get("Settings/" + key).value_or("(none)");
  }
  static std::string FileValue(const char* key) {
    char value[kiv::kTextSize];
    gSettings.GetValue("settings", key, "(none)", value);
    return value;
  }

  kiv::test::TemporaryFolder home_;
  kiv::test::Desktop desktop_;
  kiv::QtPreferenceStore store_{home_.File("preferences.ini")};
  kiv::QtFilePanels panels_{false};
  SetDlg dialog_;
};

TEST_F(PreferencesByKeys, TabGoesRoundEveryPageInItsOrder) {
  store_.Set("Settings/PromptForData", "1");
  store_.Set("Settings/CopyRecordings", "1");
  store_.Set("Settings/CopyToFolder", "/somewhere");
  const struct {
    const char* keys;
    std::vector<int> controls;
  } pages[] = {{"alt+t", {2101, 2102, 2103, 2107, 2108, 2109, 2104, 2106}},
               {"alt+m", {3101, 3102, 3103, 3104, 3105, 3106}},
               {"alt+n", {2111, 1104, 1108, 1109, 2110}},
               {"alt+u", {3108, 3110, 3109}},
               {"alt+l", {1107, 1101, 1102, 1110}}};
  Open([&] {
    int number = 1;
    for (const auto& page : pages) {
      number = number % 5 + 1;
      ASSERT_NO_FATAL_FAILURE(TurnTo(page.keys, number));
      // Turning takes the focus away. The tabs get it first, Close last.
      std::vector<int> reached;
      for (std::size_t i = 0; i < page.controls.size() + 2; ++i) {
        const QWidget* before = QApplication::focusWidget();
        Keys({"Tab"});
        ASSERT_TRUE(WaitUntil([before] { return QApplication::focusWidget() != before; })) << page.keys;
        if (Focused() != 0) reached.push_back(Focused());
      }
      EXPECT_EQ(reached, page.controls) << page.keys;
      const auto* last = qobject_cast<QPushButton*>(QApplication::focusWidget());
      EXPECT_TRUE(last != nullptr && last->property("command") == "ok  ") << page.keys;
    }
    Keys({"Escape"});
  });
}

TEST_F(PreferencesByKeys, WhatIsChangedIsStored) {
  Open([this] {
    ASSERT_NO_FATAL_FAILURE(PressUntilTurned("alt+a", 1101));
    ASSERT_NO_FATAL_FAILURE(TypeInto("alt+q", 1102, "Who calls?"));
    // Back to the first check box, which the space bar turns.
    ASSERT_NO_FATAL_FAILURE(PressUntilFocused("shift+Tab", 1101));
    ASSERT_NO_FATAL_FAILURE(PressUntilFocused("shift+Tab", 1107));
    ASSERT_NO_FATAL_FAILURE(PressUntilTurned("space", 1107));

    ASSERT_NO_FATAL_FAILURE(TurnTo("alt+t", 2));
    ASSERT_NO_FATAL_FAILURE(TypeInto("alt+i", 2106, "20"));
    ASSERT_NO_FATAL_FAILURE(PressUntilTurned("alt+e", 2107));

    ASSERT_NO_FATAL_FAILURE(TurnTo("alt+n", 4));
    ASSERT_NO_FATAL_FAILURE(PressUntilTurned("alt+v", 2111));
    ASSERT_NO_FATAL_FAILURE(TypeInto("alt+d", 2110, "7"));

    ASSERT_NO_FATAL_FAILURE(TurnTo("alt+u", 5));
    ASSERT_NO_FATAL_FAILURE(PressUntilFocused("alt+g", 3108));
    Keys({"End"});
    EXPECT_TRUE(WaitUntil([this] { return TextOf(191) == "Stores +8 dB"; }));
    ASSERT_NO_FATAL_FAILURE(TypeInto("alt+h", 3109, "250"));
    EXPECT_EQ(Preference("PromptForData"), "(none)");
    Keys({"Escape"});
  });
  EXPECT_EQ(Preference("PromptForData"), "1");
  EXPECT_EQ(Preference("Prompt"), "Who calls?");
  EXPECT_EQ(Preference("HotKeys"), "0");
  EXPECT_EQ(Preference("AutoLevelControl"), "0");
  EXPECT_EQ(Preference("AutoDeleteDays"), "7");
  EXPECT_EQ(Preference("1HourStop"), "1");
  EXPECT_EQ(FileValue("recordtoneinterval"), "20");
  EXPECT_EQ(FileValue("recordtone"), "true");
  EXPECT_EQ(FileValue("endprompt"), "false");
  EXPECT_EQ(FileValue("audiogain"), "8");
  EXPECT_EQ(FileValue("audiohighpass"), "250");
}

TEST_F(PreferencesByKeys, TheFolderForCopiesIsChosenInThePanel) {
  const kiv::test::TemporaryFolder copies;
  // The panel has a loop of its own, so what answers it must be there before it opens.
  QTimer watch;
  QObject::connect(&watch, &QTimer::timeout, [&] {
    const QPointer<QWidget> panel = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
    if (panel == nullptr) return;
    watch.stop();
    GiveKeyboard(*panel);
    RunTool({"type", "--delay", "20", copies.Path()});
    // A list of proposals may take the first.
    EXPECT_TRUE(WaitUntil([&panel] {
      if (panel == nullptr || !panel->isVisible()) return true;
      Keys({"Return"});
      return false;
    }));
  });
  watch.start(10);
  Open([&] {
    ASSERT_NO_FATAL_FAILURE(TurnTo("alt+n", 4));
    ASSERT_NO_FATAL_FAILURE(PressUntilTurned("alt+y", 1104));
    Keys({"alt+b"});
    EXPECT_TRUE(WaitUntil([&] { return TextOf(1108) == copies.Path(); })) << TextOf(1108);
    GiveKeyboard(*kiv::WidgetOf(dialog_.Window()));
    Keys({"Escape"});
  });
  EXPECT_EQ(Preference("CopyRecordings"), "1");
  EXPECT_EQ(Preference("CopyToFolder"), copies.Path());
}

TEST_F(PreferencesByKeys, EveryWayOutStores) {
  // Close is the window's OK.
  const std::pair<std::string, int> ways[] = {{"Escape", 1}, {"space", 1}, {"alt+F4", 0}};
  bool asks = false;
  for (const auto& [key, result] : ways) {
    const int ended = Open([this, &way = key] {
      ASSERT_NO_FATAL_FAILURE(PressUntilTurned("alt+a", 1101));
      if (way == "space") {
        EXPECT_TRUE(WaitUntil([] {
          const auto* button = qobject_cast<QPushButton*>(QApplication::focusWidget());
          if (button != nullptr && button->property("command") == "ok  ") return true;
          Keys({"Tab"});
          return false;
        }));
      }
      Keys({way});
    });
    EXPECT_EQ(ended, result) << key;
    asks = !asks;
    EXPECT_EQ(Preference("PromptForData"), asks ? "1" : "0") << key;
  }
}

// --- Text entry

TEST(TextEntryByKeys, ReturnIsOkAndEscapeIsCancel) {
  kiv::test::Desktop desktop;
  char text[kiv::kTextSize] = "before";
  LTextEditDlg dialog(text, "Enter file number");
  const auto typeAnd = [&dialog](const std::string& entry, const std::string& key) {
    WhenOpen(dialog, [&dialog, entry, key] {
      // What was there is selected, so it goes.
      RunTool({"type", "--delay", "20", entry});
      EXPECT_TRUE(WaitUntil([&] { return kiv::ControlText(dialog.GetControl(100)) == entry; }));
      Keys({key});
    });
    return dialog.Open(nullptr);
  };
  EXPECT_EQ(typeAnd("4711", "Escape"), 0);
  EXPECT_STREQ(text, "before");
  EXPECT_EQ(typeAnd("4711", "Return"), 1);
  EXPECT_STREQ(text, "4711");
}

}  // namespace
