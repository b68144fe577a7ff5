#pragma once

// Tells how long a program took to its first paint, and what it then holds in memory, and ends it.

#include <QApplication>
#include <QEvent>
#include <QTimer>
#include <QWidget>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace kiv {

// startedNs is the wall clock in nanoseconds just before the program was started.
class FirstPaint : public QObject {
 public:
  explicit FirstPaint(std::int64_t startedNs) : startedNs_(startedNs) { qApp->installEventFilter(this); }

  bool eventFilter(QObject* object, QEvent* event) override {
    auto* widget = qobject_cast<QWidget*>(object);
    if (event->type() != QEvent::Paint || widget == nullptr || !widget->isWindow() || done_) return false;
    done_ = true;
    // After this paint has been handed to the display.
    QTimer::singleShot(0, this, [this] { Report(); });
    return false;
  }

 private:
  void Report() {
    using namespace std::chrono;
    const std::int64_t now = duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count();
    std::ifstream status("/proc/self/status");
    std::string line;
    long residentKb = 0;
    while (std::getline(status, line)) {
      if (line.rfind("VmRSS:", 0) == 0) residentKb = std::strtol(line.c_str() + 6, nullptr, 10);
    }
    std::printf("%.1f %ld\n", static_cast<double>(now - startedNs_) / 1e6, residentKb);
    std::fflush(stdout);
    std::_Exit(0);
  }

  std::int64_t startedNs_;
  bool done_ = false;
};

}  // namespace kiv
