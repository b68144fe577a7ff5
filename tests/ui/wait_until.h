#pragma once

// Waiting for what a timer, another process or the X server does.

#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>

namespace kiv::test {

// For machines that are slow and busy; nothing that works comes near it.
inline constexpr int kLimitMs = 30000;

// Runs the toolkit's loop until the condition holds; false after the limit.
template <typename Condition>
bool WaitUntil(Condition condition, int limitMs = kLimitMs) {
  QElapsedTimer clock;
  clock.start();
  QTimer tick;
  tick.start(10);
  while (!condition()) {
    if (clock.elapsed() > limitMs) return false;
    QApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
  return true;
}

}  // namespace kiv::test
