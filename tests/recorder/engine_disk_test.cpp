// What the engine says about a disk that is almost full. The answer of the file system is the test's.

#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

#include "tests/recorder/engine_fixture.h"

namespace {

// Bytes; below zero for those that there are.
std::atomic<std::int64_t> freeBytes{-1};

}  // namespace

// In place of the C library's, for this whole program.
extern "C" int statvfs(const char* path, struct statvfs* result) {
  struct statfs status {};
  if (syscall(SYS_statfs, path, &status) != 0) return -1;
  *result = {};
  result->f_bsize = static_cast<unsigned long>(status.f_bsize);
  result->f_frsize = static_cast<unsigned long>(status.f_frsize != 0 ? status.f_frsize : status.f_bsize);
  result->f_blocks = status.f_blocks;
  result->f_bfree = status.f_bfree;
  result->f_bavail = status.f_bavail;
  if (freeBytes >= 0) {
    result->f_frsize = 1000;
    result->f_bavail = static_cast<unsigned long>(freeBytes / 1000);
  }
  return 0;
}

namespace {

using testing::ElementsAre;
using EngineDisk = kiv::test::EngineFixture;

TEST_F(EngineDisk, BelowTwoHundredMegabytesIsSaidAndTheRecordingMade) {
  SetPrompts(false, false);
  freeBytes = 199'999'000;
  Start(RequestedMode::Record);
  RunTo(1000);
  engine->SndStop();
  freeBytes = 200'000'000;
  Start(RequestedMode::Record);
  engine->SndStop();
  freeBytes = -1;
  EXPECT_THAT(LogLines(),
              ElementsAre("Recording 2024-01-01 12-00-00", "Warning: Low disk space", "Recording 2024-01-01 12-00-01"));
  ASSERT_EQ(Queued().size(), 2U);
  EXPECT_EQ(FramesOf(Queued()[0]), kiv::test::kRate);
}

}  // namespace
