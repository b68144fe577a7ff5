#include "audio/processing/spool_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace kiv {
namespace {

constexpr std::string_view kPrefix = ".kiv-level-";
constexpr std::string_view kRandomPart = "XXXXXX";
constexpr std::size_t kBufferBytes = 64 * 1024;

bool IsSpoolName(std::string_view name) noexcept {
  return name.size() == kPrefix.size() + kRandomPart.size() && name.starts_with(kPrefix);
}

// Nobody has the file open as a temporary file of theirs.
bool IsStale(int folder, const char* name) noexcept {
  struct stat status {};
  if (fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(status.st_mode)) return false;
  const LReadWriteFile file(openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  return file.IsOpen() && flock(file.Descriptor(), LOCK_EX | LOCK_NB) == 0;
}

}  // namespace

LReadWriteFile CreateSpoolFile(const std::string& folder, std::string& path) {
  path = folder;
  if (path.empty() || path.back() != '/') path += '/';
  path += kPrefix;
  path += kRandomPart;
  LReadWriteFile file(mkostemp(path.data(), O_CLOEXEC));
  if (!file.IsOpen()) {
    path.clear();
  } else {
    // Nobody else can hold a lock on a file this new, except who looks whether it is stale; then it goes without.
    static_cast<void>(flock(file.Descriptor(), LOCK_EX | LOCK_NB));
  }
  return file;
}

int RemoveStaleSpoolFiles(const std::string& folder) {
  DIR* const directory = opendir(folder.empty() ? "/" : folder.c_str());
  if (directory == nullptr) return 0;
  int removed = 0;
  // One stream on one thread: the plain call is safe.
  while (const dirent* const entry = readdir(directory)) {  // NOLINT(concurrency-mt-unsafe)
    if (!IsSpoolName(static_cast<const char*>(entry->d_name))) continue;
    if (!IsStale(dirfd(directory), static_cast<const char*>(entry->d_name))) continue;
    if (unlinkat(dirfd(directory), static_cast<const char*>(entry->d_name), 0) == 0) ++removed;
  }
  closedir(directory);
  return removed;
}

SpoolWriter::SpoolWriter(int descriptor) : descriptor_(descriptor), buffer_(kBufferBytes) {}

void SpoolWriter::Write(const void* bytes, std::size_t size) {
  const auto* from = static_cast<const std::uint8_t*>(bytes);
  while (size > 0) {
    const std::size_t n = std::min(size, buffer_.size() - used_);
    std::memcpy(buffer_.data() + used_, from, n);
    used_ += n;
    from += n;
    size -= n;
    if (used_ == buffer_.size()) Flush();
  }
}

bool SpoolWriter::Flush() {
  if (!failed_) Put(buffer_.data(), used_);
  used_ = 0;
  return !failed_;
}

void SpoolWriter::Put(const std::uint8_t* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t n = write(descriptor_, bytes, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      failed_ = true;
      return;
    }
    bytes += n;
    size -= static_cast<std::size_t>(n);
  }
}

SpoolReader::SpoolReader(int descriptor) : descriptor_(descriptor), buffer_(kBufferBytes) {}

std::size_t SpoolReader::Read(void* bytes, std::size_t size) {
  auto* to = static_cast<std::uint8_t*>(bytes);
  std::size_t stored = 0;
  while (stored < size) {
    if (begin_ == end_) {
      const ssize_t n = pread(descriptor_, buffer_.data(), buffer_.size(), offset_);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) break;
      begin_ = 0;
      end_ = static_cast<std::size_t>(n);
      offset_ += n;
    }
    const std::size_t n = std::min(size - stored, end_ - begin_);
    std::memcpy(to + stored, buffer_.data() + begin_, n);
    begin_ += n;
    stored += n;
  }
  return stored;
}

void SpoolReader::Seek(std::int64_t offset) {
  offset_ = offset;
  begin_ = 0;
  end_ = 0;
}

}  // namespace kiv
