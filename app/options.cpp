#include "app/options.h"

#include <getopt.h>

#include <charconv>
#include <cstdio>
#include <string_view>

namespace kiv {
namespace {

constexpr int kUsageStatus = 2;

constexpr char kUsage[] =
    "Usage: kiv-recorder [OPTION]...\n"
    "\n"
    "Records telephone calls from the default sound input, with announcements, record\n"
    "tones and on-hold music on the default sound output. Recordings, logs and settings\n"
    "are kept in the folder Kiv of the home folder. A second start with the same folder\n"
    "brings the window of the first to the front.\n"
    "\n"
    "  --line IN.wav       use a simulated line on which IN.wav sounds, again and again,\n"
    "                      instead of the sound server\n"
    "  --line-out OUT.wav  write what is played to the simulated line into OUT.wav\n"
    "  --line-speed N      seconds of the simulated line in a second, 0.1 to 1000 (1)\n"
    "  --help              show this text\n"
    "  --version           show the version\n"
    "\n"
    "Keys, also while another program has the keyboard: F5 records and stops, F7 stops,\n"
    "F8 holds the call. SIGTERM, SIGINT and SIGHUP quit the program in good order.\n"
    "\n"
    "Exit status: 0 done, or another instance was there; 1 failed; 2 wrong arguments.\n";

enum Option { kLine = 256, kLineOut, kLineSpeed, kHelp, kVersion, kSession };

constexpr option kOptions[] = {{"line", required_argument, nullptr, kLine},
                               {"line-out", required_argument, nullptr, kLineOut},
                               {"line-speed", required_argument, nullptr, kLineSpeed},
                               {"help", no_argument, nullptr, kHelp},
                               {"version", no_argument, nullptr, kVersion},
                               // Session managers restart programs with it; the toolkit takes it from the arguments.
                               {"session", required_argument, nullptr, kSession},
                               {nullptr, 0, nullptr, 0}};

std::optional<double> Speed(std::string_view text) {
  double value = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  if (result.ec != std::errc() || result.ptr != end || !(value >= 0.1 && value <= 1000)) return std::nullopt;
  return value;
}

// Takes an option that has a value; false when it cannot be that value.
bool Take(int which, const char* text, Options& options) {
  switch (which) {
    case kLine:
      options.linePath = text;
      return *text != '\0';
    case kLineOut:
      options.lineOutPath = text;
      return *text != '\0';
    case kLineSpeed: {
      const std::optional<double> speed = Speed(text);
      options.lineSpeed = speed.value_or(1.0);
      return speed.has_value();
    }
    default:
      return true;
  }
}

int Show(FILE* stream, const char* text, int status) {
  std::fputs(text, stream);
  return status;
}

}  // namespace

std::optional<Options> ReadOptions(int argc, char** argv, int& exitStatus) {
  exitStatus = kUsageStatus;
  Options options;
  bool lineOnly = false;
  for (int which = 0, index = 0; (which = getopt_long_only(argc, argv, "h", kOptions, &index)) != -1;) {
    if (which == kHelp || which == 'h') {
      exitStatus = Show(stdout, kUsage, 0);
      return std::nullopt;
    }
    if (which == kVersion) {
      exitStatus = Show(stdout, "kiv-recorder " KIV_VERSION "\n", 0);
      return std::nullopt;
    }
    if (which == '?') {  // getopt has said what.
      exitStatus = Show(stderr, "Try kiv-recorder --help\n", kUsageStatus);
      return std::nullopt;
    }
    if (!Take(which, optarg, options)) {
      std::fprintf(stderr, "kiv-recorder: --%s cannot be '%s'; try kiv-recorder --help\n", kOptions[index].name,
                   optarg);
      return std::nullopt;
    }
    lineOnly = lineOnly || which == kLineOut || which == kLineSpeed;
  }
  if (optind != argc) {
    std::fprintf(stderr, "kiv-recorder: unexpected argument '%s'; try kiv-recorder --help\n", argv[optind]);
    return std::nullopt;
  }
  if (lineOnly && options.linePath.empty()) {
    exitStatus = Show(stderr, "kiv-recorder: --line-out and --line-speed need --line\n", kUsageStatus);
    return std::nullopt;
  }
  return options;
}

}  // namespace kiv
