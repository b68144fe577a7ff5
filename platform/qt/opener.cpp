#include "platform/qt/opener.h"

#include <QDesktopServices>
#include <QUrl>

namespace kiv {

bool QtOpener::OpenFolder(const std::string& path) {
  return QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(path)));
}

bool QtOpener::OpenPage(const std::string& address) {
  return QDesktopServices::openUrl(QUrl(QString::fromStdString(address)));
}

}  // namespace kiv
