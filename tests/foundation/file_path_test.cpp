#include <sys/stat.h>

#include <cstring>
#include <optional>

#include "foundation/file.h"
#include "foundation/text.h"
#include "platform/folders.h"
#include "tests/support/services_override.h"
#include "tests/support/temporary_folder.h"

namespace {

std::string Cat(const std::string& path, const std::string& name) {
  char buffer[300] = {};
  std::memcpy(buffer, path.c_str(), path.size() + 1);
  LFile::_FilePathCat(buffer, name.c_str());
  return buffer;
}

std::string File(const std::string& path) {
  char out[kiv::kTextSize];
  LFile::_GetFileFromPath(out, path.c_str());
  return out;
}

std::string FileName(const std::string& path) {
  char out[kiv::kTextSize];
  LFile::_GetFileNameFromPath(out, path.c_str());
  return out;
}

std::optional<std::string> Preprocessed(const std::string& in) {
  char out[kiv::kTextSize];
  std::memset(out, 'x', sizeof out);
  if (LFile::PreprocessName(in.c_str(), out)) return out;
  EXPECT_STREQ(out, "");
  return std::nullopt;
}

TEST(FilePathCat, PutsOneSeparatorBetween) {
  EXPECT_EQ(Cat("/a/", "b"), "/a/b");
  EXPECT_EQ(Cat("/a", "b"), "/a/b");
  EXPECT_EQ(Cat("dir\\", "b"), "dir\\b");
  EXPECT_EQ(Cat("/", "b"), "/b");
  EXPECT_EQ(Cat("/a", ""), "/a/");
  EXPECT_EQ(Cat("/a/", ""), "/a/");
  EXPECT_EQ(Cat("/a", "/b"), "/a//b");
}
TEST(FilePathCat, EmptyPathGetsNoSeparator) {
  EXPECT_EQ(Cat("", "b"), "b");
  EXPECT_EQ(Cat("", ""), "");
}
TEST(FilePathCat, CutsAt259Characters) {
  EXPECT_EQ(Cat(std::string(250, 'p'), "0123456789"), std::string(250, 'p') + "/01234567");
  EXPECT_EQ(Cat(std::string(257, 'p'), "xyz"), std::string(257, 'p') + "/x");
  EXPECT_EQ(Cat(std::string(258, 'p'), "xyz"), std::string(258, 'p') + "/");
  EXPECT_EQ(Cat(std::string(257, 'p') + "/", "xyz"), std::string(257, 'p') + "/x");
  EXPECT_EQ(Cat("", std::string(400, 'n')), std::string(259, 'n'));
}
TEST(FilePathCat, PathOf259OrMoreIsLeftExactlyAsItWas) {
  char buffer[300];
  std::memset(buffer, 'p', sizeof buffer);
  buffer[259] = '\0';
  buffer[260] = '!';
  LFile::_FilePathCat(buffer, "b");
  EXPECT_EQ(std::string(buffer), std::string(259, 'p'));
  EXPECT_EQ(buffer[260], '!');
  EXPECT_EQ(LFile::_FilePathCat(buffer, "b", ".wav"), 259U);
  buffer[259] = 'p';
  buffer[260] = 'p';
  buffer[280] = '\0';
  EXPECT_EQ(LFile::FilePathCat(buffer, "b", ".wav"), 280U);
  EXPECT_EQ(std::string(buffer), std::string(280, 'p'));
}
TEST(FilePathCat, TwoPiecesHaveNothingBetweenThem) {
  char buffer[kiv::kTextSize] = "/a";
  EXPECT_EQ(LFile::_FilePathCat(buffer, "rec", ".wav"), 10U);
  EXPECT_STREQ(buffer, "/a/rec.wav");
  char full[kiv::kTextSize] = "";
  EXPECT_EQ(LFile::_FilePathCat(full, std::string(257, 'n').c_str(), ".wav"), 259U);
  EXPECT_EQ(std::string(full), std::string(257, 'n') + ".w");
}

TEST(GetFileFromPath, GivesThePartBehindTheLastSeparator) {
  EXPECT_EQ(File("/x/y.z/rec.wav"), "rec.wav");
  EXPECT_EQ(File("C:\\music\\rec.wav"), "rec.wav");
  EXPECT_EQ(File("a/b\\c"), "c");
  EXPECT_EQ(File("rec"), "rec");
  EXPECT_EQ(File("/x/"), "");
  EXPECT_EQ(File(""), "");
}
TEST(GetFileFromPath, StopsAfter259CharactersOfOneComponent) {
  EXPECT_EQ(File(std::string("/x/").append(300, 'n')), std::string(259, 'n'));
  EXPECT_EQ(File(std::string("/").append(258, 'n').append("/rest")), "rest");
  EXPECT_EQ(File(std::string("/").append(259, 'n').append("/rest")), std::string(259, 'n'));
}
TEST(GetFileFromPath, LongPathOfShortComponentsIsNoTrouble) {
  std::string path;
  for (int i = 0; i < 1000; ++i) path += "/component";
  EXPECT_EQ(File(path + "/last"), "last");
}

TEST(GetFileNameFromPath, CutsAtTheLastDotUnlessItIsTheFirstCharacter) {
  EXPECT_EQ(FileName("/x/y.z/rec.wav"), "rec");
  EXPECT_EQ(FileName("/x/.wav"), ".wav");
  EXPECT_EQ(FileName("a.b.c"), "a.b");
  EXPECT_EQ(FileName("/x.y/rec"), "rec");
  EXPECT_EQ(FileName("rec."), "rec");
  EXPECT_EQ(FileName(".a.b"), ".a");
  EXPECT_EQ(FileName("/x/"), "");
  EXPECT_EQ(FileName(std::string(300, 'n') + ".wav"), std::string(259, 'n'));
}

TEST(PreprocessName, WorkedExample) {
  EXPECT_EQ(Preprocessed("Call: 12/03 (Bob)?"), "Call 1203 (Bob)");
}
TEST(PreprocessName, DropsEachForbiddenCharacter) {
  EXPECT_EQ(Preprocessed("\"*./:<>?\\|"), std::nullopt);
  EXPECT_EQ(Preprocessed(""), std::nullopt);
  EXPECT_EQ(Preprocessed("a\"b*c.d/e:f<g>h?i\\j|k"), "abcdefghijk");
}
TEST(PreprocessName, DropsControlCharactersAndEveryByteFrom0x80On) {
  EXPECT_EQ(Preprocessed("a\x01\x1F\tb\r\n"), "ab");
  EXPECT_EQ(Preprocessed("caf\xC3\xA9"), "caf");
  EXPECT_EQ(Preprocessed("\x80\xFF"), std::nullopt);
}
TEST(PreprocessName, KeepsEverythingElse) {
  std::string kept;
  for (int c = 32; c < 128; ++c) {
    if (std::strchr("\"*./:<>?\\|", c) == nullptr) kept += static_cast<char>(c);
  }
  EXPECT_EQ(Preprocessed(kept), kept);
  EXPECT_EQ(Preprocessed(" "), " ");
}
TEST(PreprocessName, StoresAtMost259Characters) {
  EXPECT_EQ(Preprocessed(std::string(600, 'n')), std::string(259, 'n'));
  EXPECT_EQ(Preprocessed(std::string(600, '?') + std::string(259, 'n') + "z"), std::string(259, 'n'));
}

class FixedFolders : public kiv::Folders {
 public:
  explicit FixedFolders(std::optional<std::string> home) : home_(std::move(home)) {}
  std::optional<std::string> Home() override { return home_; }
  std::optional<std::string> Resources() override { return std::nullopt; }

 private:
  std::optional<std::string> home_;
};

class UserFolders : public testing::Test {
 protected:
  std::string UserFolder(std::optional<std::string> home) {
    FixedFolders folders(std::move(home));
    kiv::services.folders = &folders;
    char out[kiv::kTextSize];
    LFile::GetUserDataFolder(out);
    kiv::services.folders = nullptr;
    return out;
  }

  kiv::test::ServicesOverride services_;
  kiv::test::TemporaryFolder home_;
};

TEST_F(UserFolders, HomeComesFromThePort) {
  EXPECT_EQ(UserFolder("/home/anna"), "/home/anna");
  const std::string longestHome(259, '/');
  EXPECT_EQ(UserFolder(longestHome), longestHome);
}
TEST_F(UserFolders, FallBackWithoutAHome) {
  EXPECT_EQ(UserFolder(std::nullopt), "/Users/Shared");
  EXPECT_EQ(UserFolder(""), "/Users/Shared");
  EXPECT_EQ(UserFolder(std::string(260, '/')), "/Users/Shared");
  kiv::services.folders = nullptr;
  char out[kiv::kTextSize] = "before";
  LFile::GetUserDataFolder(out);
  EXPECT_STREQ(out, "/Users/Shared");
}
TEST_F(UserFolders, ApplicationFolderAndSubFolderAreMade) {
  FixedFolders folders(home_.Path());
  kiv::services.folders = &folders;
  char out[kiv::kTextSize];
  LFile::GetUserDataFolderAppSubFolder("Recordings", out);
  EXPECT_EQ(out, home_.File("Kiv/Recordings"));
  struct stat status;
  ASSERT_EQ(stat(out, &status), 0);
  EXPECT_TRUE(S_ISDIR(status.st_mode));
  const mode_t mask = umask(0);
  umask(mask);
  EXPECT_EQ(status.st_mode & 0777, 0777 & ~mask);

  EXPECT_EQ(LFile::GetUserDataFolderApp(out), -1);  // It exists, which is fine.
  EXPECT_EQ(out, home_.File("Kiv"));
}
TEST_F(UserFolders, FolderThatCannotBeMadeIsStillNamed) {
  kiv::test::WriteFile(home_.File("Kiv"), "a file in the way");
  FixedFolders folders(home_.Path());
  kiv::services.folders = &folders;
  char out[kiv::kTextSize];
  EXPECT_EQ(LFile::GetUserDataFolderAppSubFolder("Logs", out), -1);
  EXPECT_EQ(out, home_.File("Kiv/Logs"));
}

}  // namespace
