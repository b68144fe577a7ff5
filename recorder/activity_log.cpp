#include "recorder/activity_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>

#include "foundation/file.h"
#include "foundation/locked_open.h"
#include "foundation/text.h"
#include "foundation/wall_clock.h"
#include "recorder/settings.h"
#include "recorder/status_window.h"

namespace {

constinit std::mutex logMutex;

// Opened and closed for every line: no handle stays open, and the file changes by itself at midnight.
void AppendToDaysFile(const std::tm& now, char const* line, std::size_t length) {
  char name[kiv::kTextSize];
  std::snprintf(name, sizeof name, "20%.2d-%.2d-%.2d Kiv Recorder Log.txt", now.tm_year % 100, now.tm_mon + 1,
                now.tm_mday);
  char path[kiv::kTextSize];
  tstrmcpy(path, gSettings.logsFolder);
  LFile::_FilePathCat(path, name);
  const int file = kiv::OpenLocked(path, O_WRONLY | O_CREAT | O_NONBLOCK, kiv::FileLock::Exclusive);
  if (file < 0) return;
  lseek(file, 0, SEEK_END);
  // One write for the whole line: whoever reads along never sees half of one.
  [[maybe_unused]] const ssize_t ignored = write(file, line, length);
  close(file);
}

}  // namespace

void LogFile(char const* message) {
  const std::lock_guard lock(logMutex);
  std::tm now{};
  if (!kiv::LocalTime(kiv::UnixTime(), now)) return;
  char line[kiv::kLogLineSize];
  const int wanted =
      std::snprintf(line, sizeof line, "%.2d:%.2d:%.2d %s\r", now.tm_hour, now.tm_min, now.tm_sec, message);
  if (wanted >= static_cast<int>(sizeof line)) line[sizeof line - 2] = '\r';
  const std::size_t length = std::strlen(line);
  AppendToDaysFile(now, line, length);
  gStatusWindow.DisplayStatus(line);
}

void LogFile(char const* prefix, char const* text) {
  char message[kiv::kLogMessageSize];
  std::snprintf(message, sizeof message, "%s%s", prefix, text);
  LogFile(message);
}
