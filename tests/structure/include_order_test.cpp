#include "tests/structure/include_order.h"

#include <filesystem>

namespace {

using kiv::structure::FindIncludes;
using kiv::structure::ForbiddenIncludes;
using kiv::structure::Include;
using kiv::structure::SourceFile;
using kiv::structure::WhyForbidden;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

std::vector<SourceFile> Sources() {
  return kiv::structure::ReadTree(kiv::structure::ProjectFolder(), {".h", ".cpp"});
}
bool Allowed(const char* path, const char* header) {
  return WhyForbidden(path, Include{1, header, true}).empty();
}
bool AllowedFromOutside(const char* path, const char* header) {
  return WhyForbidden(path, Include{1, header, false}).empty();
}

TEST(IncludeOrder, NoSourceIncludesUpwards) {
  const std::vector<SourceFile> sources = Sources();
  ASSERT_GE(sources.size(), 20U) << "the tree was not found";
  std::size_t includes = 0;
  std::vector<std::string> forbidden;
  for (const SourceFile& source : sources) {
    includes += FindIncludes(source.text).size();
    for (std::string& line : ForbiddenIncludes(source)) forbidden.push_back(std::move(line));
  }
  EXPECT_GE(includes, sources.size()) << "the includes were not found";
  EXPECT_THAT(forbidden, IsEmpty());
}

TEST(IncludeOrder, EveryQuotedIncludeIsAFileOfOurs) {
  for (const SourceFile& source : Sources()) {
    for (const Include& include : FindIncludes(source.text)) {
      if (!include.quoted || include.name.starts_with("ui_") || include.name.ends_with(".moc")) continue;
      EXPECT_TRUE(std::filesystem::is_regular_file(kiv::structure::ProjectFolder() / include.name))
          << source.path << ":" << include.line << ": " << include.name;
    }
  }
}

TEST(IncludeOrder, EveryHeaderStartsWithPragmaOnce) {
  for (const SourceFile& source : Sources()) {
    if (source.path.ends_with(".h")) {
      EXPECT_TRUE(source.text.starts_with("#pragma once\n")) << source.path;
    }
  }
}

TEST(IncludeOrder, LayersSeeThemselvesAndWhatLiesBelow) {
  const std::vector<const char*> order = {"platform/clock.h", "foundation/a.h", "audio/a.h", "audio/processing/a.h",
                                          "devices/a.h",      "recorder/a.h",   "ui/a.h",    "app/a.h"};
  for (std::size_t from = 0; from < order.size(); ++from) {
    for (std::size_t to = 0; to < order.size(); ++to) {
      EXPECT_EQ(Allowed(order[from], order[to]), to <= from) << order[from] << " includes " << order[to];
    }
  }
  EXPECT_TRUE(Allowed("tools/level/main.cpp", "recorder/a.h"));
  EXPECT_FALSE(Allowed("tools/main.cpp", "app/a.h"));
  EXPECT_FALSE(Allowed("app/main.cpp", "tools/a.h"));
}

TEST(IncludeOrder, ImplementationsSeePortsAndFoundationOnly) {
  for (const char* file : {"platform/posix/a.cpp", "platform/qt/a.cpp", "platform/pulse/a.cpp", "platform/x11/a.cpp"}) {
    EXPECT_TRUE(Allowed(file, "platform/clock.h"));
    EXPECT_TRUE(Allowed(file, "foundation/a.h"));
    EXPECT_FALSE(Allowed(file, "audio/a.h"));
  }
  EXPECT_TRUE(Allowed("platform/simulated/a.cpp", "audio/wave_file.h"));
  EXPECT_FALSE(Allowed("platform/simulated/a.cpp", "audio/processing/gain.h"));
  EXPECT_FALSE(Allowed("platform/simulated/a.cpp", "devices/a.h"));
  EXPECT_TRUE(Allowed("platform/qt/a.cpp", "platform/qt/a.h"));
  EXPECT_FALSE(Allowed("platform/qt/a.cpp", "platform/x11/a.h"));
}

TEST(IncludeOrder, OnlyTheTopSeesImplementations) {
  EXPECT_TRUE(Allowed("app/main.cpp", "platform/pulse/a.h"));
  EXPECT_TRUE(Allowed("tools/main.cpp", "platform/simulated/a.h"));
  EXPECT_TRUE(Allowed("tests/devices/a_test.cpp", "platform/simulated/a.h"));
  for (const char* file : {"foundation/a.cpp", "audio/a.cpp", "devices/a.cpp", "recorder/a.cpp", "ui/a.cpp"}) {
    EXPECT_FALSE(Allowed(file, "platform/posix/a.h")) << file;
  }
}

TEST(IncludeOrder, TheProductDoesNotSeeItsTests) {
  EXPECT_FALSE(Allowed("audio/a.cpp", "tests/support/test_signals.h"));
  EXPECT_FALSE(Allowed("tools/a.cpp", "tests/support/test_signals.h"));
  EXPECT_FALSE(Allowed("app/a.cpp", "bench/a.h"));
  EXPECT_TRUE(Allowed("bench/a.cpp", "tests/support/test_signals.h"));
}

TEST(IncludeOrder, ToolkitStaysInItsFolders) {
  for (const char* header : {"QObject", "QtCore/QObject", "QtCore", "ui_main.h"}) {
    for (const char* file :
         {"ui/a.cpp", "platform/qt/a.cpp", "app/main.cpp", "tests/ui/a.cpp", "tests/tools/gallery.cpp"}) {
      EXPECT_TRUE(AllowedFromOutside(file, header)) << file << " " << header;
    }
    for (const char* file : {"devices/a.h", "recorder/a.h", "platform/x11/a.cpp", "platform/window.h", "tools/a.cpp",
                             "tests/devices/a.cpp"}) {
      EXPECT_FALSE(AllowedFromOutside(file, header)) << file << " " << header;
      EXPECT_FALSE(Allowed(file, header)) << file << " " << header;
    }
  }
  EXPECT_TRUE(AllowedFromOutside("devices/a.h", "queue"));
}

TEST(IncludeOrder, SoundAndWindowSystemStayInTheirFolders) {
  EXPECT_TRUE(AllowedFromOutside("platform/pulse/a.cpp", "pulse/pulseaudio.h"));
  EXPECT_FALSE(AllowedFromOutside("devices/a.cpp", "pulse/pulseaudio.h"));
  EXPECT_FALSE(AllowedFromOutside("app/main.cpp", "pulse/simple.h"));
  EXPECT_TRUE(AllowedFromOutside("platform/x11/a.cpp", "xcb/xcb.h"));
  EXPECT_FALSE(AllowedFromOutside("ui/a.cpp", "xcb/xcb.h"));
  EXPECT_FALSE(AllowedFromOutside("platform/qt/a.cpp", "X11/Xlib.h"));
}

TEST(IncludeOrder, PeersStayInTestsAndBenchmarks) {
  for (const char* header : {"sndfile.h", "libswresample/swresample.h", "gtest/gtest.h", "mpg123.h"}) {
    EXPECT_FALSE(AllowedFromOutside("audio/a.cpp", header)) << header;
    EXPECT_TRUE(AllowedFromOutside("bench/a.cpp", header)) << header;
  }
}

TEST(IncludeOrder, OnlyPathsFromTheProjectsFolderAndKnownFolders) {
  EXPECT_FALSE(Allowed("audio/a.cpp", "a.h"));
  EXPECT_FALSE(Allowed("audio/a.cpp", "../foundation/a.h"));
  EXPECT_FALSE(Allowed("audio/a.cpp", "foundation/../devices/a.h"));
  EXPECT_FALSE(Allowed("audio/a.cpp", "./audio/a.h"));
  EXPECT_FALSE(AllowedFromOutside("misc/a.cpp", "vector"));
}

TEST(IncludeOrder, CheckerNamesFileAndLineOfABadInclude) {
  const SourceFile bad{"audio/a.cpp", "#include \"audio/a.h\"\n\n#  include \"devices/sound_player.h\"\n"};
  EXPECT_THAT(ForbiddenIncludes(bad), ElementsAre("audio/a.cpp:3: \"devices/sound_player.h\" lies in a layer above"));
}

TEST(IncludeOrder, DirectivesAreFoundAsTheCompilerSeesThem) {
  const std::string text =
      "// #include \"a.h\"\n"
      "/* x\n#include \"b.h\"\n*/ #include \"c.h\"\n"
      "const char* s = \"/*\";\n"
      "const int n = 1'000; const char q = '\"';\n"
      "\t#\tinclude<d>  // why\n"
      "const char* r = R\"x(\n#include \"e.h\"\n)x\";\n"
      "int i; #include \"f.h\"\n"
      "#include \"g.h\"";
  std::vector<std::string> found;
  for (const Include& include : FindIncludes(text)) {
    found.push_back(std::to_string(include.line) + (include.quoted ? " q " : " a ") + include.name);
  }
  EXPECT_THAT(found, ElementsAre("4 q c.h", "7 a d", "12 q g.h"));
}

TEST(IncludeOrder, DirectivesOfAnyTextEndTheSearch) {
  for (const char* text :
       {"", "#", "#include", "#include \"", "#include <x", "R\"", "R\"(", "/*", "\"\\", "'", "#include x"}) {
    EXPECT_THAT(FindIncludes(text), IsEmpty()) << text;
  }
}

}  // namespace
