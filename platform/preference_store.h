#pragma once

#include <optional>
#include <string>

namespace kiv {

// Port: the desktop's per-user preference store of this application. One text per name ("Settings/HotKeys").
//   Text     any bytes without NUL; an implementation must give back what it was given, bit for bit.
//   Threads  must be callable from any thread.
//   Errors   a value that cannot be read is missing; a set that fails is lost silently.
class PreferenceStore {
 public:
  virtual ~PreferenceStore() = default;
  virtual std::optional<std::string> Get(const std::string& name) = 0;
  // On disk before it returns.
  virtual void Set(const std::string& name, const std::string& value) = 0;
  // Makes sure that everything set so far is on disk.
  virtual void Synchronize() = 0;
};

}  // namespace kiv
