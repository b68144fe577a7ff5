#include "recorder/activity_log.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "recorder/settings.h"
#include "recorder/status_window.h"
#include "tests/support/recorder_fixture.h"

namespace {

using kiv::test::ReadFile;

class ActivityLog : public kiv::test::RecorderFixture {
 protected:
  std::string LogsPath(const std::string& name) const { return std::string(gSettings.logsFolder) + "/" + name; }
};

TEST_F(ActivityLog, LineIsStampedWithLocalTimeAndEndsInASingleCarriageReturn) {
  SetLocalTime(2008, 3, 7, 9, 5, 3);
  LogFile("Recording started");
  EXPECT_EQ(ReadFile(LogsPath("2008-03-07 Kiv Recorder Log.txt")), "09:05:03 Recording started\r");
  EXPECT_THAT(gStatusWindow.Text(), testing::EndsWith("09:05:03 Recording started\r"));
}

TEST_F(ActivityLog, LinesAreAppended) {
  SetLocalTime(2008, 3, 7, 9, 5, 3);
  LogFile("one");
  LogFile("two: ", "three");
  EXPECT_EQ(ReadFile(LogsPath("2008-03-07 Kiv Recorder Log.txt")), "09:05:03 one\r09:05:03 two: three\r");
}

TEST_F(ActivityLog, FirstLineAfterMidnightGoesToTheNewDaysFile) {
  SetLocalTime(2026, 12, 31, 23, 59, 59);
  LogFile("old");
  SetLocalTime(2027, 1, 1, 0, 0, 0);
  LogFile("new");
  EXPECT_EQ(ReadFile(LogsPath("2026-12-31 Kiv Recorder Log.txt")), "23:59:59 old\r");
  EXPECT_EQ(ReadFile(LogsPath("2027-01-01 Kiv Recorder Log.txt")), "00:00:00 new\r");
}

TEST_F(ActivityLog, LongMessageIsCutSoThatItsEndStays) {
  SetLocalTime(2008, 3, 7, 9, 5, 3);
  LogFile(std::string(5000, 'x').c_str());
  const std::string line = ReadFile(LogsPath("2008-03-07 Kiv Recorder Log.txt"));
  EXPECT_EQ(line, "09:05:03 " + std::string(2047 - 9 - 1, 'x') + "\r");
  EXPECT_EQ(line.size(), kiv::kLogLineSize - 1);
}

TEST_F(ActivityLog, LongestMessageThatFitsIsWhole) {
  SetLocalTime(2008, 3, 7, 9, 5, 3);
  LogFile(std::string(2047 - 9 - 1, 'y').c_str());
  EXPECT_EQ(ReadFile(LogsPath("2008-03-07 Kiv Recorder Log.txt")), "09:05:03 " + std::string(2037, 'y') + "\r");
}

TEST_F(ActivityLog, MissingLogsFolderStillShowsTheLine) {
  SetLocalTime(2008, 3, 7, 9, 5, 4);
  std::filesystem::remove_all(gSettings.logsFolder);
  LogFile("seen");
  EXPECT_FALSE(std::filesystem::exists(gSettings.logsFolder));
  EXPECT_THAT(gStatusWindow.Text(), testing::EndsWith("09:05:04 seen\r"));
}

TEST_F(ActivityLog, ForeignLockLosesTheLineFromTheFileOnly) {
  SetLocalTime(2008, 3, 7, 9, 5, 3);
  LogFile("before");
  const std::string path = LogsPath("2008-03-07 Kiv Recorder Log.txt");
  const int holder = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(holder, LOCK_EX), 0);
  LogFile("lost");
  close(holder);
  LogFile("after");
  EXPECT_EQ(ReadFile(path), "09:05:03 before\r09:05:03 after\r");
  EXPECT_THAT(gStatusWindow.Text(), testing::HasSubstr("09:05:03 lost\r"));
}

TEST_F(ActivityLog, OwnThreadsNeverLoseEachOthersLines) {
  SetLocalTime(2008, 3, 7, 9, 5, 3);
  constexpr int kThreads = 4;
  constexpr int kLines = 100;
  {
    std::vector<std::jthread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([t] {
        for (int i = 0; i < kLines; ++i) LogFile("thread ", std::to_string(t * 1000 + i).c_str());
      });
    }
  }
  const std::string log = ReadFile(LogsPath("2008-03-07 Kiv Recorder Log.txt"));
  EXPECT_EQ(std::count(log.begin(), log.end(), '\r'), kThreads * kLines);
  for (int t = 0; t < kThreads; ++t) {
    std::size_t at = 0;
    for (int i = 0; i < kLines; ++i) {  // Every line there, in each thread's order.
      at = log.find("09:05:03 thread " + std::to_string(t * 1000 + i) + "\r", at);
      ASSERT_NE(at, std::string::npos);
    }
  }
}

}  // namespace
