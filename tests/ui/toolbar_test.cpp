#include "ui/toolbar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QToolBar>
#include <QToolButton>
#include <memory>

#include "tests/ui/ui_environment.h"
#include "ui/toolkit_window.h"

namespace {

using testing::ElementsAre;

const LToolBarItem kTable[] = {
    {101, 0, "kivoff", "com.Oskmera.Kiv.Record", "Record", "Start or Stop Recording", 1},
    {102, 0, "kivoff", "com.Oskmera.Kiv.Hold Call", "Hold Call", "Hold or Resume Call", 1},
    {0, 0, nullptr, nullptr, "", "", 1},
    {1001, 0, "find", "com.Oskmera.Kiv.Find & Play", "Find & Play", "Find and Play Recordings", 1},
    {kiv::FourCC("pref"), kiv::FourCC("tcus"), "", "com.Oskmera.Kiv.Preferences", "Preferences",
     "Kiv Recorder  Preferences", 1},
    {5, 0, "find", "com.Oskmera.Kiv.Extra", "Extra", "Not in the default set", 0},
};

class ToolBarTest : public testing::Test {
 protected:
  ToolBarTest()
      : controller_(kTable, std::size(kTable)), bar_("com.Oskmera.Kiv", LToolBar::_toolbarEventHandler, &controller_) {
    controller_.toolbar = &bar_;
  }
  LToolBar controller_;
  kiv::ToolBar bar_;
};

TEST_F(ToolBarTest, DefaultSetHasASpaceForTheRowWithoutIdentifier) {
  EXPECT_THAT(bar_.DefaultIdentifiers(),
              ElementsAre("com.Oskmera.Kiv.Record", "com.Oskmera.Kiv.Hold Call", "com.apple.hitoolbox.toolbar.space",
                          "com.Oskmera.Kiv.Find & Play", "com.Oskmera.Kiv.Preferences"));
}

TEST_F(ToolBarTest, AllowedSetIsEveryNamedRowThenTheStandardItems) {
  EXPECT_THAT(
      bar_.AllowedIdentifiers(),
      ElementsAre("com.Oskmera.Kiv.Record", "com.Oskmera.Kiv.Hold Call", "com.Oskmera.Kiv.Find & Play",
                  "com.Oskmera.Kiv.Preferences", "com.Oskmera.Kiv.Extra", "com.apple.hitoolbox.toolbar.separator",
                  "com.apple.hitoolbox.toolbar.space", "com.apple.hitoolbox.toolbar.flexiblespace"));
}

TEST_F(ToolBarTest, ItemCarriesItsRow) {
  kiv::ToolBarItem item;
  ASSERT_TRUE(bar_.CreateItem("com.Oskmera.Kiv.Find & Play", item));
  EXPECT_EQ(item.command, 1001U);
  EXPECT_EQ(item.iconName, "find");
  EXPECT_EQ(item.label, "Find & Play");
  EXPECT_EQ(item.helpText, "Find and Play Recordings");
  ASSERT_TRUE(bar_.CreateItem("com.Oskmera.Kiv.Preferences", item));
  EXPECT_EQ(item.iconName, "preferences");
  EXPECT_EQ(item.helpText, "Kiv Recorder  Preferences");
}

TEST_F(ToolBarTest, UnknownIdentifierSucceedsWithNoItem) {
  const std::string unknown = "com.Oskmera.Kiv.record";
  kiv::ToolBarItem item;
  kiv::Event event(kEventClassToolbar, kEventToolbarCreateItemWithIdentifier);
  kiv::SetPointer(event, kiv::kEventParamToolbarItemIdentifier, &unknown);
  kiv::SetPointer(event, kiv::kEventParamToolbarItem, &item);
  EXPECT_EQ(LToolBar::_toolbarEventHandler(event, &controller_), noErr);
  EXPECT_TRUE(item.identifier.empty());
  EXPECT_FALSE(bar_.CreateItem(unknown, item));
}

TEST_F(ToolBarTest, OtherEventsAreNotHandled) {
  EXPECT_EQ(LToolBar::_toolbarEventHandler({kEventClassToolbar, 4}, &controller_), eventNotHandledErr);
  EXPECT_EQ(LToolBar::_toolbarEventHandler({kEventClassWindow, 1}, &controller_), eventNotHandledErr);
}

TEST_F(ToolBarTest, TextAndIconChangeByCommand) {
  bar_.Build();
  controller_.SetToolBarItemText(101, "Recording");
  controller_.SetToolBarItemIcon(101, "kivon");
  controller_.SetToolBarItemText(102, " On Hold ");
  EXPECT_EQ(bar_.Items()[0].label, "Recording");
  EXPECT_EQ(bar_.Items()[0].iconName, "kivon");
  EXPECT_EQ(bar_.Items()[1].label, " On Hold ");
  EXPECT_EQ(bar_.Items()[1].iconName, "kivoff");
}

TEST_F(ToolBarTest, UnknownCommandChangesNothing) {
  bar_.Build();
  int changes = 0;
  bar_.SetObserver([&changes](std::size_t) { ++changes; });
  controller_.SetToolBarItemText(5, "x");
  controller_.SetToolBarItemIcon(99, "find");
  EXPECT_EQ(changes, 0);
}

TEST_F(ToolBarTest, SettersWithoutABarDoNothing) {
  LToolBar lonely(kTable, std::size(kTable));
  lonely.SetToolBarItemText(101, "x");
  lonely.SetToolBarItemIcon(101, "find");
}

class ToolBarViewTest : public ToolBarTest {
 protected:
  ToolBarViewTest() : window_(kiv::CreateWindowFromInterface("MainWindow")) {
    kiv::SetMenuBarFromInterface(window_, "MenuBar");
    bar_.Build();
    kiv::AttachToolBar(window_, bar_);
    kiv::ShowWindow(window_);
  }
  ~ToolBarViewTest() override { kiv::DisposeWindow(window_); }
  QToolButton* Button(const QString& name) {
    for (auto* button : kiv::WidgetOf(window_)->findChildren<QToolButton*>()) {
      if (button->accessibleName() == name) return button;
    }
    return nullptr;
  }
  kiv::test::Desktop desktop_;
  WindowRef window_;
};

TEST_F(ToolBarViewTest, AmpersandOfALabelIsShown) {
  QToolButton* button = Button("Find & Play");
  ASSERT_NE(button, nullptr);
  EXPECT_NE(button->text().indexOf("&&"), -1);
  EXPECT_EQ(button->toolTip(), "Find and Play Recordings");
}

TEST_F(ToolBarViewTest, ClickSendsTheCommandToTheWindow) {
  std::vector<std::uint32_t> commands;
  kiv::InstallWindowHandler(window_,
                            [](const kiv::Event& event, void* data) {
                              static_cast<std::vector<std::uint32_t>*>(data)->push_back(kiv::CommandOf(event));
                              return noErr;
                            },
                            &commands, {{kEventClassCommand, kEventCommandProcess}});
  Button("Record")->click();
  Button("Preferences")->click();
  EXPECT_THAT(commands, ElementsAre(101, kiv::FourCC("pref")));
}

TEST_F(ToolBarViewTest, NothingMovesWhenALabelChanges) {
  std::vector<QRect> before;
  for (const char* name : {"Record", "Hold Call", "Find & Play", "Preferences"}) {
    ASSERT_NE(Button(name), nullptr) << name;
    before.push_back(Button(name)->geometry());
  }
  controller_.SetToolBarItemText(101, "Recording");
  controller_.SetToolBarItemIcon(101, "kivon");
  controller_.SetToolBarItemText(102, " On Hold ");
  QApplication::processEvents();
  std::vector<QRect> after;
  for (const char* name : {"Recording", "On Hold", "Find & Play", "Preferences"}) {
    ASSERT_NE(Button(name), nullptr) << name;
    after.push_back(Button(name)->geometry());
  }
  EXPECT_EQ(before, after);
}

TEST_F(ToolBarViewTest, RowWithoutIdentifierIsABlankSpace) {
  const auto gap = [this](const char* left, const char* right) {
    return Button(right)->geometry().left() - Button(left)->geometry().right();
  };
  EXPECT_GE(gap("Hold Call", "Find & Play"), gap("Record", "Hold Call") + 32);
}

TEST_F(ToolBarViewTest, EveryButtonHasItsOwnMnemonicBesideTheMenus) {
  std::set<QChar> letters = {'c', 't', 'h'};  // The menus' own.
  int buttons = 0;
  for (const char* name : {"Record", "Hold Call", "Find & Play", "Preferences"}) {
    const QString text = Button(name)->text();
    for (qsizetype i = 0; i + 1 < text.size(); ++i) {
      if (text[i] != '&') continue;
      if (text[i + 1] == '&') {
        ++i;
        continue;
      }
      EXPECT_TRUE(letters.insert(text[i + 1].toLower()).second) << name;
      ++buttons;
    }
  }
  EXPECT_EQ(buttons, 4);
}

TEST_F(ToolBarViewTest, EveryIconIsFound) {
  for (const char* name : {"Record", "Hold Call", "Find & Play", "Preferences"}) {
    EXPECT_FALSE(Button(name)->icon().pixmap(32, 32).isNull()) << name;
  }
}

// The toolkit keeps the pictures of every icon that it has drawn.
TEST_F(ToolBarViewTest, IconThatComesBackIsTheSameObject) {
  const qint64 first = Button("Record")->icon().cacheKey();
  controller_.SetToolBarItemIcon(101, "kivon");
  EXPECT_NE(Button("Record")->icon().cacheKey(), first);
  controller_.SetToolBarItemIcon(101, "kivoff");
  EXPECT_EQ(Button("Record")->icon().cacheKey(), first);
}

TEST_F(ToolBarViewTest, BarThatOutlivesItsWindowIsSafe) {
  kiv::DisposeWindow(window_);
  window_ = nullptr;
  controller_.SetToolBarItemText(101, "Recording");
  EXPECT_EQ(bar_.Items()[0].label, "Recording");
}

}  // namespace
