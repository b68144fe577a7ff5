#include "ui/message_box.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QIcon>
#include <QMessageBox>
#include <QPixmap>

#include "tests/ui/ui_environment.h"
#include "ui/resources.h"

namespace {

using kiv::test::Desktop;
using kiv::test::WhenLoopRuns;

// Looks at the box that opens next, then dismisses it.
void LookAtBox(std::function<void(QMessageBox&)> look) {
  WhenLoopRuns([look = std::move(look)] {
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    ASSERT_NE(box, nullptr);
    look(*box);
    box->accept();
  });
}

TEST(MessageBox, ShowsBothTextsAndReturnsWhenDismissed) {
  Desktop desktop;
  bool seen = false;
  LookAtBox([&seen](const QMessageBox& box) {
    EXPECT_EQ(box.text(), "Error");
    EXPECT_EQ(box.informativeText(), "An <i>explanation</i>");
    EXPECT_EQ(box.textFormat(), Qt::PlainText);
    seen = true;
  });
  LMacMessageBox("Error", "An <i>explanation</i>", kAlertStopAlert);
  EXPECT_TRUE(seen);
}

TEST(MessageBox, EachKindHasItsDrawingAndThePlainOneNone) {
  Desktop desktop;
  const std::pair<AlertType, const char*> kinds[] = {{kAlertStopAlert, "alert-stop"},
                                                     {kAlertNoteAlert, "alert-note"},
                                                     {kAlertCautionAlert, "alert-caution"},
                                                     {kAlertPlainAlert, ""}};
  for (const auto& [kind, name] : kinds) {
    QImage shown;
    LookAtBox([&shown](const QMessageBox& box) { shown = box.iconPixmap().toImage(); });
    LMacMessageBox("Message", "", kind);
    const std::string path = kiv::ResourceByName("icons", name);
    EXPECT_EQ(path.empty(), kind == kAlertPlainAlert) << name;
    const QImage drawing = path.empty() ? QImage() : QIcon(path.c_str()).pixmap(shown.size()).toImage();
    EXPECT_EQ(shown, drawing) << name;
  }
}

}  // namespace
