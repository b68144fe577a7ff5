#include "audio/mp3/side_info.h"

#include <algorithm>
#include <cstring>

MP3SIBitStream::MP3SIBitStream(std::uint8_t const* bytes, int count) noexcept {
  std::memcpy(bytes_, bytes, static_cast<std::size_t>(count));
}

std::uint32_t MP3SIBitStream::Read(int count) noexcept {
  std::uint64_t word;
  std::memcpy(&word, bytes_ + std::min(next_ >> 3, kMaxBytes), sizeof word);
  word = __builtin_bswap64(word) << (next_ & 7);
  next_ += count;
  return static_cast<std::uint32_t>(word >> 1 >> (63 - count));
}

void MP3SideInfo::DecodeSideInformation(MP3SIBitStream& bits, MP3Header const& header) noexcept {
  const int channels = header.Channels();
  sharedScaleFactors[0] = sharedScaleFactors[1] = 0;
  if (header.IsMpeg1()) {
    mainDataBegin = static_cast<std::uint16_t>(bits.Read(9));
    bits.Read(channels == 1 ? 5 : 3);  // private bits
    for (int ch = 0; ch < channels; ++ch) {
      for (int group = 0; group < 4; ++group) {
        sharedScaleFactors[ch] = static_cast<std::uint8_t>(sharedScaleFactors[ch] | bits.Read(1) << group);
      }
    }
  } else {
    mainDataBegin = static_cast<std::uint16_t>(bits.Read(8));
    bits.Read(channels == 1 ? 1 : 2);
  }
  for (int gr = 0; gr < header.Granules(); ++gr) {
    for (int ch = 0; ch < channels; ++ch) DecodeSingleSideInformation(bits, header, granule[gr][ch]);
  }
}

void MP3SideInfo::DecodeSingleSideInformation(MP3SIBitStream& bits, MP3Header const& header,
                                              MP3SideInfoGranule& granule) noexcept {
  const auto byte = [&bits](int count) { return static_cast<std::uint8_t>(bits.Read(count)); };

  granule.mainDataBits = static_cast<std::uint16_t>(bits.Read(12));
  // 288 pairs are all 576 lines; the field can say more, in a damaged frame.
  granule.bigValues = static_cast<std::uint16_t>(std::min<std::uint32_t>(bits.Read(9), 288));
  granule.globalGain = byte(8);
  granule.scaleFactorCode = static_cast<std::uint16_t>(bits.Read(header.IsMpeg1() ? 4 : 9));
  granule.windowSwitching = bits.Read(1) != 0;
  granule.subblockGain[0] = granule.subblockGain[1] = granule.subblockGain[2] = 0;
  if (granule.windowSwitching) {
    granule.blockType = byte(2);
    granule.mixedBlock = bits.Read(1) != 0;
    granule.tableSelect[0] = byte(5);
    granule.tableSelect[1] = byte(5);
    granule.tableSelect[2] = 0;
    for (std::uint8_t& gain : granule.subblockGain) gain = byte(3);
    // Two regions: up to a fixed place, and all the rest.
    granule.region0Count = granule.IsShort() && !granule.mixedBlock ? 8 : 7;
    granule.region1Count = static_cast<std::uint8_t>(20 - granule.region0Count);
  } else {
    granule.blockType = 0;
    granule.mixedBlock = false;
    for (std::uint8_t& table : granule.tableSelect) table = byte(5);
    granule.region0Count = byte(4);
    granule.region1Count = byte(3);
  }
  granule.highFrequencyBoost = header.IsMpeg1() && bits.Read(1) != 0;
  granule.scaleFactorScale = byte(1);
  granule.quadTable = byte(1);
}
