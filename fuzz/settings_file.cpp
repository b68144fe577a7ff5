// Any bytes as a settings file: loading takes every line as the line reader gives it, what is saved loads the same
// again, and every stored text stays inside its buffer.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "foundation/dat_file_native.h"
#include "foundation/file_descriptor.h"

namespace {

// A file in memory, with a path.
class MemoryFile {
 public:
  explicit MemoryFile(const char* name) : fd_(memfd_create(name, MFD_CLOEXEC)) {
    if (fd_ < 0) std::abort();
    path_ = "/proc/self/fd/" + std::to_string(fd_);
  }
  void Fill(const std::uint8_t* data, std::size_t size) const {
    if (ftruncate(fd_, 0) != 0 || pwrite(fd_, data, size, 0) != static_cast<ssize_t>(size)) std::abort();
  }
  std::string Bytes() const {
    std::string bytes(static_cast<std::size_t>(lseek(fd_, 0, SEEK_END)), '\0');
    if (pread(fd_, bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) std::abort();
    return bytes;
  }
  const char* Path() const { return path_.c_str(); }

 private:
  int fd_;
  std::string path_;
};

std::string SavedByLoad(const MemoryFile& from, const MemoryFile& to) {
  LDatFileNativeFile file(from.Path());
  file.Load();
  tstrmcpy(file.path, to.Path());
  file.Save();
  return to.Bytes();
}

// The same, line by line with the linear search.
std::string SavedLineByLine(const MemoryFile& from, const MemoryFile& to) {
  LDatFileNativeFile file(to.Path());
  const LReadFile input = LReadFile::Open(from.Path());
  LDatFileNativeSection* section = nullptr;
  LDatFileNativeSection* last = nullptr;
  char buffer[552];
  off_t before = 0;
  while (input.Ref().ReadLine(buffer, sizeof buffer)) {
    const off_t now = lseek(input.Descriptor(), 0, SEEK_CUR);
    if (now == before) break;
    before = now;
    const std::string line = buffer;
    const std::size_t equals = line.find('=');
    if (line[0] == '[') {
      const std::string name = line.substr(1, line.find(']') == std::string::npos ? line.npos : line.find(']') - 1);
      section = nullptr;
      for (LListIterator<LDatFileNativeSection> it(file.sections); it && section == nullptr; ++it) {
        if (kiv::EqualIgnoringCase(it->name, name.c_str())) section = &*it;
      }
      if (section == nullptr) {
        section = new LDatFileNativeSection(name.c_str());
        (last == nullptr ? file.sections.head : last->next) = section;
        last = section;
      }
    } else if (section != nullptr && equals != std::string::npos) {
      section->SetValue(line.substr(0, equals).c_str(), line.substr(equals + 1).c_str());
    }
  }
  file.Save();
  return to.Bytes();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const MemoryFile input("input");
  static const MemoryFile once("once");
  static const MemoryFile twice("twice");
  input.Fill(data, size);
  const std::string saved = SavedByLoad(input, once);
  if (saved != SavedLineByLine(input, twice)) std::abort();
  // Names that were cut while loading meet under one name in the second round; a short file has none.
  if (size < kiv::kTextSize && SavedByLoad(once, twice) != saved) std::abort();
  return 0;
}
