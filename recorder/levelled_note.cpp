#include "recorder/levelled_note.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <vector>

#include "foundation/descriptor_io.h"
#include "foundation/file.h"
#include "foundation/text.h"

namespace kiv {
namespace {

// What stays the same over a rename and tells two files apart; empty when there is no such file.
std::string Fingerprint(char const* path) {
  struct stat status {};
  if (stat(path, &status) != 0) return {};
  char text[128];
  std::snprintf(text, sizeof text, "%ju %ju %jd %jd.%09ld", static_cast<std::uintmax_t>(status.st_dev),
                static_cast<std::uintmax_t>(status.st_ino), static_cast<std::intmax_t>(status.st_size),
                static_cast<std::intmax_t>(status.st_mtim.tv_sec), status.st_mtim.tv_nsec);
  return text;
}

std::string NoteFor(char const* recordingPath, char const* filePath) {
  const std::string fingerprint = Fingerprint(filePath);
  return fingerprint.empty() ? fingerprint : fingerprint + "\n" + recordingPath + "\n";
}

}  // namespace

LevelledNote::LevelledNote(char const* listFilePath) {
  char name[kTextSize];
  LFile::_GetFileFromPath(name, listFilePath);
  const std::string list(listFilePath);
  path_ = list.substr(0, list.size() - std::string(name).size()) + "." + name + ".levelled";
}

void LevelledNote::Write(char const* recordingPath, char const* resultPath) const {
  const std::string note = NoteFor(recordingPath, resultPath);
  const int file = open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (file < 0) return;
  WriteFully(file, note.data(), note.size(), 0);
  close(file);
}

bool LevelledNote::Tells(char const* recordingPath) const {
  const std::string expected = NoteFor(recordingPath, recordingPath);
  const int file = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  std::vector<char> note(expected.size() + 1);
  note.resize(ReadFully(file, note.data(), note.size(), 0));
  close(file);
  return !expected.empty() && std::string(note.begin(), note.end()) == expected;
}

void LevelledNote::Remove() const {
  unlink(path_.c_str());
}

}  // namespace kiv
