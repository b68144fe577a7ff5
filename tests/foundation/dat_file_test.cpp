#include "foundation/dat_file.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "foundation/dat_file_native.h"
#include "foundation/file_descriptor.h"
#include "tests/support/file_locks.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_signals.h"

namespace {

using kiv::test::ReadFile;
using kiv::test::WriteFile;

// A cache of its own over one file; Close is the end of the process.
class Store {
 public:
  explicit Store(std::string path) : path_(std::move(path)) {}
  ~Store() { cache_.Close(); }

  std::string Get(const char* section, const char* key, const char* defaultValue = "(missing)") {
    char out[kiv::kTextSize];
    cache_.GetValue(path_.c_str(), section, key, defaultValue, out);
    return out;
  }
  void Set(const char* section, const char* key, const char* value) {
    cache_.SetValue(path_.c_str(), section, key, value);
  }
  LDatFileNativeSystem& Cache() { return cache_; }

 private:
  std::string path_;
  LDatFileNativeSystem cache_;
};

class DatFile : public testing::Test {
 protected:
  // What the file holds after a process has read it and changed one value.
  std::string Rewritten(const std::string& bytes) {
    WriteFile(path_, bytes);
    {
      Store store(path_);
      store.Set("changed", nullptr, nullptr);  // Removes nothing, but marks the file as changed.
    }
    return ReadFile(path_);
  }
  std::string Loaded(const std::string& bytes, const char* section, const char* key) {
    WriteFile(path_, bytes);
    return Store(path_).Get(section, key);
  }

  kiv::test::TemporaryFolder folder_;
  const std::string path_ = folder_.File("settings.ini");
};

// --- Loading

TEST_F(DatFile, RepeatedHeadersMergeUnderTheFirstSpelling) {
  EXPECT_EQ(Rewritten("[Settings]\r\na=1\r\n[other]\r\nb=2\r\n[settings]\r\nc=3\r\n"),
            "[Settings]\r\na=1\r\nc=3\r\n\r\n[other]\r\nb=2\r\n\r\n");
}
TEST_F(DatFile, LaterDuplicateReplacesTheValueAndKeepsPlaceAndSpelling) {
  EXPECT_EQ(Rewritten("[s]\r\na=1\r\nb=0\r\nA=2\r\n"), "[s]\r\na=2\r\nb=0\r\n\r\n");
}
TEST_F(DatFile, NothingIsTrimmed) {
  WriteFile(path_, "[s]\r\nkey = value\r\n\t=tab\r\n");
  Store store(path_);
  EXPECT_EQ(store.Get("s", "key"), "(missing)");
  EXPECT_EQ(store.Get("s", "key "), " value");
  EXPECT_EQ(store.Get("s", "\t"), "tab");
}
TEST_F(DatFile, LineIsSplitAtItsFirstEqualsSign) {
  EXPECT_EQ(Loaded("[s]\r\nx=y=z\r\n", "s", "x"), "y=z");
  EXPECT_EQ(Loaded("[s]\r\n=nameless\r\n", "s", ""), "nameless");
}
TEST_F(DatFile, EmptyValueIsKept) {
  EXPECT_EQ(Rewritten("[s]\r\nx=\r\n"), "[s]\r\nx=\r\n\r\n");
  EXPECT_EQ(Loaded("[s]\r\nx=\r\n", "s", "x"), "");
}
TEST_F(DatFile, LinesBeforeTheFirstHeaderAndLinesWithoutEqualsAreDropped) {
  EXPECT_EQ(Rewritten("a=1\r\n; comment\r\n[s]\r\n; comment\r\n\r\nb=2\r\nrubbish\r\n"), "[s]\r\nb=2\r\n\r\n");
}
TEST_F(DatFile, HeaderEndsAtTheFirstBracketOrWithTheLine) {
  EXPECT_EQ(Rewritten("[a]b]c\r\nx=1\r\n[open\r\ny=2\r\n[]\r\nz=3\r\n"),
            "[a]\r\nx=1\r\n\r\n[open]\r\ny=2\r\n\r\n[]\r\nz=3\r\n\r\n");
  EXPECT_EQ(Rewritten("[s]\r\n [t]\r\n [u]=1\r\n"), "[s]\r\n [u]=1\r\n\r\n");
}
TEST_F(DatFile, EmptySectionIsWrittenAsHeaderAndBlankLine) {
  EXPECT_EQ(Rewritten("[a]\r\n[b]\r\n"), "[a]\r\n\r\n[b]\r\n\r\n");
}
TEST_F(DatFile, EveryLineEndIsUnderstood) {
  for (const std::string end : {"\r\n", "\n", "\r", "\n\r"}) {
    EXPECT_EQ(Rewritten(std::string("[s]") + end + "a=1" + end + "b=2"), "[s]\r\na=1\r\nb=2\r\n\r\n");
  }
}
// As an editor on this system leaves it. The line reader gives empty lines for ever there.
TEST_F(DatFile, FileThatEndsInALoneTerminatorIsReadToItsEnd) {
  EXPECT_EQ(Rewritten("[s]\na=1\nb=2\n"), "[s]\r\na=1\r\nb=2\r\n\r\n");
  EXPECT_EQ(Rewritten("[s]\ra=1\rb=2\r"), "[s]\r\na=1\r\nb=2\r\n\r\n");
  EXPECT_EQ(Rewritten("[s]\n\n\na=1\n\n\n"), "[s]\r\na=1\r\n\r\n");
  EXPECT_EQ(Rewritten("\n"), "");
  EXPECT_EQ(Rewritten("\n\n\n"), "");
}
TEST_F(DatFile, LinesAreCutAt551CharactersAndTextsAt259) {
  const std::string name(259, 'n');
  const std::string value(259, 'v');
  EXPECT_EQ(Rewritten(std::string("[") + std::string(400, 's') + "]\r\n" + name + "=" + value + "\r\n"),
            std::string("[") + std::string(259, 's') + "]\r\n" + name + "=" + value + "\r\n\r\n");
  EXPECT_EQ(Rewritten(std::string("[s]\r\n") + std::string(300, 'n') + "=" + std::string(600, 'v') + "\r\nx=1\r\n"),
            std::string("[s]\r\n") + name + "=" + std::string(250, 'v') + "\r\nx=1\r\n\r\n");
  EXPECT_EQ(Rewritten(std::string("[s]\r\n") + std::string(551, 'n') + "=1\r\n"),
            "[s]\r\n\r\n");  // The sign was cut off.
  EXPECT_EQ(Rewritten(std::string("[s]\r\n") + std::string(550, 'n') + "=1\r\n"),
            std::string("[s]\r\n") + name + "=\r\n\r\n");
}
// The name is compared whole, and what was stored is shorter.
TEST_F(DatFile, OverlongNamesNeverFindWhatTheyStored) {
  const std::string name(260, 'n');
  const std::string cut(259, 'n');
  EXPECT_EQ(Rewritten(std::string("[s]\r\n") + name + "=1\r\n" + name + "=2\r\n" + cut + "=3\r\n"),
            std::string("[s]\r\n") + cut + "=3\r\n" + cut + "=2\r\n\r\n");
  EXPECT_EQ(Rewritten(std::string("[") + name + "]\r\na=1\r\n[" + name + "]\r\nb=2\r\n[" + cut + "]\r\nc=3\r\n"),
            std::string("[") + cut + "]\r\na=1\r\nc=3\r\n\r\n[" + cut + "]\r\nb=2\r\n\r\n");
  Store store(path_);
  store.Set("t", name.c_str(), "1");
  EXPECT_EQ(store.Get("t", name.c_str()), "(missing)");
  EXPECT_EQ(store.Get("t", cut.c_str()), "1");
}
TEST_F(DatFile, TextEndsAtANulByte) {
  EXPECT_EQ(Rewritten(std::string("[s]\r\na=1\0=2\r\n\0[t]\r\nb\0=3\r\n", 25)), "[s]\r\na=1\r\n\r\n");
}
TEST_F(DatFile, BytesAbove127ArePreserved) {
  EXPECT_EQ(Rewritten("[\xC3\xA9]\r\n\xFF=\x80\xFE\r\n"), "[\xC3\xA9]\r\n\xFF=\x80\xFE\r\n\r\n");
}

// What loading must give, by reading line by line from the descriptor and searching linearly.
std::string PlainlyRewritten(const std::string& path, const std::string& target) {
  LDatFileNativeFile file(target.c_str());
  const LReadFile input = LReadFile::Open(path.c_str());
  std::string section;
  bool inSection = false;
  char buffer[552];
  for (;;) {
    const off_t before = lseek(input.Descriptor(), 0, SEEK_CUR);
    if (!input.Ref().ReadLine(buffer, sizeof buffer)) break;
    if (lseek(input.Descriptor(), 0, SEEK_CUR) == before) break;
    const std::string line = buffer;
    if (line.starts_with('[')) {
      section = line.substr(1, line.find(']') == std::string::npos ? std::string::npos : line.find(']') - 1);
      file.SetValue(section.c_str(), "\n", nullptr);  // Makes the section; no key of a file holds a line end.
      inSection = true;
    } else if (inSection && line.find('=') != std::string::npos) {
      file.SetValue(section.c_str(), line.substr(0, line.find('=')).c_str(), line.substr(line.find('=') + 1).c_str());
    }
  }
  file.Save();
  return ReadFile(target);
}

TEST_F(DatFile, RandomFilesLoadAsReadLineByLine) {
  kiv::test::Random random(20);
  const std::string alphabet = "[[]]==\r\r\n\n\r\naAbBcC; \xFF";
  for (int round = 0; round < 200; ++round) {
    std::string bytes;
    const int size = random.Between(0, round % 10 == 0 ? 9000 : 300);
    for (int i = 0; i < size; ++i) {
      const auto at = static_cast<std::size_t>(random.Between(0, static_cast<int>(alphabet.size()) - 1));
      bytes += round % 3 == 0 ? static_cast<char>(random.Between(0, 255)) : alphabet[at];
    }
    if (round % 3 == 0)
      std::replace_if(
          bytes.begin(), bytes.end(), [&](char) { return random.Between(0, 9) == 0; }, '\n');
    // A header first, in most files, and none of more than 259 characters: setting nothing in such a section would
    // make it again and again.
    if (round % 4 != 0) bytes = std::string("[s]\n") + bytes;
    const std::string got = Rewritten(bytes);
    WriteFile(path_, bytes);
    ASSERT_EQ(got, PlainlyRewritten(path_, folder_.File("plain"))) << "round " << round;
  }
}

TEST_F(DatFile, WhatWasSavedLoadsTheSame) {
  kiv::test::Random random(21);
  for (int round = 0; round < 20; ++round) {
    std::string bytes;
    for (int i = 0; i < 2000; ++i) bytes += static_cast<char>(random.Between(0, 255));
    const std::string once = Rewritten(std::string("[s]\n") + bytes);
    ASSERT_EQ(Rewritten(once), once) << "round " << round;
  }
}

TEST_F(DatFile, HugeFileTakesNeitherTimeNorMemoryWithoutEnd) {
  std::string bytes = "[s]\n";
  for (int i = 0; i < 300000; ++i) bytes += std::to_string(i) + "=" + std::to_string(i) + "\n";
  bytes += "0=last\n[t]\nx=1\n";
  WriteFile(path_, bytes);
  LDatFileNativeFile file(path_.c_str());
  const auto start = std::chrono::steady_clock::now();
  file.Load();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  int entries = 0;
  for (LListIterator<LDatFileNativeSection> section(file.sections); section; ++section) {
    ++entries;
    for (LListIterator<LDatFileNativeItem> item(section->items); item; ++item) ++entries;
  }
  EXPECT_EQ(entries, LDatFileNativeFile::kMaxLoadedEntries);
  EXPECT_STREQ(file.sections.head->items.head->value, "last");
}

// --- Files that cannot be read or written

TEST_F(DatFile, MissingFileIsEmptyAndMadeByTheFirstSetAtTheEnd) {
  {
    Store store(path_);
    EXPECT_EQ(store.Get("s", "a"), "(missing)");
  }
  EXPECT_NE(access(path_.c_str(), F_OK), 0);  // A get changes nothing.
  {
    Store store(path_);
    store.Set("s", "a", "1");
    EXPECT_NE(access(path_.c_str(), F_OK), 0);
  }
  EXPECT_EQ(ReadFile(path_), "[s]\r\na=1\r\n\r\n");
}
TEST_F(DatFile, UnchangedFileIsNotRewritten) {
  WriteFile(path_, "; mine\n[s]\na=1\n");
  {
    Store store(path_);
    EXPECT_EQ(store.Get("s", "a"), "1");
  }
  EXPECT_EQ(ReadFile(path_), "; mine\n[s]\na=1\n");
}
TEST_F(DatFile, FolderPipeAndDeviceAreEmptyAndSurvive) {
  const std::string pipe = folder_.File("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  for (const std::string& path : {folder_.Path(), pipe, std::string("/dev/zero"), std::string("/dev/full"),
                                  std::string("/nowhere/at/all"), std::string("/proc/self/mem"), std::string()}) {
    Store store(path);
    EXPECT_EQ(store.Get("s", "a"), "(missing)") << path;
    store.Set("s", "a", "1");
    EXPECT_EQ(store.Get("s", "a"), "1") << path;
  }
  struct stat status;
  ASSERT_EQ(stat(pipe.c_str(), &status), 0);
  EXPECT_TRUE(S_ISFIFO(status.st_mode));
}
TEST_F(DatFile, FullDiskKeepsTheFileReadable) {
  WriteFile(path_, "[s]\r\na=1\r\n\r\n");
  rlimit before;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit small = {100, before.rlim_max};
  auto* const handler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  {
    Store store(path_);
    store.Set("s", "b", std::string(200, 'x').c_str());
  }
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(ReadFile(path_), std::string("[s]\r\na=1\r\nb=") + std::string(88, 'x'));
  EXPECT_EQ(Store(path_).Get("s", "a"), "1");
}
TEST_F(DatFile, LoadingWaitsForAWriter) {
  WriteFile(path_, "[s]\na=old\n");
  kiv::test::ForeignLock writer(path_, true);
  std::string seen;
  std::thread reader([&] { seen = Store(path_).Get("s", "a"); });
  EXPECT_TRUE(kiv::test::WaitUntilLockIsAwaited(path_));
  WriteFile(path_, "[s]\na=new\n");
  writer.Release();
  reader.join();
  EXPECT_EQ(seen, "new");
}
TEST_F(DatFile, SavingWaitsForReadersAndReplacesAFileThatAppearedSince) {
  Store store(path_);
  store.Set("s", "a", "1");
  WriteFile(path_, std::string(1000, 'x'));
  kiv::test::ForeignLock reader(path_, false);
  std::thread closing([&] { store.Cache().Close(); });
  EXPECT_TRUE(kiv::test::WaitUntilLockIsAwaited(path_));
  EXPECT_EQ(ReadFile(path_), std::string(1000, 'x'));
  reader.Release();
  closing.join();
  EXPECT_EQ(ReadFile(path_), "[s]\r\na=1\r\n\r\n");
}
TEST_F(DatFile, NewFileHasAllPermissionBitsThatTheMaskLeaves) {
  const mode_t mask = umask(027);
  { Store(path_).Set("s", "a", "1"); }
  umask(mask);
  struct stat status;
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0750U);
}
TEST_F(DatFile, ChangesOfAnotherProcessAreNotSeenAndOverwritten) {
  WriteFile(path_, "[s]\na=1\n");
  {
    Store store(path_);
    EXPECT_EQ(store.Get("s", "a"), "1");
    WriteFile(path_, "[s]\na=2\nb=2\n");
    EXPECT_EQ(store.Get("s", "a"), "1");
    store.Set("s", "c", "3");
  }
  EXPECT_EQ(ReadFile(path_), "[s]\r\na=1\r\nc=3\r\n\r\n");
}

// --- Setting

TEST_F(DatFile, NullValueRemovesTheKeyAndNullKeyTheSection) {
  {
    Store store(path_);
    store.Set("s", "a", "1");
    store.Set("s", "b", "2");
    store.Set("t", "c", "3");
    store.Set("S", "A", nullptr);
    EXPECT_EQ(store.Get("s", "a"), "(missing)");
    EXPECT_EQ(store.Get("s", "b"), "2");
    store.Set("T", nullptr, nullptr);
    EXPECT_EQ(store.Get("t", "c"), "(missing)");
    store.Set("missing", nullptr, "x");
    store.Set("s", "missing", nullptr);
  }
  EXPECT_EQ(ReadFile(path_), "[s]\r\nb=2\r\n\r\n");
}
TEST_F(DatFile, RemovingFromAMissingSectionMakesItEmpty) {
  { Store(path_).Set("s", "a", nullptr); }
  EXPECT_EQ(ReadFile(path_), "[s]\r\n\r\n");
}
TEST_F(DatFile, RemovingTheLastSectionLeavesAnEmptyFile) {
  WriteFile(path_, "[s]\r\na=1\r\n\r\n");
  { Store(path_).Set("s", nullptr, nullptr); }
  EXPECT_EQ(ReadFile(path_), "");
  EXPECT_EQ(access(path_.c_str(), F_OK), 0);
}
TEST_F(DatFile, NewSectionsAndKeysGoToTheEnd) {
  WriteFile(path_, "[s]\na=1\n[t]\nb=1\n");
  {
    Store store(path_);
    store.Set("u", "x", "1");
    store.Set("S", "New", "2");
    store.Set("s", "NEW", "3");
  }
  EXPECT_EQ(ReadFile(path_), "[s]\r\na=1\r\nNew=3\r\n\r\n[t]\r\nb=1\r\n\r\n[u]\r\nx=1\r\n\r\n");
}
TEST_F(DatFile, TextsAreCutAt259Characters) {
  Store store(path_);
  store.Set("s", "a", std::string(300, 'v').c_str());
  EXPECT_EQ(store.Get("s", "a"), std::string(259, 'v'));
  EXPECT_EQ(store.Get("s", "b", std::string(300, 'd').c_str()), std::string(259, 'd'));
}
TEST_F(DatFile, PathsInAnotherLetterCaseShareOneRecord) {
  const std::string upper = folder_.File("SETTINGS.INI");
  {
    Store store(path_);
    store.Set("s", "a", "1");
    char out[kiv::kTextSize];
    store.Cache().GetValue(upper.c_str(), "s", "a", "", out);
    EXPECT_STREQ(out, "1");
    store.Cache().SetValue(upper.c_str(), "s", "b", "2");
  }
  EXPECT_EQ(ReadFile(path_), "[s]\r\na=1\r\nb=2\r\n\r\n");
  EXPECT_NE(access(upper.c_str(), F_OK), 0);
}
TEST_F(DatFile, SeveralFilesKeepApart) {
  const std::string second = folder_.File("second.ini");
  {
    Store store(path_);
    store.Set("s", "a", "1");
    store.Cache().SetValue(second.c_str(), "s", "a", "2");
    EXPECT_EQ(store.Get("s", "a"), "1");
  }
  EXPECT_EQ(ReadFile(path_), "[s]\r\na=1\r\n\r\n");
  EXPECT_EQ(ReadFile(second), "[s]\r\na=2\r\n\r\n");
}
// The record keeps the cut path, which the whole one never matches: every use reads the cut path's file anew.
TEST_F(DatFile, OverlongPathIsCutAndNeverFindsItsRecord) {
  std::string path = folder_.Path();
  while (path.size() < 250) path += "/.";
  path += std::string(260 - path.size(), '/');
  path.replace(path.size() - 6, 6, "/abcde");
  const std::string cut = path.substr(0, 259);
  {
    Store store(path);
    store.Set("s", "a", "1");
    EXPECT_EQ(store.Get("s", "a"), "(missing)");
    store.Set("s", "b", "2");
  }
  EXPECT_EQ(ReadFile(cut), "[s]\r\na=1\r\n\r\n");  // The first record is saved last.
}
TEST_F(DatFile, RecordKnowsWhetherItChangedAndWhenItWasUsed) {
  const auto now = [] {
    return static_cast<std::uint32_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count());
  };
  const std::uint32_t before = now();
  LDatFileNativeFile file(path_.c_str());
  EXPECT_LE(file.lastUse - before, now() - before);
  EXPECT_FALSE(file.dirty);
  file.lastUse = 0;
  char out[kiv::kTextSize];
  file.GetValue("s", "a", "", out);
  EXPECT_LE(file.lastUse - before, now() - before);
  EXPECT_FALSE(file.dirty);
  file.lastUse = 0;
  file.SetValue("missing", nullptr, nullptr);
  EXPECT_LE(file.lastUse - before, now() - before);
  EXPECT_TRUE(file.dirty);
  file.Load();
  EXPECT_FALSE(file.dirty);
  file.SetValue("s", "a", "1");
  file.Save();
  EXPECT_FALSE(file.dirty);
  LDatFileNativeFile lost("/nowhere/at/all");
  lost.SetValue("s", "a", "1");
  lost.Save();
  EXPECT_FALSE(lost.dirty);
}
TEST_F(DatFile, ClosedCacheWritesStraightToTheDisk) {
  LDatFileNativeSystem cache;
  cache.SetValue(path_.c_str(), "s", "a", "1");
  cache.Close();
  cache.SetValue(path_.c_str(), "s", "b", "2");
  EXPECT_EQ(ReadFile(path_), "[s]\r\na=1\r\nb=2\r\n\r\n");
  char out[kiv::kTextSize];
  cache.GetValue(path_.c_str(), "s", "a", "", out);
  EXPECT_STREQ(out, "1");
}

// --- Typed access, through the process's own cache

class TypedDatFile : public DatFile {
 protected:
  void Set(const char* value) { LDatFileSetValue(path_.c_str(), "s", "k", value); }
  const LDatFile file_{path_.c_str()};
};

TEST_F(TypedDatFile, NumberIsTheLeadingDigitsAndNoTextTheDefault) {
  EXPECT_EQ(file_.GetLong("s", "k", 7), 7);
  Set("");
  EXPECT_EQ(file_.GetLong("s", "k", 7), 7);
  Set("12abc");
  EXPECT_EQ(file_.GetLong("s", "k", 7), 12);
  Set("abc");
  EXPECT_EQ(file_.GetLong("s", "k", 7), 0);
  Set("99999999999");
  EXPECT_EQ(file_.GetLong("s", "k", 7), INT32_MAX);
  for (const std::int32_t value : {0, 1, -1, INT32_MAX, INT32_MIN}) {
    file_.SetLong("s", "k", value);
    EXPECT_EQ(file_.GetLong("s", "k", 7), value);
  }
  char text[kiv::kTextSize];
  LDatFileGetValue(path_.c_str(), "s", "k", "", text);
  EXPECT_STREQ(text, "-2147483648");
}
TEST_F(TypedDatFile, BoolIsTrueWhenTheTextBeginsWithALowerCaseT) {
  EXPECT_TRUE(file_.GetBool("s", "k", true));
  EXPECT_FALSE(file_.GetBool("s", "k", false));
  for (const char* value : {"true", "t", "tomato"}) {
    Set(value);
    EXPECT_TRUE(file_.GetBool("s", "k", false)) << value;
  }
  for (const char* value : {"True", "1", "yes", "false", "", " true"}) {
    Set(value);
    EXPECT_FALSE(file_.GetBool("s", "k", true)) << value;
  }
}
TEST_F(TypedDatFile, LevelAndTimeAreReadFromTheirTextsAndNoTextIsTheDefault) {
  EXPECT_EQ(file_.GetDB("s", "k", -3), -3);
  EXPECT_EQ(file_.GetSoundTime("s", "k", 15000), 15000);
  Set("");
  EXPECT_EQ(file_.GetDB("s", "k", -3), -3);
  EXPECT_EQ(file_.GetSoundTime("s", "k", 15000), 15000);
  Set("-6 dB");
  EXPECT_EQ(file_.GetDB("s", "k", 0), -6);
  Set("rubbish");
  EXPECT_EQ(file_.GetDB("s", "k", 5), 0);
  Set("1:00");
  EXPECT_EQ(file_.GetSoundTime("s", "k", 0), 60000);
}
TEST_F(TypedDatFile, PathIsAllItHolds) {
  EXPECT_EQ(sizeof(LDatFile), kiv::kTextSize);
  EXPECT_STREQ(LDatFile().Path(), "");
  EXPECT_EQ(std::string(LDatFile(std::string(300, 'p').c_str()).Path()), std::string(259, 'p'));
}

// --- Threads

TEST_F(DatFile, ThreadsShareOneCache) {
  constexpr int kThreads = 4;
  constexpr int kKeys = 100;
  const std::string second = folder_.File("second.ini");
  WriteFile(path_, "[s]\nshared=0\n");
  {
    LDatFileNativeSystem cache;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        char out[kiv::kTextSize];
        for (int i = 0; i < kKeys; ++i) {
          const std::string key = std::to_string(t) + "." + std::to_string(i);
          cache.SetValue(path_.c_str(), "s", key.c_str(), key.c_str());
          cache.SetValue(second.c_str(), key.c_str(), "k", key.c_str());
          cache.SetValue(path_.c_str(), "s", "shared", std::string(200, static_cast<char>('a' + t)).c_str());
          cache.GetValue(path_.c_str(), "s", "shared", "", out);
          if (std::string(out) != std::string(200, out[0])) std::abort();
          cache.GetValue(second.c_str(), key.c_str(), "k", "", out);
          if (key != out) std::abort();
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    cache.Close();
  }
  Store store(path_);
  Store other(second);
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kKeys; ++i) {
      const std::string key = std::to_string(t) + "." + std::to_string(i);
      ASSERT_EQ(store.Get("s", key.c_str()), key);
      ASSERT_EQ(other.Get(key.c_str(), "k"), key);
    }
  }
}

}  // namespace
