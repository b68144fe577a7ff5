// Calls in a row with the program on a desktop and a sound server, for hours. The line carries a sequence of bits in
// which each follows from those before it, so that a frame which is lost or doubled shows in the recording, and the
// recorder's removal of a constant offset does not. Started by scripts/soak calls.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "audio/wave_file.h"
#include "tests/app/running_program.h"
#include "tests/support/test_signals.h"

namespace {

using kiv::test::HomeFolder;
using kiv::test::RunningProgram;
using kiv::test::WaitFor;

constexpr int kCallLimitMs = 120000;
constexpr std::int16_t kAmplitude = 8000;

// The longest sequence of a shift register of 31 bits, which comes back after three days. It begins far from the place
// where the register is nearly empty: hundreds of equal bits in a row are an offset there, which the recorder removes.
class BitSequence {
 public:
  // The bit that follows those that were pushed.
  bool Next() const { return ((bits_ >> 27 ^ bits_ >> 30) & 1) != 0; }
  void Push(bool bit) {
    bits_ = (bits_ << 1 | (bit ? 1U : 0U)) & 0x7fffffff;
    ++known_;
  }
  void Forget() { known_ = 0; }
  bool IsKnown() const { return known_ >= 31; }

 private:
  std::uint32_t bits_ = 0x2545f491;
  std::int64_t known_ = 0;
};

// The sequence, played to the line until the end.
class SequenceLine {
 public:
  SequenceLine()
      : pipe_(popen("exec pacat --playback --raw --device=line --rate=8000 --channels=1 --format=s16le "
                    "--latency-msec=10000 --client-name=line",
                    "w")),
        thread_([this] { Run(); }) {}
  ~SequenceLine() {
    stop_ = true;
    thread_.join();
    if (pipe_ != nullptr) pclose(pipe_);
  }
  SequenceLine(const SequenceLine&) = delete;
  SequenceLine& operator=(const SequenceLine&) = delete;
  bool IsRunning() const { return pipe_ != nullptr && !failed_; }

 private:
  void Run() {
    std::array<std::int16_t, 800> block{};
    BitSequence sequence;
    while (!stop_ && !failed_) {
      for (std::int16_t& sample : block) {
        const bool bit = sequence.Next();
        sequence.Push(bit);
        sample = bit ? kAmplitude : static_cast<std::int16_t>(-kAmplitude);
      }
      failed_ = pipe_ == nullptr || fwrite(block.data(), sizeof block[0], block.size(), pipe_) != block.size();
    }
  }

  FILE* pipe_;
  std::atomic<bool> stop_{false};
  std::atomic<bool> failed_{false};
  std::thread thread_;
};

struct Continuity {
  std::int32_t frames = 0;
  int breaks = 0;    // Places where the sequence does not go on.
  int silences = 0;  // Places where the line itself was silent for a while, since its source was late.
};

Continuity ContinuityOf(const std::string& path) {
  LSoundSource source = LWaveFile::OpenSource(path.c_str());
  Continuity result;
  EXPECT_EQ(source->Error(), kSourceGood) << path;
  result.frames = source->GetEndSample();
  BitSequence sequence;
  bool silent = false;
  std::int64_t frame = 0;
  std::int64_t lastSilent = -1;
  for (const std::int32_t sample : kiv::test::ReadInPieces(source, result.frames, {8192})) {
    const bool wasSilent = silent;
    silent = std::abs(sample) < kAmplitude * 16 / 4;
    if (silent) {
      if (!wasSilent) ++result.silences;
      lastSilent = frame++;
      continue;
    }
    const bool bit = sample > 0;
    if (sequence.IsKnown() && bit != sequence.Next()) {
      ++result.breaks;
      sequence.Forget();
      std::printf("  %s: broken at frame %lld; the line was last silent at %lld\n", path.c_str(),
                  static_cast<long long>(frame), static_cast<long long>(lastSilent));
    }
    sequence.Push(bit);
    ++frame;
  }
  return result;
}

// What stands in the test's way is seen here and not after hours.
TEST(ContinuityOfRecording, SeesALostAndADoubledFrame) {
  const kiv::test::TemporaryFolder folder;
  const auto breaksOf = [&](std::size_t lost, std::size_t doubled) {
    std::vector<std::int32_t> samples;
    BitSequence sequence;
    for (std::size_t i = 0; i < 8000; ++i) {
      const bool bit = sequence.Next();
      sequence.Push(bit);
      if (i != lost) samples.push_back((bit ? kAmplitude : -kAmplitude) * 16);
      if (i == doubled) samples.push_back(samples.back());
    }
    const std::string path = folder.File("sequence.wav");
    LSoundSink sink = LWaveFile::OpenSinkPCM(path.c_str(), 8000, 1, 16, 0);
    sink->Write(samples.data(), static_cast<std::int32_t>(samples.size()));
    sink.Close();
    return ContinuityOf(path).breaks;
  };
  constexpr std::size_t kNone = 8000;
  EXPECT_EQ(breaksOf(kNone, kNone), 0);
  EXPECT_GE(breaksOf(4000, kNone), 1);
  EXPECT_GE(breaksOf(kNone, 4000), 1);
}

struct Sample {
  long residentKb = 0;
  long threads = 0;
  long descriptors = 0;
};

Sample SampleOf(pid_t pid) {
  Sample sample;
  const std::string folder = "/proc/" + std::to_string(pid);
  std::ifstream status(folder + "/status");
  for (std::string word; status >> word;) {
    if (word == "VmRSS:") status >> sample.residentKb;
    if (word == "Threads:") status >> sample.threads;
  }
  std::error_code gone;
  const std::filesystem::directory_iterator descriptors(folder + "/fd", gone);
  sample.descriptors = std::distance(begin(descriptors), end(descriptors));
  return sample;
}

class CallsForHours : public testing::Test {
 protected:
  CallsForHours() {
    for (const char* name : {"On-Hold 1", "On-Hold 2", "On-Hold 3"}) home_.MakePrompt(name, 5);
  }
  ~CallsForHours() override {
    for (const std::string& path : untouched_) std::filesystem::remove(path);
  }

  static void Key(const std::string& key) {
    ASSERT_EQ(std::system(("timeout 20 xdotool key " + key + " >/dev/null 2>&1").c_str()), 0);
  }
  void WaitForNew(const std::string& begin, int count = 1) {
    ASSERT_TRUE(WaitFor(
        [&] {
          const auto lines = NewLines();
          return std::count_if(lines.begin(), lines.end(),
                               [&](const std::string& line) { return line.starts_with(begin); }) >= count;
        },
        kCallLimitMs))
        << begin << " is not in " << testing::PrintToString(NewLines());
  }
  // What was logged since the call began.
  std::vector<std::string> NewLines() const {
    auto lines = home_.Log();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(std::min(linesBefore_, lines.size())));
    return lines;
  }
  // Waits for the count-th recording of this call, gives it a second name, under which it stays as it was recorded when
  // the levelled one takes its place, and waits until it is that long.
  void Record(std::size_t count, int seconds) {
    WaitForNew("Recording 20", static_cast<int>(count));
    ASSERT_TRUE(WaitFor([&] { return home_.Recordings().size() == count; }));
    const std::string path = home_.Recordings().back();
    untouched_.push_back(home_.Path() + "/untouched-" + std::to_string(count) + ".wav");
    std::filesystem::create_hard_link(path, untouched_.back());
    ASSERT_TRUE(
        WaitFor([&] { return std::filesystem::file_size(path) >= static_cast<std::uintmax_t>(seconds) * 16000; },
                kCallLimitMs));
  }
  // One call; with a hold in the middle or without.
  void Call(int seconds, bool hold, Continuity& total) {
    linesBefore_ = home_.Log().size();
    Key("F5");
    Record(1, seconds);
    if (hold) {
      Key("F8");
      WaitForNew("Play end-of-recording prompt");
      WaitForNew("Level Control: ");
      Key("F5");
      Record(2, seconds);
    }
    Key("F7");
    const int recordings = hold ? 2 : 1;
    WaitForNew("Level Control: ", recordings);
    WaitForNew("Play end-of-recording prompt", recordings);
    ASSERT_TRUE(WaitFor([&] { return kiv::test::ReadFile(home_.DataPath("bgalc.dat")).empty(); }, kCallLimitMs));

    const auto paths = home_.Recordings();
    ASSERT_EQ(paths.size(), untouched_.size());
    std::vector<std::string> expected = {"Recording started", "Play start-of-recording prompt",
                                         "Recording " + Name(paths[0])};
    if (hold) {
      for (const std::string& line :
           {std::string("Call on-hold"), std::string("Play end-of-recording prompt"), std::string("Recording started"),
            std::string("Play start-of-recording prompt"), "Recording " + Name(paths[1])}) {
        expected.push_back(line);
      }
    }
    expected.insert(expected.end(), {"Stopped", "Play end-of-recording prompt"});
    std::vector<std::string> calls = NewLines();
    std::vector<std::string> levelled;
    std::erase_if(calls, [&](const std::string& line) {
      if (!line.starts_with("Level Control: ")) return false;
      levelled.push_back(line);
      return true;
    });
    EXPECT_EQ(calls, expected);
    for (std::size_t i = 0; i < paths.size(); ++i) {
      EXPECT_EQ(levelled.at(i), "Level Control: " + Name(paths[i]));
      const Continuity one = ContinuityOf(untouched_[i]);
      EXPECT_EQ(LWaveFile::OpenSource(paths[i].c_str())->GetEndSample(), one.frames);
      EXPECT_GE(one.frames, seconds * 8000);
      total.frames += one.frames / 8000;
      total.breaks += one.breaks;
      total.silences += one.silences;
      std::filesystem::remove(paths[i]);
      std::filesystem::remove(untouched_[i]);
    }
    untouched_.clear();
  }
  static std::string Name(const std::string& path) { return std::filesystem::path(path).stem().string(); }

  HomeFolder home_;
  std::size_t linesBefore_ = 0;
  std::vector<std::string> untouched_;
};

TEST_F(CallsForHours, LoseNoFrameAndNoMemory) {
  using Clock = std::chrono::steady_clock;
  const char* const wanted = std::getenv("KIV_SOAK_SECONDS");
  const auto end = Clock::now() + std::chrono::seconds(wanted != nullptr ? std::atol(wanted) : 7200);
  // What is played goes elsewhere: the line carries the sequence and nothing else.
  ASSERT_EQ(std::system("timeout 20 pactl set-default-sink spare"), 0);
  const SequenceLine line;
  RunningProgram program(KIV_RECORDER, home_, {});
  ASSERT_TRUE(WaitFor([] {
    return std::system("timeout 20 xdotool search --onlyvisible --name '^Kiv Recorder$' >/dev/null 2>&1") == 0;
  })) << program.Said();

  // By then every icon has been drawn and every library's memory been used once.
  constexpr int kWarmUpCalls = 10;
  Sample first;
  Sample last;
  Continuity total;
  int calls = 0;
  const auto begin = Clock::now();
  std::printf("%8s %6s %10s %8s %12s %10s %7s %11s\n", "minutes", "calls", "resident", "threads", "descriptors",
              "recorded", "breaks", "line silent");
  while (Clock::now() < end && !HasFailure()) {
    ASSERT_NO_FATAL_FAILURE(Call(8 + calls * 7 % 23, calls % 3 == 2, total));
    ASSERT_TRUE(program.IsRunning()) << program.Said();
    ASSERT_TRUE(line.IsRunning());
    ++calls;
    // Until the end prompt is over and its device closed, and as people do between two calls.
    std::this_thread::sleep_for(std::chrono::seconds(3));
    last = SampleOf(program.Pid());
    if (calls == kWarmUpCalls) first = last;
    const double minutes = std::chrono::duration<double>(Clock::now() - begin).count() / 60;
    std::printf("%8.1f %6d %7ld KB %8ld %12ld %8d s %7d %11d\n", minutes, calls, last.residentKb, last.threads,
                last.descriptors, total.frames, total.breaks, total.silences);
    std::fflush(stdout);
    EXPECT_EQ(total.breaks, 0);
  }
  program.Signal(SIGTERM);
  EXPECT_EQ(program.WaitForEnd(), 0) << program.Said();
  EXPECT_EQ(home_.Log().back(), "Kiv Recorder Exit");
  EXPECT_EQ(program.Said(), "");
  ASSERT_GT(calls, kWarmUpCalls);
  EXPECT_EQ(last.threads, first.threads);
  EXPECT_EQ(last.descriptors, first.descriptors);
  // The window keeps the lines of its log. A leak of one block of samples a call would be more.
  const long allowedKb = 1024 + calls * 2L;
  EXPECT_LE(last.residentKb, first.residentKb + allowedKb);
}

}  // namespace
