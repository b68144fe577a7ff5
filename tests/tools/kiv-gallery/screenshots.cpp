#include "tests/tools/kiv-gallery/screenshots.h"

#include <QApplication>
#include <QDir>
#include <QMessageBox>
#include <QPixmap>
#include <QTimer>
#include <QWidget>

#include "tests/ui/main_dialog_window.h"
#include "tests/ui/wait_until.h"
#include "ui/help.h"
#include "ui/message_box.h"
#include "ui/progress_dialog.h"
#include "ui/settings_dialog.h"
#include "ui/text_edit_dialog.h"
#include "ui/toolkit_window.h"
#include "ui/window.h"

namespace kiv {
namespace {

class Camera {
 public:
  Camera(QString folder, QString suffix) : folder_(std::move(folder)), suffix_(std::move(suffix)) {}

  void Take(QWidget* widget, const char* name) {
    // The focus shows only in the active window, and the window manager takes its time to make it that.
    const bool active = widget != nullptr && test::WaitUntil([widget] { return widget->isActiveWindow(); });
    // Layouts settle, too.
    for (int i = 0; i < 3; ++i) QApplication::processEvents();
    const QString path = QString("%1/%2-%3.png").arg(folder_, name, suffix_);
    if (!active || !widget->grab().save(path)) {
      qWarning("cannot write %s", qUtf8Printable(path));
      good_ = false;
    }
  }
  void Take(WindowRef window, const char* name) { Take(WidgetOf(window), name); }
  bool Good() const { return good_; }

 private:
  QString folder_;
  QString suffix_;
  bool good_ = true;
};

// Numbers of the hot keys.
constexpr std::uint32_t kRecordKey = 0;
constexpr std::uint32_t kHoldKey = 2;
constexpr std::int64_t kCallMs = 462300;
constexpr std::int64_t kHoldMs = 83000;

class StillProgress : public LProgressDialog {
 public:
  explicit StillProgress(Camera& camera) : LProgressDialog("Extracting Files"), camera_(camera) {}
  int MainFunction() override {
    SetStatus("Uncompress System Prompts", 0);
    SetStatus("Please wait...", 1);
    SetProgress(0.42);
    IsToStop();
    camera_.Take(Window(), "progress");
    return 1;
  }

 private:
  Camera& camera_;
};

}  // namespace

bool TakeScreenshots(SimulatedLine& line, const QString& folder, const QString& suffix) {
  if (!QDir().mkpath(folder)) return false;
  QApplication::setCursorFlashTime(0);
  Camera camera(folder, suffix);

  // Recordings stay in its list: no line of the log comes from a worker at its own time.
  LALCListThread queue;
  queue.Shutdown();
  test::MainDialogWindow dialog(queue);
  dialog.Begin();
  dialog.EnableControls();
  dialog.EvTimer(MainDialog::kInformationTimer);
  camera.Take(dialog.Window(), "main-idle");
  dialog.EvHotKey(kRecordKey);
  bool good = line.RunUntil([&] { return dialog.State() == SndStateType::Recording; }, 10000);
  line.Run(kCallMs);
  camera.Take(dialog.Window(), "main-recording");
  dialog.EvHotKey(kHoldKey);
  good = line.RunUntil([&] { return dialog.State() == SndStateType::OnHold; }, 10000) && good;
  line.Run(kHoldMs);
  camera.Take(dialog.Window(), "main-on-hold");

  char entry[260] = "1203";
  LTextEditDlg text(entry, "Enter file number");
  QTimer::singleShot(0, qApp, [&] {
    camera.Take(text.Window(), "text-entry");
    text.Close();
  });
  text.Open(dialog.Window());
  StillProgress(camera).Open(dialog.Window());

  SetDlg preferences;
  QTimer::singleShot(0, qApp, [&] {
    const char* const pages[] = {"preferences-call", "preferences-prompts", "preferences-on-hold",
                                 "preferences-recordings", "preferences-sound"};
    for (int page = 0; page < 5; ++page) {
      preferences.SetValue(80, page + 1);
      camera.Take(preferences.Window(), pages[page]);
    }
    preferences.Close();
  });
  preferences.Open(dialog.Window(), "Preferences");

  QTimer::singleShot(0, qApp, [&] {
    camera.Take(QApplication::activeModalWidget(), "message");
    qobject_cast<QMessageBox*>(QApplication::activeModalWidget())->accept();
  });
  LMacMessageBox("Error",
                 "The folder you want to copy files to must be specified if you select the Copy to Folder option.",
                 kAlertStopAlert);
  QTimer::singleShot(0, qApp, [&] {
    camera.Take(QApplication::activeModalWidget(), "about");
    qobject_cast<QMessageBox*>(QApplication::activeModalWidget())->accept();
  });
  ShowAboutBox();

  ShowHelpStart();
  for (QWidget* window : QApplication::topLevelWidgets()) {
    if (window->isVisible() && window->windowTitle() == "Kiv Recorder Help") camera.Take(window, "help");
  }
  CloseHelp();
  dialog.End();
  line.Settle();
  return good && camera.Good();
}

}  // namespace kiv
