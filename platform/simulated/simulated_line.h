#pragma once

// A complete sound system without a sound card: a telephone line whose signal is made up, with one input and
// any number of output channels, for people without an adapter, for demos and for tests.
//
//   Clocks   real time; a multiple of it; or lock-step, in which line time moves only when the main thread asks for it,
//            and then to the next moment at which something happens, with every device worker waiting and the main
//            queue empty. Time-outs of device workers and the wall clock follow line time. In lock-step the same script
//            gives the same bytes, an hour takes seconds, and time stands still while no device is open.
//   Units    line time in ns inside and ms in calls; it starts at 0.
//   Threads  made, scripted and destroyed on main; the ports as their headers say. In lock-step everything happens on
//            main and on the worker that has the turn; otherwise completions come on a thread of the line's own.
//   Locks    one mutex guards the whole line. It is held during completions, which only raise signals.
//   Errors   none but the faults that are asked for.
//
// The input gives the rate and the channel count that it is asked for, unless the options name others. What
// it captures is the signal at that moment of line time. Output goes nowhere, or into the sink and the
// call-back of the options; pieces of two channels that sound at once are given one after the other.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "audio/sound_sink.h"
#include "foundation/event_queue.h"
#include "platform/clock.h"
#include "platform/simulated/line_core.h"
#include "platform/simulated/line_signal.h"
#include "platform/simulated/lock_step.h"
#include "platform/sound_input.h"
#include "platform/sound_output.h"

namespace kiv {

class SimulatedLine {
 public:
  struct Options {
    bool lockStep = false;
    // Line seconds in a second, when not in lock-step.
    double speed = 1.0;
    // What the input gives, whatever it is asked for; 0 to give what is asked for.
    std::int32_t inputRateHz = 0;
    std::int32_t inputChannels = 0;
    std::string inputName = "Simulated line";
    // What the wall clock shows at line time 0: 2024-01-01 12:00 UTC.
    std::int64_t startUnixMs = 1704110400000;
    // The main queue of lock-step.
    EventQueue* queue = &EventQueue::Main();
  };
  static constexpr std::int64_t kForEver = INT64_MAX;

  SimulatedLine(const Options& options, std::unique_ptr<LineSignal> signal);
  // Every device must be closed.
  ~SimulatedLine();
  SimulatedLine(const SimulatedLine&) = delete;
  SimulatedLine& operator=(const SimulatedLine&) = delete;

  SoundInput& Input();
  SoundOutput& Output();
  Clock& WallClock();

  // What has been played is written into the sink in the sink's channel count, with silence between, so that
  // a frame's place tells its line time since this call. Only sound of the sink's own rate is written. An
  // empty handle ends it.
  void WriteOutputTo(const LSoundSink& sink);
  // The same in pieces, on whatever thread finds that they have been played; for tests.
  void OnPlayed(std::function<void(const PlayedSound&)> call);

  // Faults. Times are line time; may be set before or while it happens.
  void RefuseInput(bool refuse);
  void RefuseOutput(bool refuse);
  // The input delivers nothing; afterwards, silence stands in for the time.
  void StallInput(std::int64_t atMs, std::int64_t forMs);
  // The same, and it cannot be opened either.
  void RemoveInput(std::int64_t atMs, std::int64_t forMs);
  // Channels stand still, and go on where they were.
  void StallOutput(std::int64_t atMs, std::int64_t forMs);
  // Channels are silent clocks.
  void RemoveOutput(std::int64_t atMs, std::int64_t forMs);

  std::int64_t NowMs();
  std::int64_t NowNs();
  int OpenDevices();

  // Lock-step, on main. Each lets workers run one at a time and the main queue be drained until all wait and
  // it is empty, again and again as line time moves.
  void Settle();
  // Moves to the next moment at which something happens, at most to limitNs. False when it is at the limit,
  // or no device is open.
  bool Step(std::int64_t limitNs = kNever);
  // Lets that much line time pass; ends early when the last device is closed.
  void Run(std::int64_t ms);
  // Goes on until done() or that much time has passed or no device is open; gives done().
  bool RunUntil(const std::function<bool()>& done, std::int64_t limitMs);
  // Moves the clocks, device or not, as if nothing happened meanwhile. Only while no device is open.
  void Pass(std::int64_t ms);
  // On a device worker: holds it up for that much line time, as a slow disk would.
  void HoldUpWorker(std::int64_t ms);

 private:
  class InputPort;
  class OutputPort;
  class LineClock;
  class ScaledClock;

  void Drive();
  void AddFault(LineCore::Stretches LineCore::*stretches, std::int64_t atMs, std::int64_t forMs);
  static std::int64_t NsFromMs(std::int64_t ms);

  LineCore core_;
  EventQueue* const queue_;
  LockStepClock lockStep_;
  std::unique_ptr<InputPort> input_;
  std::unique_ptr<OutputPort> output_;
  std::unique_ptr<LineClock> wallClock_;
  std::unique_ptr<ScaledClock> scaledClock_;
  bool quit_ = false;  // Under the line's mutex.
  std::thread driver_;
};

}  // namespace kiv
