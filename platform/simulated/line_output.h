#pragma once

// A channel of a simulated line's output. Threads and units as in platform/sound_output.h.

#include <cstdint>
#include <deque>

#include "platform/simulated/line_core.h"
#include "platform/sound_output.h"

namespace kiv {

class LineChannel final : public SoundChannel, public LineDevice {
 public:
  LineChannel(LineCore& core, const ChannelRequest& request);
  ~LineChannel() override;

  void SetVolume(std::int32_t volume) override;
  void Queue(const std::int16_t* samples, std::int32_t frames, void* tag) override;
  void Flush() override;
  void Quiet() override {}  // Flush has cut what was sounding.
  bool IsSilent() const override;

  std::int64_t NextEventLocked() override;
  void FireLocked(std::int64_t now) override;

 private:
  struct Buffer {
    const std::int16_t* samples;
    std::int32_t frames;
    void* tag;
  };

  std::int64_t TimeOfLocked(std::int64_t frame) const;
  // The other end hears the first frames of the buffer that is playing.
  void EmitLocked(const Buffer& buffer, std::int64_t frames) const;

  LineCore& core_;
  const std::int32_t rateHz_;
  const std::int32_t channels_;
  void (*const played_)(SoundChannel*, PlayedBuffer*);
  std::int32_t volume_ = kFullVolume;
  // Buffers play back to back from runStart_ on; runFrames_ is what the played ones of this run had.
  std::int64_t runStart_ = 0;
  std::int64_t runFrames_ = 0;
  std::deque<Buffer> buffers_;
};

}  // namespace kiv
