#include "recorder/settings.h"

#include <filesystem>
#include <optional>
#include <utility>

#include "platform/folders.h"
#include "platform/services.h"
#include "recorder/setting_keys.h"
#include "tests/support/recorder_fixture.h"

namespace {

namespace fs = std::filesystem;

class SettingsTest : public kiv::test::RecorderFixture {};

TEST_F(SettingsTest, LoadMakesTheThreeFoldersAndNoFile) {
  EXPECT_EQ(gSettings.dataFolder, home.Path() + "/Kiv");
  EXPECT_EQ(gSettings.recordingsFolder, home.Path() + "/Kiv/Recordings");
  EXPECT_EQ(gSettings.logsFolder, home.Path() + "/Kiv/Logs");
  EXPECT_EQ(gSettings.Path(), home.Path() + "/Kiv/settings.ini");
  EXPECT_TRUE(fs::is_directory(gSettings.dataFolder));
  EXPECT_TRUE(fs::is_directory(gSettings.recordingsFolder));
  EXPECT_TRUE(fs::is_directory(gSettings.logsFolder));
  EXPECT_TRUE(fs::is_empty(gSettings.logsFolder));
  EXPECT_FALSE(fs::exists(gSettings.Path()));
}

TEST_F(SettingsTest, LoadLeavesWhatIsThere) {
  kiv::test::WriteFile(RecordingPath("a.wav"), "x");
  gSettings.Load();
  EXPECT_EQ(kiv::test::ReadFile(RecordingPath("a.wav")), "x");
}

TEST_F(SettingsTest, FreshAccountHasTheDefaults) {
  char text[kiv::kTextSize];
  EXPECT_TRUE(kiv::GetSetting(kiv::kHotKeys));
  EXPECT_FALSE(kiv::GetSetting(kiv::kPromptForData));
  kiv::GetSetting(kiv::kPrompt, text);
  EXPECT_STREQ(text, "Enter file number");
  kiv::GetSetting(kiv::kPromptPrevious, text);
  EXPECT_STREQ(text, "");
  EXPECT_TRUE(kiv::GetSetting(kiv::k1HourStop));
  EXPECT_FALSE(kiv::GetSetting(kiv::kCopyRecordings));
  kiv::GetSetting(kiv::kCopyToFolder, text);
  EXPECT_STREQ(text, "");
  EXPECT_EQ(kiv::GetSetting(kiv::kAutoDeleteDays), 30);
  EXPECT_TRUE(kiv::GetSetting(kiv::kAutoLevelControl));
  EXPECT_TRUE(kiv::GetSetting(kiv::kStartPrompt));
  EXPECT_TRUE(kiv::GetSetting(kiv::kEndPrompt));
  EXPECT_TRUE(kiv::GetSetting(kiv::kRecordTone));
  EXPECT_EQ(kiv::GetSetting(kiv::kRecordToneInterval), 15000);
  EXPECT_EQ(kiv::GetSetting(kiv::kRecordToneSeconds), 0);  // Two readers of one key, two defaults.
  EXPECT_EQ(kiv::GetSetting(kiv::kHoldNumber), 0);
  EXPECT_EQ(kiv::GetSetting(kiv::kAudioHighPass), 0);
  EXPECT_EQ(kiv::GetSetting(kiv::kAudioCompressorThreshold), 0);
  EXPECT_EQ(kiv::GetSetting(kiv::kAudioGain), 0);
  kiv::GetSetting(kiv::kWavImportDir, text);
  EXPECT_STREQ(text, "");
}

TEST_F(SettingsTest, EachStoreKeepsItsOwnFormOfABoolean) {
  kiv::SetSetting(kiv::kHotKeys, false);
  EXPECT_EQ(Preference("HotKeys"), "0");
  kiv::SetSetting(kiv::kHotKeys, true);
  EXPECT_EQ(Preference("HotKeys"), "1");
  char text[kiv::kTextSize];
  kiv::SetSetting(kiv::kStartPrompt, false);
  gSettings.GetValue("settings", "startprompt", "", text);
  EXPECT_STREQ(text, "false");
  kiv::SetSetting(kiv::kStartPrompt, true);
  gSettings.GetValue("settings", "startprompt", "", text);
  EXPECT_STREQ(text, "true");
}

TEST_F(SettingsTest, EveryTypeComesBackFromItsStore) {
  kiv::SetSetting(kiv::kAutoDeleteDays, 7);
  EXPECT_EQ(Preference("AutoDeleteDays"), "7");
  EXPECT_EQ(kiv::GetSetting(kiv::kAutoDeleteDays), 7);
  kiv::SetSetting(kiv::kPrompt, "Who calls?");
  EXPECT_EQ(Preference("Prompt"), "Who calls?");
  kiv::SetSetting(kiv::kAudioGain, -8);
  EXPECT_EQ(kiv::GetSetting(kiv::kAudioGain), -8);
  kiv::SetSetting(kiv::kHoldNumber, 2);
  EXPECT_EQ(kiv::GetSetting(kiv::kHoldNumber), 2);
  kiv::SetSetting(kiv::kWavImportDir, "/music");
  char text[kiv::kTextSize];
  kiv::GetSetting(kiv::kWavImportDir, text);
  EXPECT_STREQ(text, "/music");
}

TEST_F(SettingsTest, ToneIntervalIsATimeToTheEngineAndANumberToThePreferences) {
  gSettings.SetValue("settings", "recordtoneinterval", "1:00");
  EXPECT_EQ(kiv::GetSetting(kiv::kRecordToneInterval), 60000);
  EXPECT_EQ(kiv::GetSetting(kiv::kRecordToneSeconds), 1);
  kiv::SetSetting(kiv::kRecordToneSeconds, 2);
  EXPECT_EQ(kiv::GetSetting(kiv::kRecordToneInterval), 2000);
}

// The names under which every setting is stored, in both stores.
TEST_F(SettingsTest, EveryKeyHasItsNameAndItsStore) {
  for (const auto& [setting, name] : {std::pair{kiv::kHotKeys, "HotKeys"},
                                      {kiv::kPromptForData, "PromptForData"},
                                      {kiv::k1HourStop, "1HourStop"},
                                      {kiv::kCopyRecordings, "CopyRecordings"},
                                      {kiv::kAutoLevelControl, "AutoLevelControl"}}) {
    for (const bool value : {false, true}) {
      kiv::SetSetting(setting, value);
      EXPECT_EQ(Preference(name), value ? "1" : "0") << name;
      EXPECT_EQ(kiv::GetSetting(setting), value) << name;
    }
  }
  for (const auto& [setting, name] : {std::pair{kiv::kPrompt, "Prompt"},
                                      {kiv::kPromptPrevious, "PromptPrevious"},
                                      {kiv::kCopyToFolder, "CopyToFolder"}}) {
    kiv::SetSetting(setting, name);
    EXPECT_EQ(Preference(name), name);
  }
  kiv::SetSetting(kiv::kAutoDeleteDays, -1);
  EXPECT_EQ(Preference("AutoDeleteDays"), "-1");

  char text[kiv::kTextSize];
  for (const auto& [setting, name] : {std::pair{kiv::kStartPrompt, "startprompt"},
                                      {kiv::kEndPrompt, "endprompt"},
                                      {kiv::kRecordTone, "recordtone"}}) {
    for (const bool value : {false, true}) {
      kiv::SetSetting(setting, value);
      gSettings.GetValue("settings", name, "", text);
      EXPECT_STREQ(text, value ? "true" : "false") << name;
      EXPECT_EQ(kiv::GetSetting(setting), value) << name;
    }
  }
  for (const auto& [setting, name] : {std::pair{kiv::kRecordToneSeconds, "recordtoneinterval"},
                                      {kiv::kHoldNumber, "holdno"},
                                      {kiv::kAudioHighPass, "audiohighpass"}}) {
    kiv::SetSetting(setting, 123);
    gSettings.GetValue("settings", name, "", text);
    EXPECT_STREQ(text, "123") << name;
  }
  kiv::SetSetting(kiv::kAudioCompressorThreshold, -16);
  gSettings.GetValue("settings", "audiocompressorthres", "", text);
  EXPECT_STREQ(text, "-16");
  kiv::SetSetting(kiv::kAudioGain, 8);
  gSettings.GetValue("settings", "audiogain", "", text);
  EXPECT_STREQ(text, "8");
  kiv::SetSetting(kiv::kWavImportDir, "/x");
  gSettings.GetValue("settings", "wavimportdir", "", text);
  EXPECT_STREQ(text, "/x");
}

// The dialog shows 0 for a missing interval, and stores what it shows.
TEST_F(SettingsTest, ClosingThePreferencesOnAFreshAccountStoresAToneIntervalOfZero) {
  kiv::SetSetting(kiv::kRecordToneSeconds, kiv::GetSetting(kiv::kRecordToneSeconds));
  char text[kiv::kTextSize];
  gSettings.GetValue("settings", "recordtoneinterval", "", text);
  EXPECT_STREQ(text, "0");
  EXPECT_EQ(kiv::GetSetting(kiv::kRecordToneInterval), 0);
}

TEST_F(SettingsTest, FileEditedByHandIsReadThroughTheKeys) {
  kiv::test::WriteFile(gSettings.Path(),
                       "[Settings]\nAudioGain=5 dB\nstartprompt=no\nrecordtoneinterval=2\nholdno=7\nrecordtone=\n");
  EXPECT_EQ(kiv::GetSetting(kiv::kAudioGain), 5);
  EXPECT_FALSE(kiv::GetSetting(kiv::kStartPrompt));
  EXPECT_FALSE(kiv::GetSetting(kiv::kRecordTone));  // Empty is present, not missing.
  EXPECT_EQ(kiv::GetSetting(kiv::kRecordToneInterval), 2000);
  EXPECT_EQ(kiv::GetSetting(kiv::kHoldNumber), 7);
}

TEST_F(SettingsTest, WithoutAPreferenceStoreDefaultsHold) {
  kiv::services.preferences = nullptr;
  kiv::SetSetting(kiv::kAutoDeleteDays, 5);
  EXPECT_EQ(kiv::GetSetting(kiv::kAutoDeleteDays), 30);
  EXPECT_TRUE(kiv::GetSetting(kiv::kHotKeys));
}

// --- Where the folders are

TEST(Settings, AllTextsAreEmptyBeforeLoad) {
  static constinit const Settings fresh;
  EXPECT_STREQ(fresh.Path(), "");
  EXPECT_STREQ(fresh.dataFolder, "");
  EXPECT_STREQ(fresh.recordingsFolder, "");
  EXPECT_STREQ(fresh.logsFolder, "");
  EXPECT_EQ(sizeof(Settings), 4 * kiv::kTextSize);
}

class HomeAt : public kiv::Folders {
 public:
  explicit HomeAt(std::string home) : home_(std::move(home)) {}
  std::optional<std::string> Home() override { return home_; }
  std::optional<std::string> Resources() override { return std::nullopt; }

 private:
  std::string home_;
};

TEST_F(SettingsTest, FoldersThatCannotBeMadeAreStillNamed) {
  HomeAt missing(home.File("missing/home"));
  kiv::services.folders = &missing;
  Settings settings;
  settings.Load();
  EXPECT_EQ(settings.logsFolder, home.File("missing/home/Kiv/Logs"));
  EXPECT_FALSE(fs::exists(settings.logsFolder));
}

TEST_F(SettingsTest, PathsOfALongHomeAreCut) {
  std::string longHome(255, 'h');
  longHome[0] = '/';
  HomeAt folders(longHome);
  kiv::services.folders = &folders;
  Settings settings;
  settings.Load();
  EXPECT_EQ(std::string(settings.dataFolder), longHome + "/Kiv");
  EXPECT_EQ(std::string(settings.Path()), longHome + "/Kiv");
  EXPECT_EQ(std::string(settings.logsFolder), longHome + "/Kiv");
}

// --- Sliders

TEST(Sliders, ShowTheValueOverTheirWholeLength) {
  EXPECT_EQ(kiv::SliderFromGain(0), 50);
  EXPECT_EQ(kiv::SliderFromGain(-8), 0);
  EXPECT_EQ(kiv::SliderFromGain(8), 100);
  EXPECT_EQ(kiv::SliderFromGain(1), 56);
  EXPECT_EQ(kiv::SliderFromGain(-1), 43);
  EXPECT_EQ(kiv::SliderFromGain(-127), 0);
  EXPECT_EQ(kiv::SliderFromGain(127), 100);
  EXPECT_EQ(kiv::SliderFromCompressorThreshold(0), 100);
  EXPECT_EQ(kiv::SliderFromCompressorThreshold(-16), 0);
  EXPECT_EQ(kiv::SliderFromCompressorThreshold(-3), 81);
  EXPECT_EQ(kiv::SliderFromCompressorThreshold(-17), 0);
}

TEST(Sliders, StoreOnlyTheirTwoEnds) {
  for (int position = 0; position < 100; ++position) {
    EXPECT_EQ(kiv::GainFromSlider(position), -8);
    EXPECT_EQ(kiv::CompressorThresholdFromSlider(position), -16);
  }
  EXPECT_EQ(kiv::GainFromSlider(100), 8);
  EXPECT_EQ(kiv::CompressorThresholdFromSlider(100), 0);
}

TEST(Sliders, PositionsOffTheSliderAreClamped) {
  for (const int position : {101, 200, INT32_MAX}) {
    EXPECT_EQ(kiv::GainFromSlider(position), 8);
    EXPECT_EQ(kiv::CompressorThresholdFromSlider(position), 0);
  }
  for (const int position : {-1, -100, INT32_MIN}) {
    EXPECT_EQ(kiv::GainFromSlider(position), -8);
    EXPECT_EQ(kiv::CompressorThresholdFromSlider(position), -16);
  }
}

}  // namespace
