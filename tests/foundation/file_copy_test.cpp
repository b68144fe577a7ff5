#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "foundation/file.h"
#include "foundation/locked_open.h"
#include "tests/support/file_locks.h"
#include "tests/support/locks_of_the_process.h"
#include "tests/support/temporary_folder.h"

namespace {

using kiv::test::ForeignLock;
using kiv::test::locksAreTheProcesss;
using kiv::test::ReadFile;
using kiv::test::WriteFile;

class CopyFileTest : public testing::Test {
 protected:
  bool Copy(const std::string& from, const std::string& to) {
    return LFile::CopyFile(folder_.File(from).c_str(), folder_.File(to).c_str());
  }
  kiv::test::TemporaryFolder folder_;
};

TEST_F(CopyFileTest, CopiesEveryByteAroundTheBlockSize) {
  for (const std::size_t size : {0U, 1U, 8191U, 8192U, 8193U, 100000U}) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7 + i / 256);
    WriteFile(folder_.File("from"), bytes);
    EXPECT_TRUE(Copy("from", "to"));
    EXPECT_EQ(ReadFile(folder_.File("to")), bytes) << size;
  }
}
TEST_F(CopyFileTest, ReplacesALongerFile) {
  WriteFile(folder_.File("from"), "new");
  WriteFile(folder_.File("to"), "old and longer");
  EXPECT_TRUE(Copy("from", "to"));
  EXPECT_EQ(ReadFile(folder_.File("to")), "new");
}
TEST_F(CopyFileTest, MissingSourceMakesNoTarget) {
  EXPECT_FALSE(Copy("from", "to"));
  EXPECT_NE(access(folder_.File("to").c_str(), F_OK), 0);
}
TEST_F(CopyFileTest, SourceBeingWrittenIsRefused) {
  WriteFile(folder_.File("from"), "new");
  const ForeignLock writer(folder_.File("from"), true);
  EXPECT_FALSE(Copy("from", "to"));
  EXPECT_NE(access(folder_.File("to").c_str(), F_OK), 0);
}
TEST_F(CopyFileTest, SourceBeingReadIsCopied) {
  WriteFile(folder_.File("from"), "new");
  const ForeignLock reader(folder_.File("from"), false);
  EXPECT_TRUE(Copy("from", "to"));
}
TEST_F(CopyFileTest, TargetInUseIsLeftWhole) {
  WriteFile(folder_.File("from"), "new");
  WriteFile(folder_.File("to"), "old");
  const ForeignLock reader(folder_.File("to"), false);
  EXPECT_FALSE(Copy("from", "to"));
  EXPECT_EQ(ReadFile(folder_.File("to")), "old");
}
TEST_F(CopyFileTest, FileOntoItselfIsRefusedAndKept) {
  WriteFile(folder_.File("from"), "precious");
  EXPECT_FALSE(Copy("from", "from"));
  ASSERT_EQ(symlink(folder_.File("from").c_str(), folder_.File("alias").c_str()), 0);
  EXPECT_FALSE(Copy("from", "alias"));
  EXPECT_EQ(ReadFile(folder_.File("from")), "precious");
}
// As on a network file system.
TEST_F(CopyFileTest, FileOntoItselfIsKeptWithoutLocksToo) {
  WriteFile(folder_.File("from"), "precious");
  ASSERT_EQ(link(folder_.File("from").c_str(), folder_.File("alias").c_str()), 0);
  locksAreTheProcesss = true;
  EXPECT_FALSE(Copy("from", "from"));
  EXPECT_FALSE(Copy("from", "alias"));
  locksAreTheProcesss = false;
  EXPECT_EQ(ReadFile(folder_.File("from")), "precious");
}
TEST_F(CopyFileTest, TargetThatCannotBeMadeIsRefused) {
  WriteFile(folder_.File("from"), "new");
  EXPECT_FALSE(Copy("from", "missing/to"));
  EXPECT_FALSE(LFile::CopyFile(folder_.File("from").c_str(), folder_.Path().c_str()));
}
// A folder opens for reading, and its failing reads count as the end of the file.
TEST_F(CopyFileTest, SourceThatFailsToReadGivesAnEmptyCopyAndSuccess) {
  WriteFile(folder_.File("to"), "old");
  EXPECT_TRUE(LFile::CopyFile(folder_.Path().c_str(), folder_.File("to").c_str()));
  EXPECT_EQ(ReadFile(folder_.File("to")), "");
}
TEST_F(CopyFileTest, FullDiskGivesAShortCopyAndSuccess) {
  WriteFile(folder_.File("from"), std::string(30000, 'x'));
  EXPECT_TRUE(LFile::CopyFile(folder_.File("from").c_str(), "/dev/full"));
  rlimit before;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit small = {10000, before.rlim_max};
  auto* const handler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const bool copied = Copy("from", "to");
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_TRUE(copied);
  EXPECT_EQ(ReadFile(folder_.File("to")), std::string(10000, 'x'));
}
TEST_F(CopyFileTest, LocksAreGoneAfterwards) {
  WriteFile(folder_.File("from"), "new");
  EXPECT_TRUE(Copy("from", "to"));
  EXPECT_FALSE(LFile::TestFileOpen(folder_.File("from").c_str()));
  EXPECT_FALSE(LFile::TestFileOpen(folder_.File("to").c_str()));
}

TEST_F(CopyFileTest, FileInUseIsOneThatSomebodyHasLocked) {
  const std::string path = folder_.File("file");
  WriteFile(path, "x");
  EXPECT_FALSE(LFile::TestFileOpen(path.c_str()));
  {
    const ForeignLock reader(path, false);
    EXPECT_TRUE(LFile::TestFileOpen(path.c_str()));
  }
  {
    const ForeignLock writer(path, true);
    EXPECT_TRUE(LFile::TestFileOpen(path.c_str()));
  }
  EXPECT_FALSE(LFile::TestFileOpen(path.c_str()));
}
TEST_F(CopyFileTest, FileThatCannotBeOpenedIsNotInUse) {
  errno = EAGAIN;  // A stale value must not count.
  EXPECT_FALSE(LFile::TestFileOpen(folder_.File("missing").c_str()));
  EXPECT_FALSE(LFile::TestFileOpen(folder_.Path().c_str()));
  EXPECT_FALSE(LFile::TestFileOpen(""));
}

}  // namespace
