// An hour's call on a fast line, with the program on a desktop: it ends by itself, and nothing of it is lost.

#include <gtest/gtest.h>

#include <cstdlib>

#include "audio/wave_file.h"
#include "tests/app/running_program.h"
#include "tests/support/test_signals.h"

namespace {

TEST(HourOnTheFastLine, EndsByItselfAndIsComplete) {
  constexpr std::int32_t kHourFrames = 3600 * 8000;
  constexpr std::int32_t kBlockFrames = 800;
  kiv::test::HomeFolder home;
  home.SetPreference("AutoLevelControl", "0");
  const std::string line = home.Path() + "/line.wav";
  {
    const auto samples = kiv::test::Sine(500, 100000, 8000, 80000, 1);
    LSoundSink sink = LWaveFile::OpenSinkPCM(line.c_str(), 8000, 1, 16, 0);
    sink->Write(samples.data(), 80000);
  }
  kiv::test::RunningProgram program(KIV_RECORDER, home, {"--line", line, "--line-speed", "120"});
  ASSERT_TRUE(kiv::test::WaitFor([] {
    return std::system("timeout 20 xdotool search --onlyvisible --name '^Kiv Recorder$' >/dev/null 2>&1") == 0;
  }));
  ASSERT_EQ(std::system("timeout 20 xdotool key F5"), 0);
  ASSERT_TRUE(kiv::test::WaitFor([&] { return home.HasLogged("1 hour limit reached - autostop"); }, 600000))
      << testing::PrintToString(home.Log());
  ASSERT_TRUE(kiv::test::WaitFor([&] { return home.HasLogged("Play end-of-recording prompt"); }));
  ASSERT_TRUE(kiv::test::WaitFor([&] { return kiv::test::ReadFile(home.DataPath("bgalc.dat")).empty(); }));
  program.Signal(SIGTERM);
  EXPECT_EQ(program.WaitForEnd(), 0) << program.Said();
  ASSERT_EQ(home.Recordings().size(), 1U);
  const LSoundSource recording = LWaveFile::OpenSource(home.Recordings()[0].c_str());
  ASSERT_EQ(recording->Error(), kSourceGood);
  EXPECT_GE(recording->GetEndSample(), kHourFrames);
  EXPECT_LE(recording->GetEndSample(), kHourFrames + kBlockFrames);
  EXPECT_FALSE(home.HasLogged("Warning: ")) << testing::PrintToString(home.Log());
  EXPECT_FALSE(home.HasLogged("Error: ")) << testing::PrintToString(home.Log());
}

}  // namespace
