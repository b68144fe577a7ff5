// Recorder and player through random sequences of commands, from outside and from inside their notifications, on a
// line with random faults: every run that began ends exactly once, nothing is left open, and what was recorded is what
// was on the line.

#include <algorithm>

#include "tests/devices/line_fixture.h"

namespace kiv::test {
namespace {

class Sequence {
 public:
  explicit Sequence(std::uint64_t seed) : random_(seed), installed_(MakeFunction(NoiseAt)) {
    recorder_.SetNotify(&recorded_, 1);
    player_.SetNotify(&played_, 2);
    const auto meddle = [this](const std::string& entry) {
      if (entry == "stop") ++stops_;
      if (nested_ < 2 && random_.Between(0, 9) == 0) {
        ++nested_;
        Command();
        --nested_;
      }
    };
    recorded_.onEntry = [this, meddle](const std::string& entry) {
      // Before anything else can move the line: the first frame is the one of this moment.
      if (entry == "wait") recordings_[starting_].firstFrame = FramesFromNs(installed_.line.NowNs(), 8000);
      meddle(entry);
    };
    played_.onEntry = meddle;
  }

  std::int64_t RecordedFrames() const { return frames_; }
  int Starts() const { return starts_; }

  void Run() {
    for (int i = 0; i < 30; ++i) Command();
    recorded_.onEntry = nullptr;
    played_.onEntry = nullptr;
    if (recorder_.IsRunning()) ++stops_;
    recorder_.Stop();
    if (player_.IsPlaying()) ++stops_;
    player_.Stop();
    installed_.line.Settle();
    EXPECT_EQ(stops_, starts_);
    EXPECT_EQ(installed_.line.OpenDevices(), 0);
    for (const auto& recording : recordings_) {
      EXPECT_EQ(recording.file->sink->ReferenceCount(), 1);
      const auto& samples = recording.file->sink->Samples();
      frames_ += static_cast<std::int64_t>(samples.size());
      EXPECT_EQ(samples, RecordedNoise(recording.firstFrame, static_cast<std::int64_t>(samples.size())));
    }
  }

 private:
  struct Recording {
    std::unique_ptr<HeldSink> file;
    std::int64_t firstFrame;
  };

  void Command() {
    switch (random_.Between(0, 7)) {
      case 0: {
        recordings_.push_back({std::make_unique<HeldSink>(), 0});
        LSoundSink sink = recordings_.back().file->handle;
        const std::size_t before = starting_;
        starting_ = recordings_.size() - 1;
        ++starts_;
        if (!recorder_.Start(sink, random_.Between(-1, 3000), -127, kNeverPause)) {
          --starts_;
          starting_ = before;
        }
        break;
      }
      case 1:
        recorder_.Stop();
        break;
      case 2: {
        LSoundSource source = OpenMemory(Noise(1, random_.Between(0, 20000), 1, 500000), 8000, 1);
        ++starts_;
        if (!player_.Start(source)) --starts_;
        break;
      }
      case 3:
        player_.Stop();
        break;
      case 4:
        installed_.line.RefuseInput(random_.Between(0, 3) == 0);
        installed_.line.RefuseOutput(random_.Between(0, 3) == 0);
        break;
      case 5:
        installed_.line.StallOutput(installed_.line.NowMs() + random_.Between(0, 500), random_.Between(0, 5000));
        break;
      default:
        // Whole frames and odd moments of line time.
        installed_.line.Run(random_.Between(0, 1500));
        break;
    }
  }

  Random random_;
  std::vector<Recording> recordings_;
  std::size_t starting_ = 0;
  RecorderLog recorded_;
  PlayerLog played_;
  InstalledLine installed_;
  LSoundRecorder recorder_;
  LSoundPlayer player_;
  int starts_ = 0;
  int stops_ = 0;
  int nested_ = 0;
  std::int64_t frames_ = 0;
};

TEST(RandomSequences, EveryRunEndsOnceAndNothingIsLeftOpen) {
  std::int64_t frames = 0;
  int starts = 0;
  for (std::uint64_t seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE(seed);
    Sequence sequence(seed);
    sequence.Run();
    frames += sequence.RecordedFrames();
    starts += sequence.Starts();
    if (testing::Test::HasFailure()) break;
  }
  // The commands were not all refused: minutes of sound and hundreds of runs.
  EXPECT_GT(frames, 120 * 8000);
  EXPECT_GT(starts, 500);
}

}  // namespace
}  // namespace kiv::test
