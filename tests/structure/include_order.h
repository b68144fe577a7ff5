#pragma once

// The order of the layers, and a checker that holds one include against it.
//
//   app, tools -> ui -> recorder -> devices -> audio/processing -> audio -> foundation -> ports (platform/*.h)
//
// An implementation (platform/NAME) sees the ports, foundation and itself, the simulated one audio too; only app, tools
// and tests see an implementation. The toolkit, the sound client and the window system's client each have the few
// folders that may include them.

#include <string>
#include <string_view>
#include <vector>

#include "tests/structure/source_tree.h"

namespace kiv::structure {

struct Include {
  int line;  // from 1
  std::string name;
  bool quoted;  // "name", else <name>
};

// The include directives of a text, as written; those inside // and /* */ comments and raw strings do not count.
std::vector<Include> FindIncludes(std::string_view text);

// What is wrong with the include in a file of that path; empty when nothing is.
std::string WhyForbidden(std::string_view path, const Include& include);

// One line for each forbidden include: "path:line: reason".
std::vector<std::string> ForbiddenIncludes(const SourceFile& file);

}  // namespace kiv::structure
