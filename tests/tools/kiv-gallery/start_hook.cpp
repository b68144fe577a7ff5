// Joined to the program's own main: tells its first paint and ends it then. KIV_STARTED_NS is the moment of the start.

#include <QCoreApplication>
#include <cstdlib>

#include "tests/tools/kiv-gallery/first_paint.h"

namespace {

void Watch() {
  const char* started = std::getenv("KIV_STARTED_NS");
  if (started == nullptr) return;
  static kiv::FirstPaint firstPaint(std::strtoll(started, nullptr, 10));
}

}  // namespace

Q_COREAPP_STARTUP_FUNCTION(Watch)
