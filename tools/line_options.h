#pragma once

// What kiv-line is asked to do.
//   Units  rate in Hz, level in dB (0 dB is 12 dB below full scale), times as the names tell.

#include <cstdint>
#include <optional>
#include <string>

namespace kiv {

struct LineOptions {
  std::string recordPath;         // Empty: does not record.
  std::string playPath;           // Empty: does not play.
  std::int32_t milliseconds = 0;  // 0: no limit.
  std::int32_t rateHz = 8000;
  std::uint8_t channels = 1;
  int thresholdDB = -127;
  std::int32_t pauseMs = 10000;
  bool simulate = false;
  std::string signalPath;  // Empty: speech that the line makes up.
  double speed = 1.0;
  bool lockStep = false;  // As fast as it goes.
};

// What the arguments ask for; or nothing, when the program has said what was to be said (help, version, a mistake)
// and ends with exitStatus.
std::optional<LineOptions> ReadLineOptions(int argc, char** argv, int& exitStatus);

}  // namespace kiv
