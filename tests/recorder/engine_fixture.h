#pragma once

// The call engine on a lock-step line that carries noise, with a queue that keeps its list and never begins. Every
// prompt is a constant of its own, so that it is known where it comes out.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "audio/wave_file.h"
#include "recorder/engine.h"
#include "recorder/engine_events.h"
#include "recorder/setting_keys.h"
#include "recorder/settings.h"
#include "recorder/status_window.h"
#include "tests/devices/line_fixture.h"
#include "tests/recorder/watched_input.h"
#include "tests/support/recorder_fixture.h"

namespace kiv::test {

inline constexpr std::int32_t kRate = 8000;
inline constexpr std::int32_t kBlock = 800;

class EngineFixture : public RecorderFixture, private StatusText {
 protected:
  explicit EngineFixture(const SimulatedLine::Options& options = {.lockStep = true});
  ~EngineFixture() override;

  void MakeEngine();
  // Writes the prompt's file; its 16-bit sample is kPrompts'.
  void MakePrompt(const std::string& name, double seconds);

  void Start(RequestedMode mode) {
    engine->SetMode(mode);
    engine->SndStart();
  }
  // Lets the prompt before and after the recording be.
  void SetPrompts(bool start, bool end) {
    SetSetting(kStartPrompt, start);
    SetSetting(kEndPrompt, end);
  }
  bool RunUntil(SndStateType state, std::int64_t limitMs = 20000) {
    return line.line.RunUntil([&] { return engine->State() == state; }, limitMs);
  }
  // To that moment of line time, at which something must be going on.
  void RunTo(std::int64_t ms) {
    line.line.Run(ms - line.line.NowMs());
    ASSERT_EQ(line.line.NowMs(), ms);
  }

  // What has been handed over, in order.
  std::vector<std::string> Queued() const;
  // The same without folder and extension.
  std::vector<std::string> QueuedNames() const;
  static std::int32_t FramesOf(const std::string& path);
  static bool IsFinished(const std::string& path);
  // What the other end has heard, "NAME FROM-TO" each, in ms of line time.
  std::vector<std::string> Heard() const;

  // That the file holds exactly the whole blocks that were on the line from a capture's begin to its end, without
  // what the line's stalls took.
  void ExpectHoldsTheLine(const std::string& path, const Captured& capture,
                          const std::vector<LineCore::Stretch>& stalls = {}) const;

  struct Prompt {
    const char* name;
    std::int16_t sample;
  };
  static constexpr std::array<Prompt, 6> kPrompts{{{"Start Prompt", 1100},
                                                   {"End Prompt", 1200},
                                                   {"Record Tone", 1300},
                                                   {"On-Hold 1", 1401},
                                                   {"On-Hold 2", 1402},
                                                   {"On-Hold 3", 1403}}};

  InstalledLine line;
  WatchedInput input{line.line};
  LALCListThread queue;
  std::unique_ptr<LKivEngine> engine;
  int disconnects = 0;
  std::vector<std::int32_t> times;
  std::vector<std::int32_t> levels;
  std::vector<PlayedSound> played;

 private:
  // A line has been logged. Whatever is in the queue by then is complete.
  void ShowStatus(const std::string& log) override;

  std::vector<EventQueue::HandlerId> handlers_;
};

}  // namespace kiv::test
