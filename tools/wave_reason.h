#pragma once

// Why a WAV file could not be opened, as a program says it after the file's name.

#include <cstdint>
#include <string_view>

#include "audio/sound_source.h"

namespace kiv {

inline std::string_view WaveReason(std::uint8_t sourceError) {
  switch (sourceError) {
    case kSourceNotOpened:
      return "cannot be opened";
    case kSourceNotSupported:
      return "is not PCM of 8 or 16 bits";
    default:
      return "is not a WAV file";
  }
}

}  // namespace kiv
