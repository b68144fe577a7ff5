#pragma once

// The input of a simulated line while it is open. Threads and units as in platform/sound_input.h.

#include <cstdint>
#include <string>

#include "platform/simulated/line_core.h"
#include "platform/sound_input.h"

namespace kiv {

class LineInputDevice final : public SoundInputDevice, public LineDevice {
 public:
  explicit LineInputDevice(LineCore& core);
  ~LineInputDevice() override;

  std::int32_t AskRate(std::int32_t rateHz) override;
  std::int32_t AskChannels(std::int32_t channels) override;
  void Record(InputRequest& request) override;
  void Stop() override;
  std::int64_t LostFrames() const override;
  std::string Name() const override { return core_.inputName; }

  std::int64_t NextEventLocked() override;
  void FireLocked(std::int64_t now) override;

 private:
  enum class State { Idle, Capturing, Stopped };

  // Frames captured up to a moment, those of a stall only when it is over.
  std::int64_t CapturedLocked(std::int64_t now) const;
  std::int32_t RequestFrames() const;
  // Counts what the ring could not hold.
  void DropLocked(std::int64_t captured);
  // Completes the request: with its frames, or with none.
  void CompleteLocked(bool full);
  void RenderLocked(std::int16_t* out, std::int32_t frames);

  LineCore& core_;
  std::int32_t rateHz_ = 8000;
  std::int32_t channels_ = 1;
  State state_ = State::Idle;
  std::int64_t start_ = 0;     // Line time of the first captured frame.
  std::int64_t captured_ = 0;  // When stopped.
  std::int64_t read_ = 0;      // Frames given or lost.
  std::int64_t lost_ = 0;
  InputRequest* request_ = nullptr;
};

}  // namespace kiv
