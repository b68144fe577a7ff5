#pragma once

#include <QString>

namespace kiv {

// Every window in each of its states as FOLDER/NAME-SUFFIX.png. False when a picture could not be written.
bool TakeScreenshots(const QString& folder, const QString& suffix);

}  // namespace kiv
