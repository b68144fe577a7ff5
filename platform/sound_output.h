#pragma once

// Port: sound output.
//
//   Samples  signed 16 bit in the machine's byte order, interleaved by channel.
//   Units    rates in Hz; buffers in frames; volume as kFullVolume tells.
//   Threads  a channel is used by one thread at a time, which is the play thread that made it; IsSilent and user
//            may be read by any thread. Call-backs come on the sound system's own thread.
//   Errors   none are reported: without a server or a sink, or while the server is gone, a channel is a silent
//            clock that gives every buffer back when it would have been played, and says so with IsSilent.
//            Null instead of a channel is a fault that only a simulation injects.
//
// An implementation must
//   - hold any number of queued buffers, at least 32 of 100 ms. It need not copy them: the samples stay in place
//     and unchanged until their call-back, or until Flush or the destructor has returned;
//   - play them in order without a gap between them;
//   - call back once for each buffer after its last frame has been played, not when it was queued or sent, in
//     order. Early is a fault; late by up to one buffer of 100 ms is allowed.
// It must not
//   - block in Queue;
//   - call back for a buffer that Flush has forgotten, or after the destructor has returned;
//   - wait for anything that its user holds while it calls back, beyond the raising of a signal.

#include <cstdint>
#include <memory>
#include <string>

#include "platform/wait_clock.h"

namespace kiv {

// Both halves: left in the low 16 bits, right in the high ones, 0x100 each for unchanged; linear.
inline constexpr std::int32_t kFullVolume = 0x01000100;

class SoundChannel;

// What a call-back is told of the buffer that has been played.
struct PlayedBuffer {
  void* tag = nullptr;
};

struct ChannelRequest {
  std::int32_t rateHz = 0;
  std::int32_t channels = 1;
  // What the desktop's sound settings show for the stream ("Prompt"). UTF-8.
  std::string mediaName;
  // Called once for each queued buffer after it has been played. May only set its tag's flag and raise a signal.
  void (*played)(SoundChannel* channel, PlayedBuffer* played) = nullptr;
  // Becomes the channel's user.
  void* user = nullptr;
};

class SoundChannel {
 public:
  explicit SoundChannel(void* userData) : user(userData) {}
  SoundChannel(const SoundChannel&) = delete;
  SoundChannel& operator=(const SoundChannel&) = delete;
  // Silent at once; what is still queued is forgotten.
  virtual ~SoundChannel() = default;

  virtual void SetVolume(std::int32_t volume) = 0;
  // Plays the frames after everything queued before. tag comes back in the call-back.
  virtual void Queue(const std::int16_t* samples, std::int32_t frames, void* tag) = 0;
  // Forgets every buffer that has not been called back, without a call-back. What is sounding may go on until Quiet.
  virtual void Flush() = 0;
  // Silences what is sounding. The channel may be used again afterwards.
  virtual void Quiet() = 0;
  // Nobody hears this channel now: there is no server or no sink. May change while it plays.
  virtual bool IsSilent() const = 0;

  void* const user;
};

class SoundOutput {
 public:
  virtual ~SoundOutput() = default;
  // May take some 100 ms, never longer than two seconds.
  virtual std::unique_ptr<SoundChannel> OpenChannel(const ChannelRequest& request) = 0;
  // The clock that time-outs of a worker on these channels follow; null for the system's. Lives as long as this.
  virtual WaitClock* Waits() { return nullptr; }
};

}  // namespace kiv
