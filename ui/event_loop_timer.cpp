#include "ui/event_loop_timer.h"

#include <QTimer>
#include <algorithm>

namespace kiv {

class EventLoopTimer : public QTimer {};

EventLoopTimerRef InstallEventLoopTimer(std::int32_t delayMs, EventLoopTimerCallback callback, void* userData) {
  auto* timer = new EventLoopTimer;
  timer->setSingleShot(true);
  timer->setTimerType(Qt::PreciseTimer);
  QObject::connect(timer, &QTimer::timeout, timer, [timer, callback, userData] {
    timer->deleteLater();
    callback(timer, userData);
  });
  timer->start(std::max(delayMs, 0));
  return timer;
}

void RemoveEventLoopTimer(EventLoopTimerRef timer) {
  delete timer;
}

}  // namespace kiv
