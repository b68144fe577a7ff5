#include "recorder/record_list_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "foundation/descriptor_io.h"
#include "foundation/file.h"
#include "foundation/locked_open.h"

namespace kiv {
namespace {

struct Header {
  std::uint16_t version;
  std::uint16_t starts;
  std::uint32_t recordSize;
};

std::vector<char> Encode(const Header& header) {
  std::vector<char> bytes(RecordListFile::kHeaderSize);
  std::memcpy(bytes.data(), &header.version, 2);
  std::memcpy(bytes.data() + 2, &header.starts, 2);
  std::memcpy(bytes.data() + 4, &header.recordSize, 4);
  return bytes;
}

bool ReadHeader(int file, Header& header) {
  char bytes[RecordListFile::kHeaderSize];
  if (ReadFully(file, bytes, sizeof bytes, 0) != sizeof bytes) return false;
  std::memcpy(&header.version, bytes, 2);
  std::memcpy(&header.starts, bytes + 2, 2);
  std::memcpy(&header.recordSize, bytes + 4, 4);
  return true;
}

std::int64_t SizeOf(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 ? status.st_size : 0;
}

// Puts content in place of what the open file holds. Cut only after the write: a full disk never loses the tail.
bool Rewrite(int file, const std::vector<char>& content) {
  const bool written = WriteFully(file, content.data(), content.size(), 0);
  return written && ftruncate(file, static_cast<off_t>(content.size())) == 0;
}

// The file is whole under the journal's name or not there at all.
bool WriteJournal(char const* journal, const std::vector<char>& content) {
  const std::string unfinished = std::string(journal) + ".new";
  const int file = open(unfinished.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (file < 0) return false;
  const bool written = WriteFully(file, content.data(), content.size(), 0);
  close(file);
  if (written && rename(unfinished.c_str(), journal) == 0) return true;
  unlink(unfinished.c_str());
  return false;
}

}  // namespace

void RecordListFile::JournalPath(char (&journal)[kTextSize]) const noexcept {
  char name[kTextSize];
  LFile::_GetFileFromPath(name, path_);
  const std::string folder(path_, std::strlen(path_) - std::strlen(name));
  const int wanted = std::snprintf(journal, sizeof journal, "%s.%s.next", folder.c_str(), name);
  // Room for ".new" is left, so that both names are what they say.
  if (wanted < 0 || wanted + 4 >= static_cast<int>(sizeof journal)) journal[0] = '\0';
}

void RecordListFile::MendFromJournal(int file) const {
  char journal[kTextSize];
  JournalPath(journal);
  const int from = journal[0] == '\0' ? -1 : open(journal, O_RDONLY | O_CLOEXEC);
  if (from < 0) return;
  std::vector<char> content(static_cast<std::size_t>(SizeOf(from)));
  const bool whole = ReadFully(from, content.data(), content.size(), 0) == content.size();
  close(from);
  if (whole && Rewrite(file, content)) unlink(journal);
}

RecordListFile::Resumed RecordListFile::Resume() {
  const std::lock_guard guard(mutex_);
  const int file = OpenLocked(path_, O_RDWR | O_CREAT | O_NONBLOCK, FileLock::Exclusive);
  if (file < 0) return errno == EAGAIN ? Resumed::Busy : Resumed::Nothing;
  MendFromJournal(file);
  Header header{};
  const bool ours = ReadHeader(file, header) && header.version == kVersion && header.recordSize == recordSize_ &&
                    header.starts < kMaxStarts;
  if (ours) {
    ++header.starts;
    const std::vector<char> bytes = Encode(header);
    WriteFully(file, bytes.data(), bytes.size(), 0);
  } else {
    unlink(path_);
  }
  close(file);
  return ours ? Resumed::Yes : Resumed::Nothing;
}

void RecordListFile::Append(void const* record) {
  const std::lock_guard guard(mutex_);
  const int file = OpenLocked(path_, O_RDWR | O_CREAT, FileLock::Exclusive);
  if (file < 0) return;
  MendFromJournal(file);
  std::int64_t end = SizeOf(file);
  // What a crash or a full disk has torn goes, or every later record would be read from the wrong place.
  end = end < kHeaderSize ? 0 : end - (end - kHeaderSize) % recordSize_;
  std::vector<char> bytes;
  if (end == 0) bytes = Encode({kVersion, 0, recordSize_});
  bytes.insert(bytes.end(), static_cast<char const*>(record), static_cast<char const*>(record) + recordSize_);
  WriteFully(file, bytes.data(), bytes.size(), end);
  close(file);
}

bool RecordListFile::ReadFirst(void* record) {
  const std::lock_guard guard(mutex_);
  const int file = OpenLocked(path_, O_RDONLY, FileLock::Shared);
  if (file < 0) return false;
  const std::size_t arrived = ReadFully(file, record, recordSize_, kHeaderSize);
  if (arrived > 0 && arrived < recordSize_) unlink(path_);
  close(file);
  return arrived == recordSize_;
}

void RecordListFile::RemoveFirst() {
  const std::lock_guard guard(mutex_);
  const int file = OpenLocked(path_, O_RDWR | O_CREAT, FileLock::Exclusive);
  if (file < 0) return;
  MendFromJournal(file);
  const std::int64_t size = SizeOf(file);
  const std::int64_t records = size <= kHeaderSize ? 0 : (size - kHeaderSize) / recordSize_;
  std::vector<char> content;
  if (records > 1) {
    content = Encode({kVersion, 0, recordSize_});
    const auto rest = static_cast<std::size_t>((records - 1) * recordSize_);
    content.resize(kHeaderSize + rest);
    content.resize(kHeaderSize + ReadFully(file, content.data() + kHeaderSize, rest, kHeaderSize + recordSize_));
    char journal[kTextSize];
    JournalPath(journal);
    const bool noted = journal[0] != '\0' && WriteJournal(journal, content);
    if (Rewrite(file, content) && noted) unlink(journal);
  } else {
    [[maybe_unused]] const int ignored = ftruncate(file, 0);
  }
  close(file);
}

}  // namespace kiv
