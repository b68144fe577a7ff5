// Random commands at random times with random settings, missing files and faults. Each call has folders, a line and a
// queue of its own. KIV_ENGINE_ROUNDS sets the number of calls; every one is made again by its number.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <set>

#include "tests/recorder/engine_fixture.h"
#include "tests/support/watched_output.h"

namespace {

namespace fs = std::filesystem;
using kiv::test::Captured;
using kiv::test::kBlock;
using kiv::test::kRate;

// One call. Not run by the framework, which makes one object for each of its tests.
class RandomCall : public kiv::test::EngineFixture {
 public:
  explicit RandomCall(int number) : random_(static_cast<std::uint64_t>(number)), output_(line.line.Output()) {
    kiv::services.soundOutput = &output_;
    output_.opened = [this] { CheckWhatPlays(); };
    input.beforeRecord = [this] {
      if (input.Captures().size() > checkedCaptures_) CheckWhatRecords();
    };
    RandomSettings();
    MakeEngine();
  }
  ~RandomCall() override { engine.reset(); }
  void TestBody() override {}

  void Run() {
    const int commands = random_.Between(1, 12);
    for (int i = 0; i < commands; ++i) {
      RandomCommand();
      line.line.Run(random_.Between(0, 2500));
    }
    ComeToRest();
    CheckTheStory();
    CheckFiles();
  }

  std::size_t Recordings() const { return input.Captures().size(); }
  std::int64_t RecordedFrames() const { return recordedFrames_; }

 private:
  bool Coin() { return random_.Between(0, 1) == 1; }

  void RandomSettings() {
    SetPrompts(Coin(), Coin());
    kiv::SetSetting(kiv::kRecordTone, Coin());
    kiv::SetSetting(kiv::kRecordToneSeconds, random_.Between(0, 6));
    kiv::SetSetting(kiv::k1HourStop, Coin());
    kiv::SetSetting(kiv::kAudioHighPass, random_.Between(0, 300));
    kiv::SetSetting(kiv::kAudioGain, random_.Between(-8, 8));
    kiv::SetSetting(kiv::kAudioCompressorThreshold, random_.Between(-16, 0));
    for (const Prompt& prompt : kPrompts) {
      if (random_.Between(0, 9) == 0) {
        fs::remove(DataPath(std::string(prompt.name) + ".wav"));
      } else {
        // Music without a frame would begin anew for ever in one moment of line time.
        const bool music = std::string(prompt.name).starts_with("On-Hold");
        MakePrompt(prompt.name, random_.Between(music ? 1 : 0, 8) * 0.1);
      }
    }
  }

  void RandomCommand() {
    switch (random_.Between(0, 14)) {
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
        // The preferences.
        engine->SetMode(RequestedMode::None);
        engine->StopDevices();
        break;
      case 10:
        engine->StopDevices();
        break;
      case 11:
        // Quitting, and another start.
        engine->SetMode(RequestedMode::None);
        engine->StopDevices();
        MakeEngine();
        break;
      case 12:
        StallInput(line.line.NowMs() + random_.Between(0, 500), random_.Between(10, 5000));
        break;
      case 13:
        line.line.RemoveOutput(line.line.NowMs() + random_.Between(0, 500), random_.Between(10, 5000));
        break;
      default:
        line.line.RefuseInput(random_.Between(0, 2) == 0);
        break;
    }
  }

  // As the main window does.
  void Command(RequestedMode mode) {
    const bool idle = engine->Mode() == RequestedMode::None;
    engine->SetMode(mode);
    if (idle) engine->SndStart();
  }

  void StallInput(std::int64_t atMs, std::int64_t forMs) {
    line.line.StallInput(atMs, forMs);
    kiv::AddStretch(stalls_, atMs * 1000000, forMs * 1000000);
  }

  void ComeToRest() {
    line.line.RefuseInput(false);
    engine->SetMode(RequestedMode::None);
    EXPECT_TRUE(line.line.RunUntil([&] { return engine->State() == SndStateType::Idle; }, 20000));
    line.line.Settle();
    EXPECT_EQ(engine->State(), SndStateType::Idle);
    EXPECT_EQ(engine->Mode(), RequestedMode::None);
    EXPECT_EQ(line.line.OpenDevices(), 0);
  }

  // The last line that tells what the call has come to, without errors and warnings.
  std::string LastStep() const {
    const std::vector<std::string> lines = TimedLogLines();
    const auto last = std::ranges::find_if(lines.rbegin(), lines.rend(), [](const std::string& text) {
      return !text.substr(9).starts_with("Error: ") && !text.substr(9).starts_with("Warning: ");
    });
    return last == lines.rend() ? "" : *last;
  }
  std::string ClockNow() {
    const std::int64_t seconds = line.line.NowMs() / 1000;
    char text[16];
    std::snprintf(text, sizeof text, "%.2d:%.2d:%.2d ", static_cast<int>(12 + seconds / 3600),
                  static_cast<int>(seconds / 60 % 60), static_cast<int>(seconds % 60));
    return text;
  }

  // On the play thread, whose turn it is.
  void CheckWhatPlays() {
    if (engine == nullptr) return;  // It is going, and stops what it has just begun.
    const std::string step = LastStep();
    switch (engine->State()) {
      case SndStateType::StartPrompt:
        EXPECT_EQ(step, ClockNow() + "Play start-of-recording prompt");
        break;
      case SndStateType::EndPrompt:
        EXPECT_EQ(step, ClockNow() + "Play end-of-recording prompt");
        break;
      case SndStateType::Recording:  // The tone.
        EXPECT_TRUE(step.substr(9).starts_with("Recording ")) << step;
        break;
      case SndStateType::OnHold:  // Of which the log says nothing.
      case SndStateType::Idle:    // Stopped before its first turn.
        break;
    }
  }

  // On the capture thread, whose turn it is: at the second Record of each.
  void CheckWhatRecords() {
    const Captured& capture = input.Captures().back();
    for (std::size_t i = 0; i + 1 < input.Captures().size(); ++i) {
      EXPECT_TRUE(input.Captures()[i].ended) << "two recorders at once";
      EXPECT_LE(input.Captures()[i].to, capture.from);
    }
    checkedCaptures_ = input.Captures().size();
  }

  // One recording after another, in the log, in the queue and on the line.
  void CheckTheStory() {
    const std::vector<std::string> lines = TimedLogLines();
    EXPECT_TRUE(std::ranges::is_sorted(lines, {}, [](const std::string& text) { return text.substr(0, 8); }));
    std::vector<std::string> names;
    for (const std::string& timed : lines) {
      const std::string text = timed.substr(9);
      if (text.starts_with("Recording ")) {
        names.push_back(text.substr(10));
      } else if (text == "Error: Unable to open sound input") {
        ASSERT_FALSE(names.empty());
        names.pop_back();  // It has left no file.
      } else {
        EXPECT_TRUE(text == "Play start-of-recording prompt" || text == "Play end-of-recording prompt" ||
                    text == "1 hour limit reached - autostop" || text == "Error: Sound input stopped" ||
                    text == "Error: Unable to open sound output" || text.starts_with("Error: File Missing: "))
            << text;
      }
    }
    EXPECT_EQ(QueuedNames(), names);
  }

  // Each file is one capture, whole, and was handed over once.
  void CheckFiles() {
    const std::vector<std::string> queued = Queued();
    EXPECT_EQ(std::set<std::string>(queued.begin(), queued.end()).size(), queued.size()) << "handed over twice";
    EXPECT_EQ(std::distance(fs::directory_iterator(gSettings.recordingsFolder), fs::directory_iterator()),
              static_cast<std::ptrdiff_t>(queued.size()));
    ASSERT_EQ(input.Captures().size(), queued.size());
    for (std::size_t i = 0; i < queued.size(); ++i) {
      EXPECT_TRUE(IsFinished(queued[i])) << queued[i];
      ExpectHoldsTheLine(queued[i], input.Captures()[i], stalls_);
      recordedFrames_ += FramesOf(queued[i]);
    }
  }

  kiv::test::Random random_;
  kiv::test::WatchedOutput output_;
  kiv::LineCore::Stretches stalls_;
  std::size_t checkedCaptures_ = 0;
  std::int64_t recordedFrames_ = 0;
};

TEST(EngineRandom, EveryCallIsWholeAndAllComesToRest) {
  const char* const wish = std::getenv("KIV_ENGINE_ROUNDS");
  const int rounds = wish != nullptr ? std::atoi(wish) : 200;
  std::size_t recordings = 0;
  std::int64_t frames = 0;
  for (int round = 0; round < rounds && !testing::Test::HasFailure(); ++round) {
    SCOPED_TRACE(round);
    RandomCall call(round);
    call.Run();
    recordings += call.Recordings();
    frames += call.RecordedFrames();
  }
  std::printf("%d calls, %zu recordings, %.0f s recorded\n", rounds, recordings, static_cast<double>(frames) / kRate);
  // The commands were not all refused.
  if (rounds < 100) return;
  EXPECT_GT(recordings, static_cast<std::size_t>(rounds) / 2);
}

}  // namespace
