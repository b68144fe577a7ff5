#pragma once

// Records the default sound input into a sink: waits for sound, records, pauses over quiet stretches and cuts them
// out of the file, and stops by itself after a maximum time or when the input has been dead for three seconds.
//
//   Units    times of the sink; levels in dB, a threshold of -127 records everything.
//   Threads  made, used and destroyed on main; every listener call comes on main, also from inside Start and Stop.
//            A capture thread of its own writes to the sink; the sink's handles stay on main. Functions marked
//            "any time" may be called while it records.
//   Nesting  a listener may call Start and Stop from inside any notification: the recorder has finished all it had
//            to do before it calls out, and nothing of the old run is reported afterwards. A Start from inside the
//            stop notification that another Start or the destructor causes gives false: the outer one has the
//            device.
//   Errors   Start gives false when the sink is empty or in error, the input cannot be opened, or its channel count
//            cannot be converted; what was running has been stopped by then. A write error does not stop the
//            recording; it can be asked for.
//   Owns     a reference to the sink and the open input from Start to Stop.
//   Disk     a WAV file under the sink is synchronised about every five seconds.

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "audio/sound_sink.h"
#include "foundation/level.h"
#include "foundation/queued_notify.h"
#include "foundation/sound_time.h"
#include "foundation/thread.h"
#include "platform/sound_input.h"

class LSNKPCMFileBase;

using SPB = kiv::InputRequest;

// What a recorder tells; every operation does nothing by default. id is the number that the owner registered.
class LSoundRecorderNotify {
 public:
  // The order of the virtual operations is part of the interface.
  // Recording has begun, or gone on after a pause.
  virtual void srntfRecord(std::int32_t id);
  // The recorder waits for sound.
  virtual void srntfWait(std::int32_t id);
  virtual void srntfStop(std::int32_t id);
  // The recorded time up to the last loud block.
  virtual void srntfTime(LSoundTime time, std::int32_t id);
  // The input level of each channel of the file.
  virtual void srntfLevel(LDBMC const& level, std::int32_t id);

 protected:
  ~LSoundRecorderNotify() = default;
};

class LSoundRecorder : public LThread, public LThreadQueuedNotify, public LSoundRecorderNotify {
 public:
  // Takes the input port from the services, and opens and closes the input once to see what it is.
  LSoundRecorder();
  ~LSoundRecorder() override;

  // Who is told, with which id; null for nobody. The listener outlives the recorder or is taken back before it goes.
  void SetNotify(LSoundRecorderNotify* listener, std::int32_t id) noexcept;

  // Records into sink from its position on, up to maxTime of it (0 or less: no limit). Recording begins when a
  // block's level reaches threshold, and pauses after pauseTime of blocks more than 5 dB below it.
  bool Start(LSoundSink& sink, LSoundTime maxTime, LDB threshold, LSoundTime pauseTime);
  // Ends the recording and cuts off what followed the last loud block by more than 50 ms. Captured sound that
  // still waits for the disk is written before. Nothing when stopped.
  void Stop();

  bool IsRunning() const noexcept { return state_ != State::Stopped; }

  // About this run or the last one, any time:
  // the sink's error, which a failed write sets (not that of a converter in front of it);
  std::uint8_t WriteError() const noexcept { return writeError_; }
  // frames of the input's rate that were lost because they were not taken in time, and as a time;
  std::int64_t LostInputFrames() const;
  LSoundTime LostInputTime() const;
  // frames of the input's rate that have arrived;
  std::int64_t CapturedFrames() const noexcept { return capturedFrames_; }
  // the run was ended because the input had been dead for three seconds;
  bool IsInputLost() const noexcept { return inputLost_; }
  // what a person would call the input in use; may be empty.
  std::string InputName() const;

 protected:
  void ThreadFunction() override;
  void EvNotify() override;

 private:
  enum class State : std::int32_t { Stopped = 0, Waiting = 1, Recording = 2 };
  // Buffers of the capture thread.
  struct Capture;

  static void RecordCallbackProc(SPB* pb);

  bool OpenInput(LSoundSink& sink);
  // Each on the capture thread, one block.
  void ProcessBlock(Capture& capture, std::int32_t frames);
  void Record(Capture& capture, std::int32_t frames, LDB blockLevel);
  void WaitForSound(Capture& capture, std::int32_t frames, LDB blockLevel);
  void RemoveOffset(Capture& capture, std::int32_t frames) const;
  LDB MeasureLevel(const Capture& capture, std::int32_t frames);
  void SinkWrite(Capture& capture, std::int32_t const* samples, std::int32_t frames);
  LSoundTime SinkTime() const;
  void PostTimeAndLevel();

  kiv::SoundInput* const input_;
  LSoundRecorderNotify* listener_;
  std::int32_t id_ = 0;
  // Main: counts starts and stops, so that a caller sees that its run is over.
  std::uint64_t run_ = 0;
  bool claimed_ = false;  // Main: a Start or the destructor is stopping the run before.

  std::atomic<State> state_{State::Stopped};
  LSoundSink sink_;  // What the capture thread writes to: the file with its converters in front.
  LSoundSink file_;
  LSNKPCMFileBase* wave_ = nullptr;  // The file, if it is one that can be synchronised.
  std::atomic<std::int32_t> lastLoudMs_{0};
  std::unique_ptr<kiv::SoundInputDevice> device_;

  mutable std::mutex levelMutex_;  // Guards level_.
  LDBMC level_;
  std::uint8_t levelChannels_ = 1;

  LSoundTime maxTime_;
  LDB threshold_;
  LDB offThreshold_;
  LSoundTime pauseTime_;
  LSignalObject signal_;
  std::atomic<bool> stopRequest_{false};
  std::atomic<bool> timeLevelPending_{false};
  std::atomic<bool> stateChangePending_{false};

  std::atomic<std::uint8_t> writeError_{kSinkGood};
  std::atomic<std::int64_t> capturedFrames_{0};
  std::atomic<bool> inputLost_{false};
  mutable std::mutex deviceMutex_;  // Guards device_ itself, and the three below, against questions of any time.
  std::int64_t lostFrames_ = 0;
  std::int32_t deviceRateHz_ = 8000;
  std::string inputName_;
};
