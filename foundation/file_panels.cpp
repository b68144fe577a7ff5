#include "platform/file_panels.h"

#include "foundation/file.h"
#include "foundation/text.h"
#include "platform/services.h"

namespace {

using Panel = std::optional<std::string> (kiv::FilePanels::*)(kiv::NativeWindow*, const std::string&,
                                                              const std::string&);

bool Browse(Panel panel, WindowRef parent, char* out, std::size_t size, const char* title, const char* startPlace) {
  out[0] = '\0';
  if (kiv::services.filePanels == nullptr) return false;
  const std::optional<std::string> path = (kiv::services.filePanels->*panel)(parent, title, startPlace);
  // Cut, the path would name some other file.
  if (!path || path->size() >= size) return false;
  tstrmcpy(out, path->c_str(), size);
  return true;
}

}  // namespace

bool LFile::BrowseFolder(WindowRef parent, char* out, const char* title, const char* startPlace) {
  return Browse(&kiv::FilePanels::ChooseFolder, parent, out, kiv::kTextSize, title, startPlace);
}

bool LFile::BrowseReadFilePath(WindowRef parent, char* out, const char* title, const char* startPlace) {
  return Browse(&kiv::FilePanels::ChooseFile, parent, out, 256, title, startPlace);
}
