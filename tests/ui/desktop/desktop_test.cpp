// Windows and keys on a real X server. Started by scripts/with-desktop, which gives each run a desktop of its own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QApplication>
#include <QLineEdit>
#include <QPointer>
#include <QScreen>
#include <QSystemTrayIcon>
#include <QTimer>
#include <QWindow>

#include "platform/qt/application_badge.h"
#include "platform/qt/file_panels.h"
#include "platform/qt/opener.h"
#include "platform/x11/x11_hot_keys.h"
#include "recorder/status_window.h"
#include "tests/support/temporary_folder.h"
#include "tests/ui/desktop/child_program.h"
#include "tests/ui/desktop/desktop_tools.h"
#include "tests/ui/ui_environment.h"
#include "tests/ui/wait_until.h"
#include "ui/application_loop.h"
#include "ui/folder_dialogs.h"
#include "ui/hot_key_handler.h"
#include "ui/key_codes.h"
#include "ui/main_window.h"
#include "ui/resources.h"
#include "ui/toolkit_window.h"
#include "ui/web_page.h"
#include "ui/window.h"

namespace {

using kiv::kVirtualKeyF5;
using kiv::kVirtualKeyF7;
using kiv::kVirtualKeyF8;
using kiv::test::ChildProgram;
using kiv::test::GiveKeyboard;
using kiv::test::RunCommand;
using kiv::test::RunTool;
using kiv::test::WaitUntil;
using testing::ElementsAre;

// A window of another program, with the keyboard.
class OtherProgram {
 public:
  OtherProgram() {
    EXPECT_TRUE(program_.Start({"xev", "-name", "Another program"}));
    // The search stumbles over windows that go while it looks.
    EXPECT_TRUE(WaitUntil([] {
      ChildProgram search;
      return search.Start({"xdotool", "search", "--sync", "--onlyvisible", "--name", "^Another program$",
                           "windowactivate", "--sync"}) &&
             search.WaitForEnd() && search.ExitCode() == 0;
    }));
  }
  ~OtherProgram() {
    program_.AskToEnd();
    EXPECT_TRUE(program_.WaitForEnd());
  }

 private:
  ChildProgram program_;
};

class Keys : public kiv::HotKeys::Listener {
 public:
  std::vector<std::string> calls;
  void HotKeyPressed(std::uint32_t id) override { calls.push_back("press " + std::to_string(id)); }
  void HotKeyReleased(std::uint32_t id) override { calls.push_back("release " + std::to_string(id)); }
};

class HotKeysOnX11 : public testing::Test {
 protected:
  HotKeysOnX11() {
    kiv::services.hotKeys = &hotKeys_;
    sources_ = std::make_unique<kiv::EventSources>();
    EXPECT_TRUE(hotKeys_.Available());
  }
  ~HotKeysOnX11() override {
    sources_.reset();
    kiv::services.hotKeys = nullptr;
  }
  bool WaitForCalls(std::size_t count) {
    return WaitUntil([&] { return keys_.calls.size() >= count; });
  }
  // However late a busy machine sends the repeats of a held key.
  kiv::X11HotKeys hotKeys_{nullptr, kiv::test::kLimitMs};
  std::unique_ptr<kiv::EventSources> sources_;
  Keys keys_;
};

TEST_F(HotKeysOnX11, ReachUsWhileAnotherProgramHasTheKeyboard) {
  const OtherProgram other;
  hotKeys_.Register(kVirtualKeyF5, 0, keys_);
  hotKeys_.Register(kVirtualKeyF7, 1, keys_);
  hotKeys_.Register(kVirtualKeyF8, 2, keys_);
  RunTool({"key", "F5", "F7", "F8"});
  ASSERT_TRUE(WaitForCalls(6));
  EXPECT_THAT(keys_.calls, ElementsAre("press 0", "release 0", "press 1", "release 1", "press 2", "release 2"));
}

TEST_F(HotKeysOnX11, ActWithCapsLockAndNumLock) {
  const OtherProgram other;
  hotKeys_.Register(kVirtualKeyF5, 0, keys_);
  for (const std::vector<std::string>& locks :
       {std::vector<std::string>{"key", "Caps_Lock"}, {"key", "Num_Lock"}, {"key", "Caps_Lock", "Num_Lock"}}) {
    keys_.calls.clear();
    RunTool(locks);
    RunTool({"key", "F5"});
    EXPECT_TRUE(WaitForCalls(2)) << locks.back();
    EXPECT_THAT(keys_.calls, ElementsAre("press 0", "release 0")) << locks.back();
    RunTool(locks);
  }
}

TEST_F(HotKeysOnX11, WithAModifierTheyAreOtherKeys) {
  const OtherProgram other;
  hotKeys_.Register(kVirtualKeyF5, 0, keys_);
  hotKeys_.Register(kVirtualKeyF7, 1, keys_);
  RunTool({"key", "shift+F5", "ctrl+F5", "F7"});
  ASSERT_TRUE(WaitForCalls(2));
  EXPECT_THAT(keys_.calls, ElementsAre("press 1", "release 1"));
}

TEST_F(HotKeysOnX11, AHeldKeyIsOnePressAndOneRelease) {
  const OtherProgram other;
  hotKeys_.Register(kVirtualKeyF5, 0, keys_);
  RunTool({"keydown", "F5"});
  ASSERT_TRUE(WaitForCalls(1));
  // Time for dozens of repeats; nothing else may come.
  EXPECT_FALSE(WaitUntil([this] { return keys_.calls.size() > 1; }, 2000));
  RunTool({"keyup", "F5"});
  ASSERT_TRUE(WaitForCalls(2));
  EXPECT_THAT(keys_.calls, ElementsAre("press 0", "release 0"));
}

TEST_F(HotKeysOnX11, AKeyOfAnotherProgramIsTakenUntilItLetsGo) {
  kiv::X11HotKeys other;
  Keys others;
  const auto theirs = other.Register(kVirtualKeyF5, 9, others);
  ASSERT_EQ(other.StateOf(theirs), kiv::HotKeys::State::Held);
  const auto ours = hotKeys_.Register(kVirtualKeyF5, 0, keys_);
  ASSERT_NE(ours, 0U);
  EXPECT_EQ(hotKeys_.StateOf(ours), kiv::HotKeys::State::Taken);
  EXPECT_FALSE(hotKeys_.Holds(kVirtualKeyF5));
  // The others still work.
  hotKeys_.Register(kVirtualKeyF7, 1, keys_);
  RunTool({"key", "F5", "F7"});
  ASSERT_TRUE(WaitForCalls(2));
  EXPECT_THAT(keys_.calls, ElementsAre("press 1", "release 1"));
  hotKeys_.Retry();
  EXPECT_EQ(hotKeys_.StateOf(ours), kiv::HotKeys::State::Taken);
  other.Unregister(theirs);
  // The server has heard of it before our own request, which waits for an answer of the other connection.
  ASSERT_NE(other.Register(kVirtualKeyF8, 8, others), 0U);
  hotKeys_.Retry();
  EXPECT_EQ(hotKeys_.StateOf(ours), kiv::HotKeys::State::Held);
  keys_.calls.clear();
  RunTool({"key", "F5"});
  ASSERT_TRUE(WaitForCalls(2));
  EXPECT_THAT(keys_.calls, ElementsAre("press 0", "release 0"));
}

TEST_F(HotKeysOnX11, UnregisteredKeysBelongToTheOthersAgain) {
  kiv::X11HotKeys other;
  Keys others;
  const auto ours = hotKeys_.Register(kVirtualKeyF5, 0, keys_);
  hotKeys_.Unregister(ours);
  hotKeys_.Register(kVirtualKeyF8, 2, keys_);
  EXPECT_EQ(other.StateOf(other.Register(kVirtualKeyF5, 9, others)), kiv::HotKeys::State::Held);
}

TEST_F(HotKeysOnX11, AChangedKeyboardKeepsTheKeys) {
  hotKeys_.Register(kVirtualKeyF5, 0, keys_);
  RunCommand({"setxkbmap", "de"});
  // The answer to this comes after the news of the keyboard, so the keys are asked for anew before one is pressed.
  hotKeys_.Register(kVirtualKeyF8, 2, keys_);
  hotKeys_.Dispatch();
  RunTool({"key", "F5"});
  ASSERT_TRUE(WaitForCalls(2));
  EXPECT_THAT(keys_.calls, ElementsAre("press 0", "release 0"));
  RunCommand({"setxkbmap", "us"});
}

TEST(HotKeysWithoutX11, AreNotAvailable) {
  kiv::X11HotKeys hotKeys(":4711");
  Keys keys;
  EXPECT_FALSE(hotKeys.Available());
  EXPECT_EQ(hotKeys.Register(kVirtualKeyF5, 0, keys), 0U);
  EXPECT_EQ(hotKeys.Descriptor(), -1);
  hotKeys.Dispatch();
  hotKeys.Retry();
  hotKeys.Unregister(0);
}

// --- The frame

class Frame : public LMainWindow, public LHotKeyHandler {
 public:
  std::vector<std::string> calls;
  bool mayQuit = true;
  bool hotKeys = true;
  std::function<void()> whenShown;

  void InitDialog() override {
    InstallKeyHandler();
    if (hotKeys) RegisterHotKey(kVirtualKeyF5, 0);
    QTimer::singleShot(0, qApp, [this] {
      GiveKeyboard(*kiv::WidgetOf(Window()));
      whenShown();
    });
  }
  bool CmCancel() override {
    calls.emplace_back("CmCancel");
    return mayQuit;
  }
  void EvHotKey(std::uint32_t id) override { calls.push_back("hot key " + std::to_string(id)); }
  void CommandPress(int key) override { calls.push_back("press " + std::to_string(key >> 16)); }
};

class FrameOnX11 : public testing::Test {
 protected:
  FrameOnX11() { kiv::services.hotKeys = &hotKeys_; }
  kiv::test::Desktop desktop_;
  kiv::X11HotKeys hotKeys_;
};

TEST_F(FrameOnX11, AGrabbedKeyActsOnceInTheActiveWindow) {
  Frame frame;
  frame.whenShown = [&frame] {
    RunTool({"key", "F5", "F7"});
    EXPECT_TRUE(WaitUntil([&frame] { return frame.calls.size() >= 2; }));
    frame.Close();
  };
  frame.Run();
  EXPECT_THAT(frame.calls, testing::UnorderedElementsAre("hot key 0", "press 98"));
}

TEST_F(FrameOnX11, WithoutHotKeysTheKeysActInTheActiveWindow) {
  Frame frame;
  frame.hotKeys = false;
  frame.whenShown = [&frame] {
    RunTool({"key", "F5", "F7", "F8"});
    EXPECT_TRUE(WaitUntil([&frame] { return frame.calls.size() >= 3; }));
    frame.Close();
  };
  frame.Run();
  EXPECT_THAT(frame.calls, ElementsAre("press 96", "press 98", "press 100"));
}

TEST_F(FrameOnX11, TheWindowManagersCloseIsRefusedAndAccepted) {
  Frame frame;
  frame.mayQuit = false;
  frame.whenShown = [&frame] {
    RunTool({"key", "alt+F4"});
    EXPECT_TRUE(WaitUntil([&frame] { return frame.calls.size() == 1; }));
    EXPECT_TRUE(kiv::IsWindowShown(frame.Window()));
    frame.mayQuit = true;
    RunTool({"key", "alt+F4"});
  };
  frame.Run();
  EXPECT_THAT(frame.calls, ElementsAre("CmCancel", "CmCancel"));
}

TEST_F(FrameOnX11, QuitOfTheMenuIsRefusedAndAccepted) {
  Frame frame;
  frame.mayQuit = false;
  // A menu takes the keyboard when it has opened, so each key waits for what the one before does.
  const auto quit = [&frame] {
    const QWidget* window = kiv::WidgetOf(frame.Window());
    EXPECT_TRUE(WaitUntil([window] { return window->isActiveWindow(); }));
    RunTool({"key", "alt+c"});
    EXPECT_TRUE(WaitUntil([] { return QApplication::activePopupWidget() != nullptr; }));
    RunTool({"key", "q"});
  };
  frame.whenShown = [&] {
    quit();
    EXPECT_TRUE(WaitUntil([&frame] { return frame.calls.size() == 1; }));
    EXPECT_TRUE(kiv::IsWindowShown(frame.Window()));
    frame.mayQuit = true;
    quit();
    if (HasFailure()) frame.Close();
  };
  frame.Run();
  EXPECT_THAT(frame.calls, ElementsAre("CmCancel", "CmCancel"));
}

TEST_F(FrameOnX11, HotKeysGoOnWhileADialogIsOpen) {
  Frame frame;
  LDialog dialog;
  frame.whenShown = [&] {
    QTimer::singleShot(0, qApp, [&] {
      RunTool({"key", "F5"});
      EXPECT_TRUE(WaitUntil([&frame] { return frame.calls.size() >= 1; }));
      EXPECT_TRUE(kiv::IsWindowShown(dialog.Window()));
      dialog.Close();
    });
    dialog.Open(frame.Window(), "LTextEditDlg");
    frame.Close();
  };
  frame.Run();
  EXPECT_THAT(frame.calls, ElementsAre("hot key 0"));
}

TEST_F(FrameOnX11, ATakenKeyIsLogged) {
  kiv::X11HotKeys other;
  Keys others;
  other.Register(kVirtualKeyF5, 9, others);
  Frame frame;
  frame.whenShown = [&frame] { frame.Close(); };
  frame.Run();
  EXPECT_NE(gStatusWindow.Text().find("Warning: Hot key unavailable: F5\r"), std::string::npos);
}

// --- What the desktop opens

TEST(OpenerOnTheDesktop, FoldersAndPagesGoThroughXdgOpen) {
  const kiv::test::TemporaryFolder folder;
  const std::string record = folder.File("opened");
  kiv::test::WriteFile(folder.File("xdg-open"), "#!/bin/sh\necho \"$1\" >> '" + record + "'\n");
  ASSERT_EQ(chmod(folder.File("xdg-open").c_str(), 0755), 0);
  const QByteArray path = qgetenv("PATH");
  qputenv("PATH", QByteArray::fromStdString(folder.Path()) + ":" + path);
  kiv::QtOpener opener;
  kiv::Services before = kiv::services;
  kiv::services.opener = &opener;
  LFindPlayDlg().Open(folder.Path().c_str());
  const auto lines = [&record] {
    const std::string text = kiv::test::ReadFile(record);
    return std::count(text.begin(), text.end(), '\n');
  };
  EXPECT_TRUE(WaitUntil([&] { return lines() == 1; }));
  OpenOskWebPage("kiv/index");
  EXPECT_TRUE(WaitUntil([&] { return lines() == 2; }));
  const std::string opened = kiv::test::ReadFile(record);
  EXPECT_NE(opened.find(folder.Path()), std::string::npos) << opened;
  EXPECT_NE(opened.find("/kiv/index.html\n"), std::string::npos) << opened;
  kiv::services = before;
  qputenv("PATH", path);
}

// --- The choose panels

class PanelsOnTheDesktop : public testing::Test {
 protected:
  PanelsOnTheDesktop() { kiv::test::WriteFile(folder_.File("prompt.wav"), "RIFF"); }
  // Types into the panel that opens next, and presses the key until it is gone: a list of proposals may take the first.
  void Answer(const std::string& name, const std::string& key) {
    QTimer::singleShot(0, qApp, [name, key] {
      const QPointer<QWidget> panel = QApplication::activeModalWidget();
      ASSERT_NE(panel, nullptr);
      GiveKeyboard(*panel);
      if (!name.empty()) {
        RunTool({"type", "--delay", "20", name});
        const auto* field = panel->findChild<QLineEdit*>("fileNameEdit");
        ASSERT_NE(field, nullptr);
        EXPECT_TRUE(WaitUntil([&] { return field->text().toStdString() == name; })) << field->text().toStdString();
      }
      EXPECT_TRUE(WaitUntil([&] {
        if (panel == nullptr || !panel->isVisible()) return true;
        RunTool({"key", key});
        return false;
      }));
    });
  }
  kiv::test::TemporaryFolder folder_;
  kiv::test::Desktop desktop_;
  kiv::QtFilePanels panels_{false};
};

TEST_F(PanelsOnTheDesktop, AFileIsChosenByTypingItsName) {
  Answer("prompt.wav", "Return");
  EXPECT_EQ(panels_.ChooseFile(nullptr, "Load Recording", folder_.Path()), folder_.File("prompt.wav"));
}

TEST_F(PanelsOnTheDesktop, EscapeChoosesNoFolder) {
  Answer("", "Escape");
  EXPECT_EQ(panels_.ChooseFolder(nullptr, "Locate folder to copy files to", folder_.Path()), std::nullopt);
}

// --- The tray

TEST(TrayOnTheDesktop, ShowsTheIconWithItsBadge) {
  kiv::test::Desktop desktop;
  ChildProgram trayer;
  ASSERT_TRUE(trayer.Start({"trayer", "--edge", "bottom", "--width", "20", "--height", "32"}));
  ASSERT_TRUE(WaitUntil([] { return QSystemTrayIcon::isSystemTrayAvailable(); }));
  {
    kiv::QtApplicationBadge badge(kiv::ResourceByName("icons", "com.oskmera.Kiv"));
    EXPECT_TRUE(badge.InTray());
    // The badge's red, where the tray's window is: seen on the screen itself.
    const auto redPixels = [] {
      const QImage screen = QApplication::primaryScreen()->grabWindow(0).toImage();
      int red = 0;
      for (int y = screen.height() - 40; y < screen.height(); ++y) {
        for (int x = 0; x < screen.width(); ++x) {
          const QColor colour = screen.pixelColor(x, y);
          red += colour.red() > 190 && colour.green() < 80 && colour.blue() < 80;
        }
      }
      return red;
    };
    EXPECT_TRUE(WaitUntil([&] { return redPixels() == 0; }));
    badge.Overlay(kiv::ResourceByName("icons", "iconrec"));
    EXPECT_TRUE(WaitUntil([&] { return redPixels() > 10; })) << redPixels();
    badge.Restore();
    EXPECT_TRUE(WaitUntil([&] { return redPixels() == 0; })) << redPixels();
  }
  trayer.AskToEnd();
  EXPECT_TRUE(trayer.WaitForEnd());
}

}  // namespace
