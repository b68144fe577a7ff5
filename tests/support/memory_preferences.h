#pragma once

// Preferences that are gone with the object.
//   Threads  any.

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "platform/preference_store.h"

namespace kiv::test {

class MemoryPreferences : public PreferenceStore {
 public:
  std::optional<std::string> Get(const std::string& name) override {
    const std::lock_guard lock(mutex_);
    const auto found = values_.find(name);
    return found == values_.end() ? std::nullopt : std::optional(found->second);
  }
  void Set(const std::string& name, const std::string& value) override {
    const std::lock_guard lock(mutex_);
    values_[name] = value;
  }
  void Synchronize() override {}

 private:
  std::mutex mutex_;
  std::map<std::string, std::string> values_;
};

}  // namespace kiv::test
