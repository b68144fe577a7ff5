#pragma once

// Listens to a source of the sound server, in small pieces, and remembers when each came: what somebody else has heard
// of what a player says that it has played. 8000 Hz mono.
//   Threads  made, asked and destroyed by one thread.

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/pulse/pulse_server.h"

namespace kiv::test {

class MonitorEar {
 public:
  using SteadyClock = std::chrono::steady_clock;
  static constexpr std::uint32_t kRate = 8000;

  // The server outlives it.
  MonitorEar(PulseServer& server, std::string source) : server_(server), source_(std::move(source)) {}
  ~MonitorEar() {
    const PulseServer::Lock lock(server_);
    if (stream_ == nullptr) return;
    pa_stream_set_state_callback(stream_, nullptr, nullptr);
    pa_stream_set_read_callback(stream_, nullptr, nullptr);
    pa_stream_disconnect(stream_);
    pa_stream_unref(stream_);
  }
  MonitorEar(const MonitorEar&) = delete;
  MonitorEar& operator=(const MonitorEar&) = delete;

  // True when something has come from the source, at the latest after the limit.
  bool Listen(std::chrono::milliseconds limit) {
    const PulseServer::Lock lock(server_);
    if (!server_.Connect()) return false;
    const pa_sample_spec spec{PA_SAMPLE_S16NE, kRate, 1};
    stream_ = pa_stream_new(server_.Context(), "Ear", &spec, nullptr);
    pa_stream_set_read_callback(
        stream_, [](pa_stream*, std::size_t, void* self) { static_cast<MonitorEar*>(self)->OnReadable(); }, this);
    pa_buffer_attr attributes{};
    attributes.maxlength = static_cast<std::uint32_t>(-1);
    attributes.fragsize = kRate / 100 * sizeof(std::int16_t);
    if (pa_stream_connect_record(stream_, source_.c_str(), &attributes, PA_STREAM_NOFLAGS) < 0) return false;
    return server_.WaitUntil([this] { return !samples_.empty(); }, static_cast<int>(limit.count()));
  }

  std::vector<std::int16_t> Samples() {
    const PulseServer::Lock lock(server_);
    return samples_;
  }

  // When the first so many frames had come; the latest possible time when they have not.
  SteadyClock::time_point ArrivalOf(std::size_t frames) {
    const PulseServer::Lock lock(server_);
    for (const Piece& piece : pieces_) {
      if (piece.endFrame >= frames) return piece.arrived;
    }
    return SteadyClock::time_point::max();
  }

 private:
  struct Piece {
    SteadyClock::time_point arrived;
    std::size_t endFrame;
  };

  void OnReadable() {
    const auto now = SteadyClock::now();
    void const* data = nullptr;
    std::size_t bytes = 0;
    while (pa_stream_peek(stream_, &data, &bytes) == 0 && bytes > 0) {
      const std::size_t frames = bytes / sizeof(std::int16_t);
      const auto* const samples = static_cast<std::int16_t const*>(data);
      if (samples != nullptr) {
        samples_.insert(samples_.end(), samples, samples + frames);
      } else {
        samples_.insert(samples_.end(), frames, std::int16_t{0});
      }
      pieces_.push_back({now, samples_.size()});
      pa_stream_drop(stream_);
    }
    server_.Signal();
  }

  PulseServer& server_;
  const std::string source_;
  // Under the server's lock.
  pa_stream* stream_ = nullptr;
  std::vector<std::int16_t> samples_;
  std::vector<Piece> pieces_;
};

}  // namespace kiv::test
