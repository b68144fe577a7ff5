#pragma once

// What the parts of the simulated line share: its time, its faults, its open devices and its other end.
//   Units    line time in ns; frames of a device's own rate.
//   Threads  everything under mutex, which a function named ...Locked expects to be held.

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "audio/sound_sink.h"
#include "platform/simulated/line_signal.h"
#include "platform/simulated/lock_step.h"

namespace kiv {

// A piece of sound that has been played, as the other end of the line hears it.
struct PlayedSound {
  std::int64_t startNs = 0;
  std::int32_t rateHz = 0;
  std::int32_t channels = 0;
  std::vector<std::int16_t> samples;  // Interleaved, the channel's volume applied.
};

// A device that is open on the line.
class LineDevice {
 public:
  // When the device has something to do next; kNever for not of its own accord.
  virtual std::int64_t NextEventLocked() = 0;
  // Does the first thing that is due at now.
  virtual void FireLocked(std::int64_t now) = 0;

 protected:
  ~LineDevice() = default;
};

class LineCore {
 public:
  // A stretch of line time, [from, to).
  struct Stretch {
    std::int64_t from;
    std::int64_t to;
  };
  using Stretches = std::vector<Stretch>;

  static bool IsInside(const Stretches& stretches, std::int64_t time);
  // The moment at which something has had that much time outside of the stretches since start.
  static std::int64_t EndOutside(const Stretches& stretches, std::int64_t start, std::int64_t duration);
  // How much of the time from start to end lies outside of the stretches.
  static std::int64_t Outside(const Stretches& stretches, std::int64_t start, std::int64_t end);

  // Line time now: what lock-step says, else by the system's clock.
  std::int64_t NowLocked() const;
  // Something that NextEventLocked depends on has changed.
  void ChangedLocked() { changed.notify_all(); }
  std::int64_t NextEventLocked() const;
  // Lets the earliest device whose event is due do one thing; false when none is due.
  bool FireOneLocked(std::int64_t now);
  void AddLocked(LineDevice* device);
  void RemoveLocked(LineDevice* device);
  void PlayedLocked(const PlayedSound& sound);

  std::mutex mutex;
  std::condition_variable changed;
  bool lockStep = false;
  double speed = 1.0;
  std::int64_t lockStepNow = 0;
  std::int64_t systemStart = 0;  // The system's clock at line time 0.

  std::unique_ptr<LineSignal> signal;
  std::int32_t inputRateHz = 0;
  std::int32_t inputChannels = 0;
  std::string inputName;

  bool refuseInput = false;
  bool refuseOutput = false;
  // Each in order of time and without overlaps.
  Stretches inputStalls;
  Stretches inputGone;
  Stretches outputStalls;
  Stretches outputGone;

  std::vector<LineDevice*> devices;  // In opening order.
  std::function<void(const PlayedSound&)> onPlayed;
  LSoundSink outputSink;
  std::int64_t outputSinkStart = 0;
};

// The first moment at which that many frames of the rate have passed, and the whole frames that have passed
// at a moment. Exact for years of line time.
std::int64_t NsFromFrames(std::int64_t frames, std::int32_t rateHz);
std::int64_t FramesFromNs(std::int64_t ns, std::int32_t rateHz);

std::int64_t SystemNs();

// Adds [from, from + duration) to the stretches, joined with what it touches. duration may be kNever.
void AddStretch(LineCore::Stretches& stretches, std::int64_t from, std::int64_t duration);

}  // namespace kiv
