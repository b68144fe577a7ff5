#pragma once

// Runs the level control to its end or until the thread it runs on is asked to stop.

#include <cstdint>

#include "audio/processing/auto_gain.h"

// Thread has IsStopRequested(), seen before every slice, and SetProgress(double), told 0 to 1 as the work goes on.
// The arguments are LDPAutoGain's. 0: there is no more to do, which is also the answer when it failed; failed, where
// given, then tells. 1: stopped before the end.
template <typename Thread>
int ProcessAGC(Thread& thread, LSoundSource& input, LSoundSink& output, bool trim, std::int32_t f1, std::int32_t f2,
               LDB a, LDB b, LDB c, double slope, LDB d, bool* failed = nullptr) {
  LDPAutoGain autoGain(input, output, trim, f1, f2, a, b, c, slope, d);
  if (failed != nullptr) *failed = autoGain.Failed();
  while (!thread.IsStopRequested()) {
    const bool more = autoGain.TimeSlice();
    if (failed != nullptr) *failed = autoGain.Failed();
    thread.SetProgress(autoGain.Progress());
    if (!more) return 0;
  }
  return 1;
}

namespace kiv {

// The level control of a recording with the settings that every recording gets: no trimming; the level measured above
// 450 Hz, with more weight above 2200 Hz; the tracked level between -2 and 8 dB; half a dB of compression for every dB
// above -9 dB, all of it above 2 dB.
template <typename Thread>
int ProcessRecordingAGC(Thread& thread, LSoundSource& input, LSoundSink& output, bool* failed = nullptr) {
  return ProcessAGC(thread, input, output, false, 450, 2200, 2, -8, -9, -0.5, 2, failed);
}

}  // namespace kiv
