#include "foundation/wall_clock.h"

#include "platform/clock.h"
#include "platform/services.h"

namespace kiv {

std::int64_t UnixTime() {
  if (services.clock == nullptr) return std::time(nullptr);
  const std::int64_t ms = services.clock->UnixMilliseconds();
  return ms / 1000 - (ms % 1000 < 0 ? 1 : 0);
}

bool LocalTime(std::int64_t unixTime, std::tm& local) {
  const auto time = static_cast<std::time_t>(unixTime);
  return localtime_r(&time, &local) != nullptr;
}

}  // namespace kiv
