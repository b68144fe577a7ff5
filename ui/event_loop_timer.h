#pragma once

// One-shot timers of the main loop.
//   Units    milliseconds; below 0 means 0.
//   Threads  main.
//   Owns     a timer that has fired is gone by itself; only one that is still pending may be removed.

#include <cstdint>

namespace kiv {
class EventLoopTimer;
}

using EventLoopTimerRef = kiv::EventLoopTimer*;

namespace kiv {

using EventLoopTimerCallback = void (*)(EventLoopTimerRef timer, void* userData);

EventLoopTimerRef InstallEventLoopTimer(std::int32_t delayMs, EventLoopTimerCallback callback, void* userData);
void RemoveEventLoopTimer(EventLoopTimerRef timer);

}  // namespace kiv
