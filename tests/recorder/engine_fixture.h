#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "audio/wave_file.h"
#include "recorder/engine.h"
#include "recorder/engine_events.h"
#include "recorder/setting_keys.h"
#include "recorder/settings.h"
#include "tests/devices/line_fixture.h"
#include "tests/support/recorder_fixture.h"

namespace kiv::test {

inline constexpr std::int32_t kRate = 8000;

// The call engine on a lock-step line, with a queue that keeps its list and never begins.
class EngineFixture : public RecorderFixture {
 protected:
  EngineFixture() {
    queue.SetListFilePath(DataPath("bgalc.dat").c_str());
    queue.Shutdown();
    services.clock = &line.line.WallClock();
    for (const char* name : {"Start Prompt", "End Prompt", "On-Hold 1", "On-Hold 2", "On-Hold 3"})
      MakePrompt(name, 1.0);
    MakePrompt("Record Tone", 0.5);
    const EventQueue::Handler note = [this](const Event& event) {
      if (event.Kind() == kEngineDisconnected) ++disconnects;
      if (event.Kind() == kEngineTime) {
        times.push_back(event.Get<LSoundTime>(kEngineTimeParameter, kEngineTimeParameter).value());
      }
      if (event.Kind() == kEngineLevel) {
        levels.push_back(event.Get<std::int32_t>(kEngineLevelParameter, kEngineLevelParameter).value());
      }
      return true;
    };
    for (const std::uint32_t kind : {kEngineTime, kEngineLevel, kEngineDisconnected}) {
      handlers.push_back(EventQueue::Main().Install(kEngineClass, kind, note));
    }
    MakeEngine();
  }
  ~EngineFixture() override {
    engine->SndStop();
    engine.reset();
    line.line.Settle();
    for (const auto handler : handlers) EventQueue::Main().Remove(handler);
  }

  void MakeEngine() {
    engine.reset();
    engine = std::make_unique<LKivEngine>(queue);
    engine->SetEventQueue(&EventQueue::Main());
  }

  void MakePrompt(const std::string& name, double seconds) {
    const auto samples = Sine(1000, 100000, kRate, static_cast<std::int32_t>(seconds * kRate), 1);
    LSoundSink sink = LWaveFile::OpenSinkPCM(DataPath(name + ".wav").c_str(), kRate, 1, 16, 0);
    sink->Write(samples.data(), static_cast<std::int32_t>(samples.size()));
  }

  void Start(RequestedMode mode) {
    engine->SetMode(mode);
    engine->SndStart();
  }
  bool RunUntil(SndStateType state, std::int64_t limitMs = 20000) {
    return line.line.RunUntil([&] { return engine->State() == state; }, limitMs);
  }

  // What has been handed over, in order.
  std::vector<std::string> Queued() {
    std::vector<std::string> paths;
    const std::string bytes = ReadFile(DataPath("bgalc.dat"));
    for (std::size_t at = 8; at + 260 <= bytes.size(); at += 260) paths.emplace_back(bytes.c_str() + at);
    return paths;
  }
  static std::int32_t FramesOf(const std::string& path) {
    const LSoundSource source = LWaveFile::OpenSource(path.c_str());
    EXPECT_EQ(source->Error(), kSourceGood) << path;
    return source->GetEndSample();
  }
  static bool IsFinished(const std::string& path) {
    const std::string bytes = ReadFile(path);
    return bytes.size() >= 46 && bytes.compare(42, 4, "\xff\xff\xff\xff") != 0;
  }

  InstalledLine line{MakeFunction(NoiseAt)};
  LALCListThread queue;
  std::unique_ptr<LKivEngine> engine;
  std::vector<EventQueue::HandlerId> handlers;
  int disconnects = 0;
  std::vector<std::int32_t> times;
  std::vector<std::int32_t> levels;
};

}  // namespace kiv::test
