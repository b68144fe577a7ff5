#include "devices/sound_player.h"

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "audio/buffer_level.h"
#include "audio/processing/peak_limit.h"
#include "audio/sample_format.h"
#include "platform/services.h"

namespace {

constexpr std::int32_t kMinBlockFrames = 20;
// The queue is filled without hurry and then kept full with some.
constexpr int kFillPriority = 1;
constexpr int kKeepPriority = -10;
constexpr std::uint32_t kLookAgainMs = 250;
constexpr std::int32_t kNoPosition = 0x7FFFFFFF;
constexpr const char* kMediaName = "Prompt";

}  // namespace

void LSoundPlayerNotify::spntfPlay(std::int32_t /*id*/) {}
void LSoundPlayerNotify::spntfStop(std::int32_t /*id*/) {}
void LSoundPlayerNotify::spntfCue(std::int32_t /*id*/) {}
void LSoundPlayerNotify::spntfTime(LSoundTime /*time*/, std::int32_t /*id*/) {}
void LSoundPlayerNotify::spntfLevel(LDBMC const& /*level*/, std::int32_t /*id*/) {}

struct LSoundPlayer::Slot {
  LSF16* samples = nullptr;
  // 1: free. Set by the output's thread.
  std::atomic<std::int32_t> done{1};
  // Where the source stands after this slot's frames.
  std::int32_t position = kNoPosition;
  LDBMC level;
};

LSoundPlayer::LSoundPlayer() : output_(kiv::services.soundOutput), listener_(this) {}

LSoundPlayer::~LSoundPlayer() {
  claimed_ = true;
  Stop();
}

void LSoundPlayer::SetNotify(LSoundPlayerNotify* listener, std::int32_t id) noexcept {
  listener_ = listener != nullptr ? listener : this;
  id_ = id;
}

bool LSoundPlayer::Start(LSoundSource& source) {
  if (claimed_) return false;
  claimed_ = true;
  // The listener of that stop may let go of the handle that it gave.
  LSoundSource next = source;
  Stop();
  claimed_ = false;
  if (next->Error() != kSourceGood) return false;
  if (next->Peak() > kiv::kPeak16Bit) next = LSPPeakLimit(kiv::kPeak16Bit).OpenSource(next);
  if (next->Error() != kSourceGood) return false;

  source_ = next;
  position_ = source_->GetPositionSample();
  ended_ = false;
  timeLevelPending_ = false;
  silent_ = false;
  playing_ = true;
  const std::uint64_t run = ++run_;
  const LSoundTime start = TimeOf(position_);
  if (output_ != nullptr) UseWaitClock(output_->Waits());
  LThread::Start(kFillPriority);

  listener_->spntfPlay(id_);
  if (run == run_) listener_->spntfTime(start, id_);
  return true;
}

void LSoundPlayer::Stop() {
  if (!playing_) return;
  ++run_;
  StopThreadSoon();
  Join();
  source_.Close();
  position_ = 0;
  playing_ = false;
  ended_ = false;
  timeLevelPending_ = false;

  listener_->spntfStop(id_);
}

void LSoundPlayer::EvNotify() {
  const std::uint64_t run = run_;
  if (ended_.exchange(false)) {
    listener_->spntfTime(TimeOf(source_->GetEndSample()), id_);
    if (run == run_) Stop();
    return;
  }
  if (timeLevelPending_.exchange(false)) {
    const LSoundTime time = TimeOf(position_);
    LDBMC level;
    {
      const std::lock_guard lock(levelMutex_);
      level = level_;
    }
    listener_->spntfTime(time, id_);
    if (run == run_) listener_->spntfLevel(level, id_);
  }
}

LSoundTime LSoundPlayer::TimeOf(std::int32_t frame) const {
  return kiv::TimeFromFrames(frame, source_->Rate());
}

// On the sound system's thread.
void LSoundPlayer::SndCallBackProc(SndChannel* channel, SndCommand* command) {
  auto* const player = static_cast<LSoundPlayer*>(channel->user);
  if (player == nullptr) return;
  if (command->tag != nullptr) static_cast<Slot*>(command->tag)->done = 1;
  player->RaiseSignal(player->signal_);
}

void LSoundPlayer::ThreadFunction() {
  if (output_ == nullptr) return;
  std::unique_ptr<SndChannel> channel = output_->OpenChannel({.rateHz = source_->Rate(),
                                                              .channels = source_->Channels(),
                                                              .mediaName = kMediaName,
                                                              .played = &LSoundPlayer::SndCallBackProc,
                                                              .user = this});
  if (channel == nullptr) return;
  silent_ = channel->IsSilent();
  if (const std::int32_t volume = volume_; volume != kVolumeUnchanged) channel->SetVolume(volume);
  Feed(std::move(channel));
}

void LSoundPlayer::Feed(std::unique_ptr<SndChannel> channel) {
  const std::int32_t rateHz = source_->Rate();
  const std::uint8_t channels = source_->Channels();
  const std::int32_t blockFrames = std::max(std::min(rateHz / 10, kiv::kMaxPieceFrames), kMinBlockFrames);
  const std::size_t blockSamples = static_cast<std::size_t>(blockFrames) * channels;
  std::vector<std::int32_t> samples(blockSamples);
  std::vector<LSF16> stored(blockSamples * kSlots);
  std::array<Slot, kSlots> slots;
  for (std::size_t i = 0; i < slots.size(); ++i) slots[i].samples = stored.data() + i * blockSamples;

  const auto allPlayed = [&] {
    return std::all_of(slots.begin(), slots.end(), [](const Slot& slot) { return slot.done == 1; });
  };
  bool hurried = false;
  std::size_t index = 0;
  while (true) {
    Slot& slot = slots[index];
    ClearSignal(signal_);
    if (slot.done == 0) {
      if (!hurried) {
        hurried = true;
        setpriority(PRIO_PROCESS, 0, kKeepPriority);
      }
      WaitSignal(signal_, kLookAgainMs);
      silent_ = channel->IsSilent();
      if (IsStopRequested()) break;
      continue;
    }
    if (slot.position != kNoPosition) {
      position_ = slot.position;
      {
        const std::lock_guard lock(levelMutex_);
        level_ = slot.level;
      }
      timeLevelPending_ = true;
      PostQueueNotify();
    }
    const std::int32_t position = source_->GetPositionSample();
    const std::int64_t remaining = std::int64_t{source_->GetEndSample()} - position;
    if (remaining > 0) {
      const auto frames = static_cast<std::int32_t>(std::min<std::int64_t>(remaining, blockFrames));
      source_->Read(samples.data(), frames);
      ConvertSamplesOut<LSF16>(slot.samples, samples.data(), frames * channels);
      slot.position = position + frames;
      slot.level.channels = channels;
      for (std::uint8_t c = 0; c < channels; ++c)
        slot.level.level[c] = DBFromMeanSquare(GetBufferMeanSquareChan(c, samples.data(), frames, channels));
      slot.done = 0;
      channel->Queue(&slot.samples->value, frames, &slot);
    } else {
      slot.position = kNoPosition;
      if (allPlayed()) {
        ended_ = true;
        PostQueueNotify();
        break;
      }
    }
    if (IsStopRequested()) break;
    index = (index + 1) % slots.size();
  }
  channel->Flush();
  channel->Quiet();
  // Before the buffers that it plays from.
  channel.reset();
}
