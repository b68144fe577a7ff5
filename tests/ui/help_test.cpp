#include "ui/help.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QKeyEvent>
#include <QPushButton>
#include <QTextBrowser>
#include <QTextCursor>

#include "tests/ui/ui_environment.h"
#include "ui/dialog.h"

namespace {

using kiv::test::Desktop;
using testing::ElementsAre;

std::vector<QWidget*> HelpWindows() {
  std::vector<QWidget*> windows;
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (widget->windowTitle() == "Kiv Recorder Help" && widget->isVisible()) windows.push_back(widget);
  }
  return windows;
}

class Help : public testing::Test {
 protected:
  ~Help() override { kiv::CloseHelp(); }
  static QTextBrowser* Browser() { return HelpWindows().at(0)->findChild<QTextBrowser*>(); }
  // The file's name.
  static std::string Page() { return Browser()->source().fileName().toStdString(); }
  static QPushButton* Button(const QString& text) {
    for (auto* button : HelpWindows().at(0)->findChildren<QPushButton*>()) {
      if (button->text().remove('&') == text) return button;
    }
    return nullptr;
  }
  // A click on the link to that address, by the keyboard's way: the next link, until it is the one, and Return.
  static void Follow(const QString& address) {
    Browser()->moveCursor(QTextCursor::Start);
    for (int i = 0; i < 100; ++i) {
      Key(Qt::Key_Tab);
      if (Browser()->textCursor().charFormat().anchorHref() == address) return Key(Qt::Key_Return);
    }
    FAIL() << "no link to " << address.toStdString();
  }

  Desktop desktop_;

 private:
  static void Key(Qt::Key key) {
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
    QApplication::sendEvent(Browser(), &press);
  }
};

TEST_F(Help, PagesByNumberInOneWindow) {
  LDialog().DisplayHelpPage(1);
  ASSERT_EQ(HelpWindows().size(), 1U);
  EXPECT_EQ(Page(), "1.html");
  LDialog().DisplayHelpPage(2);
  ASSERT_EQ(HelpWindows().size(), 1U);
  EXPECT_EQ(Page(), "2.html");
  kiv::CloseHelp();
  EXPECT_TRUE(HelpWindows().empty());
}

TEST_F(Help, APageThatIsNotThereIsTheStartPage) {
  LDialog().DisplayHelpPage(4711);
  ASSERT_EQ(HelpWindows().size(), 1U);
  EXPECT_EQ(Page(), "0.html");
  LDialog().DisplayHelpPage(-1);
  EXPECT_EQ(Page(), "0.html");
}

TEST_F(Help, LinksBackAndContentsLeadFromPageToPage) {
  kiv::ShowHelpStart();
  ASSERT_NE(Button("Back"), nullptr);
  ASSERT_NE(Button("Contents"), nullptr);
  EXPECT_FALSE(Button("Back")->isEnabled());
  Follow("3.html");
  EXPECT_EQ(Page(), "3.html");
  EXPECT_TRUE(Button("Back")->isEnabled());
  Follow("5.html");
  EXPECT_EQ(Page(), "5.html");
  Button("Back")->click();
  EXPECT_EQ(Page(), "3.html");
  Button("Contents")->click();
  EXPECT_EQ(Page(), "0.html");
  EXPECT_TRUE(desktop_.opener.opened.empty());
}

TEST_F(Help, LinksIntoTheWebOpenInTheBrowser) {
  kiv::ShowHelpStart();
  Browser()->setHtml("<a href=\"https://oskmera.example/a%20b\">out</a>");
  Follow("https://oskmera.example/a%20b");
  EXPECT_THAT(desktop_.opener.opened, ElementsAre("page https://oskmera.example/a%20b"));
}

TEST_F(Help, WithoutPagesThereIsNoWindow) {
  desktop_.folders.resources.reset();
  kiv::ShowHelpStart();
  EXPECT_TRUE(HelpWindows().empty());
}

}  // namespace
