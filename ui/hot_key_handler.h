#pragma once

// Turns presses and releases of global hot keys into virtual calls.
//   Keys     up to 32, by number.
//   Threads  main.
//   Errors   a key that another program has stays registered and is asked for again every few seconds; the log hears of
//            it once. A desktop without global keys registers nothing.

#include <cstdint>

#include "platform/hot_keys.h"
#include "ui/event_loop_timer.h"
#include "ui/ui_event.h"

class LHotKeyHandler {
 public:
  static constexpr std::uint32_t kMaxHotKeys = 32;
  static constexpr std::int32_t kRetryMs = 5000;

  LHotKeyHandler();
  LHotKeyHandler(const LHotKeyHandler&) = delete;
  LHotKeyHandler& operator=(const LHotKeyHandler&) = delete;

  // The order of the virtual operations is part of the interface.
  virtual ~LHotKeyHandler();
  virtual void EvHotKey(std::uint32_t id) = 0;
  virtual void EvHotKeyReleased(std::uint32_t id);

  // Registers the key under the number, in place of what the number had before.
  void RegisterHotKey(int virtualKey, std::uint32_t id);
  void UnregisterHotKey(std::uint32_t id);
  // Registered, whether or not another program has the key just now.
  bool IsHotKeyRegistered(std::uint32_t id) const;

  // Asks for the taken keys again; by itself it does so every kRetryMs while there is one.
  void RetryHotKeys();

  static OSStatus _LHKEventHandler(const kiv::Event& event, void* userData);

 private:
  // Hands the port's calls on as events. A member, not a base, so that the virtual operations above stay the first.
  class Forwarder : public kiv::HotKeys::Listener {
   public:
    explicit Forwarder(LHotKeyHandler& handler) : handler_(handler) {}
    void HotKeyPressed(std::uint32_t id) override;
    void HotKeyReleased(std::uint32_t id) override;

   private:
    LHotKeyHandler& handler_;
  };

  OSStatus LHKEventHandler(const kiv::Event& event);
  void ReportTaken();
  void ScheduleRetry();
  static void RetryAction(EventLoopTimerRef timer, void* userData);

  struct HotKey {
    kiv::HotKeys::Registration registration = 0;
    int virtualKey = 0;
    bool reported = false;
  };
  HotKey keys_[kMaxHotKeys];
  Forwarder forwarder_{*this};
  kiv::HotKeys* const port_;
  EventLoopTimerRef retryTimer_ = nullptr;
};
