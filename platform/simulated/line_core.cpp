#include "platform/simulated/line_core.h"

#include <algorithm>
#include <ctime>

#include "audio/sample_format.h"

namespace kiv {
namespace {

constexpr std::int64_t kSecond = 1000000000;

}  // namespace

std::int64_t NsFromFrames(std::int64_t frames, std::int32_t rateHz) {
  const std::int64_t rest = frames % rateHz;
  return frames / rateHz * kSecond + (rest * kSecond + rateHz - 1) / rateHz;
}

std::int64_t FramesFromNs(std::int64_t ns, std::int32_t rateHz) {
  return ns / kSecond * rateHz + ns % kSecond * rateHz / kSecond;
}

std::int64_t SystemNs() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * kSecond + now.tv_nsec;
}

void AddStretch(LineCore::Stretches& stretches, std::int64_t from, std::int64_t duration) {
  LineCore::Stretch added{.from = from, .to = duration >= kNever - from ? kNever : from + duration};
  LineCore::Stretches result;
  for (const LineCore::Stretch& stretch : stretches) {
    if (stretch.to < added.from || stretch.from > added.to) {
      result.push_back(stretch);
    } else {
      added.from = std::min(added.from, stretch.from);
      added.to = std::max(added.to, stretch.to);
    }
  }
  result.push_back(added);
  std::sort(result.begin(), result.end(), [](const auto& a, const auto& b) { return a.from < b.from; });
  stretches = std::move(result);
}

bool LineCore::IsInside(const Stretches& stretches, std::int64_t time) {
  return std::any_of(stretches.begin(), stretches.end(),
                     [time](const Stretch& stretch) { return time >= stretch.from && time < stretch.to; });
}

std::int64_t LineCore::EndOutside(const Stretches& stretches, std::int64_t start, std::int64_t duration) {
  std::int64_t end = start + duration;
  for (const Stretch& stretch : stretches) {
    if (stretch.to <= start || stretch.from >= end) continue;
    if (stretch.to == kNever) return kNever;
    end += stretch.to - std::max(stretch.from, start);
  }
  return end;
}

std::int64_t LineCore::Outside(const Stretches& stretches, std::int64_t start, std::int64_t end) {
  std::int64_t time = end - start;
  for (const Stretch& stretch : stretches) {
    const std::int64_t from = std::max(stretch.from, start);
    const std::int64_t to = std::min(stretch.to, end);
    if (from < to) time -= to - from;
  }
  return time;
}

std::int64_t LineCore::NowLocked() const {
  if (lockStep) return lockStepNow;
  return static_cast<std::int64_t>(static_cast<double>(SystemNs() - systemStart) * speed);
}

std::int64_t LineCore::NextEventLocked() const {
  std::int64_t next = kNever;
  for (LineDevice* device : devices) next = std::min(next, device->NextEventLocked());
  return next;
}

bool LineCore::FireOneLocked(std::int64_t now) {
  LineDevice* first = nullptr;
  std::int64_t firstTime = kNever;
  for (LineDevice* device : devices) {
    const std::int64_t time = device->NextEventLocked();
    if (time > now || time >= firstTime) continue;
    first = device;
    firstTime = time;
  }
  if (first == nullptr) return false;
  first->FireLocked(now);
  return true;
}

void LineCore::AddLocked(LineDevice* device) {
  devices.push_back(device);
  ChangedLocked();
}

void LineCore::RemoveLocked(LineDevice* device) {
  std::erase(devices, device);
  ChangedLocked();
}

void LineCore::PlayedLocked(const PlayedSound& sound) {
  if (sound.samples.empty()) return;
  if (onPlayed) onPlayed(sound);
  if (outputSink.IsEmpty() || outputSink->Rate() != sound.rateHz) return;
  const std::int32_t channels = outputSink->Channels();
  std::int64_t gap = FramesFromNs(sound.startNs - outputSinkStart, sound.rateHz) - outputSink->Position();
  std::vector<std::int32_t> piece;
  const auto write = [&] { outputSink->Write(piece.data(), static_cast<std::int32_t>(piece.size()) / channels); };
  for (; gap > 0; gap -= kMaxPieceFrames) {
    piece.assign(static_cast<std::size_t>(std::min<std::int64_t>(gap, kMaxPieceFrames) * channels), 0);
    write();
  }
  const auto frames = sound.samples.size() / static_cast<std::size_t>(sound.channels);
  for (std::size_t done = 0; done < frames;) {
    const std::size_t count = std::min(frames - done, static_cast<std::size_t>(kMaxPieceFrames));
    piece.clear();
    for (std::size_t i = done; i < done + count; ++i) {
      // Mono sounds on every channel of the sink; of more channels than the sink has the first are taken.
      for (std::int32_t c = 0; c < channels; ++c)
        piece.push_back(sound.samples[i * static_cast<std::size_t>(sound.channels) +
                                      static_cast<std::size_t>(std::min(c, sound.channels - 1))] *
                        16);
    }
    write();
    done += count;
  }
}

}  // namespace kiv
