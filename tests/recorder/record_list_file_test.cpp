#include "recorder/record_list_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

#include "tests/support/locks_of_the_process.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_signals.h"

namespace {

using kiv::RecordListFile;
using kiv::test::locksAreTheProcesss;
using kiv::test::ReadFile;
using kiv::test::TemporaryFolder;
using kiv::test::WriteFile;

constexpr std::size_t kSize = 260;
using Record = std::array<char, kSize>;

Record RecordOf(const std::string& text) {
  Record record{};
  text.copy(record.data(), kSize - 1);
  return record;
}

std::string Header(std::uint16_t version, std::uint16_t starts, std::uint32_t size) {
  std::string bytes(8, '\0');
  std::memcpy(bytes.data(), &version, 2);
  std::memcpy(bytes.data() + 2, &starts, 2);
  std::memcpy(bytes.data() + 4, &size, 4);
  return bytes;
}

std::string Bytes(const Record& record) {
  return {record.begin(), record.end()};
}

class RecordListFileTest : public testing::Test {
 protected:
  RecordListFileTest() { list.SetPath(path.c_str()); }

  void Append(const std::string& text) { list.Append(RecordOf(text).data()); }
  // The first record's text; "-" when there is none.
  std::string First() {
    Record record{};
    return list.ReadFirst(record.data()) ? std::string(record.data()) : "-";
  }
  std::vector<std::string> TakeAll() {
    std::vector<std::string> all;
    for (std::string first = First(); first != "-"; first = First()) {
      all.push_back(first);
      list.RemoveFirst();
    }
    return all;
  }
  std::string Journal() const { return folder.File(".bgalc.dat.next"); }

  TemporaryFolder folder;
  std::string path = folder.File("bgalc.dat");
  RecordListFile list{kSize};
};

TEST_F(RecordListFileTest, FirstRecordMakesTheHeader) {
  Append("/a.wav");
  EXPECT_EQ(ReadFile(path), Header(1, 0, 260) + Bytes(RecordOf("/a.wav")));
  Append("/b.wav");
  EXPECT_EQ(ReadFile(path), Header(1, 0, 260) + Bytes(RecordOf("/a.wav")) + Bytes(RecordOf("/b.wav")));
}

TEST_F(RecordListFileTest, RecordsComeOldestFirst) {
  for (const char* text : {"/a", "/b", "/c"}) Append(text);
  EXPECT_EQ(TakeAll(), (std::vector<std::string>{"/a", "/b", "/c"}));
}

TEST_F(RecordListFileTest, RemovingTheLastRecordEmptiesTheFile) {
  Append("/a");
  list.RemoveFirst();
  EXPECT_TRUE(std::filesystem::exists(path));
  EXPECT_EQ(std::filesystem::file_size(path), 0U);
  EXPECT_EQ(First(), "-");
}

TEST_F(RecordListFileTest, RemovingSetsTheStartCounterBack) {
  Append("/a");
  Append("/b");
  EXPECT_EQ(list.Resume(), RecordListFile::Resumed::Yes);
  EXPECT_EQ(ReadFile(path).substr(0, 8), Header(1, 1, 260));
  list.RemoveFirst();
  EXPECT_EQ(ReadFile(path), Header(1, 0, 260) + Bytes(RecordOf("/b")));
}

TEST_F(RecordListFileTest, TwoStartsResumeTheThirdThrowsTheListAway) {
  Append("/a");
  EXPECT_EQ(list.Resume(), RecordListFile::Resumed::Yes);
  EXPECT_EQ(ReadFile(path).substr(0, 8), Header(1, 1, 260));
  EXPECT_EQ(list.Resume(), RecordListFile::Resumed::Yes);
  EXPECT_EQ(ReadFile(path).substr(0, 8), Header(1, 2, 260));
  EXPECT_EQ(First(), "/a");
  EXPECT_EQ(list.Resume(), RecordListFile::Resumed::Nothing);
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(RecordListFileTest, MissingListLeavesNoFileBehind) {
  EXPECT_EQ(list.Resume(), RecordListFile::Resumed::Nothing);
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(RecordListFileTest, ForeignHeadersAreDeletedAtStart) {
  for (const std::string& header : {Header(2, 0, 260), Header(1, 0, 256), Header(0, 0, 0), Header(1, 65535, 260)}) {
    WriteFile(path, header + Bytes(RecordOf("/a")));
    EXPECT_EQ(list.Resume(), RecordListFile::Resumed::Nothing);
    EXPECT_FALSE(std::filesystem::exists(path));
  }
}

TEST_F(RecordListFileTest, AnyBytesAreADefinedList) {
  kiv::test::Random random(7);
  for (int round = 0; round < 300; ++round) {
    std::string bytes(static_cast<std::size_t>(random.Between(0, 1200)), '\0');
    for (char& c : bytes) c = static_cast<char>(random.Between(0, 255));
    if (round % 3 == 0) bytes = Header(1, 0, 260) + bytes;
    WriteFile(path, bytes);
    list.Resume();
    Append("/last");
    int left = 0;
    Record record{};
    while (list.ReadFirst(record.data()) && left < 10) {
      list.RemoveFirst();
      ++left;
    }
    EXPECT_LT(left, 10);
    EXPECT_TRUE(!std::filesystem::exists(path) || std::filesystem::file_size(path) == 0);
    std::filesystem::remove(path);
  }
}

TEST_F(RecordListFileTest, TornFirstRecordDeletesTheFile) {
  WriteFile(path, Header(1, 0, 260) + std::string(259, 'x'));
  EXPECT_EQ(First(), "-");
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(RecordListFileTest, EmptyListIsNotDeleted) {
  WriteFile(path, Header(1, 0, 260));
  EXPECT_EQ(First(), "-");
  EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_F(RecordListFileTest, RecordTornByACrashDoesNotMisplaceLaterOnes) {
  Append("/a");
  WriteFile(path, ReadFile(path) + std::string(100, 'x'));
  Append("/b");
  EXPECT_EQ(TakeAll(), (std::vector<std::string>{"/a", "/b"}));
}

TEST_F(RecordListFileTest, ListTornAnywhereTakesTheNextRecordInItsPlace) {
  Append("/a");
  const std::string whole = ReadFile(path);
  for (std::size_t cut = 0; cut < whole.size(); ++cut) {
    WriteFile(path, whole.substr(0, cut));
    Append("/b");
    EXPECT_EQ(TakeAll(), std::vector<std::string>{"/b"}) << cut;
  }
}

TEST_F(RecordListFileTest, CrashWhileRecordsMoveUpIsMendedByTheNextChange) {
  for (const char* text : {"/a", "/b", "/c"}) Append(text);
  const std::string whole = ReadFile(path);
  list.RemoveFirst();
  const std::string wanted = ReadFile(path);
  EXPECT_FALSE(std::filesystem::exists(Journal()));
  for (std::size_t moved = 0; moved <= wanted.size(); moved += 13) {  // Cut off anywhere in the move.
    WriteFile(path, wanted.substr(0, moved) + whole.substr(moved));
    WriteFile(Journal(), wanted);
    EXPECT_EQ(list.Resume(), RecordListFile::Resumed::Yes);
    EXPECT_FALSE(std::filesystem::exists(Journal()));
    EXPECT_EQ(TakeAll(), (std::vector<std::string>{"/b", "/c"})) << moved;
  }
  WriteFile(path, whole);
  WriteFile(Journal(), wanted);
  Append("/d");
  EXPECT_EQ(TakeAll(), (std::vector<std::string>{"/b", "/c", "/d"}));
}

TEST_F(RecordListFileTest, LockedListIsLeftAlone) {
  Append("/a");
  const int holder = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(holder, LOCK_SH), 0);
  const std::string before = ReadFile(path);
  EXPECT_EQ(list.Resume(), RecordListFile::Resumed::Busy);
  EXPECT_EQ(ReadFile(path), before);
  close(holder);
  EXPECT_EQ(list.Resume(), RecordListFile::Resumed::Yes);
}

TEST_F(RecordListFileTest, PathsThatAreNoFilesActLikeAnEmptyList) {
  RecordListFile directory(kSize);
  directory.SetPath(folder.Path().c_str());
  EXPECT_EQ(directory.Resume(), RecordListFile::Resumed::Nothing);
  Record record{};
  directory.Append(record.data());
  directory.RemoveFirst();
  EXPECT_FALSE(directory.ReadFirst(record.data()));
  RecordListFile unset(kSize);
  unset.Append(record.data());
  EXPECT_FALSE(unset.ReadFirst(record.data()));
}

class RecordListFileThreads : public RecordListFileTest, public testing::WithParamInterface<bool> {
 protected:
  RecordListFileThreads() { locksAreTheProcesss = GetParam(); }
  ~RecordListFileThreads() override { locksAreTheProcesss = false; }
};
INSTANTIATE_TEST_SUITE_P(LocksOfEachDescriptorAndOfTheProcess, RecordListFileThreads, testing::Bool());

TEST_P(RecordListFileThreads, AddingWhileAnotherRemovesLosesNothing) {
  constexpr int kRecords = 500;
  std::jthread adder([this] {
    for (int i = 0; i < kRecords; ++i) Append(std::to_string(i));
  });
  std::vector<std::string> taken;
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (taken.size() < kRecords && std::chrono::steady_clock::now() < limit) {
    const std::string first = First();
    if (first == "-") {
      std::this_thread::yield();
      continue;
    }
    taken.push_back(first);
    list.RemoveFirst();
  }
  ASSERT_EQ(taken.size(), std::size_t{kRecords});
  for (int i = 0; i < kRecords; ++i) EXPECT_EQ(taken[static_cast<std::size_t>(i)], std::to_string(i));
}

}  // namespace
