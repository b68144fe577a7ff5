#include "ui/hot_key_handler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "recorder/status_window.h"
#include "tests/ui/ui_environment.h"
#include "ui/key_codes.h"

namespace {

using kiv::kVirtualKeyF5;
using kiv::kVirtualKeyF7;
using kiv::kVirtualKeyF8;
using kiv::test::Desktop;
using testing::ElementsAre;

class Handler : public LHotKeyHandler {
 public:
  std::vector<std::string> calls;
  void EvHotKey(std::uint32_t id) override { calls.push_back("press " + std::to_string(id)); }
  void EvHotKeyReleased(std::uint32_t id) override { calls.push_back("release " + std::to_string(id)); }
};

kiv::Event KeyEvent(std::uint32_t eventClass, std::uint32_t kind, std::uint32_t id) {
  kiv::Event event(eventClass, kind);
  event.Set(kEventParamDirectObject, typeEventHotKeyID, EventHotKeyID{kiv::FourCC("nKIV"), id});
  return event;
}

std::size_t Warnings(const std::string& line) {
  const std::string log = gStatusWindow.Text();
  std::size_t count = 0;
  for (std::size_t at = log.find(line); at != std::string::npos; at = log.find(line, at + 1)) ++count;
  return count;
}

TEST(HotKeyHandler, PressAndReleaseCarryTheNumber) {
  Desktop desktop;
  Handler handler;
  handler.RegisterHotKey(kVirtualKeyF5, 0);
  handler.RegisterHotKey(kVirtualKeyF8, 2);
  desktop.hotKeys.Press(kVirtualKeyF5);
  desktop.hotKeys.Release(kVirtualKeyF5);
  desktop.hotKeys.Press(kVirtualKeyF7);
  desktop.hotKeys.Press(kVirtualKeyF8);
  EXPECT_THAT(handler.calls, ElementsAre("press 0", "release 0", "press 2"));
}

TEST(HotKeyHandler, EventsOfOtherKindsDoNothingAndAreEnded) {
  Desktop desktop;
  Handler handler;
  EXPECT_EQ(LHotKeyHandler::_LHKEventHandler(KeyEvent(kEventClassKeyboard, 1, 0), &handler), noErr);
  EXPECT_EQ(LHotKeyHandler::_LHKEventHandler(KeyEvent(kEventClassWindow, kEventHotKeyPressed, 0), &handler), noErr);
  EXPECT_EQ(LHotKeyHandler::_LHKEventHandler({kEventClassKeyboard, kEventHotKeyPressed}, &handler), noErr);
  EXPECT_TRUE(handler.calls.empty());
  EXPECT_EQ(LHotKeyHandler::_LHKEventHandler(KeyEvent(kEventClassKeyboard, kEventHotKeyPressed, 1), &handler), noErr);
  EXPECT_EQ(LHotKeyHandler::_LHKEventHandler(KeyEvent(kEventClassKeyboard, kEventHotKeyReleased, 1), &handler), noErr);
  EXPECT_THAT(handler.calls, ElementsAre("press 1", "release 1"));
}

TEST(HotKeyHandler, RegisteringANumberAgainReplacesItsKey) {
  Desktop desktop;
  Handler handler;
  handler.RegisterHotKey(kVirtualKeyF5, 0);
  handler.RegisterHotKey(kVirtualKeyF7, 0);
  EXPECT_EQ(desktop.hotKeys.Registered(), 1U);
  desktop.hotKeys.Press(kVirtualKeyF5);
  desktop.hotKeys.Press(kVirtualKeyF7);
  EXPECT_THAT(handler.calls, ElementsAre("press 0"));
}

TEST(HotKeyHandler, UnregisteredKeysDoNothing) {
  Desktop desktop;
  Handler handler;
  handler.RegisterHotKey(kVirtualKeyF5, 0);
  handler.UnregisterHotKey(0);
  handler.UnregisterHotKey(0);
  handler.UnregisterHotKey(31);
  handler.UnregisterHotKey(32);
  EXPECT_FALSE(handler.IsHotKeyRegistered(0));
  EXPECT_EQ(desktop.hotKeys.Registered(), 0U);
}

TEST(HotKeyHandler, NumbersGoUpTo31) {
  Desktop desktop;
  Handler handler;
  handler.RegisterHotKey(kVirtualKeyF5, 31);
  handler.RegisterHotKey(kVirtualKeyF7, 32);
  EXPECT_TRUE(handler.IsHotKeyRegistered(31));
  EXPECT_FALSE(handler.IsHotKeyRegistered(32));
  EXPECT_EQ(desktop.hotKeys.Registered(), 1U);
}

TEST(HotKeyHandler, GivesItsKeysBackWhenItGoes) {
  Desktop desktop;
  {
    Handler handler;
    handler.RegisterHotKey(kVirtualKeyF5, 0);
    handler.RegisterHotKey(kVirtualKeyF7, 1);
  }
  EXPECT_EQ(desktop.hotKeys.Registered(), 0U);
}

TEST(HotKeyHandler, ATakenKeyIsLoggedOnceAndAskedForAgain) {
  Desktop desktop;
  desktop.hotKeys.Take(kVirtualKeyF5);
  Handler handler;
  const std::string line = "Warning: Hot key unavailable: F5";
  const std::size_t before = Warnings(line);
  handler.RegisterHotKey(kVirtualKeyF5, 0);
  handler.RegisterHotKey(kVirtualKeyF7, 1);
  EXPECT_EQ(Warnings(line), before + 1);
  EXPECT_EQ(Warnings("unavailable: F7"), 0U);
  EXPECT_TRUE(handler.IsHotKeyRegistered(0));
  handler.RetryHotKeys();
  EXPECT_EQ(Warnings(line), before + 1);
  desktop.hotKeys.Press(kVirtualKeyF5);
  EXPECT_TRUE(handler.calls.empty());
  desktop.hotKeys.Free(kVirtualKeyF5);
  handler.RetryHotKeys();
  desktop.hotKeys.Press(kVirtualKeyF5);
  EXPECT_THAT(handler.calls, ElementsAre("press 0"));
}

TEST(HotKeyHandler, WithoutGlobalKeysNothingIsRegistered) {
  Desktop desktop;
  desktop.hotKeys.available = false;
  {
    Handler handler;
    handler.RegisterHotKey(kVirtualKeyF5, 0);
    EXPECT_FALSE(handler.IsHotKeyRegistered(0));
  }
  kiv::services.hotKeys = nullptr;
  Handler handler;
  handler.RegisterHotKey(kVirtualKeyF5, 0);
  EXPECT_FALSE(handler.IsHotKeyRegistered(0));
  handler.UnregisterHotKey(0);
}

}  // namespace
