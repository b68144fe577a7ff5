// A call in a Wayland session without an X server. The compositor itself is a window of the X desktop of the test, so
// that real keys can be pressed in it; the program knows nothing of that desktop. Started by scripts/with-desktop.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "audio/wave_file.h"
#include "tests/app/desktop/program_test.h"
#include "tests/app/desktop/windows.h"
#include "tests/support/test_signals.h"

namespace {

using kiv::test::IsActive;
using kiv::test::Key;
using kiv::test::RunningProgram;
using kiv::test::WaitFor;
using testing::Contains;
using testing::ElementsAre;
using testing::StartsWith;

constexpr char kSocket[] = "kiv-wayland";

class CallInAWaylandSession : public kiv::test::ProgramTest {
 protected:
  CallInAWaylandSession()
      : compositor_("/usr/bin/env", home_,
                    {"weston", "--backend=x11-backend.so", "--use-pixman", "--shell=kiosk-shell.so", "--idle-time=0",
                     "--no-config", std::string("--socket=") + kSocket}) {
    const auto line = kiv::test::Sine(440, 100000, 8000, 8000, 1);
    LSoundSink sink = LWaveFile::OpenSinkPCM(LinePath().c_str(), 8000, 1, 16, 0);
    sink->Write(line.data(), static_cast<std::int32_t>(line.size()));
  }

  void SetUp() override {
    const std::filesystem::path socket = std::filesystem::path(std::getenv("XDG_RUNTIME_DIR")) / kSocket;
    ASSERT_TRUE(WaitFor([&] { return std::filesystem::is_socket(socket) || !compositor_.IsRunning(); }));
    ASSERT_TRUE(compositor_.IsRunning()) << compositor_.Said();
    ASSERT_TRUE(WaitFor([] { return IsActive("Weston Compositor - screen0"); }));  // As new windows are.
    // No word of which kind of desktop it is: that is for the program to find.
    program_ = std::make_unique<RunningProgram>(
        KIV_RECORDER, home_, std::vector<std::string>{"--line", LinePath()},
        std::map<std::string, std::string>{{"WAYLAND_DISPLAY", kSocket}, {"DISPLAY", ""}, {"QT_QPA_PLATFORM", ""}});
    // Its window has the keyboard as soon as the compositor shows it. F7 may be pressed as often as one likes.
    ASSERT_TRUE(WaitFor([this] {
      Key("F7");
      return home_.HasLogged("Stopped") || !program_->IsRunning();
    }));
    ASSERT_TRUE(program_->IsRunning()) << program_->Said();
  }

  std::string LinePath() const { return home_.Path() + "/line.wav"; }

  RunningProgram compositor_;
};

TEST_F(CallInAWaylandSession, IsRecordedByTheKeysOfTheWindow) {
  Key("F5");
  WaitForRecording(1, 1);
  Key("F7");
  WaitForLog("Play end-of-recording prompt");
  WaitForLog("Level Control: ");
  WaitForQueue();
  EndProgram();
  std::vector<std::string> log = CallLog();
  log.erase(log.begin(), std::find(log.begin(), log.end(), "Recording started"));
  EXPECT_THAT(log, ElementsAre("Recording started", "Play start-of-recording prompt", StartsWith("Recording 20"),
                               "Stopped", "Play end-of-recording prompt", "Kiv Recorder Exit"));
  ASSERT_EQ(home_.Recordings().size(), 1U);
  EXPECT_GE(FramesOf(home_.Recordings()[0]), 8000);
  // Nothing of the missing global keys: they are no fault.
  EXPECT_THAT(home_.Log(), testing::Not(Contains(StartsWith("Warning: Hot key"))));
}

TEST_F(CallInAWaylandSession, HasPreferencesThatEndItAndAreStored) {
  Key("F5");
  WaitForRecording(1, 1);
  Key("alt+p");
  WaitForLog("1 hour limit reached - autostop");
  WaitForLog("Play end-of-recording prompt");
  EXPECT_EQ(home_.Preference("AutoDeleteDays"), "");
  ASSERT_TRUE(WaitFor([this] {
    Key("Escape");
    return home_.Preference("AutoDeleteDays") == "30";
  }));
  EndProgram();
  EXPECT_EQ(home_.Preference("HotKeys"), "1");
}

}  // namespace
