#pragma once

// A sound output that tells when a channel is opened, in front of another.
//   Threads  as platform/sound_output.h says: opened is called on the play thread.

#include <functional>
#include <memory>

#include "platform/sound_output.h"

namespace kiv::test {

class WatchedOutput final : public SoundOutput {
 public:
  explicit WatchedOutput(SoundOutput& output) : output_(output) {}

  std::unique_ptr<SoundChannel> OpenChannel(const ChannelRequest& request) override {
    opened();
    return output_.OpenChannel(request);
  }
  WaitClock* Waits() override { return output_.Waits(); }

  std::function<void()> opened;

 private:
  SoundOutput& output_;
};

}  // namespace kiv::test
