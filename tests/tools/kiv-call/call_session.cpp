#include "tests/tools/kiv-call/call_session.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <numbers>
#include <set>
#include <utility>

#include "audio/buffer_level.h"
#include "audio/sample_format.h"
#include "audio/wave_file.h"
#include "foundation/file.h"
#include "foundation/level.h"
#include "platform/services.h"
#include "platform/simulated/line_core.h"
#include "recorder/engine_events.h"
#include "recorder/prompt_files.h"
#include "recorder/settings.h"
#include "tests/support/queued_recordings.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

constexpr std::int32_t kRateHz = 8000;
constexpr std::int64_t kMillisecond = 1000000;

bool Fail(const std::string& message) {
  std::fprintf(stderr, "kiv-call: %s\n", message.c_str());
  return false;
}

// Stands in for a system prompt that does not come with this tree: a tone of its own for each.
struct StandIn {
  char const* name;
  double seconds;
  int hz;
};
constexpr StandIn kStandIns[] = {{"Start Prompt", 1.0, 440}, {"End Prompt", 1.0, 330}, {"Record Tone", 0.5, 1400},
                                 {"On-Hold 1", 3.0, 523},    {"On-Hold 2", 3.0, 587},  {"On-Hold 3", 3.0, 659}};

// No progress display: the system prompts are converted in a moment.
struct NoProgress {
  void SetStatus(char const* /*text*/, int /*line*/) {}
  void SetProgress(double /*fraction*/) {}
  bool IsToStop() { return false; }
};

std::string Seconds(std::int64_t ms) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", static_cast<double>(ms) / 1000);
  return text;
}

std::int32_t PeakOf(LSoundSource& source) {
  std::int32_t peak = 0;
  std::vector<std::int32_t> piece(std::size_t{kMaxPieceFrames} * source->Channels());
  for (std::int32_t left = source->GetEndSample(); left > 0;) {
    const std::int32_t frames = std::min(left, kMaxPieceFrames);
    source->Read(piece.data(), frames);
    peak = std::max(peak, GetBufferPeak(piece.data(), frames, source->Channels()));
    left -= frames;
  }
  return peak;
}

}  // namespace

// The folders of the call's account.
class CallSession::Account : public Folders {
 public:
  explicit Account(std::string home) : home_(std::move(home)) {}
  std::optional<std::string> Home() override { return home_; }
  std::optional<std::string> Resources() override { return system_.Resources(); }

 private:
  const std::string home_;
  PosixFolders system_;
};

CallSession::CallSession(const CallOptions& options) : options_(options) {}

CallSession::~CallSession() {
  engine_.reset();
  gStatusWindow.SetControl(nullptr);
  while (EventQueue::Main().Drain() > 0) {
  }
  for (const auto handler : handlers_) EventQueue::Main().Remove(handler);
}

bool CallSession::Open() {
  std::error_code error;
  fs::create_directories(options_.home, error);
  if (!fs::is_directory(options_.home, error)) return Fail(options_.home + ": is not a folder");
  account_ = std::make_unique<Account>(fs::absolute(options_.home).string());
  services.folders = account_.get();
  services.preferences = &preferences_;
  services.clock = &clock_;
  gSettings.Load();
  if (!OpenSoundSystem()) return false;
  startNs_ = SystemNs();
  MakeMissingPrompts();
  for (const std::uint32_t kind : {kEngineTime, kEngineLevel, kEngineDisconnected}) {
    handlers_.push_back(
        EventQueue::Main().Install(kEngineClass, kind, [this](const Event& event) { return Handle(event); }));
  }
  gStatusWindow.SetControl(this);
  return true;
}

bool CallSession::OpenSoundSystem() {
  if (options_.server) {
    server_ = std::make_unique<PulseServer>();
    input_ = std::make_unique<PulseInput>(*server_);
    output_ = std::make_unique<PulseOutput>(*server_);
    services.soundInput = input_.get();
    services.soundOutput = output_.get();
    return true;
  }
  auto signal = MakeSpeechBursts(1, -12);
  if (!options_.linePath.empty()) {
    LSoundSource source = LWaveFile::OpenSource(options_.linePath.c_str());
    if (source->Error() != kSourceGood) return Fail(options_.linePath + ": is not a WAV file that can be read");
    signal = MakeSourceSignal(source, true);
  }
  SimulatedLine::Options line;
  line.lockStep = options_.speed <= 0;
  if (!line.lockStep) line.speed = options_.speed;
  line_ = std::make_unique<SimulatedLine>(line, std::move(signal));
  services.soundInput = &line_->Input();
  lineOutput_ = std::make_unique<test::WatchedOutput>(line_->Output());
  lineOutput_->opened = [this] { ++channel_; };
  services.soundOutput = lineOutput_.get();
  services.clock = &line_->WallClock();
  line_->OnPlayed([this](const PlayedSound& sound) { NoteHeard(sound); });
  if (options_.outputPath.empty()) return true;
  LSoundSink sink = LWaveFile::OpenSinkPCM(options_.outputPath.c_str(), kRateHz, 1, 16, 0);
  if (sink->Error() != kSinkGood) return Fail(options_.outputPath + ": cannot be written");
  line_->WriteOutputTo(sink);
  return true;
}

void CallSession::MakeMissingPrompts() {
  ExtractMissingPrompts([](LFileExtractorProcess& job) {
    NoProgress none;
    Process(none, job);
  });
  for (const StandIn& prompt : kStandIns) {
    char path[kTextSize];
    PathOfPrompt(path, prompt.name);
    if (fs::exists(path)) continue;
    std::vector<std::int32_t> samples(static_cast<std::size_t>(prompt.seconds * kRateHz));
    for (std::size_t i = 0; i < samples.size(); ++i) {
      samples[i] = static_cast<std::int32_t>(
          100000 * std::sin(2 * std::numbers::pi * prompt.hz * static_cast<double>(i) / kRateHz));
    }
    LSoundSink sink = OpenPromptSink(path);
    sink->Write(samples.data(), static_cast<std::int32_t>(samples.size()));
  }
}

// Made at the first command that is no setting: the interval of the first record tone counts from then on.
void CallSession::MakeEngine() {
  if (engine_ != nullptr) return;
  queue_ = std::make_unique<LALCListThread>();
  char path[kTextSize];
  tstrmcpy(path, gSettings.dataFolder);
  LFile::_FilePathCat(path, "bgalc.dat");
  queue_->SetListFilePath(path);
  // It begins when the call is over, so that its lines come where they always come.
  queue_->Shutdown();
  engine_ = std::make_unique<LKivEngine>(*queue_);
  engine_->SetEventQueue(&EventQueue::Main());
}

bool CallSession::Run(const std::vector<CallCommand>& commands) {
  bool good = true;
  for (const CallCommand& command : commands) {
    if (command.verb != CallVerb::Set) MakeEngine();
    if (command.atMs) GoOn(*command.atMs, [] { return false; });
    Say("command", command.text);
    if (!Do(command)) {
      good = Fail("line " + std::to_string(command.line) + ": still " + NameOfState(engine_->State()) + " after " +
                  Seconds(command.ms) + " s");
      break;
    }
    SayState();
  }
  MakeEngine();
  engine_->SndStop();
  SayState();
  if (line_ != nullptr) line_->WriteOutputTo({});
  engine_.reset();
  SayHeard();
  if (options_.level) good = WorkQueueOff() && good;
  SayRecordings();
  return good;
}

bool CallSession::Do(const CallCommand& command) {
  switch (command.verb) {
    case CallVerb::Record:
      Begin(RequestedMode::Record);
      break;
    case CallVerb::Hold:
      Begin(RequestedMode::Hold);
      break;
    case CallVerb::Stop:
      engine_->SetMode(RequestedMode::None);
      break;
    case CallVerb::StopNow:
      engine_->SetMode(RequestedMode::None);
      engine_->SndStop();
      break;
    case CallVerb::StopDevices:
      engine_->SetMode(RequestedMode::None);
      engine_->StopDevices();
      break;
    case CallVerb::Number:
      engine_->SetFileNumber(command.value.c_str());
      break;
    case CallVerb::Set:
      StoreSetting(command.key, command.value);
      break;
    case CallVerb::Remove: {
      char path[kTextSize];
      PathOfPrompt(path, command.value.c_str());
      std::error_code ignored;
      fs::remove(path, ignored);
      break;
    }
    case CallVerb::Wait:
      GoOn(NowMs() + command.ms, [] { return false; });
      break;
    case CallVerb::WaitFor:
      return GoOn(NowMs() + command.ms, [&] { return engine_->State() == command.state; });
    case CallVerb::StallInput:
      line_->StallInput(line_->NowMs(), command.ms);
      break;
    case CallVerb::RefuseInput:
      line_->RefuseInput(command.on);
      break;
    case CallVerb::SilenceOutput:
      line_->RemoveOutput(line_->NowMs(), command.ms);
      break;
  }
  return true;
}

// As the main window does.
void CallSession::Begin(RequestedMode mode) {
  const bool rests = engine_->Mode() == RequestedMode::None;
  engine_->SetMode(mode);
  if (rests) engine_->SndStart();
}

bool CallSession::GoOn(std::int64_t untilMs, const std::function<bool()>& done) {
  if (line_ != nullptr && options_.speed <= 0) return GoOnInLockStep(untilMs, done);
  const double speed = line_ != nullptr ? options_.speed : 1.0;
  while (true) {
    EventQueue::Main().Drain();
    SayState();
    if (done()) return true;
    const std::int64_t left = untilMs - NowMs();
    if (left <= 0) return false;
    pollfd wake{EventQueue::Main().WakeDescriptor(), POLLIN, 0};
    poll(&wake, 1, static_cast<int>(std::min(std::ceil(static_cast<double>(left) / speed), 50.0)));
  }
}

bool CallSession::GoOnInLockStep(std::int64_t untilMs, const std::function<bool()>& done) {
  line_->Settle();
  SayState();
  while (!done()) {
    const std::int64_t left = untilMs - line_->NowMs();
    if (left <= 0) return false;
    // Without a device time stands still, but not for who waits.
    if (!line_->Step(untilMs * kMillisecond)) line_->Pass(untilMs - line_->NowMs());
    SayState();
  }
  return true;
}

std::int64_t CallSession::NowMs() const {
  return line_ != nullptr ? line_->NowMs() : (SystemNs() - startNs_) / kMillisecond;
}

void CallSession::Say(char const* what, const std::string& text) {
  std::printf("%10s  %-8s %s\n", Seconds(NowMs()).c_str(), what, text.c_str());
  std::fflush(stdout);
}

void CallSession::SayState() {
  if (engine_ == nullptr || engine_->State() == state_) return;
  state_ = engine_->State();
  Say("state", NameOfState(state_));
}

// The log grows at its end and loses its oldest part.
void CallSession::ShowStatus(const std::string& log) {
  std::size_t lost = 0;
  while (!log.starts_with(std::string_view(shown_).substr(lost))) ++lost;
  const std::string added = log.substr(shown_.size() - lost);
  shown_ = log;
  for (std::size_t begin = 0, end; (end = added.find('\r', begin)) != std::string::npos; begin = end + 1) {
    Say("log", added.substr(begin, end - begin));
  }
}

bool CallSession::Handle(const Event& event) {
  if (event.Kind() == kEngineDisconnected) Say("event", "ended by itself");
  if (!options_.reports) return true;
  if (const auto time = event.Get<LSoundTime>(kEngineTimeParameter, kEngineTimeParameter))
    Say("time", Seconds(std::int32_t{*time}));
  if (const auto level = event.Get<std::int32_t>(kEngineLevelParameter, kEngineLevelParameter))
    Say("level", std::to_string(*level) + " dB");
  return true;
}

void CallSession::NoteHeard(const PlayedSound& sound) {
  if (sound.samples.empty()) return;
  std::int32_t peak = 0;
  for (const std::int16_t sample : sound.samples) peak = std::max(peak, std::abs(std::int32_t{sample}) * 16);
  const std::int64_t end =
      sound.startNs + NsFromFrames(static_cast<std::int64_t>(sound.samples.size()) / sound.channels, sound.rateHz);
  const std::lock_guard lock(heardMutex_);
  if (!heard_.empty() && heard_.back().channel == channel_ && heard_.back().to == sound.startNs) {
    heard_.back().to = end;
    heard_.back().peak = std::max(heard_.back().peak, peak);
  } else {
    heard_.push_back({channel_, sound.startNs, end, peak});
  }
}

void CallSession::SayHeard() {
  const std::lock_guard lock(heardMutex_);
  for (const Heard& heard : heard_) {
    std::printf("%10s  %-8s to %s, peak %d dB\n", Seconds(heard.from / kMillisecond).c_str(), "heard",
                Seconds(heard.to / kMillisecond).c_str(), int{DBFromPeak(heard.peak)});
  }
}

void CallSession::SayRecordings() {
  const std::vector<std::string> queued = test::QueuedRecordings(queue_->ListFilePath());
  std::set<fs::path> paths;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(gSettings.recordingsFolder, error)) paths.insert(entry.path());
  for (const fs::path& path : paths) {
    LSoundSource source = LWaveFile::OpenSource(path.c_str());
    const std::int64_t frames = source->GetEndSample();
    const auto times = std::ranges::count(queued, path.string());
    std::printf("%10s  %-8s %s, %d Hz, %s, peak %d dB%s\n", Seconds(frames * 1000 / source->Rate()).c_str(), "file",
                path.filename().c_str(), source->Rate(), source->Channels() == 1 ? "mono" : "stereo",
                int{DBFromPeak(PeakOf(source))}, times == 0 ? "" : ", queued");
  }
}

bool CallSession::WorkQueueOff() {
  constexpr auto kLimit = std::chrono::minutes(10);
  const auto end = std::chrono::steady_clock::now() + kLimit;
  LALCListThread worker;
  worker.SetListFilePath(queue_->ListFilePath());
  // What is in the list is read from the list: nothing else tells when the last one is done.
  while (!test::QueuedRecordings(worker.ListFilePath()).empty()) {
    if (std::chrono::steady_clock::now() >= end) return Fail("the queue does not come to its end");
    pollfd wake{EventQueue::Main().WakeDescriptor(), POLLIN, 0};
    poll(&wake, 1, 20);
    EventQueue::Main().Drain();
  }
  worker.Shutdown();
  while (EventQueue::Main().Drain() > 0) {
  }
  return true;
}

}  // namespace kiv
