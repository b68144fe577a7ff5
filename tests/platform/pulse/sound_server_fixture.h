#pragma once

// A private sound server, and the recorder and the player on it. The line's monitor is the input, so what is played is
// recorded.

#include <gtest/gtest.h>
#include <poll.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "devices/sound_player.h"
#include "devices/sound_recorder.h"
#include "foundation/event_queue.h"
#include "platform/pulse/pulse_input.h"
#include "platform/pulse/pulse_output.h"
#include "platform/services.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_signals.h"

namespace kiv::test {

class SoundServerFixture : public testing::TestWithParam<const char*> {
 protected:
  using SteadyClock = std::chrono::steady_clock;
  static constexpr std::int32_t kRate = 8000;

  void SetUp() override { StartServer(); }

  ~SoundServerFixture() override {
    recorder.reset();
    player.reset();
    services = before_;
    output_.reset();
    input_.reset();
    server_.reset();
    Script("stop '" + folder.Path() + "'");
  }

  void StartServer() {
    ASSERT_EQ(Script("start " + std::string(GetParam()) + " '" + folder.Path() + "'"), 0);
    std::ifstream env(folder.File("env"));
    for (std::string line; std::getline(env, line);) {
      const std::size_t equals = line.find('=');
      setenv(line.substr(0, equals).c_str(), line.substr(equals + 1).c_str(), 1);
    }
  }
  void KillServer() { ASSERT_EQ(Script("kill '" + folder.Path() + "'"), 0); }

  // Recorder and player on the server, or on none where there is none.
  void OpenDevices() {
    server_ = std::make_unique<PulseServer>();
    input_ = std::make_unique<PulseInput>(*server_);
    output_ = std::make_unique<PulseOutput>(*server_);
    services.soundInput = input_.get();
    services.soundOutput = output_.get();
    recorder = std::make_unique<LSoundRecorder>();
    player = std::make_unique<LSoundPlayer>();
    recorder->SetNotify(&heard, 1);
    player->SetNotify(&heard, 2);
  }

  bool Record() {
    memory_ = new MemorySink(kRate, 1);
    sink_ = LSoundSink(memory_);
    return recorder->Start(sink_, 0, -127, 216000000);
  }
  // What has been recorded. After Stop.
  const std::vector<std::int32_t>& Recorded() const { return memory_->Samples(); }

  void Play(std::vector<std::int32_t> samples) {
    LSoundSource source = OpenMemory(std::move(samples), kRate, 1);
    ASSERT_TRUE(player->Start(source));
  }

  // Runs the main queue until done answers true; false after the limit.
  bool RunUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    const auto end = SteadyClock::now() + limit;
    while (!done()) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - SteadyClock::now()).count();
      if (left <= 0) return false;
      pollfd wake{EventQueue::Main().WakeDescriptor(), POLLIN, 0};
      poll(&wake, 1, static_cast<int>(std::min<std::int64_t>(left, 50)));
      EventQueue::Main().Drain();
    }
    return true;
  }
  // Line time is real time here: the recording goes on for so long.
  void RunFor(std::chrono::milliseconds time) {
    const auto end = SteadyClock::now() + time;
    RunUntil([&] { return SteadyClock::now() >= end; }, time + std::chrono::seconds(5));
  }

  static int Pactl(const std::string& command) { return std::system(("pactl " + command + " >/dev/null").c_str()); }

  struct Listener : LSoundRecorderNotify, LSoundPlayerNotify {
    void srntfStop(std::int32_t) override { ++recorderStops; }
    void srntfTime(LSoundTime time, std::int32_t) override { recordedMs = time; }
    void spntfStop(std::int32_t) override { ++playerStops; }
    void spntfTime(LSoundTime time, std::int32_t) override {
      playedMs = time;
      reports.push_back({SteadyClock::now(), time});
    }
    struct Report {
      SteadyClock::time_point when;
      std::int32_t ms;
    };
    int recorderStops = 0;
    int playerStops = 0;
    std::int32_t recordedMs = 0;
    std::int32_t playedMs = 0;
    std::vector<Report> reports;
  };

  // The stretches of sound in a recording, silence of at least 20 ms between them. Above what the recorder's offset
  // filter leaves behind when a tone ends.
  struct Stretch {
    std::size_t begin;
    std::size_t end;
  };
  static std::vector<Stretch> Stretches(const std::vector<std::int32_t>& samples) {
    constexpr std::size_t kSilence = kRate / 50;
    std::vector<Stretch> found;
    for (std::size_t i = 0; i < samples.size(); ++i) {
      if (std::abs(samples[i]) < 20000) continue;
      if (found.empty() || i - found.back().end > kSilence) found.push_back({i, i + 1});
      found.back().end = i + 1;
    }
    return found;
  }

  // Largest departure, in samples of the internal scale, from the one sine of that frequency that fits best.
  static double DepartureFromSine(const std::vector<std::int32_t>& samples, Stretch stretch, double hz,
                                  double& amplitude) {
    const double w = 2.0 * std::numbers::pi * hz / kRate;
    double inPhase = 0;
    double inQuadrature = 0;
    for (std::size_t i = stretch.begin; i < stretch.end; ++i) {
      inPhase += samples[i] * std::sin(w * static_cast<double>(i));
      inQuadrature += samples[i] * std::cos(w * static_cast<double>(i));
    }
    const double scale = 2.0 / static_cast<double>(stretch.end - stretch.begin);
    inPhase *= scale;
    inQuadrature *= scale;
    amplitude = std::hypot(inPhase, inQuadrature);
    double worst = 0;
    for (std::size_t i = stretch.begin; i < stretch.end; ++i) {
      const double fit =
          inPhase * std::sin(w * static_cast<double>(i)) + inQuadrature * std::cos(w * static_cast<double>(i));
      worst = std::max(worst, std::abs(samples[i] - fit));
    }
    return worst;
  }

  TemporaryFolder folder;
  Listener heard;
  std::unique_ptr<LSoundRecorder> recorder;
  std::unique_ptr<LSoundPlayer> player;

 private:
  static int Script(const std::string& arguments) {
    return std::system((std::string(KIV_SCRIPTS) + "/sound-server " + arguments).c_str());
  }

  const Services before_ = services;
  std::unique_ptr<PulseServer> server_;
  std::unique_ptr<PulseInput> input_;
  std::unique_ptr<PulseOutput> output_;
  MemorySink* memory_ = nullptr;
  LSoundSink sink_;
};

inline std::string ServerName(const testing::TestParamInfo<const char*>& info) {
  return info.param;
}

}  // namespace kiv::test
