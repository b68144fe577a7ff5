#pragma once

#include <QString>

#include "platform/simulated/simulated_line.h"

namespace kiv {

// Every window in each of its states as FOLDER/NAME-SUFFIX.png; calls are made on the line, which is in lock-step.
// False when a picture could not be written or a call did not come about.
bool TakeScreenshots(SimulatedLine& line, const QString& folder, const QString& suffix);

}  // namespace kiv
