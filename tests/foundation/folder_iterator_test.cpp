#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <algorithm>

#include "foundation/file.h"
#include "tests/support/temporary_folder.h"

namespace {

class FolderTest : public testing::Test {
 protected:
  void Make(const std::vector<std::string>& names) {
    for (const std::string& name : names) kiv::test::WriteFile(folder_.File(name), "");
  }
  std::vector<std::string> Matches(const std::string& pattern) {
    std::vector<std::string> names;
    LFile::FolderIterator it;
    for (bool more = it.Open(folder_.Path().c_str(), pattern.c_str()); more; more = it.Next() && it.SkipToMatch()) {
      names.emplace_back(it.Name());
    }
    EXPECT_STREQ(it.Name(), "");
    std::sort(names.begin(), names.end());
    return names;
  }
  kiv::test::TemporaryFolder folder_;
};

using Names = std::vector<std::string>;

TEST_F(FolderTest, MatchesIgnoreLetterCase) {
  Make({"a.wav", "B.WAV", "c.Wav", "d.mp3", "wav", "e.wav.bak"});
  EXPECT_EQ(Matches("*.wav"), (Names{"B.WAV", "a.wav", "c.Wav"}));
  EXPECT_EQ(Matches("A.W?V"), Names{"a.wav"});
  EXPECT_EQ(Matches("[b-c].wav"), (Names{"B.WAV", "c.Wav"}));
}
TEST_F(FolderTest, LeadingDotIsAnOrdinaryCharacterAndNothingIsFilteredOut) {
  Make({".hidden.wav", "x"});
  EXPECT_EQ(Matches("*.wav"), Names{".hidden.wav"});
  EXPECT_EQ(Matches("*"), (Names{".", "..", ".hidden.wav", "x"}));
}
TEST_F(FolderTest, NoMatchLeavesTheIteratorClosed) {
  Make({"x"});
  LFile::FolderIterator it;
  EXPECT_FALSE(it.Open(folder_.Path().c_str(), "*.wav"));
  EXPECT_FALSE(it.Next());
  EXPECT_FALSE(it.SkipToMatch());
  EXPECT_STREQ(it.Name(), "");
}
TEST_F(FolderTest, MissingFolderOrFileLeavesTheIteratorClosed) {
  Make({"x"});
  LFile::FolderIterator it;
  EXPECT_TRUE(it.Open(folder_.Path().c_str(), "x"));
  EXPECT_FALSE(it.Open(folder_.File("missing").c_str(), "*"));
  EXPECT_FALSE(it.Next());
  EXPECT_STREQ(it.Name(), "");
  EXPECT_FALSE(it.Open(folder_.File("x").c_str(), "*"));
  EXPECT_FALSE(it.Open("", "*"));
}
TEST_F(FolderTest, SkipToMatchStaysOnAMatch) {
  Make({"x.wav"});
  LFile::FolderIterator it;
  ASSERT_TRUE(it.Open(folder_.Path().c_str(), "*.wav"));
  EXPECT_TRUE(it.SkipToMatch());
  EXPECT_STREQ(it.Name(), "x.wav");
}
TEST_F(FolderTest, OpenAgainStartsAnew) {
  Make({"x.wav", "y.mp3"});
  LFile::FolderIterator it;
  ASSERT_TRUE(it.Open(folder_.Path().c_str(), "*.wav"));
  ASSERT_TRUE(it.Open(folder_.Path().c_str(), "*.mp3"));
  EXPECT_STREQ(it.Name(), "y.mp3");
}
TEST_F(FolderTest, LongNamesAndAnyBytes) {
  const std::string longest(251, 'n');
  Make({longest + ".wav", "\xFF\xFE.wav", "caf\xC3\xA9.wav"});
  EXPECT_EQ(Matches("*.wav").size(), 3U);
  EXPECT_EQ(Matches(std::string(1000, '*').append(".wav")).size(), 3U);
}
TEST_F(FolderTest, AllFilesGivesEveryEntryOnce) {
  Names made;
  for (int i = 0; i < 300; ++i) made.push_back("file " + std::to_string(i));
  Make(made);
  made.insert(made.end(), {".", ".."});
  std::sort(made.begin(), made.end());
  LFile::FolderIteratorAllFiles it;
  EXPECT_FALSE(it.Next());
  Names seen;
  for (bool more = it.Open(folder_.Path().c_str()); more; more = it.Next()) seen.emplace_back(it.Name());
  std::sort(seen.begin(), seen.end());
  EXPECT_EQ(seen, made);
  EXPECT_FALSE(it.Next());
}

}  // namespace
