#include "foundation/file_descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "tests/support/temporary_folder.h"

namespace {

// Lines of a file of these bytes, at most limit of them.
std::vector<std::string> Lines(const std::string& bytes, std::size_t size = 552, std::size_t limit = 100) {
  const kiv::test::TemporaryFolder folder;
  kiv::test::WriteFile(folder.File("text"), bytes);
  const LReadFile file = LReadFile::Open(folder.File("text").c_str());
  EXPECT_TRUE(file.IsOpen());
  std::vector<std::string> lines;
  std::vector<char> line(size);
  while (lines.size() < limit && file.Ref().ReadLine(line.data(), size)) lines.emplace_back(line.data());
  return lines;
}

using Text = std::vector<std::string>;

TEST(ReadLine, WorkedExample) {
  EXPECT_EQ(Lines("a\r\nb\n\nc"), (Text{"a", "b", "", "c"}));
}
TEST(ReadLine, EveryLineEndAndPairsOfTheSameCharacter) {
  EXPECT_EQ(Lines("a\rb\nc\r\nd\n\re"), (Text{"a", "b", "c", "d", "e"}));
  EXPECT_EQ(Lines("a\r\rb"), (Text{"a", "", "b"}));
  EXPECT_EQ(Lines("a\r\n\r\nb"), (Text{"a", "", "b"}));
  EXPECT_EQ(Lines("\r\n\n\rx"), (Text{"", "", "x"}));
  EXPECT_EQ(Lines("a\n\r\nb"), (Text{"a", "", "b"}));
}
TEST(ReadLine, NothingAndAFinalPair) {
  EXPECT_EQ(Lines(""), Text{});
  EXPECT_EQ(Lines("a\r\n"), Text{"a"});
  EXPECT_EQ(Lines("a\n\r"), Text{"a"});
}
// The look-ahead finds nothing and steps back onto the line end.
TEST(ReadLine, FinalSingleTerminatorIsReadAgainForEver) {
  EXPECT_EQ(Lines("a\n", 552, 4), (Text{"a", "", "", ""}));
  EXPECT_EQ(Lines("a\r", 552, 4), (Text{"a", "", "", ""}));
  EXPECT_EQ(Lines("\n", 552, 3), (Text{"", "", ""}));
  EXPECT_EQ(Lines("a\n\n", 552, 4), (Text{"a", "", "", ""}));
}
TEST(ReadLine, LongLineIsCutAndItsRestSkipped) {
  EXPECT_EQ(Lines("abcdefgh\r\nij", 4), (Text{"abc", "ij"}));
  EXPECT_EQ(Lines("abc\r\nij", 4), (Text{"abc", "ij"}));
  EXPECT_EQ(Lines("abcdefgh", 4), Text{"abc"});
}
TEST(ReadLine, BufferOfOneTakesNoCharacters) {
  EXPECT_EQ(Lines("ab\r\ncd\r\n", 1), (Text{"", ""}));
  EXPECT_EQ(Lines("ab", 1), Text{});  // Nothing was stored, so the last line counts as nothing.
}
TEST(ReadLine, NulBytesAreStored) {
  const kiv::test::TemporaryFolder folder;
  kiv::test::WriteFile(folder.File("text"), std::string("a\0b\r\n\0", 6));
  const LReadFile file = LReadFile::Open(folder.File("text").c_str());
  char line[16];
  ASSERT_TRUE(file.Ref().ReadLine(line, sizeof line));
  EXPECT_EQ(std::string(line, 4), std::string("a\0b\0", 4));
  EXPECT_TRUE(file.Ref().ReadLine(line, sizeof line));
  EXPECT_STREQ(line, "");
  EXPECT_FALSE(file.Ref().ReadLine(line, sizeof line));
}
TEST(ReadLine, LeavesTheFilePositionBehindTheLine) {
  const kiv::test::TemporaryFolder folder;
  kiv::test::WriteFile(folder.File("text"), "ab\r\ncd\nef");
  const LReadFile file = LReadFile::Open(folder.File("text").c_str());
  char line[16];
  std::vector<off_t> positions;
  while (file.Ref().ReadLine(line, sizeof line)) {
    positions.push_back(lseek(file.Descriptor(), 0, SEEK_CUR));
  }
  EXPECT_EQ(positions, (std::vector<off_t>{4, 7, 9}));
}
TEST(ReadLine, UnreadableDescriptorsAreAtTheirEnd) {
  char line[16] = "before";
  EXPECT_FALSE(LReadFileRef(-1).ReadLine(line, sizeof line));
  EXPECT_STREQ(line, "");
  const kiv::test::TemporaryFolder folder;
  const LReadFile directory = LReadFile::Open(folder.Path().c_str());
  ASSERT_TRUE(directory.IsOpen());
  EXPECT_FALSE(directory.Ref().ReadLine(line, sizeof line));
}

bool IsOpen(int fd) {
  return fcntl(fd, F_GETFD) != -1;
}

TEST(LReadFile, ClosesItsDescriptorWhenItGoes) {
  int fd;
  {
    const LReadFile file = LReadFile::Open("/dev/null");
    fd = file.Descriptor();
    ASSERT_TRUE(IsOpen(fd));
    EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
  }
  EXPECT_FALSE(IsOpen(fd));
}
TEST(LReadFile, GivesItsDescriptorAway) {
  LReadFile file = LReadFile::Open("/dev/null");
  const int fd = file.Release();
  EXPECT_EQ(file.Descriptor(), -1);
  EXPECT_FALSE(file.IsOpen());
  file.Close();
  EXPECT_TRUE(IsOpen(fd));
  close(fd);
}
TEST(LReadFile, MovesKeepOneOwner) {
  LReadWriteFile a(open("/dev/null", O_RDWR | O_CLOEXEC));
  LReadWriteFile b(open("/dev/zero", O_RDWR | O_CLOEXEC));
  const int first = a.Descriptor();
  const int second = b.Descriptor();
  b = std::move(a);
  EXPECT_EQ(b.Descriptor(), first);
  EXPECT_FALSE(IsOpen(second));
  LReadWriteFile& same = b;
  b = std::move(same);
  EXPECT_EQ(b.Descriptor(), first);
  EXPECT_TRUE(IsOpen(first));
}
TEST(LReadFile, MissingFileIsNotOpen) {
  EXPECT_FALSE(LReadFile::Open("/nowhere/at/all").IsOpen());
  EXPECT_FALSE(LReadFile().IsOpen());
}
TEST(LReadFile, PipeWithoutAWriterIsEmptyAndDoesNotWait) {
  const kiv::test::TemporaryFolder folder;
  ASSERT_EQ(mkfifo(folder.File("pipe").c_str(), 0600), 0);
  const LReadFile file = LReadFile::Open(folder.File("pipe").c_str());
  char line[16];
  EXPECT_FALSE(file.Ref().ReadLine(line, sizeof line));
}

}  // namespace
