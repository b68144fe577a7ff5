#include "tests/structure/include_order.h"

#include <algorithm>
#include <array>
#include <optional>

namespace kiv::structure {

namespace {

constexpr int kPorts = 0;
constexpr int kFoundation = 1;
constexpr int kAudio = 2;
constexpr int kTop = 7;             // app and tools
constexpr int kImplementation = 8;  // beside the order: platform/NAME
constexpr int kOutside = 9;         // tests, fuzz, bench

bool IsIn(std::string_view path, std::string_view folder) {
  return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
}

// The folder of an implementation: "platform/qt" of "platform/qt/x.h"; empty for a port.
std::string_view Implementation(std::string_view path) {
  constexpr std::string_view kPlatform = "platform/";
  if (!path.starts_with(kPlatform)) return {};
  const std::size_t slash = path.find('/', kPlatform.size());
  return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

std::optional<int> Layer(std::string_view path) {
  struct Row {
    std::string_view folder;
    int layer;
  };
  static constexpr std::array<Row, 12> kRows{{
      {"foundation", kFoundation},
      {"audio/processing", 3},
      {"audio", kAudio},
      {"devices", 4},
      {"recorder", 5},
      {"ui", 6},
      {"app", kTop},
      {"tools", kTop},
      {"tests", kOutside},
      {"fuzz", kOutside},
      {"bench", kOutside},
      {"packaging", kOutside},
  }};
  if (IsIn(path, "platform")) return Implementation(path).empty() ? kPorts : kImplementation;
  for (const Row& row : kRows) {
    if (IsIn(path, row.folder)) return row.layer;
  }
  return std::nullopt;
}

// Whose headers they are, and who may include them.
struct Library {
  std::string_view name;
  bool (*owns)(std::string_view include);
  std::vector<std::string_view> folders;
};

bool IsQt(std::string_view include) {
  // Class headers (QObject), modules (QtCore/QObject) and generated ones (ui_main.h).
  return (include.size() > 1 && include[0] == 'Q' && include[1] >= 'A' && include[1] <= 'Z') ||
         include.starts_with("Qt") || include.starts_with("qt") || include.starts_with("ui_");
}
bool IsPulse(std::string_view include) {
  return IsIn(include, "pulse");
}
bool IsX11(std::string_view include) {
  return IsIn(include, "xcb") || IsIn(include, "X11") || IsIn(include, "xkbcommon");
}
bool IsPeer(std::string_view include) {
  static constexpr std::array<std::string_view, 12> kPeers{"sndfile",    "soxr",      "samplerate",    "mpg123",
                                                           "lame",       "benchmark", "libswresample", "libavutil",
                                                           "libavcodec", "mad.h",     "gmock",         "gtest"};
  return std::ranges::any_of(kPeers, [include](std::string_view peer) { return include.starts_with(peer); });
}

const std::vector<Library>& Libraries() {
  static const std::vector<Library> libraries = {
      {"the toolkit", IsQt, {"ui", "platform/qt", "app", "tests/ui", "tests/app", "tests/platform/qt", "tests/tools"}},
      {"the sound client", IsPulse, {"platform/pulse", "tests/platform/pulse"}},
      {"the window system's client", IsX11, {"platform/x11", "tests/platform/x11", "tests/ui/desktop/session"}},
      {"a library of tests and peers", IsPeer, {"tests", "fuzz", "bench"}},
  };
  return libraries;
}

std::string Quoted(const Include& include) {
  return std::string("\"").append(include.name) + "\"";
}

std::string WhyForbiddenOutside(std::string_view path, std::string_view name) {
  for (const Library& library : Libraries()) {
    if (!library.owns(name)) continue;
    const bool allowed =
        std::ranges::any_of(library.folders, [path](std::string_view folder) { return IsIn(path, folder); });
    if (!allowed) return std::string("<").append(name) + "> belongs to " + std::string(library.name);
  }
  return {};
}

}  // namespace

std::vector<Include> FindIncludes(std::string_view text) {
  std::vector<Include> includes;
  int line = 1;
  bool lineStart = true;
  std::size_t at = 0;
  const auto skipTo = [&](std::string_view end) {
    const std::size_t found = text.find(end, at);
    const std::size_t stop = found == std::string_view::npos ? text.size() : found + end.size();
    line += static_cast<int>(std::ranges::count(text.substr(at, stop - at), '\n'));
    at = stop;
  };
  while (at < text.size()) {
    const std::string_view rest = text.substr(at);
    if (rest.starts_with("//")) {
      at = std::min(text.find('\n', at), text.size());
    } else if (rest.starts_with("/*")) {
      at += 2;
      skipTo("*/");
    } else if (rest.starts_with("R\"")) {
      const std::size_t open = rest.find('(');
      if (open == std::string_view::npos) break;
      const std::string end = std::string(")").append(rest.substr(2, open - 2)) + "\"";
      at += open;
      skipTo(end);
      lineStart = false;
    } else if (rest.front() == '"' || rest.front() == '\'') {
      // A string, a character or a digit separator; none of them goes past the end of its line.
      const char quote = rest.front();
      ++at;
      while (at < text.size() && text[at] != quote && text[at] != '\n') at += text[at] == '\\' ? 2 : 1;
      if (at < text.size() && text[at] == quote) ++at;
      lineStart = false;
    } else if (rest.front() == '\n') {
      ++line;
      ++at;
      lineStart = true;
    } else if (rest.front() == '#' && lineStart) {
      std::size_t word = rest.find_first_not_of(" \t", 1);
      if (word != std::string_view::npos && rest.substr(word).starts_with("include")) {
        word = rest.find_first_not_of(" \t", word + 7);
        if (word != std::string_view::npos && (rest[word] == '"' || rest[word] == '<')) {
          const bool quoted = rest[word] == '"';
          const std::size_t end = rest.find_first_of(quoted ? "\"\n" : ">\n", word + 1);
          if (end != std::string_view::npos && rest[end] != '\n') {
            includes.push_back({line, std::string(rest.substr(word + 1, end - word - 1)), quoted});
          }
        }
      }
      at = std::min(text.find('\n', at), text.size());
    } else {
      if (rest.front() != ' ' && rest.front() != '\t' && rest.front() != '\r') lineStart = false;
      ++at;
    }
  }
  return includes;
}

std::string WhyForbidden(std::string_view path, const Include& include) {
  const std::optional<int> from = Layer(path);
  if (!from) return "the folder of this file has no place in the order of the layers";
  if (!include.quoted) return WhyForbiddenOutside(path, include.name);

  const std::string_view name = include.name;
  // Made by the toolkit's tools beside the file that includes it.
  if (IsQt(name) || name.ends_with(".moc")) return WhyForbiddenOutside(path, name);
  const std::optional<int> to = Layer(name);
  if (!to || name.find("..") != std::string_view::npos || name.find("./") != std::string_view::npos) {
    return Quoted(include) + " is not a path from the project's folder";
  }
  if (*from == kOutside) return {};
  if (*to == kOutside) return "the product does not see tests, fuzz targets or benchmarks";
  if (*from == kTop) {
    const bool sibling = *to == kTop && IsIn(path, "app") != IsIn(name, "app");
    return sibling ? "app and tools do not see each other" : std::string();
  }
  if (*to == kImplementation) {
    return Implementation(path) == Implementation(name) ? std::string()
                                                        : "only app, tools and tests see an implementation";
  }
  if (*from == kImplementation) {
    const int highest = Implementation(path) == "platform/simulated" ? kAudio : kFoundation;
    return *to <= highest ? std::string() : Quoted(include) + " lies above this implementation";
  }
  return *to <= *from ? std::string() : Quoted(include) + " lies in a layer above";
}

std::vector<std::string> ForbiddenIncludes(const SourceFile& file) {
  std::vector<std::string> lines;
  for (const Include& include : FindIncludes(file.text)) {
    const std::string why = WhyForbidden(file.path, include);
    if (!why.empty()) lines.push_back(file.path + ":" + std::to_string(include.line) + ": " + why);
  }
  return lines;
}

}  // namespace kiv::structure
