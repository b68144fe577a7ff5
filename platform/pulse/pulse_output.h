#pragma once

// Sound output to the sound server's default sink, at the channel's own rate and channel count; the server converts.
// See platform/sound_output.h for what it promises.
//
// Without a server or a sink, while one is away, and while a sink stands still, a channel is a silent clock; when there
// is one again, play goes on from where the clock has come to.

#include "platform/pulse/pulse_server.h"
#include "platform/sound_output.h"

namespace kiv {

class PulseOutput : public SoundOutput {
 public:
  // The server must outlive every channel.
  explicit PulseOutput(PulseServer& server) noexcept : server_(server) {}
  std::unique_ptr<SoundChannel> OpenChannel(const ChannelRequest& request) override;

 private:
  PulseServer& server_;
};

}  // namespace kiv
