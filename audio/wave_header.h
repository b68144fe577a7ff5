#pragma once

// The header of a WAV file: finding the sound data in a foreign file, and the 46 bytes that our own files begin
// with.

#include <array>
#include <cstdint>

#include "audio/sound_source.h"

namespace kiv {

// In the size fields of a file that is still being written, or whose writer died: as far as the file goes.
inline constexpr std::uint32_t kWaveSizeUnknown = 0xFFFFFFFF;
inline constexpr std::int32_t kWaveHeaderBytes = 46;

struct WaveFormat {
  std::uint16_t channels = 0;
  std::uint32_t rateHz = 0;
  std::uint16_t bitsPerSample = 0;
  std::uint32_t dataBytes = 0;  // kWaveSizeUnknown: up to the end of the file
};

// Reads from the descriptor's offset 0 on and leaves the offset at the first sample. On anything but kSourceGood
// (kSourceInvalid, kSourceNotSupported) offset and format are of no use. A good format has 1 to 255 channels, 1 to
// 196000 Hz and at most 16 bits.
SourceError ReadWaveHeader(int descriptor, WaveFormat& format) noexcept;

// The header of our own files. Data that does not fit the 32-bit size fields is left as unknown, so that readers
// take it up to the end of the file.
std::array<std::uint8_t, kWaveHeaderBytes> MakeWaveHeader(std::int32_t rateHz, std::uint8_t channels,
                                                          std::uint32_t bytesPerSample,
                                                          std::uint64_t dataBytes) noexcept;

}  // namespace kiv
