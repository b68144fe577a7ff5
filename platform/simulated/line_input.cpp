#include "platform/simulated/line_input.h"

#include <algorithm>
#include <utility>

namespace kiv {

LineInputDevice::LineInputDevice(LineCore& core) : core_(core) {
  const std::lock_guard lock(core_.mutex);
  core_.AddLocked(this);
}

LineInputDevice::~LineInputDevice() {
  Stop();
  const std::lock_guard lock(core_.mutex);
  core_.RemoveLocked(this);
}

std::int32_t LineInputDevice::AskRate(std::int32_t rateHz) {
  rateHz_ = core_.inputRateHz > 0 ? core_.inputRateHz : std::clamp(rateHz, 1000, 192000);
  return rateHz_;
}

std::int32_t LineInputDevice::AskChannels(std::int32_t channels) {
  channels_ = core_.inputChannels > 0 ? core_.inputChannels : std::clamp(channels, 1, 2);
  return channels_;
}

std::int32_t LineInputDevice::RequestFrames() const {
  return request_->bytes / (channels_ * 2);
}

std::int64_t LineInputDevice::CapturedLocked(std::int64_t now) const {
  if (state_ == State::Stopped) return captured_;
  // A stall that is not over yet hides everything since it began.
  for (const LineCore::Stretches* stretches : {&core_.inputStalls, &core_.inputGone}) {
    for (const LineCore::Stretch& stretch : *stretches) {
      if (now >= stretch.from && now < stretch.to) now = std::max(start_, stretch.from);
    }
  }
  return FramesFromNs(now - start_, rateHz_);
}

std::int64_t LineInputDevice::NextEventLocked() {
  if (state_ != State::Capturing || request_ == nullptr) return kNever;
  std::int64_t time = start_ + NsFromFrames(read_ + RequestFrames(), rateHz_);
  // Stalls may hide each other's ends.
  bool moved = true;
  while (moved) {
    moved = false;
    for (const LineCore::Stretches* stretches : {&core_.inputStalls, &core_.inputGone}) {
      for (const LineCore::Stretch& stretch : *stretches) {
        // What is captured in the very moment before the stall still comes through.
        if (time <= stretch.from || time >= stretch.to) continue;
        time = stretch.to;
        moved = time != kNever;
      }
    }
  }
  return time;
}

void LineInputDevice::FireLocked(std::int64_t /*now*/) {
  CompleteLocked(true);
}

void LineInputDevice::DropLocked(std::int64_t captured) {
  // A machine that stands still for a while holds up a fast line for longer: the ring lasts as long by its clock.
  const auto ring = static_cast<std::int64_t>(kInputRingSeconds * rateHz_ * std::max(core_.speed, 1.0));
  if (captured - read_ <= ring) return;
  lost_ += captured - ring - read_;
  read_ = captured - ring;
}

void LineInputDevice::RenderLocked(std::int16_t* out, std::int32_t frames) {
  const std::int64_t first = FramesFromNs(start_, rateHz_) + read_;
  core_.signal->Render(first, frames, rateHz_, channels_, out);
  for (const LineCore::Stretches* stretches : {&core_.inputStalls, &core_.inputGone}) {
    for (const LineCore::Stretch& stretch : *stretches) {
      const std::int64_t from = std::max(first, FramesFromNs(stretch.from, rateHz_));
      const std::int64_t to =
          std::min(first + frames, stretch.to == kNever ? kNever : FramesFromNs(stretch.to, rateHz_));
      if (from < to) std::fill(out + (from - first) * channels_, out + (to - first) * channels_, std::int16_t{0});
    }
  }
}

void LineInputDevice::CompleteLocked(bool full) {
  InputRequest& request = *std::exchange(request_, nullptr);
  const std::int32_t frames = full ? request.bytes / (channels_ * 2) : 0;
  if (frames > 0) RenderLocked(static_cast<std::int16_t*>(request.buffer), frames);
  read_ += frames;
  request.bytes = frames * channels_ * 2;
  request.milliseconds = static_cast<std::int32_t>(std::int64_t{frames} * 1000 / rateHz_);
  request.completed(&request);
}

void LineInputDevice::Record(InputRequest& request) {
  const std::lock_guard lock(core_.mutex);
  const std::int64_t now = core_.NowLocked();
  if (state_ == State::Idle) {
    state_ = State::Capturing;
    start_ = now;
  }
  request.device = this;
  request_ = &request;
  const std::int64_t captured = CapturedLocked(now);
  DropLocked(captured);
  if (captured - read_ >= RequestFrames()) {
    CompleteLocked(true);
  } else if (state_ == State::Stopped) {
    CompleteLocked(false);
  } else {
    core_.ChangedLocked();
  }
}

void LineInputDevice::Stop() {
  const std::lock_guard lock(core_.mutex);
  if (state_ == State::Capturing) {
    captured_ = CapturedLocked(core_.NowLocked());
    DropLocked(captured_);
    state_ = State::Stopped;
  }
  if (request_ != nullptr) CompleteLocked(captured_ - read_ >= RequestFrames());
  core_.ChangedLocked();
}

std::int64_t LineInputDevice::LostFrames() const {
  const std::lock_guard lock(core_.mutex);
  return lost_;
}

}  // namespace kiv
