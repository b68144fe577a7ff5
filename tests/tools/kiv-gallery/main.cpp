// Shows every window and control of the program in each of its states, without recording anything.
//
//   kiv-gallery [--dark] [--mirrored] [--large]        the main window; its commands lead to the others
//   kiv-gallery ... --screenshot FOLDER SUFFIX         pictures of everything, then the end
//   kiv-gallery --first-paint STARTED_NS               ms from that moment to the first paint and resident KB

#include <QApplication>
#include <QPalette>
#include <QStyleFactory>
#include <memory>

#include "foundation/text.h"
#include "platform/folders.h"
#include "platform/qt/application_badge.h"
#include "platform/qt/file_panels.h"
#include "platform/qt/opener.h"
#include "platform/services.h"
#include "platform/x11/x11_hot_keys.h"
#include "recorder/settings.h"
#include "tests/tools/kiv-gallery/first_paint.h"
#include "tests/tools/kiv-gallery/gallery_frame.h"
#include "tests/tools/kiv-gallery/screenshots.h"
#include "ui/level_display.h"
#include "ui/resources.h"
#include "ui/window.h"

namespace {

class GalleryFolders : public kiv::Folders {
 public:
  std::optional<std::string> Home() override { return std::nullopt; }
  std::optional<std::string> Resources() override { return KIV_RESOURCES_FOLDER; }
};

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

  // What it logs is shown and not kept. Without a settings file and a preference store the preferences are those of a
  // fresh account, and closing them stores nothing.
  tstrmcpy(gSettings.logsFolder, "/dev/null");

  GalleryFolders folders;
  kiv::services.folders = &folders;
  kiv::QtFilePanels panels;
  kiv::services.filePanels = &panels;
  kiv::QtOpener opener;
  kiv::services.opener = &opener;
  kiv::X11HotKeys hotKeys;
  kiv::services.hotKeys = &hotKeys;
  kiv::QtApplicationBadge badge(kiv::ResourceByName("icons", "com.oskmera.Kiv"));
  kiv::services.badge = &badge;
  LDBDisplay::GlobalInit();

  const auto screenshot = arguments.indexOf("--screenshot");
  if (screenshot >= 0) {
    if (screenshot + 2 >= arguments.size()) return 2;
    return kiv::TakeScreenshots(arguments[screenshot + 1], arguments[screenshot + 2]) ? 0 : 1;
  }
  std::unique_ptr<kiv::FirstPaint> firstPaint;
  const auto first = arguments.indexOf("--first-paint");
  if (first >= 0) {
    if (first + 1 >= arguments.size()) return 2;
    firstPaint = std::make_unique<kiv::FirstPaint>(arguments[first + 1].toLongLong());
  }
  kiv::GalleryFrame frame;
  frame.Run();
  return 0;
}
