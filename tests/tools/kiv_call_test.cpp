// The program as people run it. In lock-step the same script gives the same trace, to the last character.

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "audio/wave_file.h"
#include "tests/tools/run_program.h"

namespace {

namespace fs = std::filesystem;
using kiv::test::Outcome;
using kiv::test::ReadFile;
using kiv::test::TemporaryFolder;
using kiv::test::WriteFile;
using testing::HasSubstr;

class KivCall : public testing::Test {
 protected:
  KivCall() {
    setenv("TZ", "UTC0", 1);
    // Without system prompts, in place of which there are tones of known lengths.
    fs::create_directory(folder.File("resources"));
    setenv("KIV_RESOURCES", folder.File("resources").c_str(), 1);
  }

  Outcome Run(std::vector<std::string> arguments) const {
    return RunProgram(KIV_CALL, folder, std::move(arguments), {});
  }
  Outcome Script(const std::string& script, std::vector<std::string> arguments = {}) const {
    WriteFile(folder.File("script"), script);
    arguments.push_back(folder.File("script"));
    return Run(std::move(arguments));
  }
  std::string Recording(const std::string& name) const { return folder.File("home/Kiv/Recordings/" + name + ".wav"); }
  static std::int32_t FramesOf(const std::string& path) {
    const LSoundSource source = LWaveFile::OpenSource(path.c_str());
    EXPECT_EQ(source->Error(), kSourceGood) << path;
    return source->GetEndSample();
  }

  TemporaryFolder folder;
};

TEST_F(KivCall, TypicalCallGivesThisTrace) {
  const Outcome run = Script(
      "record             # with its announcement\n"
      "wait-for recording\n"
      "20.05 stop\n"
      "wait-for idle\n");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out,
            "     0.000  command  record\n"
            "     0.000  log      12:00:00 Play start-of-recording prompt\n"
            "     0.000  state    start-prompt\n"
            "     0.000  command  wait-for recording\n"
            "     1.000  log      12:00:01 Recording 2024-01-01 12-00-01\n"
            "     1.000  state    recording\n"
            "    20.050  command  stop\n"
            "    20.050  command  wait-for idle\n"
            "    20.100  log      12:00:20 Play end-of-recording prompt\n"
            "    20.100  state    end-prompt\n"
            "    21.100  state    idle\n"
            "     0.000  heard    to 1.000, peak -2 dB\n"
            "    16.000  heard    to 16.500, peak -2 dB\n"
            "    20.100  heard    to 21.100, peak -2 dB\n"
            "    19.100  file     2024-01-01 12-00-01.wav, 8000 Hz, mono, peak 0 dB, queued\n");
}

TEST_F(KivCall, HoldResumeSettingsAndFileNumberGiveThisTrace) {
  const Outcome run = Script(
      "set startprompt off\n"
      "set recordtoneinterval 4\n"
      "set endprompt off\n"
      "number 4711\n"
      "record\n"
      "5 hold\n"
      "12 number\n"
      "record\n"
      "wait 1\n"
      "stop-now\n");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out,
            "     0.000  command  set startprompt off\n"
            "     0.000  command  set recordtoneinterval 4\n"
            "     0.000  command  set endprompt off\n"
            "     0.000  command  number 4711\n"
            "     0.000  command  record\n"
            "     0.000  log      12:00:00 Recording 2024-01-01 12-00-00 4711\n"
            "     0.000  state    recording\n"
            "     5.000  command  hold\n"
            "     5.100  state    on-hold\n"
            "    12.000  command  number\n"
            "    12.000  command  record\n"
            "    12.000  command  wait 1\n"
            "    12.100  log      12:00:12 Recording 2024-01-01 12-00-12\n"
            "    12.100  state    recording\n"
            "    13.000  command  stop-now\n"
            "    13.000  state    idle\n"
            "     4.000  heard    to 4.500, peak -2 dB\n"
            "     5.100  heard    to 8.100, peak -2 dB\n"
            "     8.100  heard    to 11.100, peak -2 dB\n"
            "    11.100  heard    to 12.100, peak -2 dB\n"
            "     5.100  file     2024-01-01 12-00-00 4711.wav, 8000 Hz, mono, peak 0 dB, queued\n"
            "     0.900  file     2024-01-01 12-00-12.wav, 8000 Hz, mono, peak 0 dB, queued\n");
}

TEST_F(KivCall, StopOfTheDevicesAndAnInputThatIsRefused) {
  const Outcome run = Script(
      "set startprompt off\n"
      "set endprompt off\n"
      "record\n"
      "wait 2\n"
      "stop-devices\n"
      "refuse-input on\n"
      "record\n");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("     2.000  command  stop-devices\n"
                                 "     2.000  log      12:00:02 1 hour limit reached - autostop\n"
                                 "     2.000  state    idle\n"
                                 "     2.000  command  refuse-input on\n"
                                 "     2.000  command  record\n"
                                 "     2.000  log      12:00:02 Recording 2024-01-01 12-00-02\n"
                                 "     2.000  log      12:00:02 Error: Unable to open sound input\n"));
}

TEST_F(KivCall, MissingPromptSilentOutputAndStalledInputAreTold) {
  const Outcome run = Script(
      "set recordtone off\n"
      "remove End Prompt\n"
      "silence-output 5\n"
      "record\n"
      "wait-for recording\n"
      "stall-input 60\n"
      "wait-for idle 10\n");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("log      12:00:00 Error: Unable to open sound output\n"));
  EXPECT_THAT(run.out, HasSubstr("     4.000  log      12:00:04 1 hour limit reached - autostop\n"));
  EXPECT_THAT(run.out, testing::ContainsRegex("log      12:00:04 Error: File Missing: [^\n]*/End Prompt.wav\n"));
  EXPECT_THAT(run.out, HasSubstr("event    ended by itself\n"));
}

TEST_F(KivCall, ReportsOfTimeAndLevelArePrintedOnDemand) {
  const Outcome run = Script("set startprompt off\nrecord\nwait 0.35\nstop-now\n", {"--reports"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("     0.300  time     0.300\n     0.300  level    "));
}

TEST_F(KivCall, SameScriptGivesTheSameFiles) {
  std::string first[3];
  for (int time = 0; time < 2; ++time) {
    fs::remove_all(folder.File("home"));
    const Outcome run = Script("record\n10 hold\n14 stop\nwait-for idle\n",
                               {"--home", folder.File("home"), "--output", folder.File("heard.wav")});
    EXPECT_EQ(run.status, 0) << run.err;
    const std::string files[3] = {run.out, ReadFile(Recording("2024-01-01 12-00-01")),
                                  ReadFile(folder.File("heard.wav"))};
    if (time == 0) std::copy(files, files + 3, first);
    EXPECT_EQ(files[0], first[0]);
    EXPECT_TRUE(files[1] == first[1]);
    EXPECT_TRUE(files[2] == first[2]);
  }
  EXPECT_EQ(FramesOf(Recording("2024-01-01 12-00-01")), 9100 * 8);
  EXPECT_EQ(FramesOf(folder.File("heard.wav")), 14100 * 8) << "from the beginning to the end of the music";
}

TEST_F(KivCall, QueueIsWorkedOffOnDemand) {
  const Outcome run = Script("set endprompt off\nset CopyRecordings on\nset CopyToFolder " + folder.File("copies") +
                                 "\nrecord\n10 stop\nwait-for idle\n",
                             {"--level", "--home", folder.File("home")});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr(" Level Control: 2024-01-01 12-00-01\n"));
  EXPECT_THAT(run.out, HasSubstr(" Copy to: " + folder.File("copies") + "\n"));
  EXPECT_THAT(run.out, testing::EndsWith(" dB\n")) << "no longer queued";
  EXPECT_EQ(FramesOf(Recording("2024-01-01 12-00-01")), 9100 * 8);
}

TEST_F(KivCall, LineThatRunsByTheClockMakesTheSameCall) {
  const Outcome run = Script("record\nwait-for recording 600\nwait 5\nstop\nwait-for idle 600\n", {"--speed", "10"});
  EXPECT_EQ(run.status, 0) << run.err;
  std::vector<std::string> steps;
  for (std::size_t begin = 0, end; (end = run.out.find('\n', begin)) != std::string::npos; begin = end + 1) {
    const std::string line = run.out.substr(begin, end - begin);
    if (line.substr(12, 5) == "state") steps.push_back(line.substr(21));
  }
  EXPECT_THAT(steps, testing::ElementsAre("start-prompt", "recording", "end-prompt", "idle"));
  EXPECT_THAT(run.out, testing::ContainsRegex("\n +[0-9.]+  file     2024[^\n]*, 8000 Hz, mono, [^\n]*, queued\n$"));
}

TEST_F(KivCall, WhatIsWaitedForInVainIsTold) {
  const Outcome run = Script("record\nwait-for on-hold 5\nwait 1\n");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "kiv-call: line 2: still recording after 5.000 s\n");
  EXPECT_THAT(run.out, testing::EndsWith(", queued\n")) << "the trace has its end";
}

TEST_F(KivCall, WrongScriptsAreToldWithStatusTwo) {
  for (const std::string wrong :
       {"dance", "record now", "wait", "wait long", "wait -1", "wait-for", "wait-for pause", "wait-for idle soon",
        "set startpromt off", "refuse-input maybe", "remove", "remove ../x", "1.5", "1.5 2.5 record"}) {
    const Outcome run = Script("record\n" + wrong + "\n");
    EXPECT_EQ(run.status, 2) << wrong;
    EXPECT_EQ(run.err,
              "kiv-call: " + folder.File("script") + ", line 2: cannot be '" + wrong + "'; try kiv-call --help\n");
    EXPECT_EQ(run.out, "");
  }
}

TEST_F(KivCall, WrongArgumentsAreToldWithStatusTwo) {
  WriteFile(folder.File("script"), "stall-input 1\n");
  const std::string script = folder.File("script");
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{},
                                             {script, script},
                                             {folder.File("missing")},
                                             {"--speed", "0", script},
                                             {"--speed", "fast", script},
                                             {"--server", "--speed", "2", script},
                                             {"--server", "--output", folder.File("out.wav"), script},
                                             {"--server", script},
                                             {"--unknown", script}}) {
    const Outcome run = Run(arguments);
    EXPECT_EQ(run.status, 2) << testing::PrintToString(arguments);
    EXPECT_NE(run.err, "");
  }
}

TEST_F(KivCall, WhatCannotBeOpenedIsToldWithStatusOne) {
  WriteFile(folder.File("text"), "not a sound");
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"--line", folder.File("text")}, {"--output", folder.File("no/x.wav")}, {"--home", folder.File("text")}}) {
    const Outcome run = Script("record\n", arguments);
    EXPECT_EQ(run.status, 1) << testing::PrintToString(arguments);
    EXPECT_THAT(run.err, testing::StartsWith("kiv-call: "));
  }
}

TEST_F(KivCall, HelpGoesToStandardOutput) {
  const Outcome help = Run({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_THAT(help.out, testing::StartsWith("Usage: kiv-call "));
  EXPECT_EQ(help.err, "");
}

}  // namespace
