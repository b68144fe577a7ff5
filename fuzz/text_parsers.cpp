// Any text as level, time, number, path and name; any bytes as lines. Results stay inside their buffers and keep what
// their headers promise.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "foundation/file.h"
#include "foundation/level.h"
#include "foundation/line_reader.h"
#include "foundation/sound_time.h"
#include "foundation/text.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

// On the heap, so that one byte too many is found.
using Buffer = std::unique_ptr<char[]>;
Buffer NewBuffer(std::size_t size = kiv::kTextSize) {
  return Buffer(new char[size]);
}

void Values(const char* text) {
  LDB level;
  level.SetText(text);
  Require(level >= -127 && level <= 127);
  LSoundTime time;
  time.SetText(text);
  const bool negative = std::strchr(text, '-') != nullptr;
  LSoundTime again;
  again.SetText(negative ? text : std::string(text).append("-").c_str());
  Require(negative || again == kiv::WrapNegate32(time));
  const long long number = std::strtoll(text, nullptr, 10);
  Require(kiv::ParseInt32(text) == std::clamp<long long>(number, INT32_MIN, INT32_MAX));
}

void Paths(const std::string& a, const std::string& b) {
  const Buffer path = NewBuffer();
  tstrmcpy(path.get(), a.c_str(), kiv::kTextSize);
  const std::string before = path.get();
  const std::size_t length = LFile::_FilePathCat(path.get(), b.c_str(), ".wav");
  Require(length == std::strlen(path.get()) && length < kiv::kTextSize);
  Require(std::string(path.get()).starts_with(before));
  LFile::_FilePathCat(path.get(), a.c_str());
  Require(std::strlen(path.get()) < kiv::kTextSize);

  const Buffer file = NewBuffer();
  LFile::_GetFileFromPath(file.get(), a.c_str());
  Require(std::strlen(file.get()) < kiv::kTextSize && std::strpbrk(file.get(), "/\\") == nullptr);
  const Buffer name = NewBuffer();
  LFile::_GetFileNameFromPath(name.get(), a.c_str());
  Require(std::string(file.get()).starts_with(name.get()));

  const bool kept = LFile::PreprocessName(a.c_str(), name.get());
  Require(kept == (name[0] != '\0') && std::strlen(name.get()) < kiv::kTextSize);
  const Buffer same = NewBuffer();
  LFile::PreprocessName(name.get(), same.get());
  Require(std::strcmp(name.get(), same.get()) == 0);

  Require(kiv::EqualIgnoringCase(a.c_str(), b.c_str()) == kiv::EqualIgnoringCase(b.c_str(), a.c_str()));
}

class StringBytes {
 public:
  explicit StringBytes(const std::string& bytes) : bytes_(bytes) {}
  bool Next(char& byte) {
    if (at_ == bytes_.size()) return false;
    byte = bytes_[at_++];
    return true;
  }
  void Back() { --at_; }
  std::size_t Position() const { return at_; }

 private:
  const std::string& bytes_;
  std::size_t at_ = 0;
};

// From a descriptor, byte by byte, and from memory: the same lines and positions.
void Lines(const std::string& bytes, std::size_t size) {
  static const int fd = memfd_create("lines", MFD_CLOEXEC);
  Require(ftruncate(fd, 0) == 0);
  Require(pwrite(fd, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
  lseek(fd, 0, SEEK_SET);
  const LReadFileRef file(fd);
  StringBytes memory(bytes);
  const Buffer line = NewBuffer(size);
  const Buffer other = NewBuffer(size);
  for (std::size_t before = 0;;) {
    const bool more = file.ReadLine(line.get(), size);
    Require(more == kiv::ReadLineFrom(memory, other.get(), size));
    Require(lseek(fd, 0, SEEK_CUR) == static_cast<off_t>(memory.Position()));
    Require(std::strcmp(line.get(), other.get()) == 0 && std::strlen(line.get()) < size);
    if (!more || memory.Position() == before) break;  // At the end, or at a final lone line end.
    before = memory.Position();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(data, data + size);
  const std::string text = bytes.c_str();
  const std::string rest = text.size() < bytes.size() ? bytes.c_str() + text.size() + 1 : "";
  Values(text.c_str());
  Paths(text, rest);
  Lines(bytes, size == 0 ? 1 : std::size_t{data[0]} + 1);
  return 0;
}
