#pragma once

// An account and a telephone line for the gallery: a home folder that goes with it, with prompts, and a simulated line
// on which two people speak.

#include <memory>
#include <optional>
#include <string>

#include "platform/folders.h"
#include "platform/simulated/simulated_line.h"
#include "tests/support/temporary_folder.h"

namespace kiv {

class GalleryAccount : public Folders {
 public:
  // In lock-step for pictures, which are the same each time; else in real time. Puts itself into the services.
  explicit GalleryAccount(bool lockStep);
  ~GalleryAccount() override;

  SimulatedLine& Line() { return *line_; }

  std::optional<std::string> Home() override { return home_.Path(); }
  std::optional<std::string> Resources() override { return KIV_RESOURCES_FOLDER; }

 private:
  test::TemporaryFolder home_;
  std::unique_ptr<SimulatedLine> line_;
};

}  // namespace kiv
