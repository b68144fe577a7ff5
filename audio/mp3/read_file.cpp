#include "audio/mp3/read_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

MP3ReadFile::MP3ReadFile(char const* path) noexcept {
  // Without O_NONBLOCK a pipe that somebody chose by mistake would stop the program here.
  descriptor_ = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  struct stat status = {};
  if (descriptor_ < 0 || fstat(descriptor_, &status) != 0) return;
  dataBytes_ = std::max<std::int64_t>(std::int64_t{status.st_size} - kTrailingTagBytes, 0);
  remaining_ = dataBytes_;
  buffer_ = std::make_unique<std::uint8_t[]>(kBufferBytes);
}

MP3ReadFile::~MP3ReadFile() {
  if (descriptor_ >= 0) close(descriptor_);
}

bool MP3ReadFile::Fill() noexcept {
  const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(remaining_, kBufferBytes));
  if (wanted == 0) return false;
  ssize_t got = 0;
  do {
    got = pread(descriptor_, buffer_.get(), wanted, dataBytes_ - remaining_);
  } while (got < 0 && errno == EINTR);
  if (got <= 0) {
    remaining_ = 0;
    return false;
  }
  bufferNext_ = 0;
  bufferEnd_ = static_cast<std::size_t>(got);
  return true;
}

std::size_t MP3ReadFile::Read(std::uint8_t* bytes, std::size_t count) noexcept {
  std::size_t done = 0;
  while (done < count) {
    if (bufferNext_ == bufferEnd_ && !Fill()) break;
    const std::size_t piece = std::min(count - done, bufferEnd_ - bufferNext_);
    std::memcpy(bytes + done, buffer_.get() + bufferNext_, piece);
    bufferNext_ += piece;
    remaining_ -= static_cast<std::int64_t>(piece);
    done += piece;
  }
  return done;
}

void MP3ReadFile::Skip(std::int64_t count) noexcept {
  count = std::clamp<std::int64_t>(count, 0, remaining_);
  const auto buffered = static_cast<std::int64_t>(bufferEnd_ - bufferNext_);
  remaining_ -= count;
  if (count <= buffered) {
    bufferNext_ += static_cast<std::size_t>(count);
  } else {
    bufferNext_ = bufferEnd_ = 0;
  }
}

void MP3ReadFile::SeekTo(std::int64_t offset) noexcept {
  remaining_ = dataBytes_ - std::clamp<std::int64_t>(offset, 0, dataBytes_);
  bufferNext_ = bufferEnd_ = 0;
}
