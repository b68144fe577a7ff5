#pragma once

#include <optional>
#include <string>

namespace kiv {

// Port: where things are.
//   Text     absolute paths, no trailing separator.
//   Threads  any.
class Folders {
 public:
  virtual ~Folders() = default;
  // The current user's home folder; nothing when the system knows none.
  virtual std::optional<std::string> Home() = 0;
  // The program's own read-only data (interface files, icons, prompts, help); nothing when it cannot be found.
  virtual std::optional<std::string> Resources() = 0;
};

}  // namespace kiv
