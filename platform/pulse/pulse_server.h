#pragma once

// One connection to the sound server, shared by all devices, with the library's event thread behind it. Serves
// PulseAudio, and PipeWire through its PulseAudio service.
//
//   Threads  everything under the lock of the event thread (Lock), which the call-backs of clients and timers hold
//            already. Made and destroyed by one thread, without the lock.
//   Errors   without a server nothing is connected, and as long as there are clients it is tried again every
//            kRetryMs; clients are told of every change.

#include <pulse/pulseaudio.h>

#include <functional>
#include <vector>

namespace kiv {

// Ends a stream and lets go of it; nobody is called back for it any more. One that the server is still making is ended
// as soon as it is there: sooner the client library refuses, and the stream would stay in the server, sounding or
// capturing for nobody. Under the lock, or on the event thread.
void EndStream(pa_stream* stream);

class PulseServer {
 public:
  static constexpr int kRetryMs = 250;
  static constexpr int kConnectLimitMs = 900;

  // Told on the event thread.
  class Client {
   public:
    virtual ~Client() = default;
    virtual void OnConnected() = 0;
    // The connection and every stream of it are dead.
    virtual void OnLost() = 0;
  };

  class Lock {
   public:
    explicit Lock(PulseServer& server) noexcept : loop_(server.loop_) { pa_threaded_mainloop_lock(loop_); }
    ~Lock() { pa_threaded_mainloop_unlock(loop_); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

   private:
    pa_threaded_mainloop* loop_;
  };

  // A timer of the event thread that fires once for each setting; by the monotonic clock.
  class Timer {
   public:
    Timer(PulseServer& server, std::function<void()> fire) : server_(server), fire_(std::move(fire)) {}
    ~Timer() { Cancel(); }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    void Set(int afterMs);
    void Cancel();
    bool IsSet() const noexcept { return event_ != nullptr; }

   private:
    PulseServer& server_;
    std::function<void()> fire_;
    pa_time_event* event_ = nullptr;
  };

  PulseServer();
  ~PulseServer();
  PulseServer(const PulseServer&) = delete;
  PulseServer& operator=(const PulseServer&) = delete;

  void Add(Client& client);
  void Remove(Client& client);

  // Not on the event thread. Begins to connect and does not wait, so that a later Connect finds it done.
  void Prepare();
  // Not on the event thread. True when connected, at the latest after kConnectLimitMs.
  bool Connect();

  // The connection; null unless it stands.
  pa_context* Context() const noexcept { return ready_ ? context_ : nullptr; }

  // Not on the event thread: lets it run until done answers true, or the time is up (false). Time in which the whole
  // machine stood still does not count.
  bool WaitUntil(const std::function<bool()>& done, int limitMs);
  // Lets waiting threads look again.
  void Signal() { pa_threaded_mainloop_signal(loop_, 0); }

 private:
  void BeginConnecting();
  void DropContext();
  void OnContextState();

  pa_threaded_mainloop* loop_;
  pa_mainloop_api* api_;
  pa_context* timers_;  // Never connected: carries the timers, which the library ties to a context.
  pa_context* context_ = nullptr;
  bool ready_ = false;
  bool dead_ = false;  // The context has failed and waits to be dropped.
  std::vector<Client*> clients_;
  Timer retry_;
};

}  // namespace kiv
