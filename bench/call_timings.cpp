// How long a call takes to begin and to end, and what it misses between two files.
//
//   kiv-call-timings line|server [ROUNDS]    on a simulated line in real time, or on the default sound server, whose
//                                            monitor is the input
//
//   start    from SndStart, without a start prompt, to the first block in the file
//   stop     from the requested mode none, without an end prompt, to the finished file in the queue
//   at once  the same from SndStop
//   gap      between two files of one call, as after an hour; on a server only

#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "audio/wave_file.h"
#include "devices/sound_player.h"
#include "platform/folders.h"
#include "platform/posix/posix_clock.h"
#include "platform/pulse/pulse_input.h"
#include "platform/pulse/pulse_output.h"
#include "platform/services.h"
#include "platform/simulated/simulated_line.h"
#include "recorder/engine.h"
#include "recorder/engine_events.h"
#include "recorder/setting_keys.h"
#include "recorder/settings.h"
#include "tests/support/known_noise.h"
#include "tests/support/memory_preferences.h"
#include "tests/support/queued_recordings.h"
#include "tests/support/test_signals.h"

namespace {

namespace fs = std::filesystem;
using SteadyClock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::int32_t kRate = 8000;
constexpr std::uintmax_t kHeaderBytes = 46;
constexpr auto kLimit = std::chrono::seconds(30);

struct Account : kiv::Folders {
  std::optional<std::string> Home() override { return folder.Path(); }
  std::optional<std::string> Resources() override { return std::nullopt; }
  kiv::test::TemporaryFolder folder;
};

[[noreturn]] void Die(const char* message) {
  std::fprintf(stderr, "kiv-call-timings: %s\n", message);
  std::exit(1);
}

double MsSince(SteadyClock::time_point begin) {
  return std::chrono::duration<double, std::milli>(SteadyClock::now() - begin).count();
}

void Print(const char* name, std::vector<double> ms) {
  if (ms.empty()) return;
  std::ranges::sort(ms);
  std::printf("%-8s median %7.2f ms, worst %7.2f ms of %zu\n", name, ms[ms.size() / 2], ms.back(), ms.size());
}

class Timings {
 public:
  explicit Timings(bool server) : server_(server) {
    kiv::services.folders = &account_;
    kiv::services.preferences = &preferences_;
    kiv::services.clock = &clock_;
    gSettings.Load();
    if (server) {
      pulse_ = std::make_unique<kiv::PulseServer>();
      input_ = std::make_unique<kiv::PulseInput>(*pulse_);
      output_ = std::make_unique<kiv::PulseOutput>(*pulse_);
      kiv::services.soundInput = input_.get();
      kiv::services.soundOutput = output_.get();
    } else {
      line_ = std::make_unique<kiv::SimulatedLine>(kiv::SimulatedLine::Options{}, kiv::MakeSpeechBursts(1, -12));
      kiv::services.soundInput = &line_->Input();
      kiv::services.soundOutput = &line_->Output();
    }
    kiv::SetSetting(kiv::kStartPrompt, false);
    kiv::SetSetting(kiv::kEndPrompt, false);
    kiv::SetSetting(kiv::kRecordTone, false);
    kiv::SetSetting(kiv::k1HourStop, false);
    queue_.SetListFilePath(ListPath().c_str());
    queue_.Shutdown();
    player_ = std::make_unique<LSoundPlayer>();
    engine_ = std::make_unique<LKivEngine>(queue_);
    engine_->SetEventQueue(&kiv::EventQueue::Main());
    kiv::EventQueue::Main().Install(kiv::kEngineClass, kiv::kEngineTime, [this](const kiv::Event& event) {
      recordedMs_ = event.Get<LSoundTime>(kiv::kEngineTimeParameter, kiv::kEngineTimeParameter).value();
      if (onTime_) std::exchange(onTime_, nullptr)();
      return true;
    });
  }
  // The devices before the sound system that they are on.
  ~Timings() {
    engine_.reset();
    player_.reset();
  }

  void Run(int rounds) {
    std::vector<double> start;
    std::vector<double> stop;
    std::vector<double> atOnce;
    for (int round = 0; round < rounds; ++round) {
      start.push_back(Start());
      Stay(round);
      stop.push_back(Stop(false));
      Start();
      Stay(round);
      atOnce.push_back(Stop(true));
    }
    Print("start", start);
    Print("stop", stop);
    Print("at once", atOnce);
    if (!server_) return;
    std::vector<double> gaps;
    for (int round = 0; round < std::min(rounds, 20); ++round) gaps.push_back(Gap());
    Print("gap", gaps);
  }

 private:
  std::string ListPath() const { return std::string(gSettings.dataFolder) + "/bgalc.dat"; }
  std::vector<std::string> Queued() const { return kiv::test::QueuedRecordings(ListPath()); }

  void RunUntil(const std::function<bool()>& done) {
    const auto end = SteadyClock::now() + kLimit;
    while (!done()) {
      if (SteadyClock::now() > end) Die("nothing comes any more");
      pollfd wake{kiv::EventQueue::Main().WakeDescriptor(), POLLIN, 0};
      poll(&wake, 1, 1);
      kiv::EventQueue::Main().Drain();
    }
  }
  // Another moment between two reports in each round.
  void Stay(int round) {
    const auto end = SteadyClock::now() + milliseconds(150 + round * 37 % 100);
    RunUntil([&] { return SteadyClock::now() >= end; });
  }

  double Start() {
    const auto begin = SteadyClock::now();
    engine_->SetMode(RequestedMode::Record);
    engine_->SndStart();
    std::string path;
    for (const auto& entry : fs::directory_iterator(gSettings.recordingsFolder)) path = entry.path();
    if (path.empty()) Die("there is no sound input");
    RunUntil([&] {
      struct stat status {};
      return stat(path.c_str(), &status) == 0 && status.st_size > static_cast<off_t>(kHeaderBytes);
    });
    return MsSince(begin);
  }

  // Takes the finished file away.
  double Stop(bool atOnce) {
    const auto begin = SteadyClock::now();
    engine_->SetMode(RequestedMode::None);
    if (atOnce) engine_->SndStop();
    RunUntil([&] { return engine_->State() == SndStateType::Idle; });
    const double ms = MsSince(begin);
    if (Queued().size() != 1) Die("the recording was not handed over");
    Clear();
    return ms;
  }

  void Clear() {
    for (const std::string& path : Queued()) fs::remove(path);
    fs::remove(ListPath());
  }

  double Gap() {
    constexpr std::size_t kPiece = 800;
    engine_->SetMode(RequestedMode::Record);
    engine_->SndStart();
    recordedMs_ = 0;
    RunUntil([&] { return recordedMs_ >= 300; });
    LSoundSource source = kiv::test::OpenMemory(noise_, kRate, 1);
    player_->Start(source);
    RunUntil([&] { return recordedMs_ >= 1500; });
    onTime_ = [this] { engine_->StopDevices(); };
    RunUntil([&] { return Queued().size() == 1; });
    recordedMs_ = 0;
    RunUntil([&] { return recordedMs_ >= 500; });
    engine_->SetMode(RequestedMode::None);
    engine_->SndStop();
    player_->Stop();
    const std::vector<std::string> files = Queued();
    if (files.size() != 2) Die("there are not two files");
    const std::vector<std::int32_t> first = SamplesOf(files[0]);
    const std::vector<std::int32_t> second = SamplesOf(files[1]);
    // A stream may begin with a moment of silence.
    const auto end = kiv::test::FindInNoise(noise_, std::span(first).last(kPiece));
    const auto begin = kiv::test::FindInNoise(noise_, std::span(second).subspan(3 * kPiece, kPiece));
    if (end.match < 0.5 || begin.match < 0.5) Die("the noise is not in the files");
    Clear();
    return static_cast<double>(begin.frame - end.frame - std::int64_t{4 * kPiece}) * 1000 / kRate;
  }
  static std::vector<std::int32_t> SamplesOf(const std::string& path) {
    LSoundSource source = LWaveFile::OpenSource(path.c_str());
    return kiv::test::ReadInPieces(source, source->GetEndSample(), {8192});
  }

  const bool server_;
  Account account_;
  kiv::test::MemoryPreferences preferences_;
  kiv::PosixClock clock_;
  std::unique_ptr<kiv::PulseServer> pulse_;
  std::unique_ptr<kiv::PulseInput> input_;
  std::unique_ptr<kiv::PulseOutput> output_;
  std::unique_ptr<kiv::SimulatedLine> line_;
  LALCListThread queue_;
  std::unique_ptr<LKivEngine> engine_;
  const std::vector<std::int32_t> noise_ = kiv::test::Noise(7, 20 * kRate, 1, 200000);
  std::unique_ptr<LSoundPlayer> player_;
  std::int32_t recordedMs_ = 0;
  std::function<void()> onTime_;
};

}  // namespace

int main(int argc, char** argv) {
  const bool server = argc >= 2 && std::strcmp(argv[1], "server") == 0;
  const int rounds = argc == 3 ? std::atoi(argv[2]) : 100;
  if (argc < 2 || argc > 3 || rounds < 1 || (!server && std::strcmp(argv[1], "line") != 0)) {
    std::fprintf(stderr, "usage: kiv-call-timings line|server [ROUNDS]\n");
    return 2;
  }
  Timings(server).Run(rounds);
  return 0;
}
