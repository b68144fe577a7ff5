#include "recorder/recover_recordings.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include "audio/wave_header.h"
#include "foundation/descriptor_io.h"
#include "foundation/file.h"
#include "recorder/activity_log.h"
#include "recorder/settings.h"

namespace kiv {
namespace {

// A write lease is given only while no other descriptor of the file is open, in any process.
bool IsOpenSomewhere(int file) {
  // Whoever opens the file in this moment breaks the lease: by a signal that does nothing unless it is asked for, since
  // the one for leases would end the program.
  if (fcntl(file, F_SETSIG, SIGURG) != 0 || fcntl(file, F_SETLEASE, F_WRLCK) != 0) return true;
  fcntl(file, F_SETLEASE, F_UNLCK);
  return false;
}

// Writes the sizes into the header of one of our own files that never got them. False for every other file.
bool FinishRecording(char const* path) {
  const LReadWriteFile file(open(path, O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  struct stat status {};
  if (!file.IsOpen() || fstat(file.Descriptor(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  std::array<std::uint8_t, kWaveHeaderBytes> header;
  if (ReadFully(file.Descriptor(), header.data(), header.size(), 0) != header.size()) return false;
  WaveFormat format;
  if (ReadWaveHeader(file.Descriptor(), format) != kSourceGood) return false;
  const auto rateHz = static_cast<std::int32_t>(format.rateHz);
  const auto channels = static_cast<std::uint8_t>(format.channels);
  const std::uint32_t sampleBytes = format.bitsPerSample / 8U;
  if (header != MakeWaveHeader(rateHz, channels, sampleBytes, kWaveSizeUnknown)) return false;
  if (IsOpenSomewhere(file.Descriptor())) return false;

  const auto bytes = static_cast<std::uint64_t>(status.st_size) - header.size();
  const std::uint64_t whole = bytes - bytes % (std::uint64_t{sampleBytes} * channels);
  const auto unfinished = std::exchange(header, MakeWaveHeader(rateHz, channels, sampleBytes, whole));
  if (header == unfinished) return false;  // Too long for its length to be told.
  if (!WriteFully(file.Descriptor(), header.data(), header.size(), 0)) return false;
  // Behind the last whole frame there is nothing to hear.
  if (whole != bytes) static_cast<void>(ftruncate(file.Descriptor(), static_cast<off_t>(header.size() + whole)) == 0);
  fdatasync(file.Descriptor());
  return true;
}

}  // namespace

void RecoverRecordings(LALCListThread& queue) {
  std::vector<std::string> names;
  LFile::FolderIterator entry;
  for (bool more = entry.Open(gSettings.recordingsFolder, "*.wav"); more; more = entry.Next() && entry.SkipToMatch()) {
    // Hidden files are work in progress of the queue.
    if (entry.Name()[0] != '.') names.emplace_back(entry.Name());
  }
  std::sort(names.begin(), names.end());  // Oldest first.
  for (const std::string& name : names) {
    LALCListItem item(gSettings.recordingsFolder);
    LFile::_FilePathCat(item.path, name.c_str());
    if (!FinishRecording(item.path)) continue;
    char baseName[kTextSize];
    LFile::_GetFileNameFromPath(baseName, item.path);
    LogFile("Recovered recording: ", baseName);
    queue.Add(item);
  }
}

}  // namespace kiv
