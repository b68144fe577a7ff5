#include "recorder/recording_queue.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <optional>

#include "foundation/file.h"
#include "foundation/wall_clock.h"
#include "recorder/activity_log.h"
#include "recorder/level_recording.h"
#include "recorder/levelled_note.h"
#include "recorder/setting_keys.h"
#include "recorder/settings.h"

namespace {

std::optional<mode_t> copyMask;

void CopyRecording(char const* path, char const* name) {
  char destination[kiv::kTextSize];
  kiv::GetSetting(kiv::kCopyToFolder, destination);
  LogFile("Copy to: ", destination);
  LFile::_FilePathCat(destination, name, ".wav");
  const bool isNew = access(destination, F_OK) != 0;
  const bool copied = LFile::CopyFile(path, destination);  // A copy that fails goes unreported; the recording stays.
  // Not before all of it is there.
  if (copied && isNew && copyMask) chmod(destination, 0777 & ~*copyMask);
}

}  // namespace

namespace kiv {

void SetCopyMask(mode_t mask) {
  copyMask = mask;
}

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
