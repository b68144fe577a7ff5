#pragma once

// The user's home folder and the program's resources.
//   Home       $HOME if it is an absolute path, else what the password database says.
//   Resources  the first of these that is a folder: $KIV_RESOURCES, seen from the current folder of the time when this
//              was made; ../share/kiv-recorder beside the executable; the folder `resources` of the tree that this was
//              built from.

#include <string>

#include "platform/folders.h"

namespace kiv {

class PosixFolders : public Folders {
 public:
  PosixFolders();
  // With the two places that depend on the program, for tests.
  PosixFolders(std::string executable, std::string buildResources);

  std::optional<std::string> Home() override;
  std::optional<std::string> Resources() override;

 private:
  std::string executable_;
  std::string buildResources_;
  std::string startFolder_;
};

}  // namespace kiv
