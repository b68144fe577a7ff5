#pragma once

// The application's icon with a badge painted over its lower right corner: as the icon of every window, and in the tray
// where the desktop has one.
//   Threads  main; made after the application object and gone before it.

#include <QIcon>
#include <QSystemTrayIcon>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "platform/application_badge.h"

namespace kiv {

class QtApplicationBadge : public ApplicationBadge {
 public:
  // The picture of the plain icon; a click on the tray icon calls activated.
  explicit QtApplicationBadge(const std::string& iconPath, std::function<void()> activated = {});
  ~QtApplicationBadge() override;

  void Restore() override;
  void Overlay(const std::string& imagePath) override;

  // The badge shown; empty when the icon is plain.
  const std::string& OverlayPath() const { return overlayPath_; }
  bool InTray() const { return tray_ != nullptr; }

 private:
  // The icon with a badge over it; a null one when the badge cannot be read.
  static QIcon WithBadge(const QIcon& icon, const QString& imagePath);
  void Show(const QIcon& icon);

  QIcon plain_;
  // The plain icon with each badge that was shown. The toolkit keeps the pictures of every icon that was ever made
  // until it has 10 MB of them.
  std::map<std::string, QIcon> badged_;
  QIcon shown_;
  std::string overlayPath_;
  std::unique_ptr<QSystemTrayIcon> tray_;
};

}  // namespace kiv
