#pragma once

// A sound input that notes when each recording began and ended to capture, in front of the line's own.
//   Threads  as platform/sound_input.h says; in lock-step the notes may be read on main at any time.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/simulated/simulated_line.h"
#include "platform/sound_input.h"

namespace kiv::test {

// Line time, in ns.
struct Captured {
  std::int64_t from = 0;
  std::int64_t to = 0;
  bool ended = false;
};

class WatchedInput final : public SoundInput {
 public:
  explicit WatchedInput(SimulatedLine& line) : line_(line) {}

  std::unique_ptr<SoundInputDevice> OpenDefault(const std::string& mediaName) override {
    auto device = line_.Input().OpenDefault(mediaName);
    if (device == nullptr) return nullptr;
    return std::make_unique<Device>(*this, std::move(device));
  }
  WaitClock* Waits() override { return line_.Input().Waits(); }

  // In the order in which they began. A device that was opened without a Record is none.
  const std::vector<Captured>& Captures() const { return captures_; }
  // Called on the capture thread before each Record.
  std::function<void()> beforeRecord;

 private:
  class Device final : public SoundInputDevice {
   public:
    Device(WatchedInput& watched, std::unique_ptr<SoundInputDevice> device)
        : watched_(watched), device_(std::move(device)) {}

    std::int32_t AskRate(std::int32_t rateHz) override { return device_->AskRate(rateHz); }
    std::int32_t AskChannels(std::int32_t channels) override { return device_->AskChannels(channels); }
    void Record(InputRequest& request) override {
      if (watched_.beforeRecord) watched_.beforeRecord();
      if (capture_ == kNone) {
        capture_ = watched_.captures_.size();
        watched_.captures_.push_back({.from = watched_.line_.NowNs()});
      }
      device_->Record(request);
    }
    void Stop() override {
      if (capture_ != kNone && !watched_.captures_[capture_].ended) {
        watched_.captures_[capture_].to = watched_.line_.NowNs();
        watched_.captures_[capture_].ended = true;
      }
      device_->Stop();
    }
    std::int64_t LostFrames() const override { return device_->LostFrames(); }
    std::string Name() const override { return device_->Name(); }

   private:
    static constexpr std::size_t kNone = SIZE_MAX;

    WatchedInput& watched_;
    const std::unique_ptr<SoundInputDevice> device_;
    std::size_t capture_ = kNone;
  };

  SimulatedLine& line_;
  std::vector<Captured> captures_;
};

}  // namespace kiv::test
