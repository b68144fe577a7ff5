#pragma once

// Sound input from the sound server's default source, at the rate and channel count that is asked for; the server
// converts. See platform/sound_input.h for what it promises.
//
// After the server or the source was away and came back, silence fills the time that was missed.

#include "platform/pulse/pulse_server.h"
#include "platform/sound_input.h"

namespace kiv {

class PulseInput : public SoundInput {
 public:
  // The server must outlive every device.
  explicit PulseInput(PulseServer& server) noexcept : server_(server) {}
  std::unique_ptr<SoundInputDevice> OpenDefault(const std::string& mediaName) override;

 private:
  PulseServer& server_;
};

}  // namespace kiv
