// Whole calls with the program as people use it: on a desktop with a window manager, real keys pressed while another
// program has the keyboard, and a sound server whose monitor is the input, so that what is played is recorded. Started
// by scripts/with-desktop and scripts/with-sound.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "audio/wave_file.h"
#include "tests/app/desktop/program_test.h"
#include "tests/app/desktop/windows.h"
#include "tests/support/test_signals.h"

namespace {

using kiv::test::Activate;
using kiv::test::IsActive;
using kiv::test::Key;
using kiv::test::ReadFile;
using kiv::test::RunningProgram;
using kiv::test::Succeeds;
using kiv::test::WaitFor;
using kiv::test::WindowNamed;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class CallOnTheDesktop : public kiv::test::ProgramTest {
 protected:
  CallOnTheDesktop() : other_(KIV_BARE_WINDOW, home_, {KIV_BARE_UI}) { Activate("Bare window"); }

  void StartProgram(const std::vector<std::string>& arguments = {}) {
    program_ = std::make_unique<RunningProgram>(KIV_RECORDER, home_, arguments);
    ASSERT_TRUE(WaitFor([&] { return !WindowNamed("Kiv Recorder").empty() || !program_->IsRunning(); }));
    ASSERT_TRUE(program_->IsRunning()) << program_->Said();
    Activate("Bare window");
  }
  // The program has the file open, as it has what it plays.
  bool HasOpen(const std::string& name) const {
    std::error_code gone;
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(program_->Pid()) + "/fd", gone)) {
      if (std::filesystem::read_symlink(entry.path(), gone).filename() == name) return true;
    }
    return false;
  }
  void OpenPreferences() {
    Activate("Kiv Recorder");
    Key("alt+t");
    Key("p");
    ASSERT_TRUE(WaitFor([] { return !WindowNamed("Preferences").empty(); }));
  }
  void ClosePreferences() {
    Activate("Preferences");
    Key("Escape");
    ASSERT_TRUE(WaitFor([] { return WindowNamed("Preferences").empty(); }));
  }
  RunningProgram other_;
};

TEST_F(CallOnTheDesktop, WithAllOptionsOn) {
  const std::string copies = home_.Path() + "/Shared";
  std::filesystem::create_directory(copies);
  home_.SetPreference("PromptForData", "1");
  home_.SetPreference("Prompt", "Which file");
  home_.SetPreference("CopyRecordings", "1");
  home_.SetPreference("CopyToFolder", copies);
  home_.SetSetting("recordtoneinterval", "0");
  home_.SetSetting("audiohighpass", "100");
  home_.SetSetting("audiogain", "8");
  home_.SetSetting("audiocompressorthres", "-16");
  StartProgram();

  Key("F5");
  Activate("Which file");
  EXPECT_TRUE(Succeeds("xdotool type 'A/4711'"));
  Key("Return");
  WaitForLog("Recording started");
  WaitForRecording(1, 4);
  Activate("Bare window");
  Key("F5");
  WaitForLog("Stopped");
  WaitForLog("Copy to: ");
  WaitForQueue();
  EndProgram();

  const auto recordings = home_.Recordings();
  ASSERT_EQ(recordings.size(), 1U);
  const std::string name = std::filesystem::path(recordings[0]).stem();
  EXPECT_THAT(name, testing::EndsWith(" A4711"));
  EXPECT_EQ(home_.Preference("PromptPrevious"), "A/4711");
  EXPECT_THAT(home_.Log(), ElementsAre("Kiv Recorder Run", "Recording started", "Play start-of-recording prompt",
                                       "Recording " + name, "Stopped", "Play end-of-recording prompt",
                                       "Level Control: " + name, "Copy to: " + copies, "Kiv Recorder Exit"));
  EXPECT_GE(FramesOf(recordings[0]), 4 * 8000);
  EXPECT_EQ(ReadFile(copies + "/" + name + ".wav"), ReadFile(recordings[0]));
  struct stat status {};
  ASSERT_EQ(stat(recordings[0].c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 077, 0U);
  // The account's own mask is 022.
  ASSERT_EQ(stat((copies + "/" + name + ".wav").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, mode_t{0755});
  // The record tone came after three seconds and went through the line into the recording.
  LSoundSource recording = LWaveFile::OpenSource(recordings[0].c_str());
  const auto samples = kiv::test::ReadInPieces(recording, recording->GetEndSample(), {8192});
  std::int32_t loudest = 0;
  for (const std::int32_t sample : samples) loudest = std::max(loudest, std::abs(sample));
  EXPECT_GT(loudest, 20000);
}

TEST_F(CallOnTheDesktop, HoldAndResume) {
  for (const char* name : {"On-Hold 1", "On-Hold 2", "On-Hold 3"}) home_.MakePrompt(name, 60);
  StartProgram();
  Key("F5");
  WaitForRecording(1, 1);
  Key("F8");
  WaitForLog("Play end-of-recording prompt");
  WaitForQueue();
  ASSERT_TRUE(WaitFor([this] { return HasOpen("On-Hold 1.wav"); }));
  Key("F5");
  WaitForLog("Recording 20", 2);
  WaitForRecording(2, 1);
  Key("F7");
  WaitForLog("Play end-of-recording prompt", 2);
  WaitForQueue();
  EndProgram();
  EXPECT_EQ(home_.Recordings().size(), 2U);
  EXPECT_THAT(CallLog(), ElementsAre("Kiv Recorder Run", "Recording started", "Play start-of-recording prompt",
                                     StartsWith("Recording 20"), "Call on-hold", "Play end-of-recording prompt",
                                     "Recording started", "Play start-of-recording prompt", StartsWith("Recording 20"),
                                     "Stopped", "Play end-of-recording prompt", "Kiv Recorder Exit"));
  EXPECT_THAT(home_.SettingsFile(), HasSubstr("holdno=1\r\n"));
}

TEST_F(CallOnTheDesktop, StoppedDuringTheStartPromptIsStillARecording) {
  home_.MakePrompt("Start Prompt", 2);
  StartProgram();
  Key("F5");
  WaitForLog("Play start-of-recording prompt");
  Key("F7");
  WaitForLog("Stopped");
  // The prompt goes on to its end; then a recording begins, sees that it is not wanted, and ends with its prompt.
  WaitForLog("Play end-of-recording prompt");
  WaitForQueue();
  EndProgram();
  EXPECT_THAT(CallLog(),
              ElementsAre("Kiv Recorder Run", "Recording started", "Play start-of-recording prompt", "Stopped",
                          StartsWith("Recording 20"), "Play end-of-recording prompt", "Kiv Recorder Exit"));
  ASSERT_EQ(home_.Recordings().size(), 1U);
  EXPECT_LT(FramesOf(home_.Recordings()[0]), 8000);
}

TEST_F(CallOnTheDesktop, PreferencesEndACallAndSwitchTheKeysOff) {
  StartProgram();
  Key("F5");
  WaitForRecording(1, 1);
  OpenPreferences();
  WaitForLog("1 hour limit reached - autostop");
  WaitForLog("Play end-of-recording prompt");
  Activate("Bare window");
  Key("F5");
  Key("F7");
  ClosePreferences();
  EXPECT_FALSE(home_.HasLogged("Stopped"));
  Activate("Bare window");
  // The keys come back when everything has been stored, which is after the window has gone.
  ASSERT_TRUE(WaitFor([this] {
    Key("F7");
    return home_.HasLogged("Stopped");
  }));
  WaitForQueue();
  EndProgram();
  std::vector<std::string> log = CallLog();
  log.erase(std::unique(log.begin(), log.end()), log.end());
  EXPECT_THAT(log, ElementsAre("Kiv Recorder Run", "Recording started", "Play start-of-recording prompt",
                               StartsWith("Recording 20"), "1 hour limit reached - autostop",
                               "Play end-of-recording prompt", "Stopped", "Kiv Recorder Exit"));
}

TEST_F(CallOnTheDesktop, EndedInTheMiddleIsFinishedAndWorkedOffAtTheNextStart) {
  StartProgram();
  Key("F5");
  WaitForRecording(1, 1);
  program_->Signal(SIGTERM);
  ASSERT_EQ(program_->WaitForEnd(), 0) << program_->Said();
  EXPECT_EQ(home_.Log().back(), "Kiv Recorder Exit");
  const auto recordings = home_.Recordings();
  ASSERT_EQ(recordings.size(), 1U);
  EXPECT_EQ(home_.Queued(), recordings);
  EXPECT_GE(FramesOf(recordings[0]), 8000);
  // Its sizes are the true ones.
  EXPECT_NE(ReadFile(recordings[0]).substr(42, 4), "\xff\xff\xff\xff");

  StartProgram();
  WaitForLog("Level Control: " + std::filesystem::path(recordings[0]).stem().string());
  WaitForQueue();
  EndProgram();
  EXPECT_EQ(home_.Recordings(), recordings);
  EXPECT_GE(FramesOf(recordings[0]), 8000);
}

TEST_F(CallOnTheDesktop, KilledInTheMiddleIsRecoveredAndLevelledAtTheNextStart) {
  // A tone after three seconds, so that there is something to level.
  home_.SetSetting("recordtoneinterval", "0");
  StartProgram();
  Key("F5");
  WaitForRecording(1, 4);
  program_->Signal(SIGKILL);
  ASSERT_EQ(program_->WaitForEnd(), 1000 + SIGKILL);
  const auto recordings = home_.Recordings();
  ASSERT_EQ(recordings.size(), 1U);
  const std::string before = ReadFile(recordings[0]);
  EXPECT_EQ(before.substr(42, 4), "\xff\xff\xff\xff");
  EXPECT_THAT(home_.Queued(), IsEmpty());
  // A second name, under which it stays as it was recorded when the levelled one takes its place.
  const std::string kept = home_.Path() + "/kept.wav";
  std::filesystem::create_hard_link(recordings[0], kept);

  StartProgram();
  const std::string name = std::filesystem::path(recordings[0]).stem().string();
  WaitForLog("Recovered recording: " + name);
  WaitForLog("Level Control: " + name);
  WaitForQueue();
  EndProgram();
  // Every sample that was there, and a header that knows them.
  const std::string recovered = ReadFile(kept);
  const auto frames = static_cast<std::int32_t>((before.size() - 46) / 2);
  EXPECT_TRUE(recovered.substr(46) == before.substr(46));
  EXPECT_EQ(FramesOf(kept), frames);
  EXPECT_NE(recovered.substr(42, 4), "\xff\xff\xff\xff");
  // Levelled in whole blocks of 20 ms.
  EXPECT_EQ(home_.Recordings(), recordings);
  EXPECT_EQ(FramesOf(recordings[0]), (frames + 159) / 160 * 160);
  EXPECT_FALSE(ReadFile(recordings[0]).substr(46) == before.substr(46));
  EXPECT_FALSE(home_.HasLogged("Error: ")) << testing::PrintToString(home_.Log());
}

TEST_F(CallOnTheDesktop, AMissingStartPromptMeansNoRecording) {
  StartProgram();
  std::filesystem::remove(home_.DataPath("Start Prompt.wav"));
  Key("F5");
  WaitForLog("Error: File Missing: ");
  Key("F5");
  WaitForLog("Stopped");
  EndProgram();
  EXPECT_THAT(home_.Recordings(), IsEmpty());
  EXPECT_THAT(home_.Log(), ElementsAre("Kiv Recorder Run", "Recording started", "Play start-of-recording prompt",
                                       "Error: File Missing: " + home_.DataPath("Start Prompt.wav"), "Stopped",
                                       "Kiv Recorder Exit"));
}

TEST_F(CallOnTheDesktop, ClosingThePreferencesOfAFreshAccountStoresTheDefaultsAndTheSurprises) {
  StartProgram();
  OpenPreferences();
  ClosePreferences();
  EndProgram();
  const std::string settings = home_.SettingsFile();
  for (const char* line : {"audiogain=-8", "audiocompressorthres=0", "audiohighpass=0", "startprompt=true",
                           "recordtone=true", "recordtoneinterval=0", "endprompt=true"}) {
    EXPECT_THAT(settings, HasSubstr(std::string(line) + "\r\n"));
  }
  const std::pair<const char*, const char*> preferences[] = {
      {"HotKeys", "1"},        {"PromptForData", "0"},   {"Prompt", "Enter file number"}, {"1HourStop", "1"},
      {"CopyRecordings", "0"}, {"AutoDeleteDays", "30"}, {"AutoLevelControl", "1"},
  };
  for (const auto& [key, value] : preferences) EXPECT_EQ(home_.Preference(key), value) << key;
}

TEST_F(CallOnTheDesktop, PreferencesChangedByKeysAreInTheFiles) {
  StartProgram();
  OpenPreferences();
  Activate("Preferences");
  // A page that has been turned to has the focus nowhere: the tabs get it first.
  Key("alt+t alt+l Tab Tab space");  // Global hot keys.
  Key("alt+t alt+i ctrl+a 2 0");     // The interval of the record tone,
  Key("shift+Tab space");            // and the tone itself.
  Key("alt+n alt+d ctrl+a 7");       // Days.
  Key("alt+u alt+g End");            // Gain.
  Key("alt+h ctrl+a 2 5 0");         // High-pass.
  ClosePreferences();
  EndProgram();
  EXPECT_EQ(home_.Preference("HotKeys"), "0");
  EXPECT_EQ(home_.Preference("AutoDeleteDays"), "7");
  EXPECT_EQ(home_.Preference("PromptForData"), "0");
  const std::string settings = home_.SettingsFile();
  for (const char* line : {"audiogain=8", "audiohighpass=250", "recordtone=false", "recordtoneinterval=20"}) {
    EXPECT_THAT(settings, HasSubstr(std::string(line) + "\r\n"));
  }
}

TEST_F(CallOnTheDesktop, ASecondStartBringsTheWindowToTheFront) {
  StartProgram();
  ASSERT_TRUE(IsActive("Bare window"));
  EXPECT_EQ(RunningProgram(KIV_RECORDER, home_, {}).WaitForEnd(), 0);
  EXPECT_TRUE(WaitFor([] { return IsActive("Kiv Recorder"); }));
  // Also from the task bar, and on a desktop without a session bus.
  const std::string window = WindowNamed("Kiv Recorder");
  ASSERT_TRUE(Succeeds("xdotool windowminimize --sync " + window));
  Activate("Bare window");
  EXPECT_EQ(RunningProgram(KIV_RECORDER, home_, {}, {{"DBUS_SESSION_BUS_ADDRESS", ""}}).WaitForEnd(), 0);
  EXPECT_TRUE(WaitFor([] { return IsActive("Kiv Recorder"); }));
  EndProgram();
}

}  // namespace
