#pragma once

// What the recording engine tells the main window, as events of the main queue.

#include <cstdint>

#include "foundation/four_cc.h"

namespace kiv {

inline constexpr std::uint32_t kEngineClass = FourCC("TNet");

// Elapsed time of the recording or of the on-hold music: kEngineTimeParameter, an LSoundTime.
inline constexpr std::uint32_t kEngineTime = FourCC("TNtm");
inline constexpr std::uint32_t kEngineTimeParameter = FourCC("LSTM");

// Level of the sound being played or recorded: kEngineLevelParameter, a signed 32-bit number of dB.
inline constexpr std::uint32_t kEngineLevel = FourCC("TNlv");
inline constexpr std::uint32_t kEngineLevelParameter = FourCC("INTT");

// The engine has ended the call by itself and set the requested mode to none.
inline constexpr std::uint32_t kEngineDisconnected = FourCC("TNdc");

}  // namespace kiv
