// A main window that tells on its output what its frame is asked to do.
//
//   kiv-session-client [--refuse] [--dialog]     refuses to quit; opens a dialog once its window is shown

#include <QApplication>
#include <QTimer>
#include <cstdio>

#include "platform/services.h"
#include "tests/ui/ui_environment.h"
#include "ui/main_window.h"
#include "ui/window.h"

namespace {

void Say(const char* line) {
  std::printf("%s\n", line);
  std::fflush(stdout);
}

class Dialog : public LDialog {
 public:
  void InitDialog() override {
    QTimer::singleShot(0, qApp, [] { Say("dialog open"); });
  }
  void DestroyDialog() override { Say("dialog ended"); }
};

class Frame : public LMainWindow {
 public:
  bool refuses = false;
  bool opensDialog = false;

  void InitDialog() override {
    QTimer::singleShot(0, qApp, [this] {
      Say("shown");
      if (opensDialog) Dialog().Open(Window(), "LTextEditDlg");
    });
  }
  bool CmCancel() override {
    Say("CmCancel");
    return !refuses;
  }
  void DestroyDialog() override { Say("DestroyDialog"); }
};

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  kiv::test::TestFolders folders;
  kiv::services.folders = &folders;
  Frame frame;
  frame.refuses = QApplication::arguments().contains("--refuse");
  frame.opensDialog = QApplication::arguments().contains("--dialog");
  frame.Run();
  return 0;
}
