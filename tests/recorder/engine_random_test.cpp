// Random commands at random times with random settings, missing files and faults. KIV_ENGINE_ROUNDS sets the number of
// calls; every one is made again by its number.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>

#include "tests/recorder/engine_fixture.h"

namespace {

namespace fs = std::filesystem;
using kiv::test::kRate;

class EngineRandom : public kiv::test::EngineFixture {
 protected:
  void RandomSettings(kiv::test::Random& random) {
    const auto coin = [&] { return random.Between(0, 1) == 1; };
    kiv::SetSetting(kiv::kStartPrompt, coin());
    kiv::SetSetting(kiv::kEndPrompt, coin());
    kiv::SetSetting(kiv::kRecordTone, coin());
    kiv::SetSetting(kiv::kRecordToneSeconds, random.Between(0, 6));
    kiv::SetSetting(kiv::k1HourStop, coin());
    kiv::SetSetting(kiv::kAudioHighPass, random.Between(0, 300));
    kiv::SetSetting(kiv::kAudioGain, random.Between(-8, 8));
    kiv::SetSetting(kiv::kAudioCompressorThreshold, random.Between(-16, 0));
    for (const char* name : {"Start Prompt", "End Prompt", "Record Tone", "On-Hold 1", "On-Hold 2", "On-Hold 3"}) {
      const std::string path = DataPath(std::string(name) + ".wav");
      if (random.Between(0, 9) == 0) {
        fs::remove(path);
      } else if (!fs::exists(path)) {
        MakePrompt(name, 0.3);
      }
    }
  }

  void RandomCommand(kiv::test::Random& random) {
    switch (random.Between(0, 11)) {
      case 0:
      case 1:
      case 2:
        Command(RequestedMode::Record);
        break;
      case 3:
      case 4:
        Command(RequestedMode::Hold);
        break;
      case 5:
      case 6:
      case 7:
        engine->SetMode(RequestedMode::None);
        break;
      case 8:
        engine->SndStop();
        break;
      case 9:
        engine->SetMode(RequestedMode::None);
        engine->StopDevices();
        break;
      case 10:
        line.line.StallInput(line.line.NowMs() + random.Between(0, 500), random.Between(10, 5000));
        break;
      default:
        line.line.RefuseInput(random.Between(0, 2) == 0);
        break;
    }
  }

  // As the main window does.
  void Command(RequestedMode mode) {
    const bool idle = engine->Mode() == RequestedMode::None;
    engine->SetMode(mode);
    if (idle) engine->SndStart();
  }

  void ComeToRest() {
    line.line.RefuseInput(false);
    engine->SetMode(RequestedMode::None);
    if (!line.line.RunUntil([&] { return engine->State() == SndStateType::Idle; }, 20000)) engine->SndStop();
    line.line.Settle();
  }

  void CheckEverything() {
    EXPECT_EQ(engine->State(), SndStateType::Idle);
    EXPECT_EQ(engine->Mode(), RequestedMode::None);
    EXPECT_EQ(line.line.OpenDevices(), 0);
    const std::vector<std::string> queued = Queued();
    EXPECT_EQ(std::set<std::string>(queued.begin(), queued.end()).size(), queued.size()) << "queued twice";
    std::size_t files = 0;
    for (const auto& entry : fs::directory_iterator(gSettings.recordingsFolder)) {
      ++files;
      EXPECT_EQ(std::ranges::count(queued, entry.path().string()), 1) << entry.path();
      EXPECT_TRUE(IsFinished(entry.path())) << entry.path();
    }
    EXPECT_EQ(files, queued.size());
    const auto lines = LogLines();
    const auto begun =
        std::ranges::count_if(lines, [](const std::string& text) { return text.starts_with("Recording "); });
    const auto refused = std::ranges::count(lines, "Error: Unable to open sound input");
    EXPECT_EQ(begun - refused, static_cast<std::ptrdiff_t>(queued.size()));
  }
};

TEST_F(EngineRandom, EveryFileIsFinishedAndQueuedOnceAndAllComesToRest) {
  const char* const wish = std::getenv("KIV_ENGINE_ROUNDS");
  const int rounds = wish != nullptr ? std::atoi(wish) : 200;
  for (int round = 0; round < rounds && !HasFailure(); ++round) {
    SCOPED_TRACE(round);
    kiv::test::Random random(static_cast<std::uint64_t>(round));
    RandomSettings(random);
    MakeEngine();
    const int commands = random.Between(1, 12);
    for (int i = 0; i < commands; ++i) {
      RandomCommand(random);
      line.line.Run(random.Between(0, 2500));
    }
    ComeToRest();
    CheckEverything();
  }
}

}  // namespace
