#include "platform/qt/preference_store.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "foundation/preferences.h"
#include "tests/support/services_override.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_signals.h"

namespace {

using kiv::QtPreferenceStore;
using kiv::test::ReadFile;
using kiv::test::WriteFile;

class PreferenceFile : public testing::Test {
 protected:
  // The value as another process would find it.
  std::optional<std::string> GetAfresh(const std::string& name) {
    // The toolkit keeps a parsed file in memory under its path, so a copy under a new path is read anew.
    const std::string copy = folder_.File("copy " + std::to_string(++copies_) + ".ini");
    std::filesystem::copy_file(path_, copy);
    return QtPreferenceStore(copy).Get(name);
  }

  kiv::test::TemporaryFolder folder_;
  const std::string path_ = folder_.File("com.Oskmera.Kiv.ini");
  QtPreferenceStore store_{path_};
  int copies_ = 0;
};

TEST_F(PreferenceFile, SetIsOnDiskInPlainTextBeforeItReturns) {
  store_.Set("Settings/HotKeys", "1");
  EXPECT_EQ(ReadFile(path_), "[Settings]\nHotKeys=1\n");
  store_.Set("Settings/1HourStop", "0");
  EXPECT_EQ(ReadFile(path_), "[Settings]\n1HourStop=0\nHotKeys=1\n");
  EXPECT_EQ(store_.Get("Settings/HotKeys"), "1");
  EXPECT_EQ(GetAfresh("Settings/1HourStop"), "0");
}
TEST_F(PreferenceFile, MissingFileAndMissingNameAreNothing) {
  EXPECT_EQ(store_.Get("Settings/HotKeys"), std::nullopt);
  EXPECT_FALSE(std::filesystem::exists(path_));
  store_.Set("Settings/Prompt", "");
  EXPECT_EQ(store_.Get("Settings/Prompt"), "");
  EXPECT_EQ(GetAfresh("Settings/Prompt"), "");
  EXPECT_EQ(store_.Get("Settings/prompt"), std::nullopt);  // Names are exact.
  EXPECT_EQ(store_.Get("Prompt"), std::nullopt);
}
TEST_F(PreferenceFile, TextsComeBackBitForBit) {
  const std::vector<std::string> texts = {" leading and trailing ",
                                          "a,b",
                                          "a, b, c",
                                          ",",
                                          "\"quoted\"",
                                          "back\\slash",
                                          "semi;colon",
                                          "=",
                                          "@ByteArray(x)",
                                          "@Invalid()",
                                          "@",
                                          "@@",
                                          "%41",
                                          "line\nbreak\r\n",
                                          "\t",
                                          "\x01\x02"
                                          "f",
                                          "caf\xC3\xA9",
                                          "\xE2\x82\xAC",
                                          "\xF0\x9F\x93\x9E",
                                          "\xEF\xBB\xBF"
                                          "with mark",
                                          "true",
                                          "0",
                                          "[x]",
                                          "#",
                                          "/a/b c/d",
                                          "C:\\x",
                                          "\x7F",
                                          "\xC2\x80",
                                          "\xEF\xBF\xBD"};
  for (const std::string& text : texts) {
    store_.Set("Settings/Prompt", text);
    EXPECT_EQ(store_.Get("Settings/Prompt"), text);
    EXPECT_EQ(GetAfresh("Settings/Prompt"), text);
  }
}
TEST_F(PreferenceFile, BytesThatAreNoTextComeBackBitForBit) {
  for (const std::string& bytes :
       {std::string("\xFF"), std::string("caf\xE9"), std::string("\xC3"), std::string("\xED\xA0\x80"),
        std::string("\xC0\x80"), std::string("a\xFF,b\" \\;)"), std::string("\xFF ")}) {
    store_.Set("Settings/Prompt", bytes);
    EXPECT_EQ(GetAfresh("Settings/Prompt"), bytes);
  }
}
TEST_F(PreferenceFile, RandomBytesComeBackBitForBit) {
  kiv::test::Random random(30);
  for (int round = 0; round < 24; ++round) {
    std::string bytes;
    const int size = random.Between(0, 259);
    // Every second text is ASCII, so that both ways of storing are met.
    for (int i = 0; i < size; ++i) bytes += static_cast<char>(random.Between(1, round % 2 == 0 ? 127 : 255));
    store_.Set("Settings/Prompt", bytes);
    ASSERT_EQ(store_.Get("Settings/Prompt"), bytes);
    ASSERT_EQ(GetAfresh("Settings/Prompt"), bytes);
  }
}
TEST_F(PreferenceFile, LongTextIsNotCutHere) {
  const std::string text(100000, 'x');
  store_.Set("Settings/Prompt", text);
  EXPECT_EQ(GetAfresh("Settings/Prompt"), text);
}

// --- Files that people have edited

TEST_F(PreferenceFile, HandEditedValuesWithCommasDoNotVanish) {
  WriteFile(path_, "[Settings]\nPrompt=Name, number\nHotKeys=0\nCopyToFolder=/a,b\nEmpty=,\n");
  EXPECT_EQ(store_.Get("Settings/Prompt"), "Name, number");
  EXPECT_EQ(store_.Get("Settings/HotKeys"), "0");
  EXPECT_EQ(store_.Get("Settings/CopyToFolder"), "/a, b");
  store_.Set("Settings/HotKeys", "1");
  EXPECT_EQ(GetAfresh("Settings/Prompt"), "Name, number");
}
TEST_F(PreferenceFile, HandEditedTextInUtf8AndForeignKeysStay) {
  WriteFile(path_, "; mine\n[Settings]\nPrompt=caf\xC3\xA9\n[Other]\nkey=value\n");
  EXPECT_EQ(store_.Get("Settings/Prompt"), "caf\xC3\xA9");
  store_.Set("Settings/HotKeys", "1");
  EXPECT_EQ(GetAfresh("Other/key"), "value");
}
TEST_F(PreferenceFile, StrangeStoredTypesAreReadAsTextOrMissing) {
  WriteFile(path_,
            "[Settings]\na=@Invalid()\nb=@Size(1 "
            "2)\nc=@Variant(\\0\\0\\0\\x2\\0\\0\\0\\x5)\nd=@Variant(junk\ne=@Nonsense(1)\n");
  EXPECT_EQ(store_.Get("Settings/a"), std::nullopt);
  EXPECT_EQ(store_.Get("Settings/b"), std::nullopt);
  EXPECT_EQ(store_.Get("Settings/c"), "5");
  store_.Get("Settings/d");
  EXPECT_EQ(store_.Get("Settings/e"), "@Nonsense(1)");
}
TEST_F(PreferenceFile, AnyBytesAsFileAreNoTrouble) {
  kiv::test::Random random(31);
  for (int round = 0; round < 30; ++round) {
    std::string bytes = round % 2 == 0 ? "[Settings]\nPrompt=" : "";
    for (int i = 0; i < 400; ++i) bytes += static_cast<char>(random.Between(0, 255));
    const std::string path = folder_.File("random " + std::to_string(round) + ".ini");
    WriteFile(path, bytes);
    QtPreferenceStore store(path);
    store.Get("Settings/Prompt");
    store.Set("Settings/HotKeys", "1");
    ASSERT_EQ(store.Get("Settings/HotKeys"), "1");
  }
}
TEST_F(PreferenceFile, FolderPipeAndMissingFolderKeepNothingAndSurvive) {
  ASSERT_EQ(mkfifo(folder_.File("pipe").c_str(), 0600), 0);
  for (const std::string& path :
       {folder_.Path(), folder_.File("pipe"), std::string("/dev/zero"), std::string("/proc/none/x.ini")}) {
    QtPreferenceStore store(path);
    store.Set("Settings/HotKeys", "1");
    EXPECT_EQ(store.Get("Settings/HotKeys"), std::nullopt) << path;
  }
}
TEST_F(PreferenceFile, FullDiskLosesTheSetAndKeepsWhatWasThere) {
  store_.Set("Settings/HotKeys", "1");
  const std::string before = ReadFile(path_);
  rlimit limit;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  const rlimit small = {100, limit.rlim_max};
  auto* const handler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  store_.Set("Settings/Prompt", std::string(1000, 'x'));
  setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(ReadFile(path_), before);
}
TEST_F(PreferenceFile, ChangesOfAnotherProcessAreSeen) {
  store_.Set("Settings/Prompt", "ours");
  const pid_t child = fork();
  if (child == 0) {
    QtPreferenceStore(path_).Set("Settings/HotKeys", "theirs");
    _exit(0);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(store_.Get("Settings/HotKeys"), "theirs");
  EXPECT_EQ(store_.Get("Settings/Prompt"), "ours");
}

// --- Threads

TEST_F(PreferenceFile, ThreadsLoseNoValue) {
  constexpr int kThreads = 4;
  constexpr int kKeys = 10;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this, t] {
      for (int i = 0; i < kKeys; ++i) {
        const std::string key = "Settings/" + std::to_string(t) + "." + std::to_string(i);
        store_.Set(key, key);
        if (store_.Get(key) != key) std::abort();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kKeys; ++i) {
      const std::string key = "Settings/" + std::to_string(t) + "." + std::to_string(i);
      ASSERT_EQ(GetAfresh(key), key);
    }
  }
}

// --- Where it is, and who uses it

TEST_F(PreferenceFile, LivesInTheUsersConfigurationFolder) {
  const char* const before = std::getenv("XDG_CONFIG_HOME");
  const std::string saved = before != nullptr ? before : "";
  setenv("XDG_CONFIG_HOME", folder_.Path().c_str(), 1);
  EXPECT_EQ(QtPreferenceStore().Path(), path_);
  if (before != nullptr) {
    setenv("XDG_CONFIG_HOME", saved.c_str(), 1);
  } else {
    unsetenv("XDG_CONFIG_HOME");
  }
}
TEST_F(PreferenceFile, HoldsTheProgramsPreferences) {
  const kiv::test::ServicesOverride services;
  kiv::services.preferences = &store_;
  LSettingSet<bool>("Settings", "HotKeys", false);
  LSettingSet<std::int32_t>("Settings", "AutoDeleteDays", -7);
  LSettingSetString("Settings", "Prompt", "Name, please");
  EXPECT_EQ(ReadFile(path_), "[Settings]\nAutoDeleteDays=-7\nHotKeys=0\nPrompt=\"Name, please\"\n");
  EXPECT_FALSE(LSettingGet<bool>("Settings", "HotKeys", true));
  EXPECT_EQ(LSettingGet<std::int32_t>("Settings", "AutoDeleteDays", 30), -7);
  char text[kiv::kTextSize];
  LSettingGetString("Settings", "Prompt", "", text);
  EXPECT_STREQ(text, "Name, please");
}

}  // namespace
