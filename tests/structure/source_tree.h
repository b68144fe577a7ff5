#pragma once

// The committed texts of this project, as tests read them.
//
//   Text     paths are relative to the project's folder, with forward slashes, sorted.
//   Left out build trees, hidden folders other than .ci, and the fuzz corpora, which are data.

#include <filesystem>
#include <string>
#include <vector>

namespace kiv::structure {

struct SourceFile {
  std::string path;
  std::string text;
};

std::filesystem::path ProjectFolder();

// Every file below the folder whose name ends in one of the endings; with no endings, every file that is text.
std::vector<SourceFile> ReadTree(const std::filesystem::path& folder, const std::vector<std::string>& endings);

}  // namespace kiv::structure
