#include "platform/posix/posix_clock.h"

#include <chrono>

namespace kiv {

std::int64_t PosixClock::UnixMilliseconds() {
  using std::chrono::milliseconds;
  return std::chrono::duration_cast<milliseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace kiv
