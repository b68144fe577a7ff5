#include "foundation/wall_clock.h"

#include "foundation/fixed_point.h"
#include "platform/clock.h"
#include "platform/services.h"

namespace kiv {

std::int64_t UnixTime() {
  if (services.clock == nullptr) return std::time(nullptr);
  return FloorDivide(services.clock->UnixMilliseconds(), 1000);
}

bool LocalTime(std::int64_t unixTime, std::tm& local) {
  const auto time = static_cast<std::time_t>(unixTime);
  return localtime_r(&time, &local) != nullptr;
}

}  // namespace kiv
