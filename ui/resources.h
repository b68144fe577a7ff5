#pragma once

// The program's own files, by folder and name.
//   Text     names without an extension: pictures are found whatever their format.
//   Errors   an empty path when there is no such file or no resources folder.

#include <string>

namespace kiv {

// <resources>/<folder>/<name>.<any extension>; the vector drawing when there are several.
std::string ResourceByName(const std::string& folder, const std::string& name);
// <resources>/<relativePath>, whether or not it exists; empty without a resources folder.
std::string ResourcePath(const std::string& relativePath);

}  // namespace kiv
