#include <sys/stat.h>

#include <cstring>
#include <optional>

#include "foundation/file.h"
#include "foundation/text.h"
#include "platform/folders.h"
#include "platform/services.h"

namespace {

constexpr std::size_t kMaxLength = kiv::kTextSize - 1;
constexpr char kFallbackUserFolder[] = "/Users/Shared";
constexpr char kAppFolder[] = "Kiv";

constexpr bool IsSeparator(char c) noexcept {
  return c == '/' || c == '\\';
}

// Appends as much as fits; gives the new length. The terminator is the caller's.
std::size_t Append(char* path, std::size_t length, const char* name) noexcept {
  for (; *name != '\0' && length < kMaxLength; ++name) path[length++] = *name;
  return length;
}

}  // namespace

void LFile::GetUserDataFolder(char* out) {
  out[0] = '\0';
  std::optional<std::string> home;
  if (kiv::services.folders != nullptr) home = kiv::services.folders->Home();
  // A path that does not fit is no path: cut, it would name some other folder.
  const bool usable = home && !home->empty() && home->size() <= kMaxLength;
  tstrmcpy(out, usable ? home->c_str() : kFallbackUserFolder, kiv::kTextSize);
}

int LFile::GetUserDataFolderApp(char* out) {
  GetUserDataFolder(out);
  _FilePathCat(out, kAppFolder);
  return mkdir(out, 0777);
}

int LFile::GetUserDataFolderAppSubFolder(const char* name, char* out) {
  GetUserDataFolderApp(out);
  _FilePathCat(out, name);
  return mkdir(out, 0777);
}

void LFile::_FilePathCat(char* path, const char* name) noexcept {
  _FilePathCat(path, name, "");
}

std::size_t LFile::_FilePathCat(char* path, const char* a, const char* b) noexcept {
  std::size_t length = std::strlen(path);
  if (length >= kMaxLength) return length;
  if (length > 0 && !IsSeparator(path[length - 1])) path[length++] = '/';
  length = Append(path, length, a);
  length = Append(path, length, b);
  path[length] = '\0';
  return length;
}

void LFile::_GetFileFromPath(char* out, const char* path) noexcept {
  std::size_t length = 0;
  for (; *path != '\0' && length < kMaxLength; ++path) {
    if (IsSeparator(*path)) {
      length = 0;
    } else {
      out[length++] = *path;
    }
  }
  out[length] = '\0';
}

void LFile::_GetFileNameFromPath(char* out, const char* path) noexcept {
  _GetFileFromPath(out, path);
  char* const dot = std::strrchr(out, '.');
  if (dot != nullptr && dot != out) *dot = '\0';
}

bool LFile::PreprocessName(const char* in, char* out) noexcept {
  std::size_t length = 0;
  for (; *in != '\0' && length < kMaxLength; ++in) {
    // Signed, so that every byte of 0x80 and above falls away with the control characters.
    if (static_cast<signed char>(*in) <= 31 || std::strchr("\"*./:<>?\\|", *in) != nullptr) continue;
    out[length++] = *in;
  }
  out[length] = '\0';
  return length > 0;
}
