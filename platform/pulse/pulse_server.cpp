#include "platform/pulse/pulse_server.h"

#include <algorithm>

namespace kiv {
namespace {

constexpr int kWaitStepMs = 50;

}  // namespace

void EndStream(pa_stream* stream) {
  pa_stream_set_read_callback(stream, nullptr, nullptr);
  pa_stream_set_write_callback(stream, nullptr, nullptr);
  pa_stream_set_moved_callback(stream, nullptr, nullptr);
  pa_stream_set_suspended_callback(stream, nullptr, nullptr);
  pa_stream_set_state_callback(stream, nullptr, nullptr);
  if (pa_stream_get_state(stream) != PA_STREAM_CREATING) {
    pa_stream_disconnect(stream);
    pa_stream_unref(stream);
    return;
  }
  pa_stream_set_state_callback(
      stream,
      [](pa_stream* made, void*) {
        if (pa_stream_get_state(made) == PA_STREAM_CREATING) return;
        EndStream(made);
      },
      nullptr);
}

void PulseServer::Timer::Set(int afterMs) {
  const pa_usec_t at = pa_rtclock_now() + static_cast<pa_usec_t>(afterMs) * PA_USEC_PER_MSEC;
  if (event_ != nullptr) {
    pa_context_rttime_restart(server_.timers_, event_, at);
    return;
  }
  event_ = pa_context_rttime_new(
      server_.timers_, at,
      [](pa_mainloop_api*, pa_time_event*, const timeval*, void* self) {
        auto& timer = *static_cast<Timer*>(self);
        timer.Cancel();
        timer.fire_();
      },
      this);
}

void PulseServer::Timer::Cancel() {
  if (event_ == nullptr) return;
  server_.api_->time_free(event_);
  event_ = nullptr;
}

PulseServer::PulseServer()
    : loop_(pa_threaded_mainloop_new()),
      api_(pa_threaded_mainloop_get_api(loop_)),
      timers_(pa_context_new(api_, "timers")),
      retry_(*this, [this] {
        if (clients_.empty() || ready_) return;
        DropContext();
        BeginConnecting();
      }) {
  pa_threaded_mainloop_set_name(loop_, "kiv-pulse");
  pa_threaded_mainloop_start(loop_);
}

PulseServer::~PulseServer() {
  {
    const Lock lock(*this);
    retry_.Cancel();
    DropContext();
  }
  pa_threaded_mainloop_stop(loop_);
  pa_context_unref(timers_);
  pa_threaded_mainloop_free(loop_);
}

void PulseServer::Add(Client& client) {
  clients_.push_back(&client);
  if (!ready_ && !retry_.IsSet() && (context_ == nullptr || dead_)) retry_.Set(0);
}

void PulseServer::Remove(Client& client) {
  clients_.erase(std::remove(clients_.begin(), clients_.end(), &client), clients_.end());
}

void PulseServer::Prepare() {
  if (context_ != nullptr && !dead_) return;
  DropContext();
  BeginConnecting();
}

bool PulseServer::Connect() {
  Prepare();
  WaitUntil([this] { return ready_ || dead_; }, kConnectLimitMs);
  return ready_;
}

bool PulseServer::WaitUntil(const std::function<bool()>& done, int limitMs) {
  // In small steps: while we stand still, with the answer perhaps there and unread, only one of them passes.
  int steps = (limitMs + kWaitStepMs - 1) / kWaitStepMs;
  std::function<void()> next;
  Timer step(*this, [&next] { next(); });
  next = [&] {
    --steps;
    if (steps > 0) {
      step.Set(kWaitStepMs);
    } else {
      Signal();
    }
  };
  step.Set(kWaitStepMs);
  while (!done() && steps > 0) pa_threaded_mainloop_wait(loop_);
  return done();
}

void PulseServer::BeginConnecting() {
  pa_proplist* properties = pa_proplist_new();
  pa_proplist_sets(properties, PA_PROP_APPLICATION_NAME, "Kiv Recorder");
  pa_proplist_sets(properties, PA_PROP_APPLICATION_ID, "com.oskmera.Kiv");
  pa_proplist_sets(properties, PA_PROP_APPLICATION_ICON_NAME, "com.oskmera.Kiv");
  context_ = pa_context_new_with_proplist(api_, nullptr, properties);
  pa_proplist_free(properties);
  dead_ = false;
  pa_context_set_state_callback(
      context_, [](pa_context*, void* self) { static_cast<PulseServer*>(self)->OnContextState(); }, this);
  if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOFLAGS, nullptr) < 0) OnContextState();
}

void PulseServer::DropContext() {
  if (context_ == nullptr) return;
  pa_context_set_state_callback(context_, nullptr, nullptr);
  pa_context_disconnect(context_);
  pa_context_unref(context_);
  context_ = nullptr;
  ready_ = false;
  dead_ = false;
}

void PulseServer::OnContextState() {
  const pa_context_state_t state = pa_context_get_state(context_);
  const std::vector<Client*> told = clients_;  // A client may go or come while it is told.
  if (state == PA_CONTEXT_READY) {
    ready_ = true;
    Signal();
    for (Client* client : told) client->OnConnected();
  } else if (!PA_CONTEXT_IS_GOOD(state) && !dead_) {
    const bool stood = ready_;
    ready_ = false;
    dead_ = true;
    Signal();
    if (stood) {
      for (Client* client : told) client->OnLost();
    }
    // A failed context stays failed; a new one takes its place.
    if (!clients_.empty()) retry_.Set(kRetryMs);
  }
}

}  // namespace kiv
