#pragma once

// A keyboard and a desktop for tests of global hot keys, without either.

#include <map>
#include <set>

#include "platform/hot_keys.h"

namespace kiv::test {

class HotKeyModel : public HotKeys {
 public:
  bool available = true;

  // Another program takes or frees a key.
  void Take(int virtualKey) { taken_.insert(virtualKey); }
  void Free(int virtualKey) { taken_.erase(virtualKey); }
  // The user's fingers.
  void Press(int virtualKey) {
    ForEach(virtualKey, [](const Key& key) { key.listener->HotKeyPressed(key.id); });
  }
  void Release(int virtualKey) {
    ForEach(virtualKey, [](const Key& key) { key.listener->HotKeyReleased(key.id); });
  }
  std::size_t Registered() const { return keys_.size(); }
  int retries = 0;

  bool Available() const override { return available; }
  Registration Register(int virtualKey, std::uint32_t id, Listener& listener) override {
    if (!available) return 0;
    keys_[++last_] = {virtualKey, id, &listener, taken_.count(virtualKey) == 0};
    return last_;
  }
  void Unregister(Registration registration) override { keys_.erase(registration); }
  State StateOf(Registration registration) const override {
    const auto key = keys_.find(registration);
    return key != keys_.end() && key->second.held ? State::Held : State::Taken;
  }
  void Retry() override {
    ++retries;
    for (auto& [registration, key] : keys_) key.held = taken_.count(key.virtualKey) == 0;
  }
  bool Holds(int virtualKey) const override {
    for (const auto& [registration, key] : keys_) {
      if (key.virtualKey == virtualKey && key.held) return true;
    }
    return false;
  }
  int Descriptor() const override { return -1; }
  void Dispatch() override {}

 private:
  struct Key {
    int virtualKey;
    std::uint32_t id;
    Listener* listener;
    bool held;
  };

  template <typename Call>
  void ForEach(int virtualKey, Call call) {
    const std::map<Registration, Key> keys = keys_;
    for (const auto& [registration, key] : keys) {
      if (key.virtualKey == virtualKey && key.held && keys_.count(registration) != 0) call(key);
    }
  }

  std::map<Registration, Key> keys_;
  std::set<int> taken_;
  Registration last_ = 0;
};

}  // namespace kiv::test
