#pragma once

// Port: sound input.
//
//   Samples  signed 16 bit in the machine's byte order, interleaved by channel.
//   Units    rates in Hz; buffers in bytes, a whole number of frames.
//   Threads  an opened device is used by one thread at a time: Open, the questions and the destructor by main,
//            Record and Stop by the capture thread while that runs. LostFrames and Name: any thread, any
//            time. Completions come on the sound system's own thread (or inside Stop, on its caller's).
//   Errors   a device that cannot be opened is null. A device that goes silent, disappears or loses its server
//            completes nothing more; the user's time-out tells. Nothing is thrown.
//
// An implementation must
//   - capture without a gap from the first Record to Stop, also between two Records, into a ring of at least
//     kInputRingSeconds, and complete a request as soon as its bytes are there, oldest first: a user that
//     comes back late loses nothing;
//   - when the ring is full, drop the oldest frames and count them in LostFrames;
//   - complete a request with its whole buffer, or, in Stop, with 0 bytes if the buffer is not full;
//   - keep the captured time true to the clock over an interruption that it survives (server restarted, device
//     replaced by a fallback): silence stands in for what was missed, and is not counted as lost.
// It may
//   - give another rate or channel count than was asked for (the answer says which);
//   - complete a request inside Record, when the ring holds enough.
// It must not
//   - call a completion after Stop or the destructor has returned;
//   - wait for anything that its user holds while it calls a completion, beyond the raising of a signal.

#include <cstdint>
#include <memory>
#include <string>

#include "platform/wait_clock.h"

namespace kiv {

inline constexpr int kInputRingSeconds = 10;

class SoundInputDevice;

// One asynchronous request to fill a buffer. Belongs to the user, and stays untouched by him until completed.
struct InputRequest {
  SoundInputDevice* device = nullptr;
  void* buffer = nullptr;
  // In: size of the buffer. Out: bytes delivered, set before the completion is called.
  std::int32_t bytes = 0;
  // In: 0. Out: what was delivered, in ms; may be left alone.
  std::int32_t milliseconds = 0;
  // Called exactly once for every Record. May only raise a signal.
  void (*completed)(InputRequest* request) = nullptr;
  void* user = nullptr;
};

class SoundInputDevice {
 public:
  // Closes the device; Stop first if it runs.
  virtual ~SoundInputDevice() = default;

  // Ask for a rate and a channel count; the answer is what the device gives. Before the first Record.
  virtual std::int32_t AskRate(std::int32_t rateHz) = 0;
  virtual std::int32_t AskChannels(std::int32_t channels) = 0;

  // Asks for the next request.bytes of captured sound; one request at a time. The first one starts capturing.
  // After Stop it gives, inside the call, what the ring still holds: a whole buffer or 0 bytes.
  virtual void Record(InputRequest& request) = 0;
  // Ends capturing; a request that is under way is completed before this returns. What the ring holds stays
  // there until it is asked for or the device is closed. Harmless when nothing runs.
  virtual void Stop() = 0;

  // Frames that were dropped because nobody asked for them in time.
  virtual std::int64_t LostFrames() const = 0;
  // What a person would call the device in use ("USB Telephone Adapter"); may be empty before the first
  // Record, and changes when another device takes over. UTF-8.
  virtual std::string Name() const = 0;
};

class SoundInput {
 public:
  virtual ~SoundInput() = default;
  // Opens the default input device; null when there is none or it cannot be opened. mediaName is what the
  // desktop's sound settings show for the stream ("Call recording"). May take some 100 ms, never longer than
  // two seconds.
  virtual std::unique_ptr<SoundInputDevice> OpenDefault(const std::string& mediaName) = 0;
  // The clock that time-outs of a worker on these devices follow; null for the system's. Lives as long as this.
  virtual WaitClock* Waits() { return nullptr; }
};

}  // namespace kiv
