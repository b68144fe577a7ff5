#include <algorithm>
#include <cctype>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string_view>

#include "tests/structure/source_tree.h"

namespace {

using kiv::structure::SourceFile;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// --- Words

// The words that point to papers a reader of this tree does not have. Put together here, since this file is read too.
std::vector<std::string> AbsentPapers(const std::string& text) {
  static const std::string kPaper = std::string("speci") + "fication";
  static const std::regex kPattern("\\b" + kPaper + "s?\\b|\\bthe " + kPaper.substr(0, 4) + "\\b|\\bpart" +
                                       " [1-6](\\.[1-7])?\\b|" + "(^|[^a-z0-9_.])/wor" + "k/",
                                   std::regex::icase | std::regex::optimize);
  std::vector<std::string> found;
  std::istringstream lines(text);
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    std::smatch match;
    if (std::regex_search(line, match, kPattern)) {
      found.push_back(std::to_string(number) + ": " + match.str());
    }
  }
  return found;
}

TEST(CommittedText, SpeaksOfTheSystemOnly) {
  const std::vector<SourceFile> files = kiv::structure::ReadTree(kiv::structure::ProjectFolder(), {});
  ASSERT_GE(files.size(), 20U);
  for (const SourceFile& file : files) {
    EXPECT_THAT(AbsentPapers(file.text), IsEmpty()) << file.path;
    EXPECT_THAT(AbsentPapers(file.path), IsEmpty());
  }
}

TEST(CommittedText, PointersToAbsentPapersAreCaught) {
  const std::string part = std::string("Par") + "t";
  EXPECT_THAT(AbsentPapers("one\nas the Speci" + std::string("fication says\n")), SizeIs(1));
  EXPECT_THAT(AbsentPapers("see the sp" + std::string("ec.")), SizeIs(1));
  EXPECT_THAT(AbsentPapers("see " + part + " 2.5"), SizeIs(1));
  EXPECT_THAT(AbsentPapers("cd /wor" + std::string("k/main")), SizeIs(1));
  EXPECT_THAT(AbsentPapers("a special " + part + " of the spectrum, in parts 2, network/work/x, a 16-bit specimen"),
              IsEmpty());
}

// --- Packages

struct Package {
  std::string section;
  std::string name;
};

std::vector<Package> ListedPackages(const std::string& text) {
  std::vector<Package> packages;
  std::istringstream lines(text);
  std::string line;
  std::string section;
  while (std::getline(lines, line)) {
    line.resize(std::min(line.find('#'), line.size()));
    std::istringstream words(line);
    std::string word;
    if (!(words >> word)) continue;
    if (word.front() == '[') {
      section = word.substr(1, word.size() - 2);
    } else {
      packages.push_back({section, word});
    }
  }
  return packages;
}

// What CMake files look for: packages, pkg-config modules.
std::set<std::string> RequiredByCMake(const std::string& text) {
  std::set<std::string> names;
  const std::regex packages(R"(find_package\(\s*(\w+))");
  for (std::sregex_iterator match(text.begin(), text.end(), packages), end; match != end; ++match) {
    names.insert((*match)[1]);
  }
  const std::regex modules(R"(pkg_(?:check|search)_modules?\(([^)]*)\))");
  for (std::sregex_iterator match(text.begin(), text.end(), modules), end; match != end; ++match) {
    std::istringstream words((*match)[1].str());
    std::string word;
    words >> word;  // The prefix of the result.
    while (words >> word) {
      if (std::ranges::all_of(word, [](unsigned char c) { return std::isupper(c) != 0 || c == '_'; })) continue;
      names.insert(word.substr(0, word.find_first_of("<>=")));
    }
  }
  return names;
}

// The Debian packages of each; none for what comes with the compiler or CMake.
const std::map<std::string, std::vector<std::string>>& DebianPackages() {
  static const std::map<std::string, std::vector<std::string>> packages = {
      {"GTest", {"libgtest-dev", "libgmock-dev"}},
      {"benchmark", {"libbenchmark-dev"}},
      {"Threads", {}},
      {"PkgConfig", {"pkg-config"}},
      {"Qt6", {"qt6-base-dev"}},
      {"SndFile", {"libsndfile1-dev"}},
      {"sndfile", {"libsndfile1-dev"}},
      {"soxr", {"libsoxr-dev"}},
      {"libswresample", {"libswresample-dev"}},
      {"libavutil", {"libavutil-dev"}},
      {"libavcodec", {"libavcodec-dev"}},
      {"libavformat", {"libavformat-dev"}},
      {"libmpg123", {"libmpg123-dev"}},
      {"mad", {"libmad0-dev"}},
      {"libpulse", {"libpulse-dev"}},
      {"libpulse-simple", {"libpulse-dev"}},
      {"xcb", {"libxcb1-dev"}},
      {"xcb-keysyms", {"libxcb-keysyms1-dev"}},
      {"xcb-xkb", {"libxcb-xkb-dev"}},
      {"xkbcommon", {"libxkbcommon-dev"}},
      {"sm", {"libsm-dev"}},
      {"ice", {"libice-dev"}},
  };
  return packages;
}

std::string PackageList() {
  const std::vector<SourceFile> lists =
      kiv::structure::ReadTree(kiv::structure::ProjectFolder() / "scripts", {"packages.txt"});
  return lists.size() == 1 ? lists.front().text : std::string();
}

TEST(Packages, EveryLibraryThatCMakeLooksForIsListed) {
  const std::vector<Package> listed = ListedPackages(PackageList());
  std::size_t found = 0;
  for (const SourceFile& file :
       kiv::structure::ReadTree(kiv::structure::ProjectFolder(), {"CMakeLists.txt", ".cmake"})) {
    for (const std::string& name : RequiredByCMake(file.text)) {
      ++found;
      const auto row = DebianPackages().find(name);
      ASSERT_NE(row, DebianPackages().end())
          << file.path << " looks for " << name << ": add its Debian package to the table in this test";
      for (const std::string& package : row->second) {
        EXPECT_TRUE(std::ranges::any_of(listed, [&](const Package& p) { return p.name == package; }))
            << file.path << " looks for " << name << ": add " << package << " to scripts/packages.txt";
      }
    }
  }
  EXPECT_GE(found, 2U);
}

TEST(Packages, SectionsAreKnownAndNamesUnique) {
  static const std::set<std::string> kSections = {"build", "run", "desktop", "test", "bench", "lint", "docs"};
  std::set<std::string> names;
  for (const Package& package : ListedPackages(PackageList())) {
    EXPECT_TRUE(kSections.contains(package.section)) << package.section;
    EXPECT_TRUE(names.insert(package.name).second) << package.name << " is listed twice";
  }
  EXPECT_TRUE(names.contains("g++"));
}

TEST(Packages, LibrariesAreFoundInCMakeText) {
  EXPECT_THAT(RequiredByCMake("find_package(GTest REQUIRED)\n  find_package( Qt6 6.4 COMPONENTS Core)\n"
                              "pkg_check_modules(PULSE REQUIRED IMPORTED_TARGET libpulse>=15 xcb)"),
              ElementsAre("GTest", "Qt6", "libpulse", "xcb"));
}

}  // namespace
