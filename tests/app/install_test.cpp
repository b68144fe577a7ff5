// What `cmake --install` makes, as a packager stages it, and the program started from there.

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <regex>
#include <set>

#include "audio/wave_file.h"
#include "tests/app/running_program.h"
#include "tests/support/test_signals.h"

namespace {

using kiv::test::HomeFolder;
using kiv::test::ReadFile;
using kiv::test::RunningProgram;
using kiv::test::WaitFor;
using testing::HasSubstr;
using testing::IsEmpty;

const std::map<std::string, std::string> kNothing = {
    {"QT_QPA_PLATFORM", "offscreen"}, {"QT_QPA_PLATFORMTHEME", ""},     {"DISPLAY", ""},
    {"WAYLAND_DISPLAY", ""},          {"DBUS_SESSION_BUS_ADDRESS", ""}, {"KIV_RESOURCES", ""}};

class Install : public testing::Test {
 protected:
  void SetUp() override {
    const std::string command = "env -u DESTDIR '" KIV_CMAKE "' --install '" KIV_BUILD_FOLDER "' --prefix '" + prefix_ +
                                "' >'" + home_.Path() + "/install.txt' 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0) << ReadFile(home_.Path() + "/install.txt");
  }
  // Paths below the prefix.
  std::set<std::string> Installed() const {
    std::set<std::string> paths;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(prefix_)) {
      if (entry.is_regular_file()) paths.insert(std::filesystem::relative(entry.path(), prefix_).string());
    }
    return paths;
  }
  std::string Says(const std::string& program, const std::string& argument) {
    RunningProgram running(prefix_ + "/bin/" + program, home_, {argument}, kNothing);
    EXPECT_EQ(running.WaitForEnd(), 0) << program;
    return running.Said();
  }

  HomeFolder home_{false};
  const std::string prefix_ = home_.Path() + "/prefix";
};

TEST_F(Install, EverythingIsInItsPlace) {
  const std::set<std::string> paths = Installed();
  for (const char* path :
       {"bin/kiv-recorder", "bin/kiv-level", "bin/kiv-convert", "bin/kiv-line", "share/man/man1/kiv-recorder.1",
        "share/man/man1/kiv-level.1", "share/man/man1/kiv-convert.1", "share/man/man1/kiv-line.1",
        "share/applications/com.oskmera.Kiv.desktop", "share/icons/hicolor/scalable/apps/com.oskmera.Kiv.svg"}) {
    EXPECT_TRUE(paths.contains(path)) << path;
  }
  // Each file of the program's own that the source tree has, and nothing of how it was made.
  for (const auto& [folder, ending] : {std::pair("interface", ".ui"), std::pair("icons", ".svg"),
                                       std::pair("help", ".html"), std::pair("prompts", ".mp3")}) {
    std::set<std::string> sources;
    std::set<std::string> installed;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(std::string(KIV_RESOURCES_FOLDER "/") + folder)) {
      if (entry.path().extension() == ending) sources.insert(entry.path().filename().string());
    }
    const std::string to = std::string("share/kiv-recorder/") + folder + "/";
    for (const std::string& path : paths) {
      if (path.starts_with(to)) installed.insert(std::filesystem::path(path).filename().string());
    }
    EXPECT_FALSE(sources.empty()) << folder;
    EXPECT_EQ(installed, sources) << folder;
  }
}

TEST_F(Install, TheManualNamesEveryOptionAndNoOther) {
  const std::regex option("--[a-z][a-z-]*");
  const auto named = [&](const std::string& text) {
    return std::set<std::string>(std::sregex_token_iterator(text.begin(), text.end(), option),
                                 std::sregex_token_iterator());
  };
  for (const char* program : {"kiv-recorder", "kiv-level", "kiv-convert", "kiv-line"}) {
    std::string page = ReadFile(prefix_ + "/share/man/man1/" + program + ".1");
    page = std::regex_replace(page, std::regex(R"(\\-)"), "-");
    EXPECT_EQ(named(page), named(Says(program, "--help"))) << program;
  }
}

TEST_F(Install, TheProgramUsesItsOwnFilesAndNotTheBuildTrees) {
  // Had it looked into the source tree, these prompts would be made, too, and before the last one.
  for (const char* name : {"Start Prompt", "On-Hold 1", "On-Hold 2", "On-Hold 3"}) {
    ASSERT_TRUE(std::filesystem::remove(prefix_ + "/share/kiv-recorder/prompts/" + name + ".mp3")) << name;
  }
  const std::string line = home_.Path() + "/line.wav";
  {
    const auto samples = kiv::test::Sine(500, 100000, 8000, 8000, 1);
    LSoundSink sink = LWaveFile::OpenSinkPCM(line.c_str(), 8000, 1, 16, 0);
    sink->Write(samples.data(), 8000);
  }
  RunningProgram program(prefix_ + "/bin/kiv-recorder", home_, {"--line", line}, kNothing);
  const auto made = [&] {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(home_.DataPath(""))) {
      if (entry.path().extension() == ".wav") names.insert(entry.path().stem().string());
    }
    return names;
  };
  // Its sizes are written when it is whole.
  const auto isLastWhole = [&] {
    const std::string header = ReadFile(home_.DataPath("Record Tone.wav")).substr(0, 46);
    return header.size() == 46 && !header.ends_with("\xff\xff\xff\xff");
  };
  EXPECT_TRUE(WaitFor([&] { return isLastWhole() || !program.IsRunning(); })) << program.Said();
  program.Signal(SIGTERM);
  EXPECT_EQ(program.WaitForEnd(), 0);
  EXPECT_THAT(program.Said(), testing::Not(HasSubstr("missing")));
  EXPECT_EQ(made(), (std::set<std::string>{"End Prompt", "Record Tone"}));
  EXPECT_EQ(home_.Log().back(), "Kiv Recorder Exit");
}

TEST_F(Install, TheDesktopsEntryLeadsToWhatIsInstalled) {
  const std::string entry = ReadFile(prefix_ + "/share/applications/com.oskmera.Kiv.desktop");
  EXPECT_THAT(entry, HasSubstr("\nExec=kiv-recorder\n"));
  EXPECT_THAT(entry, HasSubstr("\nIcon=com.oskmera.Kiv\n"));
}

}  // namespace
