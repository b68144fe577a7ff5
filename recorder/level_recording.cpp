#include "recorder/level_recording.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "audio/processing/auto_gain.h"
#include "audio/processing/process_agc.h"
#include "audio/wave_file.h"
#include "audio/wave_sink.h"
#include "foundation/descriptor_io.h"
#include "foundation/file.h"
#include "foundation/text.h"
#include "recorder/activity_log.h"
#include "recorder/levelled_note.h"

namespace kiv {
namespace {

constexpr char kResultPrefix[] = ".kiv-result-";
constexpr std::uint32_t kInUsePollMs = 500;

// A hidden file beside the recording; gone when the object goes, unless it was put in the recording's place.
class ResultFile {
 public:
  explicit ResultFile(const std::string& folder) : path_(folder + "/" + kResultPrefix + "XXXXXX") {
    const int file = mkostemp(path_.data(), O_CLOEXEC);
    if (file < 0) {
      path_.clear();
      return;
    }
    close(file);
  }
  ~ResultFile() {
    if (IsMade()) unlink(path_.c_str());
  }
  ResultFile(const ResultFile&) = delete;
  ResultFile& operator=(const ResultFile&) = delete;

  bool IsMade() const noexcept { return !path_.empty(); }
  char const* Path() const noexcept { return path_.c_str(); }

  // With the recording's own permissions, and on disk; false when it is not there.
  bool Finish(const struct stat& recording) const {
    const int file = open(Path(), O_RDWR | O_CLOEXEC);
    if (file < 0) return false;
    fchmod(file, recording.st_mode & 07777);
    const bool onDisk = SyncData(file);
    close(file);
    return onDisk;
  }

  bool TakePlaceOf(char const* recording) {
    if (rename(Path(), recording) != 0) return false;
    path_.clear();
    return true;
  }

 private:
  std::string path_;
};

std::string FolderOf(char const* path) {
  char name[kTextSize];
  LFile::_GetFileFromPath(name, path);
  std::string folder(path);
  folder.resize(folder.size() - std::string(name).size());
  if (folder.empty()) return ".";
  return folder.size() > 1 ? folder.substr(0, folder.size() - 1) : folder;
}

bool IsSameFile(char const* a, char const* b) {
  struct stat first {};
  struct stat second {};
  return stat(a, &first) == 0 && stat(b, &second) == 0 && first.st_dev == second.st_dev &&
         first.st_ino == second.st_ino;
}

// Gives the recording as it is a second name that no later step touches; a link, or another name alone where links
// cannot be had. An earlier recording kept under the same name is left alone.
bool KeepOriginal(char const* recording, const std::string& folder, char const* name) {
  constexpr int kMostKept = 1000;
  for (int i = 1; i <= kMostKept; ++i) {
    std::string kept = folder;
    kept.append("/").append(name).append(" (original");
    if (i > 1) kept.append(" ").append(std::to_string(i));
    kept.append(").wav");
    if (link(recording, kept.c_str()) == 0 || IsSameFile(recording, kept.c_str())) return true;
    if (errno == EEXIST) continue;
    return access(kept.c_str(), F_OK) != 0 && rename(recording, kept.c_str()) == 0;
  }
  return false;
}

// The sizes that the header tells, once the sink is gone.
bool IsWhole(char const* path, std::int32_t frames, std::uint8_t channels) {
  struct stat status {};
  constexpr std::int64_t kHeader = 46;
  return stat(path, &status) == 0 && status.st_size == kHeader + std::int64_t{frames} * channels * 2;
}

bool HasChanged(const struct stat& before, char const* path) {
  struct stat now {};
  return stat(path, &now) != 0 || now.st_ino != before.st_ino || now.st_size != before.st_size ||
         now.st_mtim.tv_sec != before.st_mtim.tv_sec || now.st_mtim.tv_nsec != before.st_mtim.tv_nsec;
}

// What the level control needs of a thread; nobody looks at its progress here.
class QuietThread {
 public:
  explicit QuietThread(LThread& thread) noexcept : thread_(thread) {}
  bool IsStopRequested() { return thread_.IsStopRequested(); }
  void SetProgress(double /*fraction*/) noexcept {}

 private:
  LThread& thread_;
};

void LogFailure(char const* name) {
  LogFile("Error: Level control failed: ", name);
}

void PutInPlace(ResultFile& result, bool failed, char const* path, char const* name, const std::string& folder,
                const LevelledNote& note) {
  if (failed) {
    LogFailure(name);
    if (!KeepOriginal(path, folder, name)) return;
  }
  note.Write(path, result.Path());
  if (!result.TakePlaceOf(path)) LogFile("Error: Unable to replace recording: ", path);
}

}  // namespace

Levelled LevelRecording(LThread& thread, char const* path, char const* name, char const* listFilePath) {
  const LevelledNote note(listFilePath);
  if (note.Tells(path)) return Levelled::Finished;

  LogFile("Level Control: ", name);
  struct stat recording {};
  const bool exists = stat(path, &recording) == 0;
  const std::string folder = FolderOf(path);
  ResultFile result(folder);
  if (!exists || !result.IsMade()) {  // Nothing to level, or no room for a result: what is there stays.
    LogFailure(name);
    return Levelled::Finished;
  }

  LDPAutoGain::SetTemporaryFolder(folder);
  LSoundSource source = LWaveFile::OpenSource(path);
  LSoundSink sink = LWaveFile::OpenSinkPCM(result.Path(), source->Rate(), source->Channels(), 16, 0);
  const bool sinkOpened = !sink.IsEmpty() && sink->Error() == kSinkGood;
  bool failed = source->Error() != kSourceGood;
  QuietThread quiet(thread);
  const int outcome = ProcessRecordingAGC(quiet, source, sink, &failed);
  if (outcome == 0) SyncSinkToDisk(sink);
  failed = failed || !sinkOpened || sink->Error() != kSinkGood;
  const std::int32_t frames = sink.IsEmpty() ? 0 : sink->Position();
  const std::uint8_t channels = source->Channels();
  source.Close();
  sink.Close();
  if (outcome != 0) return Levelled::Stopped;
  if (!sinkOpened) {
    LogFailure(name);
    return Levelled::Finished;
  }

  while (LFile::TestFileOpen(path) && thread.Wait(kInUsePollMs)) {
  }
  failed = !result.Finish(recording) || failed;
  failed = failed || !IsWhole(result.Path(), frames, channels) || HasChanged(recording, path);
  PutInPlace(result, failed, path, name, folder, note);
  return Levelled::Finished;
}

void RemoveLevelLeftovers(char const* folder) {
  LDPAutoGain::RemoveLeftovers(folder);
  LFile::FolderIterator entry;
  const std::string pattern = std::string(kResultPrefix) + "*";
  for (bool more = entry.Open(folder, pattern.c_str()); more; more = entry.Next() && entry.SkipToMatch()) {
    unlink((std::string(folder) + "/" + entry.Name()).c_str());
  }
}

}  // namespace kiv
