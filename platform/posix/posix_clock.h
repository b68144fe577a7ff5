#pragma once

// The system's wall clock.

#include "platform/clock.h"

namespace kiv {

class PosixClock : public Clock {
 public:
  std::int64_t UnixMilliseconds() override;
};

}  // namespace kiv
