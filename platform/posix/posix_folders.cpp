#include "platform/posix/posix_folders.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <utility>
#include <vector>

namespace kiv {
namespace {

std::string WithoutTrailingSeparators(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

std::optional<std::string> HomeInPasswordDatabase() {
  std::vector<char> texts(1024);
  passwd entry;
  passwd* found = nullptr;
  int error;
  while ((error = getpwuid_r(getuid(), &entry, texts.data(), texts.size(), &found)) == ERANGE) {
    if (texts.size() > 1 << 20) return std::nullopt;
    texts.resize(texts.size() * 2);
  }
  if (error != 0 || found == nullptr || entry.pw_dir == nullptr || entry.pw_dir[0] != '/') return std::nullopt;
  return WithoutTrailingSeparators(entry.pw_dir);
}

std::string OwnExecutable() {
  std::error_code failed;
  const std::filesystem::path path = std::filesystem::read_symlink("/proc/self/exe", failed);
  return failed ? std::string() : path.string();
}

std::string CurrentFolder() {
  std::error_code failed;
  const std::filesystem::path path = std::filesystem::current_path(failed);
  return failed ? std::string() : path.string();
}

// The path without links and dots, if it leads to a folder.
std::optional<std::string> ExistingFolder(const std::filesystem::path& path) {
  std::error_code failed;
  const std::filesystem::path whole = std::filesystem::canonical(path, failed);
  if (failed || !std::filesystem::is_directory(whole, failed)) return std::nullopt;
  return whole.string();
}

}  // namespace

PosixFolders::PosixFolders() : PosixFolders(OwnExecutable(), KIV_BUILD_RESOURCES) {}

PosixFolders::PosixFolders(std::string executable, std::string buildResources)
    : executable_(std::move(executable)), buildResources_(std::move(buildResources)), startFolder_(CurrentFolder()) {}

std::optional<std::string> PosixFolders::Home() {
  const char* const home = std::getenv("HOME");
  if (home != nullptr && home[0] == '/') return WithoutTrailingSeparators(home);
  return HomeInPasswordDatabase();
}

std::optional<std::string> PosixFolders::Resources() {
  if (const char* const named = std::getenv("KIV_RESOURCES"); named != nullptr && named[0] != '\0') {
    if (auto folder = ExistingFolder(std::filesystem::path(startFolder_) / named)) return folder;
  }
  if (!executable_.empty()) {
    const auto beside = std::filesystem::path(executable_).parent_path() / ".." / "share" / "kiv-recorder";
    if (auto folder = ExistingFolder(beside)) return folder;
  }
  return ExistingFolder(buildResources_);
}

}  // namespace kiv
