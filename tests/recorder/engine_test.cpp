// Whole calls on the lock-step line: what is logged, what the other end hears and what the files hold, to the frame.

#include "recorder/engine.h"

#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "foundation/dat_file.h"
#include "tests/recorder/engine_fixture.h"

namespace {

using kiv::test::kRate;
using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

using Engine = kiv::test::EngineFixture;

// --- The call

TEST_F(Engine, TypicalCall) {
  Start(RequestedMode::Record);
  EXPECT_EQ(engine->State(), SndStateType::StartPrompt);
  RunTo(900);
  EXPECT_EQ(engine->State(), SndStateType::StartPrompt);
  RunTo(1000);
  EXPECT_EQ(engine->State(), SndStateType::Recording);
  RunTo(40050);
  engine->SetMode(RequestedMode::None);
  EXPECT_THAT(Queued(), IsEmpty());
  RunTo(40100);
  EXPECT_EQ(engine->State(), SndStateType::EndPrompt);
  EXPECT_THAT(QueuedNames(), ElementsAre("2024-01-01 12-00-01"));
  ASSERT_TRUE(RunUntil(SndStateType::Idle));
  EXPECT_EQ(line.line.NowMs(), 41100);

  EXPECT_THAT(Heard(), ElementsAre("Start Prompt 0-1000", "Record Tone 16000-16500", "Record Tone 31000-31500",
                                   "End Prompt 40100-41100"));
  EXPECT_THAT(TimedLogLines(),
              ElementsAre("12:00:00 Play start-of-recording prompt", "12:00:01 Recording 2024-01-01 12-00-01",
                          "12:00:40 Play end-of-recording prompt"));
  EXPECT_THAT(QueuedNames(), ElementsAre("2024-01-01 12-00-01"));
  EXPECT_EQ(Queued()[0], RecordingPath("2024-01-01 12-00-01.wav"));
  EXPECT_EQ(FramesOf(Queued()[0]), 39100 * 8);
  ExpectHoldsTheLine(Queued()[0], input.Captures().at(0));
  // Of the recording only, every 100 ms. The recorder counts its time from the second block on.
  std::vector<std::int32_t> expected(392);
  for (std::size_t i = 0; i < expected.size(); ++i) expected[i] = static_cast<std::int32_t>(i) * 100;
  expected[1] = 0;
  EXPECT_EQ(times, expected);
  EXPECT_GT(levels.size(), times.size());  // Of the prompts, too.
  EXPECT_EQ(disconnects, 0);
  EXPECT_EQ(line.line.OpenDevices(), 0);
}

TEST_F(Engine, HoldAndResumeMakeTwoFiles) {
  Start(RequestedMode::Record);
  RunTo(2050);
  engine->SetMode(RequestedMode::Hold);
  RunTo(2100);
  EXPECT_EQ(engine->State(), SndStateType::EndPrompt);
  RunTo(3100);
  EXPECT_EQ(engine->State(), SndStateType::OnHold);
  RunTo(4550);
  times.clear();
  engine->SetMode(RequestedMode::Record);
  RunTo(4600);
  EXPECT_THAT(times, ElementsAre(500)) << "the time of the music";
  EXPECT_EQ(engine->State(), SndStateType::StartPrompt);
  RunTo(6650);
  EXPECT_EQ(engine->State(), SndStateType::Recording);
  engine->SetMode(RequestedMode::None);
  ASSERT_TRUE(RunUntil(SndStateType::Idle));
  EXPECT_EQ(line.line.NowMs(), 7700);

  EXPECT_THAT(Heard(), ElementsAre("Start Prompt 0-1000", "End Prompt 2100-3100", "On-Hold 1 3100-4100",
                                   "On-Hold 2 4100-4600", "Start Prompt 4600-5600", "End Prompt 6700-7700"));
  EXPECT_THAT(TimedLogLines(),
              ElementsAre("12:00:00 Play start-of-recording prompt", "12:00:01 Recording 2024-01-01 12-00-01",
                          "12:00:02 Play end-of-recording prompt", "12:00:04 Play start-of-recording prompt",
                          "12:00:05 Recording 2024-01-01 12-00-05", "12:00:06 Play end-of-recording prompt"));
  ASSERT_THAT(QueuedNames(), ElementsAre("2024-01-01 12-00-01", "2024-01-01 12-00-05"));
  EXPECT_EQ(FramesOf(Queued()[0]), 1100 * 8);
  EXPECT_EQ(FramesOf(Queued()[1]), 1100 * 8);
  ExpectHoldsTheLine(Queued()[0], input.Captures().at(0));
  ExpectHoldsTheLine(Queued()[1], input.Captures().at(1));
}

TEST_F(Engine, HoldFromRestPlaysOnAndOn) {
  Start(RequestedMode::Hold);
  EXPECT_EQ(engine->State(), SndStateType::OnHold);
  RunTo(3450);
  engine->SetMode(RequestedMode::None);
  ASSERT_TRUE(RunUntil(SndStateType::Idle));
  EXPECT_THAT(Heard(),
              ElementsAre("On-Hold 1 0-1000", "On-Hold 2 1000-2000", "On-Hold 3 2000-3000", "On-Hold 1 3000-3500"));
  EXPECT_THAT(LogLines(), IsEmpty());
  EXPECT_THAT(Queued(), IsEmpty());
}

TEST_F(Engine, EachHoldPlaysTheNextFileAlsoAfterARestart) {
  for (const int next : {1, 2, 0, 1}) {
    Start(RequestedMode::Hold);
    EXPECT_EQ(kiv::GetSetting(kiv::kHoldNumber), next) << "stored before it plays";
    line.line.Run(500);
    engine->SetMode(RequestedMode::None);
    ASSERT_TRUE(RunUntil(SndStateType::Idle));
    MakeEngine();
  }
  EXPECT_THAT(Heard(),
              ElementsAre("On-Hold 1 0-600", "On-Hold 2 600-1200", "On-Hold 3 1200-1800", "On-Hold 1 1800-2400"));
}

TEST_F(Engine, HandEditedHoldNumberIsBroughtIntoRange) {
  for (const std::int32_t stored : {-1, 5, 2}) {
    gSettings.SetLong("settings", "holdno", stored);
    Start(RequestedMode::Hold);
    EXPECT_EQ(kiv::GetSetting(kiv::kHoldNumber), 0);  // Plays the third.
    engine->SndStop();
  }
}

class EnginePrompts : public Engine, public testing::WithParamInterface<std::tuple<bool, bool>> {};
INSTANTIATE_TEST_SUITE_P(OnAndOff, EnginePrompts, testing::Combine(testing::Bool(), testing::Bool()));

TEST_P(EnginePrompts, AreHeardAndLoggedWhenTheyAreOn) {
  const auto [start, end] = GetParam();
  SetPrompts(start, end);
  Start(RequestedMode::Record);
  const std::int64_t begin = start ? 1000 : 0;
  EXPECT_EQ(engine->State(), start ? SndStateType::StartPrompt : SndStateType::Recording);
  RunTo(begin + 2050);
  EXPECT_EQ(engine->State(), SndStateType::Recording);
  engine->SetMode(RequestedMode::None);
  ASSERT_TRUE(RunUntil(SndStateType::Idle));
  EXPECT_EQ(line.line.NowMs(), begin + 2100 + (end ? 1000 : 0));

  std::vector<std::string> heard;
  std::vector<std::string> lines;
  if (start) {
    heard.emplace_back("Start Prompt 0-1000");
    lines.emplace_back("Play start-of-recording prompt");
  }
  lines.emplace_back(start ? "Recording 2024-01-01 12-00-01" : "Recording 2024-01-01 12-00-00");
  if (end) {
    heard.emplace_back(start ? "End Prompt 3100-4100" : "End Prompt 2100-3100");
    lines.emplace_back("Play end-of-recording prompt");
  }
  EXPECT_EQ(Heard(), heard);
  EXPECT_EQ(LogLines(), lines);
  ASSERT_EQ(Queued().size(), 1U);
  EXPECT_EQ(FramesOf(Queued()[0]), 2100 * 8);
  ExpectHoldsTheLine(Queued()[0], input.Captures().at(0));
}

TEST_F(Engine, StoppedDuringTheStartPromptItMakesAnEmptyRecording) {
  Start(RequestedMode::Record);
  RunTo(500);
  engine->SetMode(RequestedMode::None);
  RunTo(1000);
  EXPECT_EQ(engine->State(), SndStateType::EndPrompt);
  ASSERT_TRUE(RunUntil(SndStateType::Idle));
  EXPECT_THAT(Heard(), ElementsAre("Start Prompt 0-1000", "End Prompt 1000-2000"));
  ASSERT_EQ(Queued().size(), 1U);
  EXPECT_EQ(FramesOf(Queued()[0]), 0);
}

TEST_F(Engine, NoEventsWithoutAnEventQueue) {
  engine->SetEventQueue(nullptr);
  SetPrompts(false, false);
  Start(RequestedMode::Record);
  RunTo(1000);
  engine->SndStop();
  line.line.Settle();
  EXPECT_THAT(times, IsEmpty());
  EXPECT_THAT(levels, IsEmpty());
  EXPECT_EQ(Queued().size(), 1U);
}

TEST_F(Engine, LevelsAreReducedToTheLouderOfTwo) {
  LDBMC stereo;
  stereo.channels = 2;
  stereo.level[0] = -20;
  stereo.level[1] = -6;
  LDBMC mono;
  mono.channels = 1;
  mono.level[0] = -33;
  engine->srntfLevel(stereo, 0);
  engine->spntfLevel(LDBMC(), 0);
  engine->spntfLevel(mono, 0);
  line.line.Settle();
  EXPECT_THAT(levels, ElementsAre(-6, -127, -33));
}

// --- Names

TEST_F(Engine, FileNumberBecomesPartOfTheNames) {
  SetPrompts(false, false);
  engine->SetFileNumber("4711");
  Start(RequestedMode::Record);
  RunTo(1000);
  engine->SndStop();
  engine->SetFileNumber("");
  Start(RequestedMode::Record);
  engine->SndStop();
  EXPECT_THAT(QueuedNames(), ElementsAre("2024-01-01 12-00-00 4711", "2024-01-01 12-00-01"));
  EXPECT_THAT(LogLines(), ElementsAre("Recording 2024-01-01 12-00-00 4711", "Recording 2024-01-01 12-00-01"));
}

TEST_F(Engine, TakenNameMovesOnToTheNextFreeSecond) {
  SetPrompts(false, false);
  kiv::test::WriteFile(RecordingPath("2024-01-01 12-00-01.wav"), "precious");
  for (int call = 0; call < 3; ++call) {
    Start(RequestedMode::Record);
    engine->SndStop();
  }
  const std::vector<std::string> names = {"2024-01-01 12-00-00", "2024-01-01 12-00-02", "2024-01-01 12-00-03"};
  EXPECT_EQ(QueuedNames(), names);
  EXPECT_THAT(LogLines(), ElementsAre("Recording " + names[0], "Recording " + names[1], "Recording " + names[2]));
  EXPECT_EQ(kiv::test::ReadFile(RecordingPath("2024-01-01 12-00-01.wav")), "precious");
}

// In the night in which the hour from two to three comes twice.
class EngineInAutumn : public Engine {
 protected:
  EngineInAutumn() : Engine({.lockStep = true, .startUnixMs = 1729989000000}) {
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
  }
};

TEST_F(EngineInAutumn, RepeatedHourOverwritesNothing) {
  SetPrompts(false, false);
  Start(RequestedMode::Record);
  RunTo(1000);
  engine->SndStop();
  line.line.Pass(3599000);
  Start(RequestedMode::Record);
  line.line.Run(500);
  engine->SndStop();
  EXPECT_THAT(QueuedNames(), ElementsAre("2024-10-27 02-30-00", "2024-10-27 02-30-01"));
  EXPECT_EQ(FramesOf(Queued()[0]), kRate);
}

// --- The record tone

class EngineTones : public Engine {
 protected:
  void SetUp() override { SetPrompts(false, false); }
  void SetInterval(const char* text) {
    LDatFileSetValue(DataPath("settings.ini").c_str(), "settings", "recordtoneinterval", text);
  }
  // When the tones of a recording of that length began, in ms of the recording.
  std::vector<std::int64_t> TonesIn(std::int64_t ms) {
    played.clear();
    const std::int64_t begin = line.line.NowMs();
    Start(RequestedMode::Record);
    line.line.Run(ms);
    engine->SndStop();
    std::vector<std::int64_t> tones;
    std::int64_t frames = 0;
    for (const kiv::PlayedSound& sound : played) {
      if (frames % (kRate / 2) == 0 && !sound.samples.empty()) tones.push_back(sound.startNs / 1000000 - begin);
      frames += static_cast<std::int64_t>(sound.samples.size());
    }
    return tones;
  }
};

TEST_F(EngineTones, ComeEveryFifteenSecondsUnlessSetOtherwise) {
  EXPECT_THAT(TonesIn(50000), ElementsAre(15000, 30000, 45000));
}

TEST_F(EngineTones, FirstOneComesAfterThePreviousRecordingsInterval) {
  SetInterval("10");
  MakeEngine();
  EXPECT_THAT(TonesIn(25000), ElementsAre(10000, 20000));
  SetInterval("0");  // Means every three seconds.
  EXPECT_THAT(TonesIn(18000), ElementsAre(10000, 13000, 16000));
  EXPECT_THAT(TonesIn(8000), ElementsAre(3000, 6000));
  SetInterval("1:00");
  EXPECT_THAT(TonesIn(65000), ElementsAre(3000, 63000));
  EXPECT_THAT(TonesIn(65000), ElementsAre(60000));
  SetInterval("2");
  TonesIn(1000);
  EXPECT_THAT(TonesIn(7000), ElementsAre(3000, 6000));
}

TEST_F(EngineTones, SwitchedOffOneStillComesAndSwitchedOnAgainNone) {
  SetInterval("5");
  MakeEngine();
  EXPECT_THAT(TonesIn(7000), ElementsAre(5000));
  kiv::SetSetting(kiv::kRecordTone, false);
  EXPECT_THAT(TonesIn(30000), ElementsAre(5000));
  EXPECT_THAT(TonesIn(30000), IsEmpty());
  kiv::SetSetting(kiv::kRecordTone, true);
  EXPECT_THAT(TonesIn(30000), IsEmpty());
  EXPECT_THAT(TonesIn(7000), ElementsAre(5000));
}

TEST_F(EngineTones, OffWhenTheEngineIsMadeTheFirstRecordingHasNone) {
  kiv::SetSetting(kiv::kRecordTone, false);
  MakeEngine();
  kiv::SetSetting(kiv::kRecordTone, true);
  EXPECT_THAT(TonesIn(30000), IsEmpty());
  EXPECT_THAT(TonesIn(30000), ElementsAre(15000));
}

TEST_F(EngineTones, LongerThanTheIntervalTheToneBeginsAgain) {
  SetInterval("3");
  MakeEngine();
  MakePrompt("Record Tone", 5);
  Start(RequestedMode::Record);
  RunTo(7000);
  engine->SndStop();
  EXPECT_THAT(Heard(), ElementsAre("Record Tone 3000-7000"));  // Begun again at 6000.
  ASSERT_EQ(Queued().size(), 1U);
  ExpectHoldsTheLine(Queued()[0], input.Captures().at(0));
}

// --- What is done to the prompts

class EngineStages : public Engine {
 protected:
  // A prompt with a setting, as it is heard.
  std::vector<std::int16_t> StartPromptWith(const char* key, std::int32_t value) {
    played.clear();
    gSettings.SetLong("settings", key, value);
    Start(RequestedMode::Record);
    line.line.RunUntil([&] { return engine->State() == SndStateType::Recording; }, 5000);
    engine->SndStop();
    gSettings.SetLong("settings", key, 0);
    std::vector<std::int16_t> samples;
    for (const kiv::PlayedSound& sound : played) {
      samples.insert(samples.end(), sound.samples.begin(), sound.samples.end());
    }
    EXPECT_EQ(samples.size(), static_cast<std::size_t>(kRate));
    return samples;
  }
  const std::vector<std::int16_t> plain = std::vector<std::int16_t>(kRate, 1100);
};

TEST_F(EngineStages, GainIsUsedBeyondOneDecibel) {
  for (const std::int32_t unused : {-1, 0, 1}) EXPECT_EQ(StartPromptWith("audiogain", unused), plain);
  EXPECT_EQ(StartPromptWith("audiogain", 6), std::vector<std::int16_t>(kRate, 2194));  // 1100 * 1021 / 512
  EXPECT_LT(StartPromptWith("audiogain", -2).front(), 900);
}

TEST_F(EngineStages, HighPassIsUsedAboveTwentyHertz) {
  EXPECT_EQ(StartPromptWith("audiohighpass", 20), plain);
  // Cutting a prompt off with the slowest filter takes its constant away within the second.
  const std::vector<std::int16_t> filtered = StartPromptWith("audiohighpass", 50);
  EXPECT_EQ(filtered.front(), 1100);
  EXPECT_EQ(filtered.back(), 0);
}

TEST_F(EngineStages, CompressorIsUsedBelowMinusTwoDecibels) {
  EXPECT_EQ(StartPromptWith("audiocompressorthres", -2), plain);
  // What lies below the threshold of -3 dB is raised by 2 dB: 2/3 dB for each dB from the threshold up to 0.
  const std::vector<std::int16_t> raised = StartPromptWith("audiocompressorthres", -3);
  EXPECT_NEAR(raised[kRate / 2], 1100 * 1.2589, 2);
}

// --- What is missing or fails

TEST_F(Engine, MissingStartPromptMeansNoRecording) {
  fs::remove(DataPath("Start Prompt.wav"));
  Start(RequestedMode::Record);
  EXPECT_EQ(engine->State(), SndStateType::Idle);
  EXPECT_EQ(engine->Mode(), RequestedMode::Record) << "the window goes on showing what was asked for";
  EXPECT_THAT(Queued(), IsEmpty());
  EXPECT_THAT(LogLines(),
              ElementsAre("Play start-of-recording prompt", "Error: File Missing: " + DataPath("Start Prompt.wav")));
}

TEST_F(Engine, MissingRecordToneEndsTheRecordingAtTheFirstTone) {
  fs::remove(DataPath("Record Tone.wav"));
  SetPrompts(false, true);
  gSettings.SetLong("settings", "recordtoneinterval", 4);
  MakeEngine();
  Start(RequestedMode::Record);
  ASSERT_TRUE(RunUntil(SndStateType::Idle));
  EXPECT_EQ(line.line.NowMs(), 4000);
  ASSERT_EQ(Queued().size(), 1U);
  EXPECT_EQ(FramesOf(Queued()[0]), 4 * kRate);
  EXPECT_THAT(Heard(), IsEmpty());
  EXPECT_THAT(LogLines(),
              ElementsAre("Recording 2024-01-01 12-00-00", "Error: File Missing: " + DataPath("Record Tone.wav")));
}

TEST_F(Engine, MissingEndPromptEndsTheCall) {
  fs::remove(DataPath("End Prompt.wav"));
  SetPrompts(false, true);
  Start(RequestedMode::Record);
  RunTo(1000);
  engine->SetMode(RequestedMode::None);
  RunTo(1100);
  EXPECT_EQ(engine->State(), SndStateType::Idle);
  EXPECT_EQ(Queued().size(), 1U);
  EXPECT_THAT(LogLines(), ElementsAre("Recording 2024-01-01 12-00-00", "Play end-of-recording prompt",
                                      "Error: File Missing: " + DataPath("End Prompt.wav")));
}

// The fixture looks at the queue's files at each line of the log.
TEST_F(Engine, FileThatIsHandedOverAtOnceIsComplete) {
  fs::remove(DataPath("End Prompt.wav"));
  Start(RequestedMode::Record);
  RunTo(500);
  engine->SetMode(RequestedMode::None);
  ASSERT_TRUE(RunUntil(SndStateType::Idle));
  EXPECT_EQ(Queued().size(), 1U);
  EXPECT_EQ(LogLines().size(), 4U);
}

TEST_F(Engine, MissingMusicEndsTheHold) {
  fs::remove(DataPath("On-Hold 2.wav"));
  Start(RequestedMode::Hold);
  ASSERT_TRUE(RunUntil(SndStateType::Idle));
  EXPECT_THAT(Heard(), ElementsAre("On-Hold 1 0-1000"));
  EXPECT_THAT(LogLines(), ElementsAre("Error: File Missing: " + DataPath("On-Hold 2.wav")));
}

TEST_F(Engine, RefusedInputLeavesNoFileAndEndsTheCall) {
  SetPrompts(false, true);
  line.line.RefuseInput(true);
  Start(RequestedMode::Record);
  line.line.Settle();
  EXPECT_EQ(engine->State(), SndStateType::Idle);
  EXPECT_EQ(engine->Mode(), RequestedMode::None);
  EXPECT_EQ(disconnects, 1);
  EXPECT_THAT(Queued(), IsEmpty());
  EXPECT_TRUE(fs::is_empty(gSettings.recordingsFolder));
  EXPECT_THAT(LogLines(), ElementsAre("Recording 2024-01-01 12-00-00", "Error: Unable to open sound input"));
}

TEST_F(Engine, UnopenableRecordingStopsEverything) {
  SetPrompts(false, true);
  fs::remove(gSettings.recordingsFolder);
  Start(RequestedMode::Record);
  EXPECT_EQ(engine->State(), SndStateType::Idle);
  EXPECT_EQ(engine->Mode(), RequestedMode::Record);
  EXPECT_THAT(Queued(), IsEmpty());
  EXPECT_THAT(LogLines(), ElementsAre("Recording 2024-01-01 12-00-00",
                                      "Error: Unable to open recording: " + RecordingPath("2024-01-01 12-00-00.wav")));
  EXPECT_EQ(disconnects, 0);
}

// Every path in so deep a folder is cut to the folder itself.
TEST_F(Engine, FolderThatIsTooDeepStopsEverything) {
  SetPrompts(false, true);
  std::string deep = gSettings.recordingsFolder;
  while (deep.size() < kiv::kTextSize - 1) {
    const std::size_t left = kiv::kTextSize - 1 - deep.size();
    deep.append("/").append(left < 101 ? std::max<std::size_t>(left, 2) - 1 : 50, 'x');
  }
  fs::create_directories(deep);
  tstrmcpy(gSettings.recordingsFolder, deep.c_str());
  Start(RequestedMode::Record);
  EXPECT_EQ(engine->State(), SndStateType::Idle);
  EXPECT_THAT(Queued(), IsEmpty());
  EXPECT_EQ(LogLines().back(), "Error: Unable to open recording: " + std::string(gSettings.recordingsFolder));
}

TEST_F(Engine, SilentOutputIsSaidOncePerCallAndTheCallGoesOn) {
  line.line.RemoveOutput(0, kiv::SimulatedLine::kForEver);
  for (int call = 0; call < 2; ++call) {
    Start(RequestedMode::Record);
    ASSERT_TRUE(RunUntil(SndStateType::Recording));
    line.line.Run(16000);  // With a tone, which is silent, too.
    engine->SetMode(RequestedMode::None);
    ASSERT_TRUE(RunUntil(SndStateType::Idle));
  }
  EXPECT_THAT(LogLines(), ElementsAre("Play start-of-recording prompt", "Error: Unable to open sound output",
                                      "Recording 2024-01-01 12-00-01", "Play end-of-recording prompt",
                                      "Play start-of-recording prompt", "Error: Unable to open sound output",
                                      "Recording 2024-01-01 12-00-19", "Play end-of-recording prompt"));
  EXPECT_EQ(Queued().size(), 2U);
}

TEST_F(Engine, WriteErrorIsSaidOnceAndTheRecorderGoesOn) {
  SetPrompts(false, false);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit small{46 + 2 * kRate, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  Start(RequestedMode::Record);
  RunTo(3000);
  EXPECT_EQ(engine->State(), SndStateType::Recording);
  EXPECT_EQ(times.back(), 3000);
  engine->SndStop();
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  std::signal(SIGXFSZ, handler);
  EXPECT_THAT(LogLines(), ElementsAre("Recording 2024-01-01 12-00-00",
                                      "Error: Unable to write recording: " + RecordingPath("2024-01-01 12-00-00.wav")));
  ASSERT_EQ(Queued().size(), 1U);
  EXPECT_EQ(fs::file_size(Queued()[0]), small.rlim_cur) << "what could be written is there";
}

TEST_F(Engine, LostInputIsSaidAtTheEndOfTheRecording) {
  SetPrompts(false, false);
  int asked = 0;
  // Twelve seconds without a look at the input, which keeps ten.
  input.beforeRecord = [&] {
    if (++asked == 3) line.line.HoldUpWorker(12000);
  };
  Start(RequestedMode::Record);
  RunTo(13000);
  EXPECT_THAT(LogLines(), ElementsAre("Recording 2024-01-01 12-00-00"));
  engine->SndStop();
  EXPECT_THAT(LogLines(), ElementsAre("Recording 2024-01-01 12-00-00", "Warning: Sound input lost: 2000"));
  ASSERT_EQ(Queued().size(), 1U);
  EXPECT_EQ(FramesOf(Queued()[0]), (13000 - 2000) * 8);
}

// --- Recorder and player stopped otherwise than by the engine

TEST_F(Engine, RecorderStoppedFromOutsideFollowsTheHourPath) {
  Start(RequestedMode::Record);
  RunTo(2000);
  engine->SetMode(RequestedMode::None);
  engine->StopDevices();  // As the preferences and quitting do.
  EXPECT_EQ(Queued().size(), 1U);
  EXPECT_EQ(engine->State(), SndStateType::EndPrompt);
  ASSERT_TRUE(RunUntil(SndStateType::Idle));
  EXPECT_THAT(LogLines(), ElementsAre("Play start-of-recording prompt", "Recording 2024-01-01 12-00-01",
                                      "1 hour limit reached - autostop", "Play end-of-recording prompt"));
  EXPECT_EQ(disconnects, 1);
  EXPECT_EQ(Queued().size(), 1U);
  EXPECT_EQ(FramesOf(Queued()[0]), kRate);
}

TEST_F(Engine, RecorderStoppedFromOutsideWithTheHourStopOffGoesOnInANewFile) {
  kiv::SetSetting(kiv::k1HourStop, false);
  SetPrompts(false, false);
  Start(RequestedMode::Record);
  RunTo(2000);
  engine->StopDevices();
  EXPECT_EQ(engine->State(), SndStateType::Recording);
  RunTo(3000);
  engine->SetMode(RequestedMode::None);
  engine->StopDevices();
  EXPECT_EQ(engine->State(), SndStateType::Idle);
  ASSERT_THAT(QueuedNames(), ElementsAre("2024-01-01 12-00-00", "2024-01-01 12-00-02"));
  ExpectHoldsTheLine(Queued()[0], input.Captures().at(0));
  ExpectHoldsTheLine(Queued()[1], input.Captures().at(1));
  EXPECT_EQ(FramesOf(Queued()[0]) + FramesOf(Queued()[1]), 3 * kRate) << "nothing is missing between the two";
  EXPECT_EQ(disconnects, 0);
}

TEST_F(Engine, RecorderStoppedFromOutsideBeforeItsFirstFrameIsNoDeadInput) {
  kiv::SetSetting(kiv::k1HourStop, false);
  SetPrompts(false, false);
  Start(RequestedMode::Record);
  RunTo(50);
  engine->SetMode(RequestedMode::None);
  engine->StopDevices();
  line.line.Settle();
  EXPECT_EQ(engine->State(), SndStateType::Idle);
  EXPECT_THAT(LogLines(), ElementsAre("Recording 2024-01-01 12-00-00"));
  EXPECT_EQ(disconnects, 0);
  EXPECT_EQ(Queued().size(), 1U);
}

// A stopped prompt counts as one that has ended.
TEST_F(Engine, PlayerStoppedFromOutsideInTheStartPromptMakesAnEmptyRecording) {
  Start(RequestedMode::Record);
  RunTo(500);
  engine->SetMode(RequestedMode::None);
  engine->StopDevices();
  EXPECT_EQ(engine->State(), SndStateType::EndPrompt);
  ASSERT_TRUE(RunUntil(SndStateType::Idle));
  EXPECT_THAT(Heard(), ElementsAre("Start Prompt 0-500", "End Prompt 500-1500"));
  ASSERT_EQ(Queued().size(), 1U);
  EXPECT_EQ(FramesOf(Queued()[0]), 0);
}

TEST_F(Engine, PlayerStoppedFromOutsideOnHoldEndsTheHold) {
  Start(RequestedMode::Hold);
  RunTo(500);
  engine->SetMode(RequestedMode::None);
  engine->StopDevices();
  EXPECT_EQ(engine->State(), SndStateType::Idle);
  line.line.Settle();
  EXPECT_THAT(Heard(), ElementsAre("On-Hold 1 0-500"));
  EXPECT_EQ(kiv::GetSetting(kiv::kHoldNumber), 2) << "the next file was taken before the mode was looked at";
}

TEST_F(Engine, InputThatDiesFollowsTheHourPath) {
  SetPrompts(false, true);
  Start(RequestedMode::Record);
  RunTo(1000);
  line.line.StallInput(1000, kiv::SimulatedLine::kForEver);
  ASSERT_TRUE(RunUntil(SndStateType::EndPrompt));
  EXPECT_EQ(line.line.NowMs(), 4000);
  ASSERT_TRUE(RunUntil(SndStateType::Idle));
  EXPECT_THAT(TimedLogLines(),
              ElementsAre("12:00:00 Recording 2024-01-01 12-00-00", "12:00:04 1 hour limit reached - autostop",
                          "12:00:04 Play end-of-recording prompt"));
  EXPECT_EQ(disconnects, 1);
  ASSERT_EQ(Queued().size(), 1U);
  EXPECT_EQ(FramesOf(Queued()[0]), kRate);
}

TEST_F(Engine, DeadInputEndsTheCallWhenAFileHeldNothing) {
  kiv::SetSetting(kiv::k1HourStop, false);
  SetPrompts(false, true);
  Start(RequestedMode::Record);
  RunTo(1000);
  line.line.StallInput(1000, kiv::SimulatedLine::kForEver);
  ASSERT_TRUE(RunUntil(SndStateType::Idle, 30000));
  line.line.Settle();
  EXPECT_EQ(line.line.NowMs(), 7000);
  EXPECT_EQ(disconnects, 1);
  EXPECT_EQ(engine->Mode(), RequestedMode::None);
  EXPECT_THAT(TimedLogLines(),
              ElementsAre("12:00:00 Recording 2024-01-01 12-00-00", "12:00:04 Recording 2024-01-01 12-00-04",
                          "12:00:07 Error: Sound input stopped"));
  ASSERT_EQ(Queued().size(), 2U);
  EXPECT_EQ(FramesOf(Queued()[0]), kRate);
  EXPECT_EQ(FramesOf(Queued()[1]), 0);
}

TEST_F(Engine, RecordingThatIsOpenWhenTheEngineGoesIsHandedOver) {
  SetPrompts(false, true);
  Start(RequestedMode::Record);
  RunTo(1000);
  engine.reset();
  line.line.Settle();
  ASSERT_EQ(Queued().size(), 1U);
  EXPECT_EQ(FramesOf(Queued()[0]), kRate);
  EXPECT_EQ(line.line.OpenDevices(), 0);
  EXPECT_THAT(LogLines(), ElementsAre("Recording 2024-01-01 12-00-00")) << "nobody listens any more";
}

}  // namespace
