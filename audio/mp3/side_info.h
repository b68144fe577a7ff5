#pragma once

// Side information: what a frame says about its granules before their data.
//   Threads  values.
//   Errors   none: every bit pattern gives values inside the ranges stated here.

#include <cstdint>

#include "audio/mp3/header.h"

// Reads bits, most significant first, from the few bytes of a frame's side information. Past the end it reads
// zeros.
class MP3SIBitStream {
 public:
  static constexpr int kMaxBytes = 32;

  // count is at most kMaxBytes.
  MP3SIBitStream(std::uint8_t const* bytes, int count) noexcept;
  // count is 0 to 16.
  std::uint32_t Read(int count) noexcept;

 private:
  int next_ = 0;
  std::uint8_t bytes_[kMaxBytes + 8] = {};
};

// One channel of one granule.
struct MP3SideInfoGranule {
  std::uint16_t mainDataBits;     // part2_3_length: scale factors and Huffman data, 0 to 4095
  std::uint16_t bigValues;        // pairs in the big-values regions, 0 to 288
  std::uint8_t globalGain;        // 210 is a factor of 1
  std::uint16_t scaleFactorCode;  // scalefac_compress
  std::uint8_t blockType;         // 0 normal, 1 start, 2 short, 3 stop
  bool windowSwitching;
  bool mixedBlock;  // the two lowest subbands are long, with the normal window
  std::uint8_t tableSelect[3];
  std::uint8_t subblockGain[3];  // 0 to 7, short blocks only
  std::uint8_t region0Count;     // scale-factor bands less one
  std::uint8_t region1Count;
  bool highFrequencyBoost;        // preflag
  std::uint8_t scaleFactorScale;  // 0: steps of 2^(1/2); 1: steps of 2
  std::uint8_t quadTable;         // count1table_select

  bool IsShort() const noexcept { return blockType == 2; }
  bool IsMixed() const noexcept { return blockType == 2 && mixedBlock; }
};

struct MP3SideInfo {
  static constexpr int kMaxBytes = MP3SIBitStream::kMaxBytes;

  std::uint16_t mainDataBegin;         // bytes back into the reservoir
  std::uint8_t sharedScaleFactors[2];  // scfsi per channel; bit 0 is the first group of bands
  MP3SideInfoGranule granule[2][2];    // [granule][channel]

  // Takes all fields of a frame with this header.
  void DecodeSideInformation(MP3SIBitStream& bits, MP3Header const& header) noexcept;

 private:
  static void DecodeSingleSideInformation(MP3SIBitStream& bits, MP3Header const& header,
                                          MP3SideInfoGranule& granule) noexcept;
};
