#pragma once

// Global hot keys of an X server: passive grabs on a connection of our own, so that the toolkit's events stay out of
// it.
//   Locks    Caps Lock, Num Lock and both together are grabbed beside the plain key.
//   Repeats  a held key gives one press and one release.
//   Without an X server Available is false and nothing can be registered.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "platform/hot_keys.h"

struct xcb_connection_t;

namespace kiv {

class X11HotKeys : public HotKeys {
 public:
  // By how much a repeat may come later than the keyboard's own times say: a press after that is a new one, even when
  // the release before it has gone to another program.
  static constexpr std::uint32_t kRepeatSlackMs = 1000;

  // The display's name; null for the environment's.
  explicit X11HotKeys(const char* display = nullptr, std::uint32_t repeatSlackMs = kRepeatSlackMs);
  ~X11HotKeys() override;
  X11HotKeys(const X11HotKeys&) = delete;
  X11HotKeys& operator=(const X11HotKeys&) = delete;

  bool Available() const override { return connection_ != nullptr; }
  Registration Register(int virtualKey, std::uint32_t id, Listener& listener) override;
  void Unregister(Registration registration) override;
  State StateOf(Registration registration) const override;
  void Retry() override;
  bool Holds(int virtualKey) const override;
  int Descriptor() const override;
  void Dispatch() override;

 private:
  struct Key {
    int virtualKey;
    std::uint32_t id;
    Listener* listener;
    std::uint8_t keycode = 0;  // 0 when the keyboard has no such key.
    bool held = false;         // The grab is ours.
    bool down = false;
    std::uint32_t lastPressMs = 0;  // The server's time.
  };

  void ReadKeyboard();
  bool Grab(std::uint8_t keycode);
  // Gives the key free as it was grabbed with that mask of Num Lock.
  void Ungrab(std::uint8_t keycode, std::uint16_t numLockMask);
  void GrabAll();
  void DispatchEvents();
  void Press(std::uint8_t keycode, std::uint32_t timeMs);
  void Release(std::uint8_t keycode);
  std::vector<Registration> RegistrationsOf(std::uint8_t keycode) const;

  xcb_connection_t* connection_ = nullptr;
  std::uint32_t root_ = 0;
  std::uint16_t numLockMask_ = 0;
  std::map<Registration, Key> keys_;
  Registration lastRegistration_ = 0;
  bool keyboardChanged_ = false;
  // 0 without the keyboard extension.
  std::uint8_t keyboardEvent_ = 0;
  std::uint32_t repeatSlackMs_;
  // A press that comes later than this after the one before is no repeat.
  std::uint32_t longestRepeatGapMs_;
};

}  // namespace kiv
