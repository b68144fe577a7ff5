#include "platform/qt/application_badge.h"

#include <QApplication>
#include <QPainter>

namespace kiv {
namespace {

constexpr int kIconSizes[] = {16, 22, 24, 32, 48, 64, 128, 256};

}  // namespace

QtApplicationBadge::QtApplicationBadge(const std::string& iconPath, std::function<void()> activated)
    : plain_(QString::fromStdString(iconPath)) {
  if (QSystemTrayIcon::isSystemTrayAvailable()) {
    tray_ = std::make_unique<QSystemTrayIcon>(plain_);
    tray_->setToolTip(QApplication::applicationDisplayName());
    QObject::connect(tray_.get(), &QSystemTrayIcon::activated, [activated = std::move(activated)] {
      if (activated) activated();
    });
    tray_->show();
  }
  Show(plain_);
}

QtApplicationBadge::~QtApplicationBadge() = default;

void QtApplicationBadge::Restore() {
  // Setting an icon draws it in every size.
  if (overlayPath_.empty()) return;
  overlayPath_.clear();
  Show(plain_);
}

void QtApplicationBadge::Overlay(const std::string& imagePath) {
  QIcon icon;
  if (!overlayPath_.empty()) {
    icon = WithBadge(shown_, QString::fromStdString(imagePath));
  } else if (const auto known = badged_.find(imagePath); known != badged_.end()) {
    icon = known->second;
  } else {
    icon = WithBadge(plain_, QString::fromStdString(imagePath));
    if (!icon.isNull()) badged_.emplace(imagePath, icon);
  }
  if (icon.isNull()) return;
  overlayPath_ = imagePath;
  Show(icon);
}

QIcon QtApplicationBadge::WithBadge(const QIcon& icon, const QString& imagePath) {
  const QIcon badge(imagePath);
  QIcon badged;
  for (const int size : kIconSizes) {
    // Rather more than half of the icon, so that the badge can still be told at 16 pixels.
    const int badgeSize = size * 5 / 8;
    const QPixmap badgePicture = badge.pixmap(QSize(badgeSize, badgeSize), 1.0);
    if (badgePicture.isNull()) return {};
    QPixmap picture(size, size);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.drawPixmap(0, 0, icon.pixmap(QSize(size, size), 1.0));
    painter.drawPixmap(size - badgeSize, size - badgeSize, badgePicture);
    painter.end();
    badged.addPixmap(picture);
  }
  return badged;
}

void QtApplicationBadge::Show(const QIcon& icon) {
  shown_ = icon;
  QApplication::setWindowIcon(icon);
  if (tray_) tray_->setIcon(icon);
}

}  // namespace kiv
