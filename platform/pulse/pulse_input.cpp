#include "platform/pulse/pulse_input.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>

#include "platform/pulse/byte_ring.h"

namespace kiv {
namespace {

// More than the port asks for, so that a user who comes back after ten seconds still finds everything.
constexpr std::size_t kRingSeconds = kInputRingSeconds + 5;
constexpr std::uint32_t kFragmentsPerSecond = 10;

// Gaps below this are the ordinary unevenness of arrival.
constexpr pa_usec_t kShortestGap = 30 * PA_USEC_PER_MSEC;

void Forget(pa_operation* operation) {
  if (operation != nullptr) pa_operation_unref(operation);
}

class PulseInputDevice final : public SoundInputDevice, private PulseServer::Client {
 public:
  PulseInputDevice(PulseServer& server, std::string mediaName)
      : server_(server), mediaName_(std::move(mediaName)), retry_(server, [this] { OpenStream(); }) {}

  ~PulseInputDevice() override {
    const PulseServer::Lock lock(server_);
    StopLocked();
    AbandonQuestion();
  }

  // Asks the server for its default source; false when there is none.
  bool FindSource() {
    const PulseServer::Lock lock(server_);
    if (!server_.Connect()) return false;
    AskForDefault();
    const bool answered = server_.WaitUntil([this] { return question_ == nullptr; }, PulseServer::kConnectLimitMs);
    AbandonQuestion();
    return answered && found_;
  }

  std::int32_t AskRate(std::int32_t rateHz) override {
    rate_ = std::clamp<std::int32_t>(rateHz, 1, PA_RATE_MAX);
    return rate_;
  }

  std::int32_t AskChannels(std::int32_t channels) override {
    channels_ = std::clamp<std::int32_t>(channels, 1, PA_CHANNELS_MAX);
    return channels_;
  }

  void Record(InputRequest& request) override {
    if (!capturing_ && !stopped_) {
      const PulseServer::Lock lock(server_);
      capturing_ = true;
      ring_.Reset(kRingSeconds * BytesPerSecond());
      server_.Add(*this);
      OpenStream();
    }
    // Not under the server's lock, for which the capture thread would nearly always have to wait until the event
    // thread, which has just woken it, is done.
    {
      const std::lock_guard lock(ringMutex_);
      if (!ring_.Pop(request.buffer, static_cast<std::size_t>(request.bytes))) {
        if (!stopped_) {
          request_ = &request;
          return;
        }
        request.bytes = 0;
      }
    }
    request.completed(&request);
  }

  void Stop() override {
    const PulseServer::Lock lock(server_);
    StopLocked();
  }

  std::int64_t LostFrames() const override { return lostFrames_; }

  std::string Name() const override {
    const std::lock_guard lock(nameMutex_);
    return name_;
  }

 private:
  std::size_t FrameBytes() const noexcept { return static_cast<std::size_t>(channels_) * 2; }
  std::size_t BytesPerSecond() const noexcept { return static_cast<std::size_t>(rate_) * FrameBytes(); }

  void OnConnected() override { OpenStream(); }
  void OnLost() override {
    AbandonQuestion();
    CloseStream();
    interrupted_ = true;
  }

  void StopLocked() {
    if (!capturing_) return;
    server_.Remove(*this);
    retry_.Cancel();
    CloseStream();
    capturing_ = false;
    stopped_ = true;
    CompleteRequest(true);
  }

  // Calls out when the request is full, or is to be completed anyway.
  void CompleteRequest(bool anyway) {
    InputRequest* request = nullptr;
    {
      const std::lock_guard lock(ringMutex_);
      if (request_ == nullptr) return;
      if (!ring_.Pop(request_->buffer, static_cast<std::size_t>(request_->bytes))) {
        if (!anyway) return;
        request_->bytes = 0;
      }
      request = std::exchange(request_, nullptr);
    }
    request->completed(request);
  }

  void OpenStream() {
    if (!capturing_ || stream_ != nullptr || server_.Context() == nullptr) return;
    const pa_sample_spec spec{PA_SAMPLE_S16NE, static_cast<std::uint32_t>(rate_), static_cast<std::uint8_t>(channels_)};
    stream_ = pa_stream_new(server_.Context(), mediaName_.c_str(), &spec, nullptr);
    if (stream_ == nullptr) {
      retry_.Set(PulseServer::kRetryMs);
      return;
    }
    pa_stream_set_state_callback(
        stream_, [](pa_stream*, void* self) { Self(self).OnStreamState(); }, this);
    pa_stream_set_read_callback(
        stream_, [](pa_stream*, std::size_t bytes, void* self) { Self(self).OnReadable(bytes); }, this);
    pa_stream_set_moved_callback(
        stream_, [](pa_stream*, void* self) { Self(self).OnMoved(); }, this);
    pa_stream_set_suspended_callback(
        stream_, [](pa_stream*, void* self) { Self(self).interrupted_ = true; }, this);
    pa_buffer_attr attributes{};
    attributes.maxlength = static_cast<std::uint32_t>(-1);
    attributes.fragsize =
        static_cast<std::uint32_t>(static_cast<std::size_t>(rate_) / kFragmentsPerSecond * FrameBytes());
    // A piece as soon as it has been captured, in pieces of a block: with the other adjustment of latency they would be
    // half as long, and every thread would wake twice as often.
    if (pa_stream_connect_record(stream_, nullptr, &attributes, PA_STREAM_EARLY_REQUESTS) < 0) {
      CloseStream();
      retry_.Set(PulseServer::kRetryMs);
    }
  }

  void CloseStream() {
    if (stream_ == nullptr) return;
    EndStream(std::exchange(stream_, nullptr));
  }

  void OnStreamState() {
    const pa_stream_state_t state = pa_stream_get_state(stream_);
    if (state == PA_STREAM_READY) {
      OnMoved();
    } else if (!PA_STREAM_IS_GOOD(state)) {
      // The source has gone and there is no other: tried again until one comes or the user gives up.
      interrupted_ = true;
      CloseStream();
      retry_.Set(PulseServer::kRetryMs);
    }
  }

  void OnMoved() {
    if (everRead_) interrupted_ = true;
    AbandonQuestion();
    const char* device = pa_stream_get_device_name(stream_);
    if (device != nullptr) AskForName(device);
  }

  // So many bytes have arrived.
  void OnReadable(std::size_t bytes) {
    const pa_usec_t now = pa_rtclock_now();
    if (interrupted_) FillGap(now, bytes);
    while (bytes > 0) {
      void const* data = nullptr;
      std::size_t size = 0;
      if (pa_stream_peek(stream_, &data, &size) < 0 || size == 0) break;
      Push(data, size);  // Without data it is a hole that the server tells of: silence.
      pa_stream_drop(stream_);
      everRead_ = true;
      bytes -= std::min(bytes, size);
    }
    lastRead_ = now;
    CompleteRequest(false);
  }

  // Silence for the time between the last arrival and this one, less what has arrived now.
  void FillGap(pa_usec_t now, std::size_t arrived) {
    interrupted_ = false;
    if (!everRead_) return;
    const pa_usec_t covered = arrived * PA_USEC_PER_SEC / BytesPerSecond();
    const pa_usec_t away = now - lastRead_;
    if (away < covered + kShortestGap) return;
    const std::size_t frames = (away - covered) * static_cast<std::size_t>(rate_) / PA_USEC_PER_SEC;
    Push(nullptr, std::min(frames * FrameBytes(), kRingSeconds * BytesPerSecond()));
  }

  void Push(void const* data, std::size_t size) {
    const std::lock_guard lock(ringMutex_);
    const std::size_t dropped = ring_.Push(data, size, FrameBytes());
    lostFrames_ += static_cast<std::int64_t>(dropped / FrameBytes());
  }

  // The one question under way, about the default source and then about a source's name for people.
  void AskForDefault() {
    found_ = false;
    question_ = pa_context_get_server_info(
        server_.Context(),
        [](pa_context*, pa_server_info const* info, void* self) {
          auto& device = Self(self);
          device.EndQuestion();
          const char* source = info == nullptr ? nullptr : info->default_source_name;
          device.found_ = source != nullptr && *source != '\0';
          if (device.found_) device.AskForName(source);
          device.server_.Signal();
        },
        this);
  }

  void AskForName(char const* source) {
    question_ = pa_context_get_source_info_by_name(
        server_.Context(), source,
        [](pa_context*, pa_source_info const* info, int end, void* self) {
          auto& device = Self(self);
          if (end == 0) {
            const std::lock_guard lock(device.nameMutex_);
            device.name_ = info->description != nullptr ? info->description : info->name;
            return;
          }
          if (end < 0) device.found_ = false;
          device.EndQuestion();
          device.server_.Signal();
        },
        this);
  }

  void EndQuestion() {
    Forget(question_);
    question_ = nullptr;
  }

  void AbandonQuestion() {
    if (question_ == nullptr) return;
    pa_operation_cancel(question_);
    EndQuestion();
  }

  static PulseInputDevice& Self(void* self) { return *static_cast<PulseInputDevice*>(self); }

  PulseServer& server_;
  const std::string mediaName_;
  std::int32_t rate_ = 8000;
  std::int32_t channels_ = 1;

  // All under the server's lock; but capturing_ and stopped_, which only its user changes, he reads without.
  PulseServer::Timer retry_;
  pa_stream* stream_ = nullptr;
  pa_operation* question_ = nullptr;
  bool found_ = false;
  bool capturing_ = false;
  bool stopped_ = false;
  bool interrupted_ = false;  // The flow has stopped since the last arrival.
  bool everRead_ = false;
  pa_usec_t lastRead_ = 0;

  std::mutex ringMutex_;  // Guards the two below. Taken after the server's lock.
  ByteRing ring_;
  InputRequest* request_ = nullptr;

  std::atomic<std::int64_t> lostFrames_{0};
  mutable std::mutex nameMutex_;
  std::string name_;
};

}  // namespace

std::unique_ptr<SoundInputDevice> PulseInput::OpenDefault(const std::string& mediaName) {
  auto device = std::make_unique<PulseInputDevice>(server_, mediaName);
  if (!device->FindSource()) return nullptr;
  return device;
}

}  // namespace kiv
