#pragma once

// Writes MP3 streams field by field, for what encoders do not make: every Huffman table, intensity stereo, mixed
// blocks, shared scale factors, CRC words, all kinds of broken frames.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "audio/mp3/header.h"
#include "tests/support/test_signals.h"

namespace kiv::test {

// One channel of one granule. The fields have the meanings and widths of the standard; nothing is checked.
struct WrittenGranule {
  int globalGain = 210;
  int scaleFactorCode = 0;
  bool windowSwitching = false;
  int blockType = 0;
  bool mixed = false;
  std::array<int, 3> table = {0, 0, 0};
  std::array<int, 3> subblockGain = {0, 0, 0};
  int region0Count = 0;
  int region1Count = 0;
  int preflag = 0;
  int scaleFactorScale = 0;
  int quadTable = 0;
  int bigValues = 0;            // pairs
  int quads = 0;                // after them
  std::array<int, 576> q = {};  // quantised lines, in the order of the stream
  // Scale factors in the order of the stream with their widths in bits; what is shared is left out.
  std::vector<std::array<int, 2>> scaleFactors;
  int partBits = -1;  // part2_3_length when it shall not be the true one
};

struct WrittenFrame {
  MP3Header header;
  int sharedScaleFactors[2] = {0, 0};  // scfsi, bit 0 the lowest group of bands
  WrittenGranule granule[2][2];
};

// The fields of scaleFactors that a granule with this code and kind of block needs, each with a random value
// (at most largest). shared as in WrittenFrame, for the second granule.
std::vector<std::array<int, 2>> RandomScaleFactors(Random& random, MP3Header const& header,
                                                   WrittenGranule const& granule, int shared, bool positions,
                                                   int largest);

// Four bytes of a header.
std::uint32_t HeaderBits(MP3Header const& header);
MP3Header MakeHeader(MP3Version version, int bitrateKbits, int sampleRateIndex, MP3Mode mode = MP3Mode::Stereo);

// Bits of one granule's scale factors and Huffman data.
int GranuleBits(WrittenGranule const& granule, MP3Header const& header);

// The frames one after the other. Main data begin as early as the frames before have room for (up to
// reservoirBytes), as an encoder with a bit reservoir would write them. A frame whose data do not fit fails the
// test.
std::string WriteStream(std::vector<WrittenFrame> const& frames, int reservoirBytes = 0);

// A frame of low noise that fits its bit rate, every call another one.
WrittenFrame NoiseFrame(Random& random, MP3Header const& header, int pairs = 20);
// Frames of low noise with this header.
std::string NoiseStream(std::uint64_t seed, MP3Header const& header, int frames);
// A frame with side information 0 and the text (a tag's name and fields) in the place of main data.
std::string TagFrame(MP3Header const& header, std::string const& text);
std::string BigEndian32(std::uint32_t value);
// "Xing", flags, count.
std::string XingText(std::uint32_t count, std::uint32_t flags = 1);
// The block at the end of a file that is never decoded.
std::string TrailingTag();

}  // namespace kiv::test
