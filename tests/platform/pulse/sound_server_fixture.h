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
#include <sstream>
#include <string>
#include <vector>

#include "devices/sound_player.h"
#include "devices/sound_recorder.h"
#include "foundation/event_queue.h"
#include "platform/pulse/pulse_input.h"
#include "platform/pulse/pulse_output.h"
#include "platform/services.h"
#include "tests/devices/stalled_sink.h"
#include "tests/platform/pulse/monitor_ear.h"
#include "tests/support/stall_watch.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_signals.h"

namespace kiv::test {

class SoundServerFixture : public testing::TestWithParam<const char*> {
 protected:
  using SteadyClock = std::chrono::steady_clock;
  static constexpr std::int32_t kRate = 8000;
  // For whatever must happen at some time.
  static constexpr std::chrono::seconds kLimit{30};

  void SetUp() override { StartServer(); }

  ~SoundServerFixture() override {
    recorder.reset();
    player.reset();
    services = before_;
    output_.reset();
    input_.reset();
    server.reset();
    Script("stop '" + folder.Path() + "'");
  }

  void StartServer() {
    // One that was not let run for a moment while it starts may never come up.
    int status = -1;
    for (int attempt = 1; status != 0 && attempt <= 3; ++attempt) {
      if (attempt > 1) Script("stop '" + folder.Path() + "'");
      status = Script("start " + std::string(GetParam()) + " '" + folder.Path() + "'");
    }
    ASSERT_EQ(status, 0);
    std::ifstream env(folder.File("env"));
    for (std::string line; std::getline(env, line);) {
      const std::size_t equals = line.find('=');
      setenv(line.substr(0, equals).c_str(), line.substr(equals + 1).c_str(), 1);
    }
  }
  void KillServer() { ASSERT_EQ(Script("kill '" + folder.Path() + "'"), 0); }

  // Recorder and player on the server, or on none where there is none.
  void OpenDevices() {
    server = std::make_unique<PulseServer>();
    input_ = std::make_unique<PulseInput>(*server);
    output_ = std::make_unique<PulseOutput>(*server);
    services.soundInput = input_.get();
    services.soundOutput = output_.get();
    recorder = std::make_unique<LSoundRecorder>();
    player = std::make_unique<LSoundPlayer>();
    recorder->SetNotify(&heard, 1);
    player->SetNotify(&heard, 2);
  }

  // Into a sink that may stand still for a while when it has a second of sound.
  bool Record(std::chrono::milliseconds stall = std::chrono::milliseconds(0)) {
    memory_ = new StalledSink(stall);
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

  // Records until there is so much of it. Once more where the machine has stood still for so long that the recorder
  // gave the input up.
  void RecordUntil(std::int32_t ms, std::chrono::milliseconds stall = std::chrono::milliseconds(0)) {
    for (int attempt = 1; attempt <= 5; ++attempt) {
      const auto stoodStill = stalls.StoodStill();
      heard = {};
      ASSERT_TRUE(Record(stall));
      ASSERT_TRUE(RunUntil([&] { return heard.recorderStops > 0 || heard.recordedMs >= ms; }, kLimit));
      if (heard.recorderStops == 0) return;
      ASSERT_GE(stalls.StoodStill() - stoodStill, std::chrono::milliseconds(20)) << "nothing came from the input";
    }
    FAIL() << "nothing came from the input";
  }

  static double MsSince(SteadyClock::time_point begin) {
    return std::chrono::duration<double, std::milli>(SteadyClock::now() - begin).count();
  }
  // How far a time that has been told may be off: what servers and reports take, and what the machine has stood still.
  double ToleranceMs() const { return 350 + static_cast<double>(stalls.StoodStill().count()); }

  // The input was away for a moment after begin, when a recording that goes on had heard.recordedMs of before: it has
  // gone on, with the file true to the clock. Where the machine took longer than the recorder waits for an input it has
  // ended itself. Either way nothing of before is lost.
  void ExpectTrueToTheClockOrEnded(SteadyClock::time_point begin, std::int32_t before) {
    ASSERT_TRUE(RunUntil([&] { return heard.recorderStops > 0 || heard.recordedMs > before + 2000; }, kLimit));
    const double passedMs = MsSince(begin);
    if (heard.recorderStops == 0) {
      EXPECT_NEAR(heard.recordedMs - before, passedMs, ToleranceMs());
      recorder->Stop();
      EXPECT_EQ(recorder->LostInputFrames(), 0);
    } else {
      EXPECT_GE(passedMs, 3000 - ToleranceMs()) << "given up too early";
      EXPECT_TRUE(recorder->IsInputLost());
    }
    EXPECT_GE(Recorded().size(), static_cast<std::size_t>(before) * kRate / 1000);
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

  // For each position that the player has told: how many ms ago the ear had heard it. The play, which is over, is what
  // the ear has heard from that frame on. Waits until the ear has all of it.
  std::vector<double> NoticeDelaysMs(MonitorEar& ear, std::size_t fromFrame = 0) {
    const auto frameOf = [](std::int32_t ms) { return static_cast<std::size_t>(ms) * kRate / 1000; };
    std::size_t begin = 0;
    const auto hasAll = [&] {
      const std::vector<std::int16_t> samples = ear.Samples();
      begin = fromFrame;
      while (begin < samples.size() && samples[begin] == 0) ++begin;
      return samples.size() >= begin + frameOf(heard.playedMs);
    };
    std::vector<double> delaysMs;
    if (!RunUntil(hasAll, kLimit)) return delaysMs;
    for (const auto& report : heard.reports) {
      if (report.ms == 0) continue;
      const auto arrival = ear.ArrivalOf(begin + frameOf(report.ms));
      delaysMs.push_back(std::chrono::duration<double, std::milli>(report.when - arrival).count());
    }
    return delaysMs;
  }

  // How a tone of that frequency and amplitude has come through.
  struct ToneHeard {
    std::size_t stretches = 0;  // More than one: holes.
    std::size_t frames = 0;     // Of the first one.
    double departure = 0;       // Of its samples from one sine, as a share of the amplitude.
    double levelDB = 0;
  };
  static ToneHeard HeardTone(const std::vector<std::int32_t>& samples, double hz, double expectedAmplitude) {
    const auto stretches = Stretches(samples);
    if (stretches.empty()) return {};
    ToneHeard tone{.stretches = stretches.size(), .frames = stretches[0].end - stretches[0].begin};
    Stretch inside = stretches[0];
    inside.begin += std::min<std::size_t>(800, tone.frames / 4);  // The recorder's offset filter settles.
    inside.end -= std::min<std::size_t>(40, tone.frames / 4);     // A server may ramp the edges.
    double amplitude = 0;
    // One sine through all of it: a repeat, a hole or a jump would move what follows by many times this.
    tone.departure = DepartureFromSine(samples, inside, hz, amplitude) / expectedAmplitude;
    tone.levelDB = 20 * std::log10(amplitude / expectedAmplitude);
    return tone;
  }
  // Whole, unchanged and 0.1 dB true, frames long to the few that its edges hide.
  static bool IsWhole(const ToneHeard& tone, std::int32_t frames) {
    return tone.stretches == 1 && std::abs(static_cast<double>(tone.frames) - frames) <= 16 && tone.departure < 0.02 &&
           std::abs(tone.levelDB) <= 0.1;
  }
  static std::string Text(const ToneHeard& tone, std::int32_t frames) {
    std::ostringstream text;
    text << tone.stretches << " stretch(es), " << tone.frames << " frames of " << frames << ", furthest sample "
         << 100 * tone.departure << " % from the sine, level " << tone.levelDB << " dB";
    return text.str();
  }

  TemporaryFolder folder;
  const StallWatch stalls;
  Listener heard;
  std::unique_ptr<PulseServer> server;  // The connection.
  std::unique_ptr<LSoundRecorder> recorder;
  std::unique_ptr<LSoundPlayer> player;

 private:
  static int Script(const std::string& arguments) {
    return std::system((std::string(KIV_SCRIPTS) + "/sound-server " + arguments).c_str());
  }

  const Services before_ = services;
  std::unique_ptr<PulseInput> input_;
  std::unique_ptr<PulseOutput> output_;
  StalledSink* memory_ = nullptr;
  LSoundSink sink_;
};

inline std::string ServerName(const testing::TestParamInfo<const char*>& info) {
  return info.param;
}

}  // namespace kiv::test
