// Shows every window and control of the program in each of its states, on an account of its own and a simulated line:
// nothing of it stays.
//
//   kiv-gallery [--dark] [--mirrored] [--large]        the program; its commands lead to the other windows
//   kiv-gallery ... --screenshot FOLDER SUFFIX         pictures of everything, then the end

#include <QApplication>
#include <QFont>
#include <QPalette>
#include <QStyleFactory>

#include "platform/qt/application_badge.h"
#include "platform/qt/file_panels.h"
#include "platform/qt/opener.h"
#include "platform/services.h"
#include "platform/x11/x11_hot_keys.h"
#include "tests/tools/kiv-gallery/gallery_account.h"
#include "tests/tools/kiv-gallery/screenshots.h"
#include "ui/level_display.h"
#include "ui/main_dialog.h"
#include "ui/resources.h"

namespace {

QPalette DarkPalette() {
  QPalette palette(QColor(48, 50, 54), QColor(37, 39, 42));
  palette.setColor(QPalette::WindowText, QColor(232, 232, 232));
  palette.setColor(QPalette::Text, QColor(232, 232, 232));
  palette.setColor(QPalette::ButtonText, QColor(232, 232, 232));
  palette.setColor(QPalette::Base, QColor(28, 30, 32));
  palette.setColor(QPalette::AlternateBase, QColor(44, 46, 50));
  palette.setColor(QPalette::ToolTipBase, QColor(60, 62, 66));
  palette.setColor(QPalette::ToolTipText, QColor(232, 232, 232));
  palette.setColor(QPalette::Highlight, QColor(59, 120, 181));
  palette.setColor(QPalette::HighlightedText, Qt::white);
  palette.setColor(QPalette::Link, QColor(120, 180, 240));
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    palette.setColor(QPalette::Disabled, role, QColor(138, 138, 138));
  }
  return palette;
}

}  // namespace

int main(int argc, char** argv) {
  QApplication::setApplicationDisplayName("Kiv Recorder");
  QApplication::setDesktopFileName("com.oskmera.Kiv");
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);

  const QStringList arguments = QApplication::arguments();
  if (arguments.contains("--dark")) {
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    QApplication::setPalette(DarkPalette());
  }
  if (arguments.contains("--mirrored")) QApplication::setLayoutDirection(Qt::RightToLeft);
  if (arguments.contains("--large")) {
    QFont font = QApplication::font();
    font.setPointSizeF(font.pointSizeF() * 1.6);
    QApplication::setFont(font);
  }

  const auto screenshot = arguments.indexOf("--screenshot");
  kiv::GalleryAccount account(screenshot >= 0);
  kiv::QtFilePanels panels;
  kiv::services.filePanels = &panels;
  kiv::QtOpener opener;
  kiv::services.opener = &opener;
  kiv::X11HotKeys hotKeys;
  kiv::services.hotKeys = &hotKeys;
  kiv::QtApplicationBadge badge(kiv::ResourceByName("icons", "com.oskmera.Kiv"));
  kiv::services.badge = &badge;
  LDBDisplay::GlobalInit();

  if (screenshot >= 0) {
    if (screenshot + 2 >= arguments.size()) return 2;
    return kiv::TakeScreenshots(account.Line(), arguments[screenshot + 1], arguments[screenshot + 2]) ? 0 : 1;
  }
  MainDialog().Run();
  return 0;
}
