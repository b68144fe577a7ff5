#pragma once

// The main thread's queue of custom events, by which every other thread reaches it.
//
//   Order    events are dispatched in posting order, one call per post; nothing is merged. Handlers of an event's
//            class and kind are asked latest installed first, until one accepts.
//   Threads  Post, IsEmpty, NewIdentity: any. Install, Remove, Drain: main.
//   Wake-up  WakeDescriptor is readable whenever the queue is not empty; the toolkit's loop watches it and calls
//            Drain. Now and then it is readable although there is nothing: then Drain finds nothing. Tests call Drain
//            by hand.
//   Nesting  an event is off the queue before its handler runs, so a handler may Drain (by running a dialog, say),
//            post, install and remove handlers, also its own.
//   Locks    none is held while a handler runs.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <vector>

namespace kiv {

class Event {
 public:
  Event(std::uint32_t eventClass, std::uint32_t kind) : class_(eventClass), kind_(kind) {}

  std::uint32_t Class() const noexcept { return class_; }
  std::uint32_t Kind() const noexcept { return kind_; }

  // Parameters are values of up to kMaxParameterBytes under a name and a type.
  static constexpr std::size_t kMaxParameterBytes = 16;
  template <typename T>
  void Set(std::uint32_t name, std::uint32_t type, const T& value) {
    static_assert(std::is_trivially_copyable_v<T> && sizeof(T) <= kMaxParameterBytes);
    Parameter parameter{name, type, sizeof(T), {}};
    std::memcpy(parameter.bytes, &value, sizeof(T));
    parameters_.push_back(parameter);
  }
  // Nothing when there is no parameter of that name, type and size.
  template <typename T>
  std::optional<T> Get(std::uint32_t name, std::uint32_t type) const {
    static_assert(std::is_trivially_copyable_v<T> && sizeof(T) <= kMaxParameterBytes);
    for (const Parameter& parameter : parameters_) {
      if (parameter.name != name || parameter.type != type || parameter.size != sizeof(T)) continue;
      T value;
      std::memcpy(&value, parameter.bytes, sizeof(T));
      return value;
    }
    return std::nullopt;
  }

 private:
  struct Parameter {
    std::uint32_t name;
    std::uint32_t type;
    std::size_t size;
    unsigned char bytes[kMaxParameterBytes];
  };

  std::uint32_t class_;
  std::uint32_t kind_;
  std::vector<Parameter> parameters_;
};

class EventQueue {
 public:
  // Accepts an event (true), or passes it on to the handlers installed before.
  using Handler = std::function<bool(const Event&)>;
  using HandlerId = std::uint64_t;

  EventQueue();
  ~EventQueue();
  EventQueue(const EventQueue&) = delete;
  EventQueue& operator=(const EventQueue&) = delete;

  // The main thread's queue. Never destroyed, so that static objects and late workers may use it.
  static EventQueue& Main();

  void Post(Event event);
  bool IsEmpty() const;
  // Dispatches what is queued now, but not what its handlers post (that waits for the next turn of the loop).
  // Gives the number of events taken off.
  std::size_t Drain();
  int WakeDescriptor() const noexcept { return wakeDescriptor_; }

  HandlerId Install(std::uint32_t eventClass, std::uint32_t kind, Handler handler);
  // The handler is not called again, also when an event is being passed along to it.
  void Remove(HandlerId id);

  // A number that no other call has given or will give, never 0: names the target of a post, where an address
  // could come back with another object.
  static std::uint64_t NewIdentity() noexcept;

 private:
  struct Installed {
    HandlerId id;
    std::uint32_t eventClass;
    std::uint32_t kind;
    Handler handler;
  };

  void Dispatch(const Event& event);
  // Makes the wake descriptor readable, and, under the mutex, no longer.
  void Wake();
  void EndWakeLocked();

  mutable std::mutex mutex_;  // Guards events_, the two numbers and awake_.
  std::deque<Event> events_;
  std::uint64_t taken_ = 0;
  std::uint64_t posted_ = 0;
  bool awake_ = false;  // Whoever set it has made the wake descriptor readable, or is about to.
  int wakeDescriptor_;
  // Main thread only; latest last. Shared so that one stays alive while it runs.
  std::vector<std::shared_ptr<Installed>> handlers_;
  HandlerId lastHandler_ = 0;
};

}  // namespace kiv
