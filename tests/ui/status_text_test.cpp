#include "ui/status_text.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTest>

#include "tests/ui/ui_environment.h"
#include "ui/controls.h"
#include "ui/toolkit_window.h"
#include "ui/window.h"

namespace {

class StatusTextTest : public testing::Test {
 protected:
  StatusTextTest() : window_(kiv::CreateWindowFromInterface("MainWindow")) {
    control_ = kiv::GetControlByID(window_, 108);
    edit_ = qobject_cast<QPlainTextEdit*>(kiv::WidgetOf(control_));
    kiv::ShowWindow(window_);
  }
  ~StatusTextTest() override { kiv::DisposeWindow(window_); }
  bool LastLineInView() {
    QApplication::processEvents();
    QTextCursor end(edit_->document());
    end.movePosition(QTextCursor::End);
    return edit_->viewport()->rect().contains(edit_->cursorRect(end).center());
  }
  kiv::test::Desktop desktop_;
  WindowRef window_;
  ControlRef control_;
  QPlainTextEdit* edit_ = nullptr;
};

TEST_F(StatusTextTest, CarriageReturnsShowAsLineBreaks) {
  kiv::StatusTextControl(control_).ShowStatus("one\rtwo\r");
  EXPECT_EQ(edit_->toPlainText(), "one\ntwo");
}

TEST_F(StatusTextTest, TextCanBeSelectedButNotChanged) {
  EXPECT_TRUE(edit_->isReadOnly());
  EXPECT_TRUE(edit_->textInteractionFlags().testFlag(Qt::TextSelectableByMouse));
  EXPECT_TRUE(edit_->textInteractionFlags().testFlag(Qt::TextSelectableByKeyboard));
}

TEST_F(StatusTextTest, TextIsCopiedByKeys) {
  kiv::StatusTextControl(control_).ShowStatus("one\rtwo\r");
  QTest::keyClick(edit_, Qt::Key_A, Qt::ControlModifier);
  QTest::keyClick(edit_, Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(QApplication::clipboard()->text(), "one\ntwo");
  QTest::keyClick(edit_, Qt::Key_X, Qt::ControlModifier);
  EXPECT_EQ(edit_->toPlainText(), "one\ntwo");
}

TEST_F(StatusTextTest, NewestLineIsAlwaysInView) {
  kiv::StatusTextControl text(control_);
  std::string log;
  for (int i = 0; i < 60; ++i) {
    log += "09:05:" + std::to_string(i) + " A line of the log that tells what has happened\r";
    text.ShowStatus(log);
    ASSERT_TRUE(LastLineInView()) << i;
  }
  EXPECT_EQ(edit_->textCursor().position(), static_cast<int>(edit_->toPlainText().size()));
  kiv::WidgetOf(window_)->resize(500, 420);
  EXPECT_TRUE(LastLineInView());
  kiv::WidgetOf(window_)->resize(300, 320);
  EXPECT_TRUE(LastLineInView());
}

TEST_F(StatusTextTest, ACharacterCutAtEitherEndIsLeftOut) {
  kiv::StatusTextControl(control_).ShowStatus("\xA4m\xC3\xA4h\r\xC3");
  EXPECT_EQ(edit_->toPlainText(), QString::fromUtf8("m\xC3\xA4h\n"));
}

TEST_F(StatusTextTest, AnyBytesAreShownSomehow) {
  std::string bytes;
  for (int i = 1; i < 256; ++i) bytes.push_back(static_cast<char>(i));
  kiv::StatusTextControl(control_).ShowStatus(bytes);
  EXPECT_FALSE(edit_->toPlainText().isEmpty());
  kiv::StatusTextControl(nullptr).ShowStatus("x");
}

TEST_F(StatusTextTest, ALineOfTheLogArrivesInTheControl) {
  LStatusWindow log;
  kiv::StatusTextControl text(control_);
  log.SetControl(&text);
  log.DisplayStatus("09:05:03 Recording started\r");
  EXPECT_EQ(edit_->toPlainText(), "09:05:03 Recording started");
  log.SetControl(nullptr);
}

}  // namespace
