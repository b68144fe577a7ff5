#pragma once

// The toolkit's choose panels: the desktop's own where the platform has them.

#include "platform/file_panels.h"

namespace kiv {

class QtFilePanels : public FilePanels {
 public:
  // Without native panels the toolkit's own are used, which a test can drive.
  explicit QtFilePanels(bool native = true) : native_(native) {}
  std::optional<std::string> ChooseFolder(NativeWindow* parent, const std::string& title,
                                          const std::string& startPlace) override;
  std::optional<std::string> ChooseFile(NativeWindow* parent, const std::string& title,
                                        const std::string& startPlace) override;

 private:
  std::optional<std::string> Choose(NativeWindow* parent, const std::string& title, const std::string& startPlace,
                                    bool folder);
  bool native_;
};

}  // namespace kiv
