#include "recorder/recording_queue.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>

#include "foundation/file.h"
#include "foundation/wall_clock.h"
#include "recorder/activity_log.h"
#include "recorder/level_recording.h"
#include "recorder/levelled_note.h"
#include "recorder/setting_keys.h"
#include "recorder/settings.h"

namespace {

void CopyRecording(char const* path, char const* name) {
  char destination[kiv::kTextSize];
  kiv::GetSetting(kiv::kCopyToFolder, destination);
  LogFile("Copy to: ", destination);
  LFile::_FilePathCat(destination, name, ".wav");
  LFile::CopyFile(path, destination);  // A copy that fails goes unreported; the recording stays.
}

}  // namespace

namespace kiv {

void DeleteOldRecordings() {
  constexpr std::uint32_t kDaySeconds = 86400;
  const auto days = static_cast<std::uint32_t>(GetSetting(kAutoDeleteDays));
  const std::uint32_t seconds = days * kDaySeconds;  // Wraps: absurd numbers of days become some other age.
  if (seconds < kDaySeconds) return;

  const std::int64_t now = UnixTime();
  struct stat status {};
  status.st_mtime = now;  // An entry that cannot be looked at counts as old as the one before it, the first one as new.
  LFile::FolderIterator entry;
  for (bool more = entry.Open(gSettings.recordingsFolder, "*.wav"); more; more = entry.Next() && entry.SkipToMatch()) {
    char path[kTextSize];
    tstrmcpy(path, gSettings.recordingsFolder);
    LFile::_FilePathCat(path, entry.Name());
    stat(path, &status);
    if (status.st_mtime >= now - std::int64_t{seconds}) continue;
    LogFile("AutoDelete File: ", entry.Name());
    unlink(path);
  }
}

}  // namespace kiv

void LALCListItem::PrepareList(char const* /*listFilePath*/) {
  kiv::RemoveLevelLeftovers(gSettings.recordingsFolder);
  kiv::RemoveLevelLeftovers(gSettings.dataFolder);
}

void LALCListItem::Removed(char const* listFilePath) {
  kiv::LevelledNote(listFilePath).Remove();
}

template <typename Thread>
int Process(Thread& thread, LALCListItem const& item) {
  char name[kiv::kTextSize];
  LFile::_GetFileNameFromPath(name, item.path);
  if (kiv::GetSetting(kiv::kAutoLevelControl) &&
      kiv::LevelRecording(thread, item.path, name, thread.ListFilePath()) == kiv::Levelled::Stopped) {
    return 1;
  }
  if (kiv::GetSetting(kiv::kCopyRecordings)) CopyRecording(item.path, name);
  if (!thread.IsStopRequested()) kiv::DeleteOldRecordings();
  return 0;
}

template int Process<LALCListThread>(LALCListThread& thread, LALCListItem const& item);

LALCListThread thrLALCListItem;
