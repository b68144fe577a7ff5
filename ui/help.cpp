#include "ui/help.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QPointer>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>

#include "platform/opener.h"
#include "platform/services.h"
#include "ui/resources.h"
#include "ui/toolkit_window.h"

namespace kiv {
namespace {

const char kStartPage[] = "0";

QUrl PageUrl(const std::string& page) {
  const QString path = QString::fromStdString(ResourcePath("help/" + page + ".html"));
  return !path.isEmpty() && QFile::exists(path) ? QUrl::fromLocalFile(path) : QUrl();
}

class HelpWindow : public QDialog {
 public:
  explicit HelpWindow(QWidget* parent) : QDialog(parent) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle("Kiv Recorder Help");
    setModal(false);
    auto* layout = new QVBoxLayout(this);
    auto* buttons = new QHBoxLayout;
    layout->addLayout(buttons);
    auto* back = new QPushButton("&Back", this);
    auto* start = new QPushButton("&Contents", this);
    back->setEnabled(false);
    back->setAutoDefault(false);
    start->setAutoDefault(false);
    buttons->addWidget(back);
    buttons->addWidget(start);
    buttons->addStretch();
    browser_ = new QTextBrowser(this);
    browser_->setAccessibleName("Help page");
    browser_->setOpenLinks(true);
    browser_->setOpenExternalLinks(false);
    layout->addWidget(browser_);
    const QFontMetrics metrics = fontMetrics();
    resize(metrics.averageCharWidth() * 72, metrics.height() * 28);
    connect(back, &QPushButton::clicked, browser_, &QTextBrowser::backward);
    connect(browser_, &QTextBrowser::backwardAvailable, back, &QPushButton::setEnabled);
    connect(start, &QPushButton::clicked, browser_, [this] { browser_->setSource(PageUrl(kStartPage)); });
    connect(browser_, &QTextBrowser::anchorClicked, this, [](const QUrl& url) {
      const bool web = url.scheme() == "http" || url.scheme() == "https";
      if (web && services.opener != nullptr) services.opener->OpenPage(url.toString(QUrl::FullyEncoded).toStdString());
    });
    browser_->setFocus();
  }

  void Show(const QUrl& page) {
    browser_->setSource(page);
    show();
    raise();
    activateWindow();
  }

 private:
  QTextBrowser* browser_;
};

QPointer<HelpWindow>& Open() {
  static QPointer<HelpWindow> window;
  return window;
}

}  // namespace

void ShowHelpPage(const std::string& page) {
  QUrl url = PageUrl(page);
  if (url.isEmpty()) url = PageUrl(kStartPage);
  if (url.isEmpty()) return;
  // A modal window blocks every window but its own children, so help opened from one belongs to it.
  QWidget* modal = QApplication::activeModalWidget();
  if (Open() && Open()->parentWidget() != modal) delete Open().data();
  if (!Open()) Open() = new HelpWindow(modal);
  Open()->Show(url);
}

void ShowHelpStart() {
  ShowHelpPage(kStartPage);
}

void CloseHelp() {
  delete Open().data();
}

}  // namespace kiv
