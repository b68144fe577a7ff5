#include "ui/message_box.h"

#include <QApplication>
#include <QIcon>
#include <QMessageBox>
#include <QPushButton>

#include "ui/application_loop.h"
#include "ui/resources.h"
#include "ui/toolkit_window.h"

namespace {

QMessageBox::Icon IconOf(short alertType) {
  switch (alertType) {
    case kAlertStopAlert:
      return QMessageBox::Critical;
    case kAlertNoteAlert:
      return QMessageBox::Information;
    case kAlertCautionAlert:
      return QMessageBox::Warning;
    default:
      return QMessageBox::NoIcon;
  }
}

}  // namespace

void LMacMessageBox(const char* message, const char* explanation, short alertType) {
  if (kiv::IsQuitting()) return;
  const kiv::EventSources sources;
  QMessageBox box(kiv::FrontWindow());
  box.setWindowTitle(QApplication::applicationDisplayName());
  box.setTextFormat(Qt::PlainText);
  box.setIcon(IconOf(alertType));
  box.setText(kiv::TextOf(message));
  box.setInformativeText(kiv::TextOf(explanation));
  kiv::KeepThemeIconOnly(*box.addButton(QMessageBox::Ok));
  box.setWindowModality(Qt::ApplicationModal);
  box.exec();
}

namespace kiv {

void ShowAboutBox() {
  if (IsQuitting()) return;
  const EventSources sources;
  QMessageBox box(FrontWindow());
  box.setWindowTitle("About Kiv Recorder");
  box.setTextFormat(Qt::PlainText);
  box.setIconPixmap(QIcon(QString::fromStdString(ResourceByName("icons", "com.oskmera.Kiv")))
                        .pixmap(QSize(64, 64), box.devicePixelRatio()));
  box.setText("Kiv Recorder " KIV_VERSION);
  box.setInformativeText(
      "Records telephone calls from the computer's sound input.\n\n"
      "Everyone on the line should know that a call is being recorded.");
  KeepThemeIconOnly(*box.addButton(QMessageBox::Ok));
  box.setWindowModality(Qt::ApplicationModal);
  box.exec();
}

}  // namespace kiv
