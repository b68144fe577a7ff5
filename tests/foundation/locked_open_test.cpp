#include "foundation/locked_open.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <thread>

#include "foundation/file_descriptor.h"
#include "tests/support/file_locks.h"
#include "tests/support/temporary_folder.h"

namespace {

using kiv::FileLock;
using kiv::OpenLocked;
using kiv::test::ForeignLock;
using kiv::test::ReadFile;
using kiv::test::WriteFile;

class OpenLockedTest : public testing::Test {
 protected:
  OpenLockedTest() { WriteFile(path_, "contents"); }
  kiv::test::TemporaryFolder folder_;
  const std::string path_ = folder_.File("file");
};

TEST_F(OpenLockedTest, RefusedLockIsEagainAndLeavesTheFileWhole) {
  const ForeignLock other(path_, true);
  errno = 0;
  EXPECT_EQ(OpenLocked(path_.c_str(), O_RDONLY | O_NONBLOCK, FileLock::Shared), -1);
  EXPECT_EQ(errno, EAGAIN);
  errno = 0;
  EXPECT_EQ(OpenLocked(path_.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_NONBLOCK, FileLock::Exclusive), -1);
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_EQ(ReadFile(path_), "contents");
}
TEST_F(OpenLockedTest, SharedLocksGoTogetherAndKeepAnExclusiveOneOut) {
  const ForeignLock other(path_, false);
  const LReadFile shared(OpenLocked(path_.c_str(), O_RDONLY | O_NONBLOCK, FileLock::Shared));
  EXPECT_TRUE(shared.IsOpen());
  EXPECT_EQ(OpenLocked(path_.c_str(), O_RDONLY | O_NONBLOCK, FileLock::Exclusive), -1);
  EXPECT_EQ(errno, EAGAIN);
}
TEST_F(OpenLockedTest, AnotherProcessExcludesLikeAnotherDescriptor) {
  const LReadFile held(OpenLocked(path_.c_str(), O_RDONLY, FileLock::Exclusive));
  ASSERT_TRUE(held.IsOpen());
  const pid_t child = fork();
  if (child == 0) {
    const int fd = OpenLocked(path_.c_str(), O_RDONLY | O_NONBLOCK, FileLock::Shared);
    _exit(fd < 0 && errno == EAGAIN ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}
TEST_F(OpenLockedTest, ClosingGivesTheLockBack) {
  LReadFile file(OpenLocked(path_.c_str(), O_RDONLY, FileLock::Exclusive));
  file.Close();
  EXPECT_TRUE(LReadFile(OpenLocked(path_.c_str(), O_RDONLY | O_NONBLOCK, FileLock::Exclusive)).IsOpen());
}
TEST_F(OpenLockedTest, ChildProgramsDoNotInheritTheLock) {
  const LReadFile file(OpenLocked(path_.c_str(), O_RDONLY, FileLock::Exclusive));
  EXPECT_EQ(fcntl(file.Descriptor(), F_GETFD), FD_CLOEXEC);
}
TEST_F(OpenLockedTest, TruncatesOnlyWhenAsked) {
  { const LReadWriteFile file(OpenLocked(path_.c_str(), O_RDWR | O_CREAT, FileLock::Exclusive)); }
  EXPECT_EQ(ReadFile(path_), "contents");
  { const LReadWriteFile file(OpenLocked(path_.c_str(), O_RDWR | O_CREAT | O_TRUNC, FileLock::Exclusive)); }
  EXPECT_EQ(ReadFile(path_), "");
}
TEST_F(OpenLockedTest, MakesAMissingFileWithTheModeLessTheMask) {
  const mode_t mask = umask(027);
  { const LReadWriteFile a(OpenLocked(folder_.File("a").c_str(), O_RDWR | O_CREAT, FileLock::Exclusive)); }
  { const LReadWriteFile b(OpenLocked(folder_.File("b").c_str(), O_RDWR | O_CREAT, FileLock::Exclusive, 0600)); }
  umask(mask);
  struct stat status;
  ASSERT_EQ(stat(folder_.File("a").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0750U);
  ASSERT_EQ(stat(folder_.File("b").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}
TEST_F(OpenLockedTest, FailuresKeepTheirReason) {
  EXPECT_EQ(OpenLocked(folder_.File("missing").c_str(), O_RDONLY, FileLock::Shared), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(OpenLocked(folder_.Path().c_str(), O_RDWR, FileLock::Exclusive), -1);
  EXPECT_EQ(errno, EISDIR);
  EXPECT_EQ(OpenLocked((path_ + "/below").c_str(), O_RDWR | O_CREAT, FileLock::Exclusive), -1);
  EXPECT_EQ(errno, ENOTDIR);
  EXPECT_EQ(OpenLocked("", O_RDONLY, FileLock::Shared), -1);
  EXPECT_EQ(errno, ENOENT);
}
TEST_F(OpenLockedTest, PipesAndDevicesDoNotBlock) {
  const std::string pipe = folder_.File("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_TRUE(LReadFile(OpenLocked(pipe.c_str(), O_RDONLY, FileLock::Shared)).IsOpen());
  EXPECT_EQ(OpenLocked(pipe.c_str(), O_WRONLY, FileLock::Exclusive), -1);
  EXPECT_EQ(errno, ENXIO);
  EXPECT_TRUE(LReadWriteFile(OpenLocked("/dev/null", O_RDWR | O_TRUNC, FileLock::Shared)).IsOpen());
}

// While a second thread waits for the lock of the old file, a new one takes its name.
TEST_F(OpenLockedTest, FileReplacedWhileWaitingIsOpenedAgain) {
  WriteFile(folder_.File("new"), "replacement");
  ASSERT_EQ(link(path_.c_str(), folder_.File("old").c_str()), 0);  // Keeps the old file findable.
  ForeignLock other(path_, true);
  std::string seen;
  std::thread waiting([&] {
    const LReadFile file(OpenLocked(path_.c_str(), O_RDONLY, FileLock::Shared));
    char line[32];
    if (file.Ref().ReadLine(line, sizeof line)) seen = line;
  });
  const bool awaited = kiv::test::WaitUntilLockIsAwaited(folder_.File("old"));
  rename(folder_.File("new").c_str(), path_.c_str());
  other.Release();
  waiting.join();
  EXPECT_TRUE(awaited);
  EXPECT_EQ(seen, "replacement");
}
TEST_F(OpenLockedTest, FileRemovedWhileWaitingIsMissingOrMadeAnew) {
  ASSERT_EQ(link(path_.c_str(), folder_.File("old").c_str()), 0);
  for (const int flags : {O_RDWR, O_RDWR | O_CREAT}) {
    if (access(path_.c_str(), F_OK) != 0) {
      ASSERT_EQ(link(folder_.File("old").c_str(), path_.c_str()), 0);
    }
    ForeignLock other(path_, true);
    int error = 0;
    bool opened = false;
    std::thread waiting([&] {
      const LReadWriteFile file(OpenLocked(path_.c_str(), flags, FileLock::Exclusive));
      error = errno;
      opened = file.IsOpen();
    });
    EXPECT_TRUE(kiv::test::WaitUntilLockIsAwaited(folder_.File("old")));
    unlink(path_.c_str());
    other.Release();
    waiting.join();
    if ((flags & O_CREAT) == 0) {
      EXPECT_FALSE(opened);
      EXPECT_EQ(error, ENOENT);
    } else {
      EXPECT_TRUE(opened);
      EXPECT_EQ(ReadFile(path_), "");
      EXPECT_EQ(ReadFile(folder_.File("old")), "contents");
    }
  }
}

// A signal handler without SA_RESTART interrupts the wait for the lock; the wait goes on.
// Not under the thread sanitizer, which holds a signal back until the next call it knows; waiting for a lock is none.
#ifndef __SANITIZE_THREAD__
std::atomic<int> signalsSeen = 0;

TEST_F(OpenLockedTest, SignalsDoNotEndTheWait) {
  struct sigaction action = {};
  struct sigaction before = {};
  action.sa_handler = [](int) { ++signalsSeen; };
  ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
  ForeignLock other(path_, true);
  bool opened = false;
  std::thread waiting([&] { opened = LReadFile(OpenLocked(path_.c_str(), O_RDONLY, FileLock::Shared)).IsOpen(); });
  for (int i = 1; i <= 3; ++i) {
    EXPECT_TRUE(kiv::test::WaitUntilLockIsAwaited(path_));
    pthread_kill(waiting.native_handle(), SIGUSR1);
    while (signalsSeen < i) std::this_thread::yield();
  }
  other.Release();
  waiting.join();
  sigaction(SIGUSR1, &before, nullptr);
  EXPECT_TRUE(opened);
}
#endif

// Writers replace the contents under the lock; no reader ever sees half of one.
TEST_F(OpenLockedTest, ReadersSeeWholeContents) {
  WriteFile(path_, std::string(5000, '0'));
  std::atomic<bool> stop = false;
  std::thread writer([&] {
    for (char c = '1'; !stop; c = c == '9' ? '1' : static_cast<char>(c + 1)) {
      const LReadWriteFile file(OpenLocked(path_.c_str(), O_RDWR | O_TRUNC, FileLock::Exclusive));
      for (int i = 0; i < 50; ++i) {
        const std::string piece(100, c);
        if (write(file.Descriptor(), piece.data(), piece.size()) != 100) std::abort();
      }
    }
  });
  for (int i = 0; i < 200; ++i) {
    const LReadFile file(OpenLocked(path_.c_str(), O_RDONLY, FileLock::Shared));
    std::string bytes(6000, ' ');
    const ssize_t got = read(file.Descriptor(), bytes.data(), bytes.size());
    ASSERT_EQ(got, 5000);
    ASSERT_EQ(bytes.find_first_not_of(bytes[0]), 5000U);
  }
  stop = true;
  writer.join();
}

}  // namespace
