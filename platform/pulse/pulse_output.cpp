#include "platform/pulse/pulse_output.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <utility>

namespace kiv {
namespace {

// How often the sound server is asked how far it has come, and the silent clock moves.
constexpr int kTickMs = 50;
// What the server holds of us: as much as a player queues.
constexpr std::uint32_t kServerQueueMs = 3200;
constexpr std::uint32_t kBlockMs = 100;
// A sink that has not moved for this long counts as none. Some render two seconds ahead in one leap; one that says that
// it is suspended is believed sooner.
constexpr pa_usec_t kStandstill = 3000 * PA_USEC_PER_MSEC;
constexpr pa_usec_t kSuspended = 300 * PA_USEC_PER_MSEC;
// How long to leave a server alone that has no sink for us.
constexpr int kNoSinkRetryMs = 500;

class PulseChannel final : public SoundChannel, private PulseServer::Client {
 public:
  PulseChannel(PulseServer& server, const ChannelRequest& request)
      : SoundChannel(request.user),
        server_(server),
        mediaName_(request.mediaName),
        played_(request.played),
        spec_{PA_SAMPLE_S16NE, static_cast<std::uint32_t>(std::clamp<std::int32_t>(request.rateHz, 1, PA_RATE_MAX)),
              static_cast<std::uint8_t>(std::clamp<std::int32_t>(request.channels, 1, PA_CHANNELS_MAX))},
        frameBytes_(std::int64_t{spec_.channels} * 2),
        tick_(server, [this] { OnTick(); }),
        retry_(server, [this] { OpenStream(); }) {}

  ~PulseChannel() override {
    const PulseServer::Lock lock(server_);
    server_.Remove(*this);
    tick_.Cancel();
    retry_.Cancel();
    CloseStream();
  }

  // Waits until the stream stands, if there is a server and a sink.
  void Open() {
    const PulseServer::Lock lock(server_);
    server_.Add(*this);
    if (!server_.Connect()) return;
    OpenStream();
    server_.WaitUntil([this] { return stream_ == nullptr || Playable(); }, PulseServer::kConnectLimitMs);
  }

  void SetVolume(std::int32_t volume) override {
    const PulseServer::Lock lock(server_);
    volume_ = volume;
    volumeSet_ = true;
    ApplyVolume();
  }

  void Queue(const std::int16_t* samples, std::int32_t frames, void* tag) override {
    const PulseServer::Lock lock(server_);
    if (buffers_.empty()) lastTick_ = lastMove_ = pa_rtclock_now();
    queuedFrames_ += std::max(frames, 0);
    buffers_.push_back({samples, std::max(frames, 0), queuedFrames_, tag});
    if (std::exchange(flushed_, false)) OpenStream();
    if (Playable()) WriteMore();
    if (!tick_.IsSet()) tick_.Set(kTickMs);
  }

  void Flush() override {
    const PulseServer::Lock lock(server_);
    buffers_.clear();
    tick_.Cancel();
    playedFrames_ = writtenFrames_ = queuedFrames_;
    // What the server still holds goes with its stream. The next one is made when there is something to play: nearly
    // always there is not, and the channel goes.
    if (stream_ == nullptr) return;
    CloseStream();
    flushed_ = true;
  }

  void Quiet() override {}  // A flushed channel has nothing left that sounds.

  bool IsSilent() const override { return silent_; }

 private:
  struct Buffer {
    const std::int16_t* samples;
    std::int64_t frames;
    std::int64_t endFrame;  // Of the channel's whole play, behind this buffer.
    void* tag;
  };

  bool Playable() const { return stream_ != nullptr && pa_stream_get_state(stream_) == PA_STREAM_READY; }
  std::uint32_t Bytes(std::uint32_t ms) const {
    return static_cast<std::uint32_t>(std::int64_t{spec_.rate} * ms / 1000 * frameBytes_);
  }
  std::int64_t Frames(pa_usec_t time) const { return static_cast<std::int64_t>(time * spec_.rate / PA_USEC_PER_SEC); }

  void OnConnected() override { OpenStream(); }
  void OnLost() override {
    CloseStream();
    GoSilent();
  }

  void GoSilent() {
    silent_ = true;
    lastTick_ = pa_rtclock_now();
  }

  void OpenStream() {
    flushed_ = false;
    if (stream_ != nullptr || server_.Context() == nullptr) return;
    stream_ = pa_stream_new(server_.Context(), mediaName_.c_str(), &spec_, nullptr);
    if (stream_ == nullptr) {
      retry_.Set(kNoSinkRetryMs);
      return;
    }
    pa_stream_set_state_callback(
        stream_, [](pa_stream*, void* self) { Self(self).OnStreamState(); }, this);
    pa_stream_set_write_callback(
        stream_, [](pa_stream*, std::size_t, void* self) { Self(self).WriteMore(); }, this);
    pa_buffer_attr attributes{};
    attributes.maxlength = Bytes(kServerQueueMs + kBlockMs);
    attributes.tlength = Bytes(kServerQueueMs);
    attributes.prebuf = 0;
    attributes.minreq = Bytes(kBlockMs);
    attributes.fragsize = static_cast<std::uint32_t>(-1);
    if (pa_stream_connect_playback(stream_, nullptr, &attributes, PA_STREAM_NOFLAGS, nullptr, nullptr) < 0) {
      CloseStream();
      retry_.Set(kNoSinkRetryMs);
    }
  }

  void CloseStream() {
    if (timing_ != nullptr) {
      pa_operation_cancel(timing_);
      pa_operation_unref(timing_);
      timing_ = nullptr;
    }
    if (stream_ == nullptr) return;
    EndStream(std::exchange(stream_, nullptr));
  }

  void OnStreamState() {
    const pa_stream_state_t state = pa_stream_get_state(stream_);
    if (state == PA_STREAM_READY) {
      // A new stream counts from 0; it begins where play has come to.
      streamBegin_ = writtenFrames_ = playedFrames_;
      drainedAt_ = 0;
      startedAt_ = 0;
      lastMove_ = pa_rtclock_now();
      silent_ = false;
      ApplyVolume();
      WriteMore();
      server_.Signal();
    } else if (!PA_STREAM_IS_GOOD(state)) {
      CloseStream();
      GoSilent();
      retry_.Set(kNoSinkRetryMs);
      server_.Signal();
    }
  }

  void ApplyVolume() {
    if (!volumeSet_ || !Playable()) return;
    constexpr double kUnchanged = 0x100;
    const double left = static_cast<double>(volume_ & 0xFFFF) / kUnchanged;
    const double right = static_cast<double>(volume_ >> 16 & 0xFFFF) / kUnchanged;
    pa_cvolume volume;
    pa_cvolume_set(&volume, spec_.channels, pa_sw_volume_from_linear(left));
    if (spec_.channels > 1) volume.values[1] = pa_sw_volume_from_linear(right);
    pa_operation* const operation =
        pa_context_set_sink_input_volume(server_.Context(), pa_stream_get_index(stream_), &volume, nullptr, nullptr);
    if (operation != nullptr) pa_operation_unref(operation);
  }

  // Passes on what the server has room for.
  void WriteMore() {
    if (!Playable()) return;
    for (const Buffer& buffer : buffers_) {
      if (buffer.endFrame <= writtenFrames_) continue;
      const auto room = static_cast<std::int64_t>(pa_stream_writable_size(stream_)) / frameBytes_;
      const std::int64_t offset = writtenFrames_ - (buffer.endFrame - buffer.frames);
      const std::int64_t frames = std::min(buffer.endFrame - writtenFrames_, room);
      if (frames <= 0) return;
      const std::int16_t* const from = buffer.samples + offset * spec_.channels;
      if (pa_stream_write(stream_, from, static_cast<std::size_t>(frames * frameBytes_), nullptr, 0, PA_SEEK_RELATIVE) <
          0) {
        return;
      }
      if (startedAt_ == 0) startedAt_ = pa_rtclock_now();
      writtenFrames_ += frames;
      drainedAt_ = 0;
    }
  }

  void OnTick() {
    if (Playable()) {
      AskForTiming();
    } else if (silent_) {
      const pa_usec_t now = pa_rtclock_now();
      const std::int64_t moved = Frames(now - lastTick_);
      lastTick_ += pa_bytes_to_usec(static_cast<std::uint64_t>(moved * frameBytes_), &spec_);
      MoveTo(playedFrames_ + moved);
    }
    if (!buffers_.empty()) tick_.Set(kTickMs);
  }

  void AskForTiming() {
    if (timing_ != nullptr) {  // Not answered yet: a server that hangs stands still like a sink.
      LookForStandstill();
      return;
    }
    timing_ = pa_stream_update_timing_info(
        stream_, [](pa_stream*, int success, void* self) { Self(self).OnTiming(success != 0); }, this);
  }

  void OnTiming(bool success) {
    if (timing_ != nullptr) {
      pa_operation_unref(timing_);
      timing_ = nullptr;
    }
    pa_timing_info const* const info = success ? pa_stream_get_timing_info(stream_) : nullptr;
    if (info == nullptr || info->read_index_corrupt != 0) return;
    const std::int64_t readFrames = streamBegin_ + info->read_index / frameBytes_;
    if (readFrames != lastReadFrames_) {
      lastReadFrames_ = readFrames;
      lastMove_ = pa_rtclock_now();
    }
    if (readFrames >= writtenFrames_) {
      // The sink has taken the last frame; it is heard when the sink's own delay is over.
      const pa_usec_t now = pa_rtclock_now();
      if (drainedAt_ == 0) drainedAt_ = now + info->sink_usec;
      if (now >= drainedAt_) {
        MoveTo(writtenFrames_);
        return;
      }
    }
    // Some servers tell a delay that is some ms short; nothing is heard sooner than the clock allows.
    const std::int64_t possible = startedAt_ == 0 ? streamBegin_ : streamBegin_ + Frames(pa_rtclock_now() - startedAt_);
    MoveTo(std::min({readFrames, writtenFrames_, possible + Frames(info->sink_usec)}) - Frames(info->sink_usec));
    LookForStandstill();
  }

  void LookForStandstill() {
    const pa_usec_t limit = pa_stream_is_suspended(stream_) == 1 ? kSuspended : kStandstill;
    if (buffers_.empty() || pa_rtclock_now() - lastMove_ < limit) return;
    CloseStream();
    GoSilent();
    retry_.Set(kNoSinkRetryMs);
  }

  // Play has come to that frame: gives back what has been played.
  void MoveTo(std::int64_t frame) {
    playedFrames_ = std::clamp(frame, playedFrames_, queuedFrames_);
    while (!buffers_.empty() && buffers_.front().endFrame <= playedFrames_) {
      PlayedBuffer told{buffers_.front().tag};
      buffers_.pop_front();
      played_(this, &told);
    }
  }

  static PulseChannel& Self(void* self) { return *static_cast<PulseChannel*>(self); }

  PulseServer& server_;
  const std::string mediaName_;
  void (*const played_)(SoundChannel*, PlayedBuffer*);
  const pa_sample_spec spec_;
  const std::int64_t frameBytes_;

  // All under the server's lock. Frames count from the channel's opening.
  PulseServer::Timer tick_;
  PulseServer::Timer retry_;
  pa_stream* stream_ = nullptr;
  pa_operation* timing_ = nullptr;
  std::deque<Buffer> buffers_;  // Queued and not yet given back.
  std::int64_t queuedFrames_ = 0;
  std::int64_t writtenFrames_ = 0;
  std::int64_t playedFrames_ = 0;
  std::int64_t streamBegin_ = 0;  // The stream's frame 0.
  std::int64_t lastReadFrames_ = 0;
  pa_usec_t lastMove_ = 0;   // When the server last was seen to have read on.
  pa_usec_t lastTick_ = 0;   // Where the silent clock stands.
  pa_usec_t startedAt_ = 0;  // When the stream was given its first frame; 0 before.
  pa_usec_t drainedAt_ = 0;  // When the last frame written will have been heard; 0 while more is to come.
  std::int32_t volume_ = kFullVolume;
  bool volumeSet_ = false;
  bool flushed_ = false;  // There is no stream, and nothing to play.

  std::atomic<bool> silent_{true};
};

}  // namespace

std::unique_ptr<SoundChannel> PulseOutput::OpenChannel(const ChannelRequest& request) {
  auto channel = std::make_unique<PulseChannel>(server_, request);
  channel->Open();
  return channel;
}

}  // namespace kiv
