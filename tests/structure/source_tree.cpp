#include "tests/structure/source_tree.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace kiv::structure {

namespace {

bool IsLeftOut(const std::filesystem::path& relative) {
  const std::string name = relative.filename().string();
  if (name.front() == '.' && name != ".ci" && !name.starts_with(".clang") && name != ".gitignore") return true;
  return name == "build" || name.starts_with("build-") || relative == "fuzz/corpus";
}

}  // namespace

std::filesystem::path ProjectFolder() {
  return KIV_PROJECT_FOLDER;
}

std::vector<SourceFile> ReadTree(const std::filesystem::path& folder, const std::vector<std::string>& endings) {
  std::vector<SourceFile> files;
  for (auto entry = std::filesystem::recursive_directory_iterator(folder);
       entry != std::filesystem::recursive_directory_iterator(); ++entry) {
    const std::filesystem::path relative = entry->path().lexically_relative(folder);
    if (IsLeftOut(relative)) {
      if (entry->is_directory()) entry.disable_recursion_pending();
      continue;
    }
    if (!entry->is_regular_file()) continue;
    const std::string path = relative.generic_string();
    const bool wanted = endings.empty() || std::ranges::any_of(endings, [&path](const std::string& ending) {
                          return path.ends_with(ending);
                        });
    if (!wanted) continue;
    std::ifstream stream(entry->path(), std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    if (endings.empty() && text.find('\0') != std::string::npos) continue;
    files.push_back({path, std::move(text)});
  }
  std::ranges::sort(files, {}, &SourceFile::path);
  return files;
}

}  // namespace kiv::structure
