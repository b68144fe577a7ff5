#pragma once

// The wall clock that the services name, else the system's.
//   Threads  any.

#include <cstdint>
#include <ctime>

namespace kiv {

// Seconds since 1970-01-01 00:00 UTC.
std::int64_t UnixTime();

// Breaks a time into local time; false when that cannot be done.
bool LocalTime(std::int64_t unixTime, std::tm& local);

}  // namespace kiv
