// What assistive programs are told: every control that can be used has a name.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAccessible>
#include <QWidget>

#include "tests/ui/ui_environment.h"
#include "ui/controls.h"
#include "ui/toolbar.h"
#include "ui/toolkit_window.h"
#include "ui/window.h"

namespace {

const LToolBarItem kItems[] = {{101, 0, "kivoff", "a", "Record", "Start or Stop Recording", 1},
                               {0, 0, nullptr, nullptr, "", "", 1},
                               {1001, 0, "find", "b", "Find & Play", "Find and Play Recordings", 1}};

// Roles that only hold others, or that a program reads by what they hold.
bool NeedsAName(const QAccessibleInterface& item) {
  switch (item.role()) {
    case QAccessible::PushButton:
    case QAccessible::ButtonMenu:
    case QAccessible::CheckBox:
    case QAccessible::EditableText:
    case QAccessible::Slider:
    case QAccessible::ProgressBar:
    case QAccessible::PageTab:
    case QAccessible::PageTabList:
    case QAccessible::MenuItem:
    case QAccessible::Indicator:
    case QAccessible::ToolBar:
      return true;
    default:
      return item.object() != nullptr && item.object()->property("controlId").isValid() &&
             item.role() != QAccessible::StaticText && item.role() != QAccessible::Client;
  }
}

struct Walk {
  int named = 0;
  std::vector<std::string> nameless;

  void Visit(QAccessibleInterface* item) {
    if (item == nullptr || !item->isValid() || item->state().invisible) return;
    if (NeedsAName(*item)) {
      if (item->text(QAccessible::Name).trimmed().isEmpty()) {
        QObject* object = item->object();
        nameless.push_back(object == nullptr
                               ? "role " + std::to_string(item->role())
                               : object->objectName().toStdString() + " (" + object->metaObject()->className() + ")");
      } else {
        ++named;
      }
    }
    for (int i = 0; i < item->childCount(); ++i) Visit(item->child(i));
  }
};

Walk WalkOver(WindowRef window) {
  Walk walk;
  walk.Visit(QAccessible::queryAccessibleInterface(kiv::WidgetOf(window)));
  return walk;
}

TEST(Accessibility, MainWindowHasNoNamelessControl) {
  kiv::test::Desktop desktop;
  const WindowRef window = kiv::CreateWindowFromInterface("MainWindow");
  ASSERT_TRUE(kiv::SetMenuBarFromInterface(window, "MenuBar"));
  LToolBar controller(kItems, std::size(kItems));
  kiv::ToolBar bar("bar", LToolBar::_toolbarEventHandler, &controller);
  bar.Build();
  kiv::AttachToolBar(window, bar);
  kiv::ShowWindow(window);
  const Walk walk = WalkOver(window);
  EXPECT_THAT(walk.nameless, testing::IsEmpty());
  EXPECT_GE(walk.named, 8);
  kiv::DisposeWindow(window);
}

class AccessibleDialogs : public testing::TestWithParam<const char*> {};

TEST_P(AccessibleDialogs, HaveNoNamelessControl) {
  kiv::test::Desktop desktop;
  const WindowRef window = kiv::CreateWindowFromInterface(GetParam());
  kiv::ShowWindow(window);
  int named = 0;
  // Every page in turn; windows without pages once.
  for (int page = 1; page <= 5; ++page) {
    kiv::SetControlValue(kiv::GetControlByID(window, 80), page);
    const Walk walk = WalkOver(window);
    EXPECT_THAT(walk.nameless, testing::IsEmpty()) << "page " << page;
    named += walk.named;
  }
  EXPECT_GE(named, 5 * 2);
  kiv::DisposeWindow(window);
}

INSTANTIATE_TEST_SUITE_P(Windows, AccessibleDialogs, testing::Values("LTextEditDlg", "LProgressDialog", "Preferences"));

TEST(Accessibility, AMissingNameIsFound) {
  kiv::test::Desktop desktop;
  const WindowRef window = kiv::CreateWindowFromInterface("LTextEditDlg");
  kiv::SetControlText(kiv::GetControlByID(window, 101), "");
  kiv::ShowWindow(window);
  EXPECT_EQ(WalkOver(window).nameless.size(), 1U);
  kiv::DisposeWindow(window);
}

// A name of their own would be read in place of what they show.
TEST(Accessibility, TimeInformationAndProgressAreReadAsTheyStand) {
  kiv::test::Desktop desktop;
  const struct {
    const char* window;
    int control;
    const char* description;
  } texts[] = {{"MainWindow", 107, "Elapsed time"},
               {"MainWindow", 109, "Information"},
               {"LProgressDialog", 101, "Status"},
               {"LProgressDialog", 102, "Details"}};
  for (const auto& text : texts) {
    const WindowRef window = kiv::CreateWindowFromInterface(text.window);
    const ControlRef control = kiv::GetControlByID(window, text.control);
    for (const char* shown : {"0:07:42", "No sound on the line"}) {
      kiv::SetControlText(control, shown);
      QAccessibleInterface* item = QAccessible::queryAccessibleInterface(kiv::WidgetOf(control));
      ASSERT_NE(item, nullptr);
      EXPECT_EQ(item->text(QAccessible::Name).toStdString(), shown) << text.description;
      EXPECT_EQ(item->text(QAccessible::Description).toStdString(), text.description);
    }
    kiv::DisposeWindow(window);
  }
}

// A window that asks for whatever its caller wants has no better name for the field than the question.
TEST(Accessibility, TextEntryHasItsQuestionAsName) {
  kiv::test::Desktop desktop;
  const WindowRef window = kiv::CreateWindowFromInterface("LTextEditDlg");
  kiv::SetControlText(kiv::GetControlByID(window, 101), "Who & why?");
  QAccessibleInterface* entry = QAccessible::queryAccessibleInterface(kiv::WidgetOf(kiv::GetControlByID(window, 100)));
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->text(QAccessible::Name).toStdString(), "Who & why?");
  kiv::DisposeWindow(window);
}

TEST(Accessibility, StateIsToldInWords) {
  kiv::test::Desktop desktop;
  const WindowRef window = kiv::CreateWindowFromInterface("MainWindow");
  const ControlRef state = kiv::GetControlByID(window, 110);
  for (const char* words : {"Idle", "Recording", "On hold"}) {
    QAccessibleInterface* item = QAccessible::queryAccessibleInterface(kiv::WidgetOf(state));
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->text(QAccessible::Name), words);
    kiv::SetControlValue(state, kiv::ControlValue(state) + 1);
  }
  kiv::DisposeWindow(window);
}

}  // namespace
