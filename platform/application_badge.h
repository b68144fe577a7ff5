#pragma once

#include <string>

namespace kiv {

// Port: a small picture over the application's icon, wherever the desktop shows that icon.
//   Text     imagePath is the absolute path of a picture file of any format that the toolkit reads.
//   Threads  main.
//   Errors   a picture that cannot be read leaves the plain icon; a desktop without such a place shows nothing.
class ApplicationBadge {
 public:
  virtual ~ApplicationBadge() = default;
  // The plain icon again.
  virtual void Restore() = 0;
  // The picture over the icon as it is now; callers restore first.
  virtual void Overlay(const std::string& imagePath) = 0;
};

}  // namespace kiv
