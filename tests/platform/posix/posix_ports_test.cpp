#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "platform/posix/posix_clock.h"
#include "platform/posix/posix_folders.h"
#include "tests/support/temporary_folder.h"

namespace {

// An environment variable for the length of one test.
class Environment {
 public:
  explicit Environment(const char* name) : name_(name) {
    if (const char* const value = std::getenv(name)) saved_ = value;
    unsetenv(name);
  }
  ~Environment() {
    if (saved_) {
      setenv(name_, saved_->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }
  void Set(const std::string& value) const { setenv(name_, value.c_str(), 1); }

 private:
  const char* name_;
  std::optional<std::string> saved_;
};

class PosixFoldersTest : public testing::Test {
 protected:
  std::string MakeFolder(const std::string& name) {
    std::filesystem::create_directories(root_.File(name));
    return std::filesystem::canonical(root_.File(name)).string();
  }

  const Environment home_{"HOME"};
  const Environment resources_{"KIV_RESOURCES"};
  const kiv::test::TemporaryFolder root_;
};

TEST_F(PosixFoldersTest, HomeIsThatOfTheEnvironmentWithoutATrailingSeparator) {
  home_.Set("/some/where");
  EXPECT_EQ(kiv::PosixFolders().Home(), "/some/where");
  home_.Set("/some/where//");
  EXPECT_EQ(kiv::PosixFolders().Home(), "/some/where");
  home_.Set("/");
  EXPECT_EQ(kiv::PosixFolders().Home(), "/");
}
TEST_F(PosixFoldersTest, WithoutItThePasswordDatabaseAnswers) {
  const passwd* const entry = getpwuid(getuid());
  const std::optional<std::string> expected =
      entry != nullptr ? std::optional<std::string>(entry->pw_dir) : std::nullopt;
  EXPECT_EQ(kiv::PosixFolders().Home(), expected);
  home_.Set("");
  EXPECT_EQ(kiv::PosixFolders().Home(), expected);
  home_.Set("not/absolute");
  EXPECT_EQ(kiv::PosixFolders().Home(), expected);
}
TEST_F(PosixFoldersTest, ResourcesAreTheFirstPlaceThatExists) {
  const std::string named = MakeFolder("named");
  MakeFolder("usr/bin");
  const std::string executable = root_.File("usr/bin/kiv-recorder");
  kiv::PosixFolders folders(executable, root_.File("tree/resources"));
  EXPECT_EQ(folders.Resources(), std::nullopt);

  const std::string tree = MakeFolder("tree/resources");
  EXPECT_EQ(folders.Resources(), tree);
  const std::string share = MakeFolder("usr/share/kiv-recorder");
  EXPECT_EQ(folders.Resources(), share);
  resources_.Set(named + "/");
  EXPECT_EQ(folders.Resources(), named);
  resources_.Set(root_.File("missing"));
  EXPECT_EQ(folders.Resources(), share);
  kiv::test::WriteFile(root_.File("file"), "");
  resources_.Set(root_.File("file"));
  EXPECT_EQ(folders.Resources(), share);
  resources_.Set("");
  EXPECT_EQ(folders.Resources(), share);
}

// The program goes to its data folder before it looks for its resources.
TEST_F(PosixFoldersTest, NamedResourcesAreSeenFromWhereTheProgramWasStarted) {
  const std::string named = MakeFolder("named");
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(root_.Path());
  kiv::PosixFolders folders("", "");
  resources_.Set("named");
  std::filesystem::current_path(before);
  EXPECT_EQ(folders.Resources(), named);
}

TEST(PosixClock, IsTheSystemsTime) {
  kiv::PosixClock clock;
  const std::int64_t before = std::int64_t{std::time(nullptr)} * 1000;
  const std::int64_t now = clock.UnixMilliseconds();
  EXPECT_GE(now, before);
  EXPECT_LT(now, before + 60000);
}

}  // namespace
