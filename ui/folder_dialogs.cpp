#include "ui/folder_dialogs.h"

#include <unistd.h>

#include "platform/opener.h"
#include "platform/services.h"

namespace {

void OpenExisting(const char* path) {
  if (kiv::services.opener != nullptr && access(path, F_OK) == 0) kiv::services.opener->OpenFolder(path);
}

}  // namespace

void LFindPlayDlg::Open(const char* path) {
  OpenExisting(path);
}

void ViewLogDlg::Open(const char* path) {
  OpenExisting(path);
}
