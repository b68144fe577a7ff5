// kiv-line: records from the line and plays to it, and shows the level. What one tries first with a new adapter.

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "audio/wave_file.h"
#include "devices/sound_player.h"
#include "devices/sound_recorder.h"
#include "foundation/event_queue.h"
#include "platform/pulse/pulse_input.h"
#include "platform/pulse/pulse_output.h"
#include "platform/services.h"
#include "platform/simulated/simulated_line.h"
#include "tools/level_line.h"
#include "tools/line_options.h"
#include "tools/wave_reason.h"

namespace {

enum ExitStatus { kDone = 0, kFailed = 1 };

int Fail(const std::string& message) {
  std::fprintf(stderr, "kiv-line: %s\n", message.c_str());
  return kFailed;
}

// Keeps SIGINT, SIGTERM and SIGHUP from this thread and those it starts, and makes them readable instead.
class EndSignals {
 public:
  EndSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    descriptor_ = signalfd(-1, &signals, SFD_CLOEXEC);
  }
  ~EndSignals() { close(descriptor_); }
  EndSignals(const EndSignals&) = delete;
  EndSignals& operator=(const EndSignals&) = delete;

  // Waits until the main queue has something to do, at most so many ms (-1: no limit); true when a signal has come.
  bool Wait(int limitMs) const {
    pollfd wake[] = {{kiv::EventQueue::Main().WakeDescriptor(), POLLIN, 0}, {descriptor_, POLLIN, 0}};
    poll(wake, 2, limitMs);
    return (wake[1].revents & POLLIN) != 0;
  }

 private:
  int descriptor_;
};

// The sound system that the devices are on: the sound server, or a simulated line.
class SoundSystem {
 public:
  // False, and said why, when what is to sound on the simulated line cannot be read.
  bool Open(const kiv::LineOptions& options) {
    if (!options.simulate) {
      server_ = std::make_unique<kiv::PulseServer>();
      input_ = std::make_unique<kiv::PulseInput>(*server_);
      output_ = std::make_unique<kiv::PulseOutput>(*server_);
      kiv::services.soundInput = input_.get();
      kiv::services.soundOutput = output_.get();
      return true;
    }
    auto signal = kiv::MakeSpeechBursts(1, -12);
    if (!options.signalPath.empty()) {
      LSoundSource source = LWaveFile::OpenSource(options.signalPath.c_str());
      if (source->Error() != kSourceGood) {
        Fail(options.signalPath + ": " + std::string(kiv::WaveReason(source->Error())));
        return false;
      }
      signal = kiv::MakeSourceSignal(source, true);
    }
    kiv::SimulatedLine::Options line;
    line.speed = options.speed;
    line.lockStep = lockStep_ = options.lockStep;
    line_ = std::make_unique<kiv::SimulatedLine>(line, std::move(signal));
    kiv::services.soundInput = &line_->Input();
    kiv::services.soundOutput = &line_->Output();
    return true;
  }

  // Lets the next thing happen and tells it; false when there is nothing more to wait for, or a signal has come.
  bool Turn(const EndSignals& signals) {
    if (lockStep_) return line_->Step() && !signals.Wait(0);
    const bool stopped = signals.Wait(-1);
    kiv::EventQueue::Main().Drain();
    return !stopped;
  }

 private:
  std::unique_ptr<kiv::PulseServer> server_;
  std::unique_ptr<kiv::PulseInput> input_;
  std::unique_ptr<kiv::PulseOutput> output_;
  std::unique_ptr<kiv::SimulatedLine> line_;
  bool lockStep_ = false;
};

// Recorder and player, and what they tell.
class Session : public LSoundRecorderNotify, public LSoundPlayerNotify {
 public:
  explicit Session(const kiv::LineOptions& options) : options_(options) {
    recorder_.SetNotify(this, 0);
    player_.SetNotify(this, 0);
  }

  int Run(SoundSystem& system, const EndSignals& signals) {
    if (!OpenFiles()) return kFailed;
    if (Records() && !recorder_.Start(sink_, RecordLimit(), options_.thresholdDB, options_.pauseMs))
      return Fail("the sound input cannot be opened");
    if (Plays() && !player_.Start(source_)) return Fail(options_.playPath + ": cannot be played");
    while (!HasEnded() && system.Turn(signals)) {
    }
    player_.Stop();
    recorder_.Stop();
    line_.End();
    return Records() ? CloseRecording() : kDone;
  }

  void srntfRecord(std::int32_t /*id*/) override { state_ = "recording"; }
  void srntfWait(std::int32_t /*id*/) override { state_ = "waiting"; }
  void srntfTime(LSoundTime time, std::int32_t /*id*/) override { recorded_ = time; }
  void srntfLevel(LDBMC const& level, std::int32_t /*id*/) override {
    if (const std::string name = recorder_.InputName(); name != inputName_) {
      inputName_ = name;
      line_.Say("recording from " + name);
    }
    line_.Show(state_, recorded_, level.Overall());
  }
  void spntfTime(LSoundTime time, std::int32_t /*id*/) override {
    played_ = time;
    if (player_.IsSilent() == silent_) return;
    silent_ = !silent_;
    line_.Say(silent_ ? "no sound output: playing silently" : "the sound output is back");
  }
  void spntfLevel(LDBMC const& level, std::int32_t /*id*/) override {
    if (!Records()) line_.Show("playing", played_, level.Overall());
  }

 private:
  bool Records() const { return !options_.recordPath.empty(); }
  bool Plays() const { return !options_.playPath.empty(); }

  // The recorder stops with the first block that goes beyond its limit: a limit of a little less makes it end with
  // the block that reaches the time.
  LSoundTime RecordLimit() const { return options_.milliseconds > 0 ? std::max(options_.milliseconds - 1, 1) : 0; }

  bool HasEnded() const {
    const bool limited = options_.milliseconds > 0;
    if (Records()) {
      if (!recorder_.IsRunning() || recorder_.WriteError() != kSinkGood) return true;
      return Plays() && !limited && !player_.IsPlaying();
    }
    return !player_.IsPlaying() || (limited && played_ >= options_.milliseconds);
  }

  // Each failure is found before the recording's file is touched.
  bool OpenFiles() {
    if (Plays()) {
      source_ = LWaveFile::OpenSource(options_.playPath.c_str());
      if (source_->Error() != kSourceGood) {
        Fail(options_.playPath + ": " + std::string(kiv::WaveReason(source_->Error())));
        return false;
      }
    }
    if (!Records()) return true;
    const std::string& path = options_.recordPath;
    struct stat there {};
    if (stat(path.c_str(), &there) == 0) {
      if (!S_ISREG(there.st_mode)) {
        Fail(path + ": is not a file");
        return false;
      }
      for (const std::string& used : {options_.playPath, options_.signalPath}) {
        struct stat other {};
        if (used.empty() || stat(used.c_str(), &other) != 0) continue;
        if (there.st_dev != other.st_dev || there.st_ino != other.st_ino) continue;
        Fail(path + ": is being played");
        return false;
      }
    }
    if (kiv::services.soundInput->OpenDefault("Call recording") == nullptr) {
      Fail("there is no sound input, or no sound server");
      return false;
    }
    errno = 0;
    sink_ = LWaveFile::OpenSinkPCM(path.c_str(), options_.rateHz, options_.channels, 16, 0);
    if (sink_.IsEmpty() || sink_->Error() != kSinkGood) {
      Fail(path + ": " + (errno != 0 ? std::strerror(errno) : "cannot be opened"));
      return false;
    }
    return true;
  }

  // Says what there is in the file now.
  int CloseRecording() {
    const std::string& path = options_.recordPath;
    // On a fast line another block may have come before the stop.
    const auto limit = static_cast<std::int32_t>(
        std::min<std::int64_t>(std::int64_t{options_.milliseconds} * options_.rateHz / 1000, INT32_MAX));
    if (limit > 0 && sink_->Position() > limit) sink_->Seek(limit);
    const std::int32_t frames = sink_->Position();
    const bool written = sink_->Error() == kSinkGood;
    sink_.Close();
    // The last bytes are written as the sink goes.
    const LSoundSource stored = LWaveFile::OpenSource(path.c_str());
    if (!written || stored->Error() != kSourceGood || stored->GetEndSample() != frames)
      return Fail(path + ": could not be written in full; is the disk full?");
    const std::int64_t lost = recorder_.LostInputFrames();
    std::fprintf(stderr, "kiv-line: %s: %.1f s, %d Hz, %s\n", path.c_str(),
                 static_cast<double>(frames) / options_.rateHz, options_.rateHz,
                 options_.channels == 1 ? "mono" : "stereo");
    if (lost > 0) Fail(std::to_string(std::int32_t{recorder_.LostInputTime()}) + " ms of the input were lost");
    if (recorder_.IsInputLost()) return Fail("the sound input has gone: nothing has come from it for three seconds");
    return lost > 0 ? kFailed : kDone;
  }

  const kiv::LineOptions options_;
  LSoundSource source_;
  LSoundSink sink_;
  LSoundRecorder recorder_;
  LSoundPlayer player_;
  kiv::LevelLine line_;
  const char* state_ = "waiting";
  std::string inputName_;
  LSoundTime recorded_;
  LSoundTime played_;
  bool silent_ = false;
};

}  // namespace

int main(int argc, char** argv) {
  int exitStatus = kDone;
  const std::optional<kiv::LineOptions> options = kiv::ReadLineOptions(argc, argv, exitStatus);
  if (!options) return exitStatus;
  // Before any thread is started.
  const EndSignals signals;
  SoundSystem system;
  if (!system.Open(*options)) return kFailed;
  Session session(*options);
  return session.Run(system, signals);
}
