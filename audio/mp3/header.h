#pragma once

// The four bytes that begin every MPEG audio frame.
//   Threads  a value.

#include <cstdint>

class MP3ReadFile;

// The two version bits as they stand.
enum class MP3Version : std::uint8_t { Mpeg25 = 0, Reserved = 1, Mpeg2 = 2, Mpeg1 = 3 };
enum class MP3Mode : std::uint8_t { Stereo = 0, JointStereo = 1, DualChannel = 2, SingleChannel = 3 };

class MP3Header {
 public:
  // Searches are given up after so many places have been tried.
  static constexpr int kMaxAttempts = 65535;
  static constexpr int kBytes = 4;
  static constexpr int kCrcBytes = 2;
  static constexpr int kMaxFrameBytes = 1441;  // 320 kbit/s at 32 kHz with padding
  static constexpr int kMaxSamples = 1152;

  // Finds the next header of a Layer III frame that this decoder takes (no free format) and reads past it and
  // past the CRC bytes that may follow. False when there is none before the end or within kMaxAttempts places.
  bool ReadHeader(MP3ReadFile& file) noexcept;

  // Takes the fields from four bytes; false, and nothing changed, when they are no acceptable header.
  bool Parse(std::uint32_t bits) noexcept;

  bool IsMpeg1() const noexcept { return version == MP3Version::Mpeg1; }
  int Channels() const noexcept { return mode == MP3Mode::SingleChannel ? 1 : 2; }
  int Granules() const noexcept { return IsMpeg1() ? 2 : 1; }
  int Samples() const noexcept { return IsMpeg1() ? 1152 : 576; }
  int SampleRate() const noexcept;  // Hz
  int Bitrate() const noexcept { return bitrateKbits * 1000; }
  // Whole frame, header included.
  int FrameBytes() const noexcept;
  int SideInfoBytes() const noexcept;
  // What follows header and CRC: side information and main data.
  int BodyBytes() const noexcept { return FrameBytes() - kBytes - (hasCrc ? kCrcBytes : 0); }
  bool UsesMidSide() const noexcept { return mode == MP3Mode::JointStereo && (modeExtension & 2) != 0; }
  bool UsesIntensity() const noexcept { return mode == MP3Mode::JointStereo && (modeExtension & 1) != 0; }
  // Row of the tables that depend on version and rate, 0 to 8: MPEG-1 44100, 48000, 32000, then the halves and
  // the quarters of these.
  int RateRow() const noexcept;

  MP3Version version = MP3Version::Mpeg1;
  bool hasCrc = false;
  std::int16_t bitrateKbits = 0;
  std::uint8_t sampleRateIndex = 0;
  bool padding = false;
  MP3Mode mode = MP3Mode::Stereo;
  std::uint8_t modeExtension = 0;
};
