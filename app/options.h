#pragma once

// What kiv-recorder is asked to do.
//   Units  the speed is seconds of the simulated line in a second.

#include <optional>
#include <string>

namespace kiv {

struct Options {
  std::string linePath;     // Empty: the sound server. Else a WAV file that sounds on a simulated line.
  std::string lineOutPath;  // Empty: what is played to the simulated line is kept nowhere.
  double lineSpeed = 1.0;
};

// What the arguments ask for; or nothing, when the program has said what was to be said (help, version, a mistake)
// and ends with exitStatus.
std::optional<Options> ReadOptions(int argc, char** argv, int& exitStatus);

}  // namespace kiv
