#pragma once

// The sequence of one telephone call: announcement, recording into a dated file with a periodic tone, end prompt,
// on-hold music, and the hand-over of each finished recording to the queue.
//
// The main window sets the requested mode and calls SndStart; everything else follows from what the devices report. A
// mode that is changed during a call counts at the next time report.
//
//   Threads  main only.
//   Errors   in the log: a missing prompt or music file, a recording that cannot be opened or written, an input that
//            cannot be opened or stops delivering, an output that nobody hears. The call goes on where it can.
//   Owns     its player and its recorder. A finished file is handed over once, with its header complete; one that is
//            still open when the engine goes, too.

#include <cstdint>

#include "devices/sound_player.h"
#include "devices/sound_recorder.h"
#include "foundation/event_queue.h"
#include "foundation/text.h"
#include "recorder/recording_queue.h"

enum class RequestedMode : std::int32_t { None = 0, Record = 1, Hold = 2 };

enum class SndStateType : std::int32_t {
  Idle = 0,
  StartPrompt = 1,  // player
  EndPrompt = 2,    // player
  Recording = 3,    // recorder, and the player while a record tone sounds
  OnHold = 4,       // player
};

class LKivEngine final : public LSoundPlayerNotify, public LSoundRecorderNotify {
 public:
  // The devices come from the services; finished recordings go to queue.
  explicit LKivEngine(LALCListThread& queue = thrLALCListItem);
  ~LKivEngine();
  LKivEngine(const LKivEngine&) = delete;
  LKivEngine& operator=(const LKivEngine&) = delete;

  RequestedMode Mode() const noexcept { return mode_; }
  void SetMode(RequestedMode mode) noexcept { mode_ = mode; }
  SndStateType State() const noexcept { return state_; }
  // Where events go (engine_events.h); null for nowhere.
  void SetEventQueue(kiv::EventQueue* events) noexcept { events_ = events; }
  // Becomes part of the next recordings' names; empty for none.
  void SetFileNumber(char const* text) noexcept { tstrmcpy(fileNumber_, text); }

  // Begins according to the requested mode.
  void SndStart();
  // Stops both devices at once and hands an open recording over.
  void SndStop();
  // Plays the prompt of that name as that state; any state but Recording stops what runs before.
  void SndPlay(char const* name, SndStateType state);

  // Stops the devices without the rest of SndStop.
  void StopDevices();
  // A prompt, a record tone or music sounds.
  bool IsPlaying() const noexcept { return player_.IsPlaying(); }
  // What a person would call the sound input in use; may be empty.
  std::string InputName() const { return recorder_.InputName(); }

  void spntfStop(std::int32_t id) override;
  void spntfTime(LSoundTime time, std::int32_t id) override;
  void spntfLevel(LDBMC const& levels, std::int32_t id) override;
  void srntfStop(std::int32_t id) override;
  void srntfTime(LSoundTime time, std::int32_t id) override;
  void srntfLevel(LDBMC const& levels, std::int32_t id) override;

 private:
  void SndRecordStart();
  void SndRecord();
  void SndHoldStart();
  void SndDisconnect();
  void NotifyTime(LSoundTime time);
  void EvDB(LDB level);
  void EvRecordComplete();
  void EvRecordTime(LSoundTime time);

  void PlayEndPrompt();
  // Gives up a call that has no input: mode none, told to the window.
  void EndCall(char const* reason);
  // Hands the open recording over, if there is one.
  void HandOver();
  void StartRecorder();
  // Gives up a recording whose file cannot be made.
  void RefuseRecording();
  void LogWriteError();
  void LogSilentOutput();
  void Post(kiv::Event event);

  RequestedMode mode_ = RequestedMode::None;
  kiv::EventQueue* events_ = nullptr;
  char fileNumber_[kiv::kTextSize] = {};
  SndStateType state_ = SndStateType::Idle;
  LSoundPlayer player_;
  LSoundRecorder recorder_;
  // The recording in progress; empty when none. The claim that a file must still be handed over.
  char recordingPath_[kiv::kTextSize] = {};
  LSoundTime toneInterval_;
  // From the start of the recording.
  LSoundTime nextTone_;

  LALCListThread& queue_;
  bool writeErrorLogged_ = false;
  bool silentOutputLogged_ = false;
};
