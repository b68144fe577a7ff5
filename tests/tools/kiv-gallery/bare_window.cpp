// A window of the toolkit from an interface file, and nothing else: what our own main window is measured against.
//   kiv-bare-window FILE.ui [STARTED_NS]     with a time it ends after its first paint

#include <QApplication>
#include <QFile>
#include <QUiLoader>
#include <QWidget>
#include <memory>

#include "tests/tools/kiv-gallery/first_paint.h"

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  if (argc < 2) return 2;
  std::unique_ptr<kiv::FirstPaint> firstPaint;
  if (argc > 2) firstPaint = std::make_unique<kiv::FirstPaint>(std::strtoll(argv[2], nullptr, 10));
  QFile file(argv[1]);
  if (!file.open(QIODevice::ReadOnly)) return 1;
  const std::unique_ptr<QWidget> window(QUiLoader().load(&file));
  if (!window) return 1;
  window->show();
  return QApplication::exec();
}
