#include "recorder/engine.h"

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <string>
#include <utility>

#include "audio/wave_file.h"
#include "foundation/file.h"
#include "foundation/wall_clock.h"
#include "recorder/activity_log.h"
#include "recorder/engine_events.h"
#include "recorder/prompt_chain.h"
#include "recorder/setting_keys.h"
#include "recorder/settings.h"

namespace {

// Never within a recording.
constexpr LSoundTime kNever = 216000000;
constexpr LSoundTime kLongestRecording = 3600000;
constexpr LSoundTime kShortestToneInterval = 3000;
constexpr std::int32_t kRecordingRateHz = 8000;
constexpr std::uint64_t kLowDiskBytes = 200'000'000;

LSoundTime ToneInterval() {
  if (!kiv::GetSetting(kiv::kRecordTone)) return kNever;
  return std::max<std::int32_t>(kiv::GetSetting(kiv::kRecordToneInterval), kShortestToneInterval);
}

// The name of a recording that starts at that time, and the path that goes with it.
bool NameRecording(std::int64_t time, char const* fileNumber, char (&name)[kiv::kTextSize],
                   char (&path)[kiv::kTextSize]) {
  std::tm local{};
  if (!kiv::LocalTime(time, local)) return false;
  char date[80];
  std::snprintf(date, sizeof date, "%.4d-%.2d-%.2d %.2d-%.2d-%.2d", local.tm_year + 1900, local.tm_mon + 1,
                local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
  std::string whole(date);
  if (*fileNumber != '\0') whole.append(" ").append(fileNumber);
  tstrmcpy(name, whole.c_str());
  tstrmcpy(path, gSettings.recordingsFolder);
  LFile::_FilePathCat(path, name, ".wav");
  return true;
}

// Calls one after the other in one second, and the hour that comes twice in autumn, must not meet in one file: moves on
// to the next second whose name is free. False when there is none, as with a folder so deep that every path is cut to
// the same text.
bool NameFreeRecording(char const* fileNumber, char (&name)[kiv::kTextSize], char (&path)[kiv::kTextSize]) {
  constexpr int kMostSeconds = 7200;
  const std::int64_t now = kiv::UnixTime();
  for (int later = 0; later < kMostSeconds; ++later) {
    if (!NameRecording(now + later, fileNumber, name, path)) return false;
    if (access(path, F_OK) != 0) return true;
  }
  return false;
}

bool IsDiskLow(char const* folder) {
  struct statvfs status {};
  return statvfs(folder, &status) == 0 && std::uint64_t{status.f_bavail} * status.f_frsize < kLowDiskBytes;
}

}  // namespace

LKivEngine::LKivEngine(LALCListThread& queue) : toneInterval_(ToneInterval()), queue_(queue) {
  player_.SetNotify(this, 0);
  recorder_.SetNotify(this, 0);
}

LKivEngine::~LKivEngine() {
  player_.SetNotify(nullptr, 0);
  recorder_.SetNotify(nullptr, 0);
  StopDevices();
  HandOver();
}

void LKivEngine::SndStart() {
  if (state_ == SndStateType::Idle) silentOutputLogged_ = false;
  switch (mode_) {
    case RequestedMode::Record:
      return SndRecordStart();
    case RequestedMode::Hold:
      return SndHoldStart();
    case RequestedMode::None:
      break;
  }
  SndDisconnect();
}

void LKivEngine::SndDisconnect() {
  SndStop();
}

void LKivEngine::SndStop() {
  state_ = SndStateType::Idle;
  StopDevices();
  HandOver();
}

void LKivEngine::StopDevices() {
  player_.Stop();
  recorder_.Stop();
}

void LKivEngine::HandOver() {
  if (*recordingPath_ == '\0') return;
  const LALCListItem item(recordingPath_);
  *recordingPath_ = '\0';  // Before Add, so that each file is queued once.
  queue_.Add(item);
}

void LKivEngine::SndRecordStart() {
  if (!kiv::GetSetting(kiv::kStartPrompt)) return SndRecord();
  LogFile("Play start-of-recording prompt");
  SndPlay("Start Prompt", SndStateType::StartPrompt);
}

void LKivEngine::SndHoldStart() {
  const std::int32_t stored = kiv::GetSetting(kiv::kHoldNumber) % 3;
  const std::int32_t number = stored < 0 ? stored + 3 : stored;
  kiv::SetSetting(kiv::kHoldNumber, (number + 1) % 3);
  char name[kiv::kTextSize];
  std::snprintf(name, sizeof name, "On-Hold %d", number + 1);
  SndPlay(name, SndStateType::OnHold);
}

void LKivEngine::SndRecord() {
  SndStop();
  // The first tone of a recording comes after the interval of the recording before, the later ones after its own.
  nextTone_ = toneInterval_;
  toneInterval_ = ToneInterval();

  char name[kiv::kTextSize] = {};
  const bool named = NameFreeRecording(fileNumber_, name, recordingPath_);
  LogFile("Recording ", name);
  if (!named) return RefuseRecording();
  StartRecorder();
}

void LKivEngine::RefuseRecording() {
  LogFile("Error: Unable to open recording: ", recordingPath_);
  *recordingPath_ = '\0';
  SndStop();
}

void LKivEngine::StartRecorder() {
  LSoundSink sink = LWaveFile::OpenSinkPCM(recordingPath_, kRecordingRateHz, 1, 16, 0);
  if (sink.IsEmpty() || sink->Error() != kSinkGood) return RefuseRecording();
  if (IsDiskLow(gSettings.recordingsFolder)) LogFile("Warning: Low disk space");
  state_ = SndStateType::Recording;
  writeErrorLogged_ = false;
  // Reports wait until our own reference to the file is gone: one of them may end the recording, and the queue must
  // never see an unfinished header.
  recorder_.SetNotify(nullptr, 0);
  const bool started = recorder_.Start(sink, kLongestRecording, -127, kNever);
  sink.Close();
  recorder_.SetNotify(this, 0);
  if (!started) {
    unlink(recordingPath_);
    *recordingPath_ = '\0';
    return EndCall("Error: Unable to open sound input");
  }
  EvRecordTime(0);
}

void LKivEngine::EndCall(char const* reason) {
  LogFile(reason);
  mode_ = RequestedMode::None;
  SndStop();
  Post(kiv::Event(kiv::kEngineClass, kiv::kEngineDisconnected));
}

void LKivEngine::SndPlay(char const* name, SndStateType state) {
  if (state != SndStateType::Recording) SndStop();
  char path[kiv::kTextSize];
  kiv::PathOfPrompt(path, name);
  LSoundSource source = kiv::OpenPrompt(path);
  if (source->Error() != kSourceGood) return SndDisconnect();
  state_ = state;
  player_.Start(source);
}

void LKivEngine::PlayEndPrompt() {
  LogFile("Play end-of-recording prompt");
  SndPlay("End Prompt", SndStateType::EndPrompt);
}

void LKivEngine::spntfStop(std::int32_t /*id*/) {
  LogSilentOutput();
  switch (state_) {
    case SndStateType::StartPrompt:
      return SndRecord();
    case SndStateType::EndPrompt:
      return SndStart();
    case SndStateType::Recording:
      return;
    case SndStateType::OnHold:
      return SndHoldStart();
    case SndStateType::Idle:
      return SndDisconnect();
  }
}

void LKivEngine::spntfTime(LSoundTime time, std::int32_t /*id*/) {
  LogSilentOutput();
  if (state_ != SndStateType::OnHold) return;
  NotifyTime(time);
  if (mode_ != RequestedMode::Hold) SndStart();
}

void LKivEngine::srntfTime(LSoundTime time, std::int32_t /*id*/) {
  EvRecordTime(time);
}

void LKivEngine::EvRecordTime(LSoundTime time) {
  if (state_ != SndStateType::Recording) return;
  LogWriteError();
  NotifyTime(time);
  if (time >= nextTone_) {
    SndPlay("Record Tone", SndStateType::Recording);
    nextTone_ = kiv::WrapAdd32(time, toneInterval_);
  }
  if (mode_ == RequestedMode::Record) return;
  if (kiv::GetSetting(kiv::kEndPrompt)) {
    PlayEndPrompt();
  } else {
    SndStart();
  }
}

void LKivEngine::srntfStop(std::int32_t /*id*/) {
  EvRecordComplete();
}

void LKivEngine::EvRecordComplete() {
  LogWriteError();
  const std::int32_t lostMs = recorder_.LostInputTime();
  if (lostMs > 0) LogFile("Warning: Sound input lost: ", std::to_string(lostMs).c_str());
  HandOver();
  if (state_ != SndStateType::Recording) return;

  if (kiv::GetSetting(kiv::k1HourStop)) {
    LogFile("1 hour limit reached - autostop");
    mode_ = RequestedMode::None;
    Post(kiv::Event(kiv::kEngineClass, kiv::kEngineDisconnected));
    if (kiv::GetSetting(kiv::kEndPrompt)) return PlayEndPrompt();
  } else if (recorder_.IsInputLost() && recorder_.CapturedFrames() == 0) {
    // A dead input would go on making empty files for ever.
    return EndCall("Error: Sound input stopped");
  }
  SndStart();
}

void LKivEngine::spntfLevel(LDBMC const& levels, std::int32_t /*id*/) {
  EvDB(levels.Overall());
}
void LKivEngine::srntfLevel(LDBMC const& levels, std::int32_t /*id*/) {
  EvDB(levels.Overall());
}

void LKivEngine::EvDB(LDB level) {
  kiv::Event event(kiv::kEngineClass, kiv::kEngineLevel);
  event.Set(kiv::kEngineLevelParameter, kiv::kEngineLevelParameter, std::int32_t{level});
  Post(std::move(event));
}

void LKivEngine::NotifyTime(LSoundTime time) {
  kiv::Event event(kiv::kEngineClass, kiv::kEngineTime);
  event.Set(kiv::kEngineTimeParameter, kiv::kEngineTimeParameter, time);
  Post(std::move(event));
}

void LKivEngine::Post(kiv::Event event) {
  if (events_ != nullptr) events_->Post(std::move(event));
}

void LKivEngine::LogWriteError() {
  if (writeErrorLogged_ || *recordingPath_ == '\0' || recorder_.WriteError() == kSinkGood) return;
  writeErrorLogged_ = true;
  LogFile("Error: Unable to write recording: ", recordingPath_);
}

void LKivEngine::LogSilentOutput() {
  if (silentOutputLogged_ || !player_.IsSilent()) return;
  silentOutputLogged_ = true;
  LogFile("Error: Unable to open sound output");
}
