#include "tools/line_options.h"

#include <getopt.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace kiv {
namespace {

constexpr int kUsageStatus = 2;
constexpr double kMaxSeconds = 2000000;

constexpr char kUsage[] =
    "Usage: kiv-line --record FILE | --play FILE [OPTION]...\n"
    "\n"
    "Records the default sound input into a WAV file and plays a WAV file on the default\n"
    "sound output, both at once if both are asked for, and shows the level meanwhile. Try\n"
    "it with a new telephone adapter: kiv-line --record call.wav --seconds 10\n"
    "\n"
    "  --record FILE      record into FILE, which is overwritten\n"
    "  --play FILE        play FILE\n"
    "  --seconds N        end after N seconds of recording, or of playing where nothing is\n"
    "                     recorded; without it, at the end of what is played, or by Ctrl+C\n"
    "  --rate HZ          sample rate of the recording, 4000 to 192000 (8000)\n"
    "  --channels N       channels of the recording, 1 or 2 (1)\n"
    "  --threshold DB     begin to record when the level reaches DB, -127 to 20 (-127: at\n"
    "                     once)\n"
    "  --pause S          pause after S seconds that are more than 5 dB below the threshold\n"
    "                     (10)\n"
    "  --simulate[=FILE]  use a simulated line instead of the sound server; on it there is\n"
    "                     speech, or FILE again and again\n"
    "  --speed N          seconds of the simulated line in a second, 0.1 to 1000 (1); or max:\n"
    "                     as fast as it goes, and every time in the same way\n"
    "  --help             show this text\n"
    "  --version          show the version\n"
    "\n"
    "Levels are in dB, full scale is 12 dB. The file is finished also after SIGINT, SIGTERM\n"
    "and SIGHUP.\n"
    "\n"
    "Exit status: 0 done, 1 failed, 2 wrong arguments.\n";

// The whole text as a number of that range.
std::optional<double> Number(std::string_view text, double least, double most) {
  double value = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  if (result.ec != std::errc() || result.ptr != end || !(value >= least && value <= most)) return std::nullopt;
  return value;
}

std::optional<double> WholeNumber(std::string_view text, double least, double most) {
  const std::optional<double> value = Number(text, least, most);
  return value && *value == std::floor(*value) ? value : std::nullopt;
}

std::int32_t Milliseconds(double seconds) {
  return static_cast<std::int32_t>(std::lround(seconds * 1000));
}

enum Option {
  kRecord = 256,
  kPlay,
  kSeconds,
  kRate,
  kChannels,
  kThreshold,
  kPause,
  kSimulate,
  kSpeed,
  kHelp,
  kVersion
};

constexpr option kOptions[] = {
    {"record", required_argument, nullptr, kRecord},     {"play", required_argument, nullptr, kPlay},
    {"seconds", required_argument, nullptr, kSeconds},   {"rate", required_argument, nullptr, kRate},
    {"channels", required_argument, nullptr, kChannels}, {"threshold", required_argument, nullptr, kThreshold},
    {"pause", required_argument, nullptr, kPause},       {"simulate", optional_argument, nullptr, kSimulate},
    {"speed", required_argument, nullptr, kSpeed},       {"help", no_argument, nullptr, kHelp},
    {"version", no_argument, nullptr, kVersion},         {nullptr, 0, nullptr, 0}};

// Takes an option that has a value; false when it cannot be that value.
bool Take(int which, const char* text, LineOptions& options) {
  std::optional<double> number;
  switch (which) {
    case kRecord:
      options.recordPath = text;
      return !options.recordPath.empty();
    case kPlay:
      options.playPath = text;
      return !options.playPath.empty();
    case kSeconds:
      if ((number = Number(text, 0.001, kMaxSeconds))) options.milliseconds = Milliseconds(*number);
      break;
    case kRate:
      if ((number = WholeNumber(text, 4000, 192000))) options.rateHz = static_cast<std::int32_t>(*number);
      break;
    case kChannels:
      if ((number = WholeNumber(text, 1, 2))) options.channels = static_cast<std::uint8_t>(*number);
      break;
    case kThreshold:
      if ((number = WholeNumber(text, -127, 20))) options.thresholdDB = static_cast<int>(*number);
      break;
    case kPause:
      if ((number = Number(text, 0, kMaxSeconds))) options.pauseMs = Milliseconds(*number);
      break;
    case kSimulate:
      options.simulate = true;
      options.signalPath = text != nullptr ? text : "";
      return text == nullptr || *text != '\0';
    case kSpeed:
      options.lockStep = std::string_view(text) == "max";
      if (options.lockStep) return true;
      if ((number = Number(text, 0.1, 1000))) options.speed = *number;
      break;
    default:
      break;
  }
  return number.has_value();
}

}  // namespace

std::optional<LineOptions> ReadLineOptions(int argc, char** argv, int& exitStatus) {
  exitStatus = kUsageStatus;
  LineOptions options;
  bool speed = false;
  for (int which = 0, index = 0; (which = getopt_long(argc, argv, "h", kOptions, &index)) != -1;) {
    if (which == kHelp || which == 'h') {
      std::fputs(kUsage, stdout);
      exitStatus = 0;
      return std::nullopt;
    }
    if (which == kVersion) {
      std::puts("kiv-line " KIV_VERSION);
      exitStatus = 0;
      return std::nullopt;
    }
    if (which == '?') {  // getopt has said what.
      std::fputs("Try kiv-line --help\n", stderr);
      return std::nullopt;
    }
    if (!Take(which, optarg, options)) {
      std::fprintf(stderr, "kiv-line: --%s cannot be '%s'; try kiv-line --help\n", kOptions[index].name,
                   optarg != nullptr ? optarg : "");
      return std::nullopt;
    }
    speed = speed || which == kSpeed;
  }
  if (optind != argc || (options.recordPath.empty() && options.playPath.empty())) {
    std::fputs(kUsage, stderr);
    return std::nullopt;
  }
  if (speed && !options.simulate) {
    std::fputs("kiv-line: --speed is for the simulated line only\n", stderr);
    return std::nullopt;
  }
  return options;
}

}  // namespace kiv
