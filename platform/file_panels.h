#pragma once

#include <optional>
#include <string>

namespace kiv {

class NativeWindow;  // A toolkit's window; nobody but the toolkit's folder looks inside.

// Port: the desktop's choose panels. With none installed every panel counts as cancelled.
//   Text     UTF-8 paths. startPlace is where the panel opens: a folder, or a file whose folder is meant; empty for
//            the desktop's own choice.
//   Threads  main; returns when the user has chosen or cancelled (nothing then).
class FilePanels {
 public:
  virtual ~FilePanels() = default;
  virtual std::optional<std::string> ChooseFolder(NativeWindow* parent, const std::string& title,
                                                  const std::string& startPlace) = 0;
  virtual std::optional<std::string> ChooseFile(NativeWindow* parent, const std::string& title,
                                                const std::string& startPlace) = 0;
};

}  // namespace kiv

using WindowRef = kiv::NativeWindow*;
