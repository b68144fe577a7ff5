// Calls on a private sound server whose monitor is the input: what is played to the line is recorded.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <span>
#include <utility>

#include "audio/wave_file.h"
#include "platform/folders.h"
#include "recorder/engine.h"
#include "recorder/engine_events.h"
#include "recorder/setting_keys.h"
#include "recorder/settings.h"
#include "tests/platform/pulse/sound_server_fixture.h"
#include "tests/support/known_noise.h"
#include "tests/support/memory_preferences.h"
#include "tests/support/queued_recordings.h"

namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using kiv::test::FindInNoise;
using kiv::test::ReadFile;
using testing::ElementsAre;

class EngineOnServer : public kiv::test::SoundServerFixture {
 protected:
  void SetUp() override {
    SoundServerFixture::SetUp();
    OpenDevices();
    kiv::services.folders = &account_;
    kiv::services.preferences = &preferences_;
    const auto note = [this](const kiv::Event& event) {
      if (event.Kind() == kiv::kEngineDisconnected) {
        endedByItself = true;
      } else {
        recordedMs = event.Get<LSoundTime>(kiv::kEngineTimeParameter, kiv::kEngineTimeParameter).value();
        if (onTime) std::exchange(onTime, nullptr)();
      }
      return true;
    };
    for (const std::uint32_t kind : {kiv::kEngineTime, kiv::kEngineDisconnected})
      handlers_.push_back(kiv::EventQueue::Main().Install(kiv::kEngineClass, kind, note));
  }
  void TearDown() override {
    engine.reset();
    for (const auto handler : handlers_) kiv::EventQueue::Main().Remove(handler);
  }

  // Makes the call, each time in an account of its own; once more where the machine has stood still for so long that
  // the recorder gave the input up.
  void MakeCall(const std::function<void()>& call, const std::function<bool()>& wasDisturbed) {
    for (int attempt = 1; attempt <= 5; ++attempt) {
      const auto stoodStill = stalls.StoodStill();
      engine.reset();
      account_.home = folder.File("home" + std::to_string(attempt));
      fs::create_directory(account_.home);
      gSettings.Load();
      queue_ = std::make_unique<LALCListThread>();
      queue_->SetListFilePath(ListPath().c_str());
      queue_->Shutdown();
      endedByItself = false;
      recordedMs = 0;
      ASSERT_NO_FATAL_FAILURE(call());
      if (!wasDisturbed()) return;
      ASSERT_GE(stalls.StoodStill() - stoodStill, 20ms) << testing::PrintToString(LogLines());
    }
    FAIL() << testing::PrintToString(LogLines());
  }
  void Start() {
    engine = std::make_unique<LKivEngine>(*queue_);
    engine->SetEventQueue(&kiv::EventQueue::Main());
    engine->SetMode(RequestedMode::Record);
    engine->SndStart();
  }
  void MakePrompt(const std::string& name, double hz) {
    const auto samples = kiv::test::Sine(hz, kAmplitude, kRate, kPromptFrames, 1);
    LSoundSink sink = LWaveFile::OpenSinkPCM((account_.home + "/Kiv/" + name + ".wav").c_str(), kRate, 1, 16, 0);
    sink->Write(samples.data(), kPromptFrames);
  }
  bool RunOn(const std::function<bool()>& done) {
    return RunUntil([&] { return done() || endedByItself; }, kLimit);
  }

  std::string ListPath() const { return account_.home + "/Kiv/bgalc.dat"; }
  std::vector<std::string> Queued() const { return kiv::test::QueuedRecordings(ListPath()); }
  // The log's lines without their times.
  std::vector<std::string> LogLines() const {
    constexpr std::size_t kTimeLength = 9;
    std::string text;
    for (const auto& entry : fs::directory_iterator(account_.home + "/Kiv/Logs")) text += ReadFile(entry.path());
    std::vector<std::string> lines;
    for (std::size_t begin = 0, end; (end = text.find('\r', begin)) != std::string::npos; begin = end + 1) {
      lines.push_back(text.substr(begin + kTimeLength, end - begin - kTimeLength));
    }
    return lines;
  }
  static std::vector<std::int32_t> SamplesOf(const std::string& path) {
    LSoundSource source = LWaveFile::OpenSource(path.c_str());
    EXPECT_EQ(source->Error(), kSourceGood) << path;
    return kiv::test::ReadInPieces(source, source->GetEndSample(), {8192});
  }

  static constexpr double kAmplitude = 200000;
  static constexpr std::int32_t kPromptFrames = kRate / 2;
  std::unique_ptr<LKivEngine> engine;
  bool endedByItself = false;
  std::int32_t recordedMs = 0;
  std::function<void()> onTime;  // Called once.

 private:
  struct Account : kiv::Folders {
    std::optional<std::string> Home() override { return home; }
    std::optional<std::string> Resources() override { return std::nullopt; }
    std::string home;
  };

  Account account_;
  kiv::test::MemoryPreferences preferences_;
  std::unique_ptr<LALCListThread> queue_;
  std::vector<kiv::EventQueue::HandlerId> handlers_;
};
INSTANTIATE_TEST_SUITE_P(Servers, EngineOnServer, testing::Values("pulseaudio", "pipewire"), kiv::test::ServerName);

TEST_P(EngineOnServer, TypicalCall) {
  const auto call = [this] {
    MakePrompt("Start Prompt", 440);
    MakePrompt("End Prompt", 330);
    MakePrompt("Record Tone", 1000);
    gSettings.SetLong("settings", "recordtoneinterval", 3);
    Start();
    EXPECT_EQ(engine->State(), SndStateType::StartPrompt);
    ASSERT_TRUE(RunOn([&] { return engine->State() == SndStateType::Recording; }));
    ASSERT_TRUE(RunOn([&] { return engine->IsPlaying(); })) << "the first tone";
    ASSERT_TRUE(RunOn([&] { return !engine->IsPlaying(); }));
    // What the server still has of it.
    const std::int32_t enough = recordedMs + 500;
    ASSERT_TRUE(RunOn([&] { return recordedMs >= enough; }));
    engine->SetMode(RequestedMode::None);
    ASSERT_TRUE(RunOn([&] { return engine->State() == SndStateType::EndPrompt; }));
    ASSERT_TRUE(RunUntil([&] { return engine->State() == SndStateType::Idle; }, kLimit));
  };
  ASSERT_NO_FATAL_FAILURE(MakeCall(call, [this] { return endedByItself; }));

  ASSERT_EQ(Queued().size(), 1U);
  EXPECT_THAT(LogLines(),
              ElementsAre("Play start-of-recording prompt", "Recording " + fs::path(Queued()[0]).stem().string(),
                          "Play end-of-recording prompt"));
  const std::vector<std::int32_t> samples = SamplesOf(Queued()[0]);
  EXPECT_EQ(samples.size() % (kRate / 10), 0U);
  // The tone, after three seconds of the recording: how exactly a sound comes through the line is tested with the
  // sound system itself, and a busy server may lose a bit of its edges. Early on there may be the end of the start
  // prompt, which a server delivers late.
  std::vector<Stretch> sounds = Stretches(samples);
  std::erase_if(sounds, [](const Stretch& stretch) { return stretch.end < kRate; });
  ASSERT_FALSE(sounds.empty());
  EXPECT_GE(sounds.front().begin, 3U * kRate);
  std::size_t frames = 0;
  double energy = 0;
  for (const Stretch& stretch : sounds) {
    frames += stretch.end - stretch.begin;
    for (std::size_t i = stretch.begin; i < stretch.end; ++i) energy += static_cast<double>(samples[i]) * samples[i];
  }
  EXPECT_GT(frames, kPromptFrames / 2U) << "the tone was heard";
  EXPECT_LT(frames, kPromptFrames * 3U / 2) << "and nothing else";
  EXPECT_NEAR(10 * std::log10(energy / static_cast<double>(frames) / (kAmplitude * kAmplitude / 2)), 0, 0.5);
}

// As after an hour: the recorder is stopped right after a report, and a new file begins.
TEST_P(EngineOnServer, GapBetweenTwoFilesIsMeasured) {
  // Longer than it will be needed, for a machine that stands still in between.
  const std::vector<std::int32_t> noise = kiv::test::Noise(7, 20 * kRate, 1, 200000);
  const auto call = [&] {
    kiv::SetSetting(kiv::k1HourStop, false);
    kiv::SetSetting(kiv::kStartPrompt, false);
    kiv::SetSetting(kiv::kRecordTone, false);
    Start();
    ASSERT_TRUE(RunOn([&] { return recordedMs >= 300; }));
    Play(noise);
    ASSERT_TRUE(RunOn([&] { return recordedMs >= 1500; }));
    onTime = [this] { engine->StopDevices(); };
    ASSERT_TRUE(RunOn([&] { return !Queued().empty(); }));
    recordedMs = 0;
    ASSERT_TRUE(RunOn([&] { return recordedMs >= 500; }));
    engine->SndStop();
    player->Stop();
  };
  ASSERT_NO_FATAL_FAILURE(MakeCall(call, [this] { return LogLines().size() != 2; }));

  ASSERT_EQ(Queued().size(), 2U);
  constexpr std::size_t kPiece = 800;
  const std::vector<std::int32_t> first = SamplesOf(Queued()[0]);
  const std::vector<std::int32_t> second = SamplesOf(Queued()[1]);
  ASSERT_GE(first.size(), kPiece);
  // A stream may begin with a moment of silence.
  ASSERT_GE(second.size(), 4 * kPiece);
  const kiv::test::Place end = FindInNoise(noise, std::span(first).last(kPiece));
  const kiv::test::Place begin = FindInNoise(noise, std::span(second).subspan(3 * kPiece, kPiece));
  EXPECT_GT(end.match, 0.5);
  EXPECT_GT(begin.match, 0.5);
  const double gapMs = static_cast<double>(begin.frame - end.frame - std::int64_t{4 * kPiece}) * 1000 / kRate;
  std::printf("gap between the two files: %.1f ms\n", gapMs);
  RecordProperty("gap_ms", std::to_string(gapMs));
  EXPECT_GE(gapMs, -2.0) << "nothing is recorded twice; resamplers may move it by some frames";
}

}  // namespace
