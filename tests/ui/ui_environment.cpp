#include "tests/ui/ui_environment.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDialogButtonBox>
#include <QKeyEvent>
#include <QStyleFactory>
#include <QTimer>
#include <memory>

#include "foundation/text.h"
#include "recorder/settings.h"
#include "ui/controls.h"
#include "ui/level_display.h"
#include "ui/toolkit_window.h"

namespace kiv::test {
namespace {

std::vector<std::string>& Warnings() {
  static std::vector<std::string> warnings;
  return warnings;
}

void KeepWarning(QtMsgType type, const QMessageLogContext&, const QString& message) {
  if (type != QtDebugMsg && type != QtInfoMsg) Warnings().push_back(message.toStdString());
}

class ToolkitEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    if (qEnvironmentVariableIsEmpty("KIV_TEST_DISPLAY")) qputenv("QT_QPA_PLATFORM", "offscreen");
    // No native look of the desktop that happens to run the tests.
    qputenv("QT_QPA_PLATFORMTHEME", "");
    static int argc = 1;
    static char name[] = "tests_ui";
    static char* argv[] = {name, nullptr};
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    QApplication::setApplicationDisplayName("Kiv Recorder");
    QApplication::setQuitOnLastWindowClosed(false);
    application_ = std::make_unique<QApplication>(argc, argv);
    qInstallMessageHandler(KeepWarning);
    LDBDisplay::GlobalInit();
  }
  void TearDown() override {
    qInstallMessageHandler(nullptr);
    application_.reset();
  }

 private:
  std::unique_ptr<QApplication> application_;
};

[[maybe_unused]] const ::testing::Environment* const environment =
    ::testing::AddGlobalTestEnvironment(new ToolkitEnvironment);

}  // namespace

Desktop::Desktop() : before_(services) {
  services.folders = &folders;
  services.opener = &opener;
  services.badge = &badge;
  services.hotKeys = &hotKeys;
  tstrmcpy(gSettings.logsFolder, logs_.Path().c_str());
}

Desktop::~Desktop() {
  services = before_;
  gSettings.logsFolder[0] = '\0';
}

std::vector<std::string> TakeToolkitWarnings() {
  return std::exchange(Warnings(), {});
}

void WhenLoopRuns(std::function<void()> action) {
  QTimer::singleShot(0, qApp, std::move(action));
}

void ClickCommand(WindowRef window, const char* command) {
  ASSERT_NE(window, nullptr);
  for (auto* button : WidgetOf(window)->findChildren<QAbstractButton*>()) {
    if (button->property("command").toString() == command) {
      button->click();
      return;
    }
  }
  ADD_FAILURE() << "no button with command " << command;
}

void ClickControl(WindowRef window, int id) {
  auto* button = qobject_cast<QAbstractButton*>(WidgetOf(GetControlByID(window, id)));
  ASSERT_NE(button, nullptr) << "no button " << id;
  button->click();
}

void ClickCloseBox(WindowRef window) {
  ASSERT_NE(window, nullptr);
  WidgetOf(window)->close();
}

void PressKey(WindowRef window, int toolkitKey) {
  ASSERT_NE(window, nullptr);
  QWidget* widget = WidgetOf(window);
  QKeyEvent press(QEvent::KeyPress, toolkitKey, Qt::NoModifier);
  QApplication::sendEvent(widget->focusWidget() != nullptr ? widget->focusWidget() : widget, &press);
  if (WidgetOf(window) == nullptr) return;
  QKeyEvent release(QEvent::KeyRelease, toolkitKey, Qt::NoModifier);
  QApplication::sendEvent(widget, &release);
}

}  // namespace kiv::test
