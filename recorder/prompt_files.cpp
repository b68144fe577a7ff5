#include "recorder/prompt_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <limits>
#include <string>

#include "audio/mp3/frame_check.h"
#include "audio/mp3/mp3_file.h"
#include "audio/wave_file.h"
#include "audio/wave_sink.h"
#include "foundation/file.h"
#include "platform/folders.h"
#include "platform/services.h"

namespace kiv {
namespace {

bool Exists(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

std::string KeptPath(const std::string& promptPath) {
  const std::size_t name = promptPath.rfind('/') + 1;
  return promptPath.substr(0, name) + ".kiv-kept-" + promptPath.substr(name);
}

void PutBackIfKept(const std::string& promptPath) {
  static_cast<void>(std::rename(KeptPath(promptPath).c_str(), promptPath.c_str()) == 0);
}

// The old prompt while a new one is written in its place. It is moved, not copied: that needs no room on the disk, a
// prompt that is a link to some piece of music does not cost the music, and a prompt can be made from itself.
class OldPrompt {
 public:
  explicit OldPrompt(char const* promptPath) : path_(promptPath), keptPath_(KeptPath(path_)) {
    PutBackIfKept(path_);
    struct stat status {};
    if (lstat(promptPath, &status) != 0) {
      isOutOfTheWay_ = errno == ENOENT;
      return;
    }
    // What could not be written to stays, whatever the folder allows.
    if (!S_ISLNK(status.st_mode) && (!S_ISREG(status.st_mode) || access(promptPath, W_OK) != 0)) return;
    isOutOfTheWay_ = std::rename(promptPath, keptPath_.c_str()) == 0;
  }

  bool IsOutOfTheWay() const noexcept { return isOutOfTheWay_; }

  void PutBack() const {
    if (!isOutOfTheWay_) return;
    if (Exists(keptPath_)) {
      PutBackIfKept(path_);
    } else {  // There was none.
      unlink(path_.c_str());
    }
  }

  // Once the new one is on the disk.
  void Drop() const { unlink(keptPath_.c_str()); }

 private:
  std::string path_;
  std::string keptPath_;
  bool isOutOfTheWay_ = false;
};

bool FitsInPositions(const LSoundSource& source) {
  const std::int64_t end = source->GetEndSample();
  return end >= 0 && end * kPromptRateHz / source->Rate() <= std::numeric_limits<std::int32_t>::max();
}

}  // namespace

void PathOfPromptResource(char (&path)[kTextSize], char const* name) {
  path[0] = '\0';
  if (services.folders == nullptr) return;
  const auto resources = services.folders->Resources();
  if (!resources) return;
  tstrmcpy(path, resources->c_str());
  LFile::_FilePathCat(path, "prompts");
  LFile::_FilePathCat(path, name, ".mp3");
}

LSoundSource OpenForPrompt(char const* soundPath) {
  LSoundSource source = LWaveFile::OpenSource(soundPath);
  if (source->Error() != kSourceGood) {
    const std::uint8_t reason = source->Error();
    source = LMP3File::OpenSource(soundPath);
    // The search for a first header accepts four fitting bytes anywhere, which most large files have somewhere.
    if (source->Error() == kSourceGood && (source->GetEndSample() == 0 || !HoldsMp3Frames(soundPath))) {
      return LSoundSource(new LSoundSourceError(reason));
    }
  }
  if (source->Error() == kSourceGood && !FitsInPositions(source)) {
    return LSoundSource(new LSoundSourceError(kSourceNotSupported));
  }
  return OpenConverted(source, kPromptChannels, kPromptRateHz);
}

void ExtractMissingPrompts(const std::function<void(LFileExtractorProcess&)>& convert) {
  PutBackKeptPrompts();
  for (char const* const name : kSystemPrompts) {
    char wav[kTextSize];
    PathOfPrompt(wav, name);
    if (access(wav, F_OK) == 0) continue;
    char mp3[kTextSize];
    PathOfPromptResource(mp3, name);
    LFileExtractorProcess job(wav, mp3);
    convert(job);
  }
}

PromptImport ImportPrompt(char const* soundPath, char const* promptPath,
                          const std::function<int(LPRSourceToSink&)>& convert) {
  LPRSourceToSink job;
  job.status = "Process Audio";
  job.source = OpenForPrompt(soundPath);
  if (job.source->Error() != kSourceGood) return PromptImport::NotReadable;

  const OldPrompt old(promptPath);
  if (old.IsOutOfTheWay()) job.sink = OpenPromptSink(promptPath);
  const int result = convert(job);
  SyncSinkToDisk(job.sink);
  bool failed = result == kConversionFailed || job.sink.IsEmpty() || job.sink->Error() != kSinkGood;
  const std::int32_t frames = job.sink.IsEmpty() ? 0 : job.sink->Position();
  job.sink.Close();
  // The final sizes are written as the sink goes.
  failed = failed || LWaveFile::OpenSource(promptPath)->GetEndSample() != frames;
  if (failed) {
    old.PutBack();
    return PromptImport::Failed;
  }
  old.Drop();
  return result == kStopped ? PromptImport::Stopped : PromptImport::Converted;
}

void PutBackKeptPrompts() {
  for (char const* const name : kSystemPrompts) {
    char wav[kTextSize];
    PathOfPrompt(wav, name);
    PutBackIfKept(wav);
  }
}

}  // namespace kiv
