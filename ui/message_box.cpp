#include "ui/message_box.h"

#include <QApplication>
#include <QIcon>
#include <QMessageBox>
#include <QPushButton>
#include <QStyle>

#include "ui/application_loop.h"
#include "ui/resources.h"
#include "ui/toolkit_window.h"

namespace {

constexpr int kAboutIconSize = 64;

// Our own drawings: the toolkit's are pictures that blur at 200 %.
const char* DrawingOf(short alertType) {
  switch (alertType) {
    case kAlertStopAlert:
      return "alert-stop";
    case kAlertNoteAlert:
      return "alert-note";
    case kAlertCautionAlert:
      return "alert-caution";
    default:
      return "";
  }
}

// Until the user has dismissed it.
void Run(QMessageBox& box, const char* drawing, int drawingSize) {
  const kiv::EventSources sources;
  const std::string picture = kiv::ResourceByName("icons", drawing);
  if (!picture.empty()) {
    const QIcon icon(QString::fromStdString(picture));
    box.setIconPixmap(icon.pixmap(QSize(drawingSize, drawingSize), box.devicePixelRatio()));
  }
  kiv::KeepThemeIconOnly(*box.addButton(QMessageBox::Ok));
  box.setWindowModality(Qt::ApplicationModal);
  box.exec();
}

}  // namespace

void LMacMessageBox(const char* message, const char* explanation, short alertType) {
  if (kiv::IsQuitting()) return;
  QMessageBox box(kiv::FrontWindow());
  box.setWindowTitle(QApplication::applicationDisplayName());
  box.setTextFormat(Qt::PlainText);
  box.setText(kiv::TextOf(message));
  box.setInformativeText(kiv::TextOf(explanation));
  Run(box, DrawingOf(alertType), box.style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, &box));
}

namespace kiv {

void ShowAboutBox() {
  if (IsQuitting()) return;
  QMessageBox box(FrontWindow());
  box.setWindowTitle("About Kiv Recorder");
  box.setTextFormat(Qt::PlainText);
  box.setText("Kiv Recorder " KIV_VERSION);
  box.setInformativeText(
      "Records telephone calls from the computer's sound input.\n\n"
      "Everyone on the line should know that a call is being recorded.");
  Run(box, "com.oskmera.Kiv", kAboutIconSize);
}

}  // namespace kiv
