#pragma once

// A lock-step line as the sound system of a test, listeners that write down what they are told, and a plain model of
// what the recorder does to what it hears.

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "devices/sound_player.h"
#include "devices/sound_recorder.h"
#include "platform/services.h"
#include "platform/simulated/simulated_line.h"
#include "tests/support/test_signals.h"

namespace kiv::test {

inline constexpr std::int32_t kNoLimit = 0;
inline constexpr std::int32_t kNeverPause = 216000000;

// Everything on the line that a test listener hears, "name(number)" each.
using Log = std::vector<std::string>;

// What both listeners write down.
class NotifyLog {
 public:
  Log log;
  std::vector<std::int32_t> times;
  std::vector<LDBMC> levels;
  std::int32_t lastId = 0;
  // Called after the entry has been made.
  std::function<void(const std::string&)> onEntry;

  // Without the time and level reports.
  Log Changes() const {
    Log changes;
    for (const auto& entry : log) {
      if (entry != "time" && entry != "level") changes.push_back(entry);
    }
    return changes;
  }

 protected:
  void Enter(const std::string& name, std::int32_t id) {
    lastId = id;
    log.push_back(name);
    if (onEntry) onEntry(name);
  }
  void EnterTime(LSoundTime time, std::int32_t id) {
    times.push_back(time);
    Enter("time", id);
  }
  void EnterLevel(LDBMC const& level, std::int32_t id) {
    levels.push_back(level);
    Enter("level", id);
  }
};

class RecorderLog : public NotifyLog, public LSoundRecorderNotify {
 public:
  void srntfRecord(std::int32_t id) override { Enter("record", id); }
  void srntfWait(std::int32_t id) override { Enter("wait", id); }
  void srntfStop(std::int32_t id) override { Enter("stop", id); }
  void srntfTime(LSoundTime time, std::int32_t id) override { EnterTime(time, id); }
  void srntfLevel(LDBMC const& level, std::int32_t id) override { EnterLevel(level, id); }
};

class PlayerLog : public NotifyLog, public LSoundPlayerNotify {
 public:
  void spntfPlay(std::int32_t id) override { Enter("play", id); }
  void spntfStop(std::int32_t id) override { Enter("stop", id); }
  void spntfCue(std::int32_t id) override { Enter("cue", id); }
  void spntfTime(LSoundTime time, std::int32_t id) override { EnterTime(time, id); }
  void spntfLevel(LDBMC const& level, std::int32_t id) override { EnterLevel(level, id); }
};

// A line that is the process's sound system while it lives.
class InstalledLine {
 public:
  explicit InstalledLine(std::unique_ptr<LineSignal> signal, SimulatedLine::Options options = {.lockStep = true})
      : line(options, std::move(signal)) {
    services.soundInput = &line.Input();
    services.soundOutput = &line.Output();
  }
  ~InstalledLine() {
    services.soundInput = nullptr;
    services.soundOutput = nullptr;
    while (EventQueue::Main().Drain() > 0) {
    }
  }
  InstalledLine(const InstalledLine&) = delete;
  InstalledLine& operator=(const InstalledLine&) = delete;

  SimulatedLine line;
};

// A handle on a new memory sink, and the sink. The test holds the handle as long as it looks at the sink.
struct HeldSink {
  explicit HeldSink(std::int32_t rateHz = 8000, std::uint8_t channels = 1)
      : sink(new MemorySink(rateHz, channels)), handle(sink) {}
  MemorySink* sink;
  LSoundSink handle;
};

// A signal of noise that differs from frame to frame and is known everywhere.
inline std::int16_t NoiseAt(std::int64_t frame, std::int32_t channel) {
  const std::uint64_t mixed = (static_cast<std::uint64_t>(frame) * 2 + static_cast<std::uint64_t>(channel) + 1) *
                              std::uint64_t{0x9E3779B97F4A7C15};
  return static_cast<std::int16_t>(static_cast<std::int32_t>(mixed >> 52) - 2048);
}

// Interleaved 16-bit frames as the recorder hands them on: 16 times the value, less a slowly moving mean. state, one
// for each channel, zero at first, carries the mean from one piece to the next.
inline std::vector<std::int32_t> WithoutOffset(const std::vector<std::int16_t>& input, std::int32_t channels,
                                               std::int32_t rateHz, std::int64_t* state = nullptr) {
  std::vector<std::int64_t> mean(static_cast<std::size_t>(channels), 0);
  if (state != nullptr) std::copy(state, state + channels, mean.begin());
  const std::int64_t factor = 192000 / rateHz + 1;
  std::vector<std::int32_t> output;
  output.reserve(input.size());
  for (std::size_t i = 0; i < input.size(); ++i) {
    std::int64_t& a = mean[i % mean.size()];
    std::int64_t shifted = a / 4096;
    if (a < 0 && a % 4096 != 0) --shifted;
    const std::int64_t sample = std::int64_t{input[i]} * 16 - shifted;
    a += sample * factor;
    output.push_back(static_cast<std::int32_t>(sample));
  }
  if (state != nullptr) std::copy(mean.begin(), mean.end(), state);
  return output;
}

// The same of NoiseAt from a frame on.
inline std::vector<std::int32_t> RecordedNoise(std::int64_t first, std::int64_t frames, std::int32_t channels = 1,
                                               std::int32_t rateHz = 8000) {
  std::vector<std::int16_t> input;
  for (std::int64_t i = first; i < first + frames; ++i) {
    for (std::int32_t c = 0; c < channels; ++c) input.push_back(NoiseAt(i, c));
  }
  return WithoutOffset(input, channels, rateHz);
}

}  // namespace kiv::test
