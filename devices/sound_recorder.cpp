#include "devices/sound_recorder.h"

#include <algorithm>
#include <utility>

#include "audio/buffer_level.h"
#include "audio/convert_channels.h"
#include "audio/convert_rate_sink.h"
#include "audio/sample_format.h"
#include "audio/wave_sink.h"
#include "foundation/fixed_point.h"
#include "platform/services.h"

namespace {

constexpr int kCapturePriority = -10;
constexpr std::int32_t kMinBlockFrames = 20;
constexpr std::uint32_t kInputTimeOutMs = 3000;
// A pause leaves this much after the last loud block, a stop that much.
constexpr std::int32_t kPauseTailMs = 450;
constexpr std::int32_t kStopTailMs = 50;
constexpr std::int32_t kSyncSeconds = 5;
constexpr const char* kMediaName = "Call recording";

}  // namespace

void LSoundRecorderNotify::srntfRecord(std::int32_t /*id*/) {}
void LSoundRecorderNotify::srntfWait(std::int32_t /*id*/) {}
void LSoundRecorderNotify::srntfStop(std::int32_t /*id*/) {}
void LSoundRecorderNotify::srntfTime(LSoundTime /*time*/, std::int32_t /*id*/) {}
void LSoundRecorderNotify::srntfLevel(LDBMC const& /*level*/, std::int32_t /*id*/) {}

struct LSoundRecorder::Capture {
  Capture(std::int32_t rate, std::int32_t channelCount)
      : rateHz(rate),
        channels(channelCount),
        blockFrames(std::max(std::min(rate / 10, kiv::kMaxPieceFrames), kMinBlockFrames)),
        offsetFactor(rate > 0 ? 192000 / rate + 1 : 1),
        input(Samples()),
        current(Samples()),
        held(Samples()),
        offset(static_cast<std::size_t>(channelCount)) {}

  std::size_t Samples() const { return static_cast<std::size_t>(blockFrames) * static_cast<std::size_t>(channels); }

  const std::int32_t rateHz;
  const std::int32_t channels;
  const std::int32_t blockFrames;
  const std::int32_t offsetFactor;
  std::vector<LSF16> input;
  std::vector<std::int32_t> current;
  std::vector<std::int32_t> held;
  std::int32_t heldFrames = 0;       // 0: none has been held since the start.
  std::vector<std::int32_t> offset;  // Accumulator of each channel.
  std::int32_t unsyncedFrames = 0;
};

LSoundRecorder::LSoundRecorder() : input_(kiv::services.soundInput), listener_(this) {
  if (input_ == nullptr) return;
  const auto probe = input_->OpenDefault(kMediaName);
  if (probe != nullptr) inputName_ = probe->Name();
}

LSoundRecorder::~LSoundRecorder() {
  claimed_ = true;
  Stop();
}

void LSoundRecorder::SetNotify(LSoundRecorderNotify* listener, std::int32_t id) noexcept {
  listener_ = listener != nullptr ? listener : this;
  id_ = id;
}

bool LSoundRecorder::Start(LSoundSink& sink, LSoundTime maxTime, LDB threshold, LSoundTime pauseTime) {
  if (claimed_) return false;
  if (state_ != State::Stopped) {
    claimed_ = true;
    Stop();
    claimed_ = false;
  }
  if (sink.IsEmpty() || (sink->Error() & kSinkFailed) != 0 || !OpenInput(sink)) return false;

  levelChannels_ = std::max<std::uint8_t>(sink->Channels(), 1);
  maxTime_ = maxTime;
  threshold_ = threshold;
  offThreshold_ = LDB(threshold - 5);
  pauseTime_ = pauseTime;
  const LSoundTime start = kiv::TimeFromFrames(sink->Position(), std::max(sink->Rate(), 1));
  lastLoudMs_ = start;
  writeError_ = kSinkGood;
  capturedFrames_ = 0;
  inputLost_ = false;
  state_ = State::Waiting;
  const std::uint64_t run = ++run_;
  UseWaitClock(input_->Waits());
  LThread::Start(kCapturePriority);

  listener_->srntfWait(id_);
  if (run == run_) listener_->srntfTime(start, id_);
  return true;
}

// Opens the input with the sink's rate and channel count, and puts converters in front of the sink where the device
// gives others: device, channel conversion, rate conversion, file.
bool LSoundRecorder::OpenInput(LSoundSink& sink) {
  if (input_ == nullptr) return false;
  auto device = input_->OpenDefault(kMediaName);
  if (device == nullptr) return false;
  const std::int32_t rateHz = device->AskRate(sink->Rate() > 0 ? sink->Rate() : kiv::kFallbackRate);
  if (rateHz < 1) return false;
  LSoundSink front = sink;
  if (rateHz != sink->Rate()) front = LSinkConvertRate(rateHz).OpenSink(front);
  const std::int32_t channels = device->AskChannels(std::max<std::int32_t>(sink->Channels(), 1));
  if (channels < 1 || channels > LDBMC::kMaxChannels) return false;
  if (channels != sink->Channels() && !front.IsEmpty())
    front = LSinkConvertChannels::OpenSink(front, static_cast<std::uint8_t>(channels));
  if (front.IsEmpty() || (front->Error() & kSinkFailed) != 0) return false;

  file_ = sink;
  wave_ = dynamic_cast<LSNKPCMFileBase*>(&*file_);
  sink_ = front;
  const std::lock_guard lock(deviceMutex_);
  device_ = std::move(device);
  deviceRateHz_ = rateHz;
  lostFrames_ = 0;
  return true;
}

void LSoundRecorder::Stop() {
  if (state_ == State::Stopped) return;
  ++run_;
  StopThreadSoon();
  Join();

  const LSoundTime end(lastLoudMs_ + kStopTailMs);
  if (SinkTime() > end) sink_->Seek(kiv::FramesFromTime(end, sink_->Rate()));
  // The converters first, which may still write to the file; the file's last reference writes its final header.
  sink_.Close();
  writeError_ = static_cast<std::uint8_t>(writeError_ | file_->Error());
  wave_ = nullptr;
  file_.Close();
  lastLoudMs_ = 0;
  {
    const std::lock_guard lock(deviceMutex_);
    lostFrames_ = device_->LostFrames();
    if (std::string name = device_->Name(); !name.empty()) inputName_ = std::move(name);
    device_.reset();
  }
  state_ = State::Stopped;
  stopRequest_ = false;
  timeLevelPending_ = false;
  stateChangePending_ = false;

  listener_->srntfStop(id_);
}

void LSoundRecorder::EvNotify() {
  if (stopRequest_) {
    Stop();
    return;
  }
  const std::uint64_t run = run_;
  if (timeLevelPending_.exchange(false)) {
    const LSoundTime time(lastLoudMs_);
    LDBMC level;
    {
      const std::lock_guard lock(levelMutex_);
      level = level_;
    }
    listener_->srntfTime(time, id_);
    if (run != run_) return;
    listener_->srntfLevel(level, id_);
    if (run != run_) return;
  }
  if (stateChangePending_.exchange(false)) {
    if (state_ == State::Waiting) {
      listener_->srntfWait(id_);
    } else {
      listener_->srntfRecord(id_);
    }
  }
}

// On the sound system's thread.
void LSoundRecorder::RecordCallbackProc(SPB* pb) {
  auto* const recorder = static_cast<LSoundRecorder*>(pb->user);
  if (recorder != nullptr) recorder->RaiseSignal(recorder->signal_);
}

void LSoundRecorder::ThreadFunction() {
  Capture capture(sink_->Rate(), std::max<std::int32_t>(sink_->Channels(), 1));
  const auto frameBytes = static_cast<std::int32_t>(sizeof(LSF16)) * capture.channels;
  SPB pb{.buffer = capture.input.data(), .completed = &LSoundRecorder::RecordCallbackProc, .user = this};
  const auto ask = [&] {
    ClearSignal(signal_);
    pb.bytes = capture.blockFrames * frameBytes;
    pb.milliseconds = 0;
    device_->Record(pb);
  };
  const auto process = [&] {
    const std::int32_t frames = pb.bytes / frameBytes;
    if (frames > 0) ProcessBlock(capture, frames);
  };

  bool stop = false;
  while (!stop) {
    ask();
    bool dead = false;
    // A buffer that has not come belongs to the device until it does, or the device is stopped.
    while (!IsRaised(signal_) && !IsStopRequested()) {
      if (WaitSignal(signal_, kInputTimeOutMs) || dead) continue;
      dead = true;
      inputLost_ = true;
      stopRequest_ = true;
      PostQueueNotify();
    }
    stop = IsStopRequested();
    if (stop) device_->Stop();
    process();
  }
  // What a slow disk has kept waiting is part of the call, unless the recorder has ended it itself.
  while (!stopRequest_) {
    ask();
    if (pb.bytes <= 0) break;
    process();
  }
}

void LSoundRecorder::ProcessBlock(Capture& capture, std::int32_t frames) {
  capturedFrames_ += frames;
  ConvertSamplesIn<LSF16>(capture.current.data(), capture.input.data(), frames * capture.channels);
  RemoveOffset(capture, frames);
  const LDB level = MeasureLevel(capture, frames);
  // A pause leaves the block to the next one.
  if (state_ == State::Recording) {
    Record(capture, frames, level);
  } else {
    WaitForSound(capture, frames, level);
  }
}

// Takes out what is constant: a high-pass of a few Hz whatever the rate.
void LSoundRecorder::RemoveOffset(Capture& capture, std::int32_t frames) const {
  for (std::int32_t channel = 0; channel < capture.channels; ++channel) {
    std::int32_t& accumulator = capture.offset[static_cast<std::size_t>(channel)];
    std::int32_t* sample = capture.current.data() + channel;
    for (std::int32_t i = 0; i < frames; ++i, sample += capture.channels) {
      *sample = kiv::WrapSub32(*sample, kiv::ShiftRight(accumulator, 12));
      accumulator = kiv::WrapAdd32(accumulator, kiv::WrapMul32(*sample, capture.offsetFactor));
    }
  }
}

// Measures each of the file's channels (a mono input stands for both of a stereo file; of a stereo input a mono file
// measures the first) and gives the level that stands for all.
LDB LSoundRecorder::MeasureLevel(const Capture& capture, std::int32_t frames) {
  LDBMC level;
  level.channels = levelChannels_;
  for (std::uint8_t channel = 0; channel < levelChannels_; ++channel) {
    const auto measured = static_cast<std::uint8_t>(std::min<std::int32_t>(channel, capture.channels - 1));
    level.level[channel] = DBFromPeak(
        GetBufferPeakChan(measured, capture.current.data(), frames, static_cast<std::uint8_t>(capture.channels)));
  }
  const LDB overall = level.Overall();
  const std::lock_guard lock(levelMutex_);
  level_ = level;
  return overall;
}

void LSoundRecorder::Record(Capture& capture, std::int32_t frames, LDB blockLevel) {
  SinkWrite(capture, capture.current.data(), frames);
  const LSoundTime time = SinkTime();
  if (blockLevel < offThreshold_ && kiv::WrapSub32(time, lastLoudMs_) > pauseTime_) {
    sink_->Seek(kiv::FramesFromTime(kiv::WrapAdd32(lastLoudMs_, kPauseTailMs), sink_->Rate()));
    capture.held = capture.current;
    capture.heldFrames = frames;
    state_ = State::Waiting;
    stateChangePending_ = true;
  } else if (blockLevel >= offThreshold_) {
    lastLoudMs_ = time;
  }
  if (maxTime_ > 0 && time > maxTime_) stopRequest_ = true;
  PostTimeAndLevel();
}

void LSoundRecorder::WaitForSound(Capture& capture, std::int32_t frames, LDB blockLevel) {
  if (blockLevel < threshold_) {
    capture.held = capture.current;
    capture.heldFrames = frames;
    PostTimeAndLevel();
    return;
  }
  // Sound that began in the first half may have begun just before the block.
  if (MeasureLevel(capture, frames / 2) >= threshold_ && capture.heldFrames > 0) {
    const std::int32_t preRoll = std::min(capture.rateHz / 50, capture.heldFrames);
    SinkWrite(capture, capture.held.data() + (capture.heldFrames - preRoll) * capture.channels, preRoll);
  }
  SinkWrite(capture, capture.current.data(), capture.blockFrames);
  state_ = State::Recording;
  stateChangePending_ = true;
  PostTimeAndLevel();
}

void LSoundRecorder::PostTimeAndLevel() {
  timeLevelPending_ = true;
  PostQueueNotify();
}

void LSoundRecorder::SinkWrite(Capture& capture, std::int32_t const* samples, std::int32_t frames) {
  sink_->Write(samples, frames);
  if (file_->Error() != kSinkGood) writeError_ = file_->Error();
  capture.unsyncedFrames += frames;
  if (capture.unsyncedFrames < kSyncSeconds * capture.rateHz) return;
  capture.unsyncedFrames = 0;
  if (wave_ != nullptr) wave_->SyncToDisk();
}

LSoundTime LSoundRecorder::SinkTime() const {
  return kiv::TimeFromFrames(sink_->Position(), std::max(sink_->Rate(), 1));
}

std::int64_t LSoundRecorder::LostInputFrames() const {
  const std::lock_guard lock(deviceMutex_);
  return device_ != nullptr ? device_->LostFrames() : lostFrames_;
}

LSoundTime LSoundRecorder::LostInputTime() const {
  const std::int64_t frames = LostInputFrames();
  const std::lock_guard lock(deviceMutex_);
  return static_cast<std::int32_t>(std::min<std::int64_t>(frames * 1000 / deviceRateHz_, INT32_MAX));
}

std::string LSoundRecorder::InputName() const {
  const std::lock_guard lock(deviceMutex_);
  if (device_ != nullptr) {
    if (std::string name = device_->Name(); !name.empty()) return name;
  }
  return inputName_;
}
