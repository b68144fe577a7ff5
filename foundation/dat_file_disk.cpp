#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <unordered_map>

#include "foundation/dat_file_native.h"
#include "foundation/file_descriptor.h"
#include "foundation/line_reader.h"
#include "foundation/locked_open.h"

namespace {

constexpr std::size_t kLineSize = 552;

// Bytes of a file in blocks, with the position that single reads would have.
class BlockBytes {
 public:
  explicit BlockBytes(int fd) noexcept : fd_(fd) {}

  bool Next(char& byte) noexcept {
    if (at_ == count_ && !Fill()) return false;
    byte = block_[at_++];
    return true;
  }
  // Only after a successful Next; the byte before the current one is always still in the block, since a block is
  // replaced only by one that gives at least one byte.
  void Back() noexcept { --at_; }
  std::uint64_t Position() const noexcept { return start_ + at_; }

 private:
  bool Fill() noexcept {
    ssize_t got;
    do {
      got = read(fd_, block_, sizeof block_);
    } while (got < 0 && errno == EINTR);
    if (got <= 0) return false;
    start_ += count_;
    count_ = static_cast<std::size_t>(got);
    at_ = 0;
    return true;
  }

  int fd_;
  std::uint64_t start_ = 0;
  std::size_t count_ = 0;
  std::size_t at_ = 0;
  char block_[4096];
};

// Builds a file record line by line. Does what SetValue would do, with an index in the place of the linear search, so
// that a file of many lines is no trap; the index goes when the file has been read.
class Builder {
 public:
  explicit Builder(LDatFileNativeFile& file) noexcept : file_(file) {}

  void Line(char* line) {
    if (line[0] == '[') {
      if (char* const end = std::strchr(line, ']')) *end = '\0';
      OpenSection(line + 1);
    } else if (section_ != nullptr) {
      char* const equals = std::strchr(line, '=');
      if (equals == nullptr) return;
      *equals = '\0';
      Set(line, equals + 1);
    }
  }

 private:
  struct Section {
    LDatFileNativeSection* section;
    LDatFileNativeItem* lastItem;
    std::unordered_map<std::string, LDatFileNativeItem*> items;
  };

  static std::string Folded(const char* name) {
    std::string folded = name;
    for (char& c : folded) c = kiv::FoldCase(c);
    return folded;
  }

  void OpenSection(const char* name) {
    const auto found = sections_.find(Folded(name));
    if (found != sections_.end()) {
      section_ = &found->second;
      return;
    }
    section_ = nullptr;
    if (!MayGrow()) return;
    auto* const made = new LDatFileNativeSection(name);
    (lastSection_ == nullptr ? file_.sections.head : lastSection_->next) = made;
    lastSection_ = made;
    // Under the name as it was cut, which an earlier section may have already: then that one is found first, but lines
    // go on into this one.
    const auto [entry, isNew] = sections_.try_emplace(Folded(made->name), Section{made, nullptr, {}});
    if (isNew) {
      section_ = &entry->second;
    } else {
      shadowed_ = Section{made, nullptr, {}};
      section_ = &shadowed_;
    }
  }

  void Set(const char* name, const char* value) {
    const auto found = section_->items.find(Folded(name));
    if (found != section_->items.end()) {
      tstrmcpy(found->second->value, value);
      return;
    }
    if (!MayGrow()) return;
    auto* const made = new LDatFileNativeItem(name, value);
    (section_->lastItem == nullptr ? section_->section->items.head : section_->lastItem->next) = made;
    section_->lastItem = made;
    section_->items.try_emplace(Folded(made->name), made);
  }

  // Counts one more entry; false when there are enough.
  bool MayGrow() noexcept {
    if (entries_ == LDatFileNativeFile::kMaxLoadedEntries) return false;
    ++entries_;
    return true;
  }

  LDatFileNativeFile& file_;
  std::unordered_map<std::string, Section> sections_;
  Section shadowed_ = {};
  Section* section_ = nullptr;
  LDatFileNativeSection* lastSection_ = nullptr;
  int entries_ = 0;
};

bool IsRegularFile(int fd) noexcept {
  struct stat status;
  return fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

void LDatFileNativeFile::Load() {
  dirty = false;
  const LReadFile file(kiv::OpenLocked(path, O_RDONLY, kiv::FileLock::Shared));
  // A device or a pipe may never end.
  if (!file.IsOpen() || !IsRegularFile(file.Descriptor())) return;

  BlockBytes bytes(file.Descriptor());
  Builder builder(*this);
  char line[kLineSize];
  std::uint64_t before = bytes.Position();
  while (kiv::ReadLineFrom(bytes, line, sizeof line)) {
    // A file that ends in a lone CR or LF gives empty lines for ever, without moving on.
    if (bytes.Position() == before) break;
    before = bytes.Position();
    builder.Line(line);
  }
}

void LDatFileNativeFile::Save() {
  dirty = false;
  // Cut to its new length after it has been written, so that at no moment everything is gone.
  const LReadWriteFile file(kiv::OpenLocked(path, O_RDWR | O_CREAT, kiv::FileLock::Exclusive));
  if (!file.IsOpen()) return;

  std::string text;
  for (LListIterator<LDatFileNativeSection> section(sections); section; ++section) {
    text.append("[").append(section->name).append("]\r\n");
    for (LListIterator<LDatFileNativeItem> item(section->items); item; ++item) {
      text.append(item->name).append("=").append(item->value).append("\r\n");
    }
    text.append("\r\n");
  }

  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t put = pwrite(file.Descriptor(), text.data() + done, text.size() - done, static_cast<off_t>(done));
    if (put > 0) {
      done += static_cast<std::size_t>(put);
    } else if (put == 0 || errno != EINTR) {
      break;  // Disk full or the like: what fits is there, the rest is lost.
    }
  }
  int cut;
  do {
    cut = ftruncate(file.Descriptor(), static_cast<off_t>(done));
  } while (cut != 0 && errno == EINTR);
}
