#pragma once

// Folders and pages through the desktop's own programs (xdg-open where there is no better way).

#include "platform/opener.h"

namespace kiv {

class QtOpener : public Opener {
 public:
  bool OpenFolder(const std::string& path) override;
  bool OpenPage(const std::string& address) override;
};

}  // namespace kiv
