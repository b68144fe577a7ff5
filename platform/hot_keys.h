#pragma once

#include <cstdint>

namespace kiv {

// Virtual key codes of F1 to F12, in this order. The numbers are the system's own, whatever the keyboard sends.
inline constexpr int kFunctionKeyCodes[] = {122, 120, 99, 118, 96, 97, 98, 100, 101, 109, 103, 111};

// Port: keys that reach the program while another program has the keyboard.
//   Keys     virtual key codes (above); pressed without modifiers, whatever Caps Lock and Num Lock say.
//   Threads  main only. An implementation has no thread of its own: the main loop watches Descriptor() and calls
//            Dispatch(), which calls the listeners.
//   Must     report one press and one release for each time a key is held, however long: no auto-repeat.
//   May      be without the key for a while, when another program has it (State::Taken); Retry asks again.
//   Errors   a key that cannot be had at all answers a null registration.
class HotKeys {
 public:
  class Listener {
   public:
    virtual ~Listener() = default;
    virtual void HotKeyPressed(std::uint32_t id) = 0;
    virtual void HotKeyReleased(std::uint32_t id) = 0;
  };
  enum class State { Held, Taken };
  // A registration; 0 is none.
  using Registration = std::uint32_t;

  virtual ~HotKeys() = default;

  // Whether this desktop has global keys for us at all. False without an X server.
  virtual bool Available() const = 0;

  // The listener must live until Unregister. Registering the same key twice gives two registrations.
  virtual Registration Register(int virtualKey, std::uint32_t id, Listener& listener) = 0;
  virtual void Unregister(Registration registration) = 0;
  virtual State StateOf(Registration registration) const = 0;
  // Asks again for every key that is taken.
  virtual void Retry() = 0;
  // Whether the key is ours now, so that an ordinary press of it in our own window is the same press again.
  virtual bool Holds(int virtualKey) const = 0;

  // Readable when Dispatch has something to do; -1 when there is nothing to watch.
  virtual int Descriptor() const = 0;
  virtual void Dispatch() = 0;
};

}  // namespace kiv
