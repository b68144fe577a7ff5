#pragma once

#include <string>

namespace kiv {

// Port: hands something to the desktop's own program for it. Does not wait for that program.
//   Text     path: absolute, UTF-8; address: a whole address with its scheme.
//   Threads  main.
//   Errors   false when the desktop could not be asked; what its program then does is its own affair.
class Opener {
 public:
  virtual ~Opener() = default;
  virtual bool OpenFolder(const std::string& path) = 0;
  virtual bool OpenPage(const std::string& address) = 0;
};

}  // namespace kiv
