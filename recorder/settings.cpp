#include "recorder/settings.h"

#include "foundation/file.h"

constinit Settings gSettings;

void Settings::Load() {
  LFile::GetUserDataFolderApp(dataFolder);
  tstrmcpy(path_, dataFolder);
  LFile::_FilePathCat(path_, "settings.ini");
  LFile::GetUserDataFolderAppSubFolder("Recordings", recordingsFolder);
  LFile::GetUserDataFolderAppSubFolder("Logs", logsFolder);
}
