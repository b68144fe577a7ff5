#include "audio/mp3/header.h"

#include "audio/mp3/read_file.h"

namespace {

constexpr std::int16_t kBitrates[2][16] = {
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0},       // MPEG-2 and 2.5
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0}};  // MPEG-1
constexpr int kRates[3] = {44100, 48000, 32000};
constexpr std::uint32_t kLayer3Bits = 1;

}  // namespace

bool MP3Header::Parse(std::uint32_t bits) noexcept {
  const auto newVersion = static_cast<MP3Version>(bits >> 19 & 3);
  const std::int16_t newBitrate = kBitrates[newVersion == MP3Version::Mpeg1 ? 1 : 0][bits >> 12 & 15];
  const auto newRateIndex = static_cast<std::uint8_t>(bits >> 10 & 3);
  // Eleven sync bits; the twelfth of the first two versions is what tells MPEG-2.5 from them.
  if ((bits >> 21) != 0x7FF || newVersion == MP3Version::Reserved || (bits >> 17 & 3) != kLayer3Bits ||
      newBitrate == 0 || newRateIndex == 3) {
    return false;
  }
  version = newVersion;
  hasCrc = (bits >> 16 & 1) == 0;
  bitrateKbits = newBitrate;
  sampleRateIndex = newRateIndex;
  padding = (bits >> 9 & 1) != 0;
  mode = static_cast<MP3Mode>(bits >> 6 & 3);
  modeExtension = static_cast<std::uint8_t>(bits >> 4 & 3);
  return true;
}

bool MP3Header::ReadHeader(MP3ReadFile& file) noexcept {
  std::uint8_t bytes[kBytes];
  if (file.Read(bytes, kBytes) != kBytes) return false;
  std::uint32_t bits =
      std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 | bytes[3];
  for (int attempt = 1; !Parse(bits); ++attempt) {
    if (attempt == kMaxAttempts || file.Read(bytes, 1) != 1) return false;
    bits = bits << 8 | bytes[0];
  }
  return !hasCrc || file.Read(bytes, kCrcBytes) == kCrcBytes;
}

int MP3Header::SampleRate() const noexcept {
  const int halvings = version == MP3Version::Mpeg1 ? 0 : version == MP3Version::Mpeg2 ? 1 : 2;
  return kRates[sampleRateIndex] >> halvings;
}

int MP3Header::FrameBytes() const noexcept {
  return (IsMpeg1() ? 144 : 72) * Bitrate() / SampleRate() + (padding ? 1 : 0);
}

int MP3Header::SideInfoBytes() const noexcept {
  if (IsMpeg1()) return Channels() == 1 ? 17 : 32;
  return Channels() == 1 ? 9 : 17;
}

int MP3Header::RateRow() const noexcept {
  const int row = version == MP3Version::Mpeg1 ? 0 : version == MP3Version::Mpeg2 ? 3 : 6;
  return row + sampleRateIndex;
}
