#pragma once

// Plays one source through a channel of the sound output, and tells what the listener at the other end has heard.
//
//   Units    positions and times of the source; the volume as platform/sound_output.h tells.
//   Threads  made, used and destroyed on main; every listener call comes on main, also from inside Start and Stop.
//            A play thread of its own reads the source and keeps 32 buffers of 100 ms queued; the source's handles
//            stay on main. IsSilent: any thread.
//   Nesting  a listener may call Start and Stop from inside any notification: the player has finished all it had to
//            do before it calls out, and nothing of the old run is reported afterwards. A Start from inside the
//            stop notification that another Start or the destructor causes gives false.
//   Errors   Start gives false, without a word to the listener about the new source, when that is in error. Without
//            a channel it plays nothing, until Stop.
//   Owns     a reference to the source from Start to Stop.

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "audio/sound_source.h"
#include "foundation/level.h"
#include "foundation/queued_notify.h"
#include "foundation/sound_time.h"
#include "foundation/thread.h"
#include "platform/sound_output.h"

using SndChannel = kiv::SoundChannel;
using SndCommand = kiv::PlayedBuffer;

// What a player tells; every operation does nothing by default. id is the number that the owner registered.
class LSoundPlayerNotify {
 public:
  // The order of the virtual operations is part of the interface.
  virtual void spntfPlay(std::int32_t id);
  // After the end, or on request.
  virtual void spntfStop(std::int32_t id);
  // Never called by the player.
  virtual void spntfCue(std::int32_t id);
  // Up to where the source has been heard.
  virtual void spntfTime(LSoundTime time, std::int32_t id);
  // The level of the buffer that has just been heard.
  virtual void spntfLevel(LDBMC const& level, std::int32_t id);

 protected:
  ~LSoundPlayerNotify() = default;
};

class LSoundPlayer : public LThread, public LThreadQueuedNotify, public LSoundPlayerNotify {
 public:
  static constexpr int kSlots = 32;
  static constexpr std::int32_t kVolumeUnchanged = -1;

  // Takes the output port from the services.
  LSoundPlayer();
  ~LSoundPlayer() override;

  // Who is told, with which id; null for nobody. The listener outlives the player or is taken back before it goes.
  void SetNotify(LSoundPlayerNotify* listener, std::int32_t id) noexcept;
  // From the next Start on.
  void SetVolume(std::int32_t volume) noexcept { volume_ = volume; }

  // Plays source from its position to its end. A source that may exceed 16 bits goes through a peak limiter.
  bool Start(LSoundSource& source);
  // Silent at once. Nothing when it does not play.
  void Stop();

  bool IsPlaying() const noexcept { return playing_; }
  // The output of this run or the last one is (was) heard by nobody.
  bool IsSilent() const noexcept { return silent_; }

 protected:
  void ThreadFunction() override;
  void EvNotify() override;

 private:
  struct Slot;

  static void SndCallBackProc(SndChannel* channel, SndCommand* command);

  // Keeps the slots queued on the channel until the end or a stop, and closes it.
  void Feed(std::unique_ptr<SndChannel> channel);
  LSoundTime TimeOf(std::int32_t frame) const;

  kiv::SoundOutput* const output_;
  LSoundPlayerNotify* listener_;
  std::int32_t id_ = 0;
  std::uint64_t run_ = 0;  // Main: counts starts and stops, so that a caller sees that its run is over.
  bool claimed_ = false;   // Main: a Start or the destructor is stopping the run before.

  std::atomic<std::int32_t> volume_{kVolumeUnchanged};
  std::atomic<std::int32_t> position_{0};
  std::atomic<bool> playing_{false};
  std::atomic<bool> ended_{false};
  std::atomic<bool> timeLevelPending_{false};
  std::atomic<bool> silent_{false};
  LSoundSource source_;
  LSignalObject signal_;
  std::mutex levelMutex_;  // Guards level_.
  LDBMC level_;
};
