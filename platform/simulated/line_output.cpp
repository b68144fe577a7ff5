#include "platform/simulated/line_output.h"

#include <algorithm>

namespace kiv {

LineChannel::LineChannel(LineCore& core, const ChannelRequest& request)
    : SoundChannel(request.user),
      core_(core),
      rateHz_(std::max(request.rateHz, 1)),
      channels_(std::max(request.channels, 1)),
      played_(request.played) {
  const std::lock_guard lock(core_.mutex);
  core_.AddLocked(this);
}

LineChannel::~LineChannel() {
  Flush();
  const std::lock_guard lock(core_.mutex);
  core_.RemoveLocked(this);
}

void LineChannel::SetVolume(std::int32_t volume) {
  const std::lock_guard lock(core_.mutex);
  volume_ = volume;
}

std::int64_t LineChannel::TimeOfLocked(std::int64_t frame) const {
  return LineCore::EndOutside(core_.outputStalls, runStart_, NsFromFrames(frame, rateHz_));
}

void LineChannel::Queue(const std::int16_t* samples, std::int32_t frames, void* tag) {
  const std::lock_guard lock(core_.mutex);
  if (buffers_.empty()) {
    const std::int64_t now = core_.NowLocked();
    // Right behind the buffer before, or after a pause.
    if (runFrames_ == 0 || TimeOfLocked(runFrames_) < now) {
      runStart_ = now;
      runFrames_ = 0;
    }
  }
  buffers_.push_back({samples, std::max(frames, 0), tag});
  core_.ChangedLocked();
}

void LineChannel::Flush() {
  const std::lock_guard lock(core_.mutex);
  if (!buffers_.empty()) {
    const std::int64_t played =
        FramesFromNs(LineCore::Outside(core_.outputStalls, runStart_, core_.NowLocked()), rateHz_) - runFrames_;
    EmitLocked(buffers_.front(), std::clamp<std::int64_t>(played, 0, buffers_.front().frames));
  }
  buffers_.clear();
  runFrames_ = 0;
  core_.ChangedLocked();
}

bool LineChannel::IsSilent() const {
  const std::lock_guard lock(core_.mutex);
  return LineCore::IsInside(core_.outputGone, core_.NowLocked());
}

std::int64_t LineChannel::NextEventLocked() {
  return buffers_.empty() ? kNever : TimeOfLocked(runFrames_ + buffers_.front().frames);
}

void LineChannel::FireLocked(std::int64_t /*now*/) {
  const Buffer buffer = buffers_.front();
  EmitLocked(buffer, buffer.frames);
  buffers_.pop_front();
  runFrames_ += buffer.frames;
  PlayedBuffer played{.tag = buffer.tag};
  played_(this, &played);
}

void LineChannel::EmitLocked(const Buffer& buffer, std::int64_t frames) const {
  PlayedSound sound{.startNs = TimeOfLocked(runFrames_), .rateHz = rateHz_, .channels = channels_, .samples = {}};
  if (LineCore::IsInside(core_.outputGone, sound.startNs)) return;
  const std::int32_t volume[2] = {volume_ & 0xFFFF, volume_ >> 16 & 0xFFFF};
  sound.samples.assign(buffer.samples, buffer.samples + frames * channels_);
  for (std::size_t i = 0; i < sound.samples.size(); ++i) {
    const std::int32_t scaled = sound.samples[i] * volume[i % static_cast<std::size_t>(channels_) & 1] / 256;
    sound.samples[i] = static_cast<std::int16_t>(std::clamp(scaled, -32768, 32767));
  }
  core_.PlayedLocked(sound);
}

}  // namespace kiv
