// kiv-call: whole calls from a script, without windows, and a trace of what happens in them.

#include <getopt.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>

#include "tests/support/temporary_folder.h"
#include "tests/tools/kiv-call/call_script.h"
#include "tests/tools/kiv-call/call_session.h"

namespace {

enum ExitStatus { kDone = 0, kFailed = 1, kUsage = 2 };

constexpr char kHelp[] =
    "Usage: kiv-call [OPTION]... SCRIPT\n"
    "\n"
    "Makes the calls that SCRIPT (- for standard input) asks for, and prints what happens.\n"
    "\n"
    "  --home FOLDER    the home folder in which recordings, log and settings are kept; without\n"
    "                   it, one that is removed at the end\n"
    "  --speed N        a simulated line that runs N seconds in a second (0.1 to 1000); without\n"
    "                   it, as fast as it goes and always the same\n"
    "  --server         the default sound server instead of the simulated line\n"
    "  --line FILE      a WAV file as what is on the simulated line, again and again; without\n"
    "                   it, speech\n"
    "  --output FILE    write what the simulated line's other end has heard into a WAV file\n"
    "  --reports        print each report of time and level\n"
    "  --level          work off the queue at the end: level control, copy, deletion\n"
    "  --help           show this text\n"
    "\n"
    "A script has one command a line; a number of seconds from the start may stand in front,\n"
    "and remarks follow #:\n"
    "\n"
    "  record, hold, stop       what the buttons ask for\n"
    "  stop-now                 ends everything at once\n"
    "  stop-devices             stops player and recorder as for the preferences\n"
    "  number [TEXT]            the file number of the next recordings\n"
    "  set KEY VALUE            a setting by its key; on and off for switches. Settings before\n"
    "                           every other command count from the start\n"
    "  remove NAME              deletes a prompt: remove Record Tone\n"
    "  wait SECONDS             lets the call go on\n"
    "  wait-for STATE [LIMIT]   idle, start-prompt, recording, end-prompt or on-hold, at most\n"
    "                           LIMIT seconds (30)\n"
    "  stall-input SECONDS, refuse-input on|off, silence-output SECONDS\n"
    "                           faults of the simulated line\n"
    "\n"
    "What still runs at the end of the script is stopped at once.\n"
    "\n"
    "Exit status: 0 done, 1 failed (something could not be opened, or was waited for in vain),\n"
    "2 wrong arguments or a wrong script.\n";

enum Option { kHome = 256, kSpeed, kServer, kLine, kOutput, kReports, kLevel, kShowHelp };

constexpr option kOptions[] = {{"home", required_argument, nullptr, kHome},
                               {"speed", required_argument, nullptr, kSpeed},
                               {"server", no_argument, nullptr, kServer},
                               {"line", required_argument, nullptr, kLine},
                               {"output", required_argument, nullptr, kOutput},
                               {"reports", no_argument, nullptr, kReports},
                               {"level", no_argument, nullptr, kLevel},
                               {"help", no_argument, nullptr, kShowHelp},
                               {nullptr, 0, nullptr, 0}};

bool ReadSpeed(const char* text, double& speed) {
  const char* const end = text + std::strlen(text);
  const auto result = std::from_chars(text, end, speed);
  return result.ec == std::errc() && result.ptr == end && speed >= 0.1 && speed <= 1000;
}

int WrongUse(const std::string& message) {
  std::fprintf(stderr, "kiv-call: %s; try kiv-call --help\n", message.c_str());
  return kUsage;
}

std::optional<kiv::CallOptions> ReadOptions(int argc, char** argv, int& status) {
  kiv::CallOptions options;
  status = kUsage;
  for (int which = 0; (which = getopt_long(argc, argv, "h", kOptions, nullptr)) != -1;) {
    switch (which) {
      case kHome:
        options.home = optarg;
        break;
      case kSpeed:
        if (!ReadSpeed(optarg, options.speed)) {
          WrongUse(std::string("--speed cannot be '") + optarg + "'");
          return std::nullopt;
        }
        break;
      case kServer:
        options.server = true;
        break;
      case kLine:
        options.linePath = optarg;
        break;
      case kOutput:
        options.outputPath = optarg;
        break;
      case kReports:
        options.reports = true;
        break;
      case kLevel:
        options.level = true;
        break;
      case 'h':
      case kShowHelp:
        std::fputs(kHelp, stdout);
        status = kDone;
        return std::nullopt;
      default:  // getopt has said what.
        std::fputs("Try kiv-call --help\n", stderr);
        return std::nullopt;
    }
  }
  if (optind + 1 != argc) {
    WrongUse("one script is needed");
    return std::nullopt;
  }
  options.scriptPath = argv[optind];
  if (options.server && (options.speed > 0 || !options.linePath.empty() || !options.outputPath.empty())) {
    WrongUse("--speed, --line and --output are for the simulated line");
    return std::nullopt;
  }
  return options;
}

std::optional<std::string> ReadText(const std::string& path) {
  if (path == "-") return std::string(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

bool IsFault(kiv::CallVerb verb) {
  return verb == kiv::CallVerb::StallInput || verb == kiv::CallVerb::RefuseInput ||
         verb == kiv::CallVerb::SilenceOutput;
}

}  // namespace

int main(int argc, char** argv) {
  int status = kDone;
  std::optional<kiv::CallOptions> options = ReadOptions(argc, argv, status);
  if (!options) return status;
  const std::optional<std::string> script = ReadText(options->scriptPath);
  if (!script) return WrongUse(options->scriptPath + " cannot be read");
  std::string error;
  const auto commands = kiv::ReadCallScript(*script, error);
  if (!commands) return WrongUse(options->scriptPath + ", " + error);
  for (const kiv::CallCommand& command : *commands) {
    if (options->server && IsFault(command.verb))
      return WrongUse("line " + std::to_string(command.line) + ": a sound server has no faults to ask for");
  }
  std::optional<kiv::test::TemporaryFolder> temporary;
  if (options->home.empty()) options->home = temporary.emplace().Path();
  kiv::CallSession session(*options);
  if (!session.Open()) return kFailed;
  return session.Run(*commands) ? kDone : kFailed;
}
