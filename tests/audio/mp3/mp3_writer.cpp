#include "tests/audio/mp3/mp3_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "audio/mp3/huffman_codes.h"
#include "audio/mp3/lookup_tables.h"

namespace kiv::test {
namespace {

class BitWriter {
 public:
  void Put(std::uint32_t value, int count) {
    for (int i = count - 1; i >= 0; --i) bits_.push_back((value >> i & 1) != 0);
  }
  void Put(int value, int count) { Put(static_cast<std::uint32_t>(value), count); }
  int Count() const { return static_cast<int>(bits_.size()); }
  std::string Bytes() const {
    std::string bytes((bits_.size() + 7) / 8, '\0');
    for (std::size_t i = 0; i < bits_.size(); ++i) {
      if (bits_[i]) bytes[i / 8] = static_cast<char>(bytes[i / 8] | 0x80 >> (i % 8));
    }
    return bytes;
  }

 private:
  std::vector<bool> bits_;
};

void PutPair(BitWriter& bits, int table, int x, int y) {
  const mp3::HuffmanCodes& codes = mp3::CodesOf(table);
  if (codes.size == 0) return;
  const int escapeBits = mp3::EscapeBits(table);
  const int largest = codes.size - 1;
  const int xCode = std::min(std::abs(x), largest);
  const int yCode = std::min(std::abs(y), largest);
  const int i = xCode * codes.size + yCode;
  bits.Put(std::uint32_t{codes.codes[i]}, codes.lengths[i]);
  const auto rest = [&](int value, int code) {
    if (escapeBits > 0 && code == 15) bits.Put(std::abs(value) - 15, escapeBits);
    if (value != 0) bits.Put(value < 0 ? 1 : 0, 1);
  };
  rest(x, xCode);
  rest(y, yCode);
}

void PutQuad(BitWriter& bits, int table, const int* q) {
  unsigned quad = 0;
  for (int i = 0; i < 4; ++i) quad = quad << 1 | (q[i] != 0 ? 1U : 0U);
  if (table == 0) {
    bits.Put(std::uint32_t{mp3::kQuadCodesA[quad]}, mp3::kQuadLengthsA[quad]);
  } else {
    bits.Put(15 - quad, 4);
  }
  for (int i = 0; i < 4; ++i) {
    if (q[i] != 0) bits.Put(q[i] < 0 ? 1 : 0, 1);
  }
}

void PutGranule(BitWriter& bits, WrittenGranule const& granule, MP3Header const& header) {
  for (const auto& [value, width] : granule.scaleFactors) bits.Put(value, width);
  const std::int16_t* const bands = MP3LookupTables::longBands[header.RateRow()];
  int end0 = 0;
  int end1 = 576;
  if (granule.windowSwitching) {
    end0 = granule.blockType == 2 ? 3 * MP3LookupTables::shortBands[header.RateRow()][3] : bands[8];
  } else {
    end0 = bands[std::min(granule.region0Count + 1, 22)];
    end1 = bands[std::min(granule.region0Count + granule.region1Count + 2, 22)];
  }
  for (int line = 0; line < 2 * granule.bigValues; line += 2) {
    const int table = granule.table[line < end0 ? 0 : line < end1 ? 1 : 2];
    const auto i = static_cast<std::size_t>(line);
    PutPair(bits, table, granule.q[i], granule.q[i + 1]);
  }
  for (int i = 0; i < granule.quads; ++i) {
    PutQuad(bits, granule.quadTable, granule.q.data() + 2 * granule.bigValues + 4 * i);
  }
}

std::string SideInformation(WrittenFrame const& frame, int mainDataBegin) {
  BitWriter bits;
  const MP3Header& header = frame.header;
  const int channels = header.Channels();
  if (header.IsMpeg1()) {
    bits.Put(mainDataBegin, 9);
    bits.Put(0, channels == 1 ? 5 : 3);
    for (int ch = 0; ch < channels; ++ch) {
      for (int group = 0; group < 4; ++group) bits.Put(frame.sharedScaleFactors[ch] >> group & 1, 1);
    }
  } else {
    bits.Put(mainDataBegin, 8);
    bits.Put(0, channels == 1 ? 1 : 2);
  }
  for (int gr = 0; gr < header.Granules(); ++gr) {
    for (int ch = 0; ch < channels; ++ch) {
      const WrittenGranule& granule = frame.granule[gr][ch];
      bits.Put(granule.partBits >= 0 ? granule.partBits : GranuleBits(granule, header), 12);
      bits.Put(granule.bigValues, 9);
      bits.Put(granule.globalGain, 8);
      bits.Put(granule.scaleFactorCode, header.IsMpeg1() ? 4 : 9);
      bits.Put(granule.windowSwitching ? 1 : 0, 1);
      if (granule.windowSwitching) {
        bits.Put(granule.blockType, 2);
        bits.Put(granule.mixed ? 1 : 0, 1);
        bits.Put(granule.table[0], 5);
        bits.Put(granule.table[1], 5);
        for (int gain : granule.subblockGain) bits.Put(gain, 3);
      } else {
        for (int table : granule.table) bits.Put(table, 5);
        bits.Put(granule.region0Count, 4);
        bits.Put(granule.region1Count, 3);
      }
      if (header.IsMpeg1()) bits.Put(granule.preflag, 1);
      bits.Put(granule.scaleFactorScale, 1);
      bits.Put(granule.quadTable, 1);
    }
  }
  std::string bytes = bits.Bytes();
  EXPECT_EQ(bytes.size(), static_cast<std::size_t>(header.SideInfoBytes()));
  return bytes;
}

}  // namespace

std::vector<std::array<int, 2>> RandomScaleFactors(Random& random, MP3Header const& header,
                                                   WrittenGranule const& granule, int shared, bool positions,
                                                   int largest) {
  std::vector<std::array<int, 2>> factors;
  const auto add = [&](int count, int width) {
    for (int i = 0; i < count; ++i) {
      factors.push_back({random.Between(0, std::min(largest, (1 << width) - 1)), width});
    }
  };
  const bool isShort = granule.blockType == 2;
  if (header.IsMpeg1()) {
    static constexpr int kWidths[16][2] = {{0, 0}, {0, 1}, {0, 2}, {0, 3}, {3, 0}, {1, 1}, {1, 2}, {1, 3},
                                           {2, 1}, {2, 2}, {2, 3}, {3, 1}, {3, 2}, {3, 3}, {4, 2}, {4, 3}};
    const int* const width = kWidths[granule.scaleFactorCode];
    if (isShort) {
      if (granule.mixed) add(8, width[0]);
      add(granule.mixed ? 9 : 18, width[0]);
      add(18, width[1]);
    } else {
      if ((shared & 1) == 0) add(6, width[0]);
      if ((shared & 2) == 0) add(5, width[0]);
      if ((shared & 4) == 0) add(5, width[1]);
      if ((shared & 8) == 0) add(5, width[1]);
    }
    return factors;
  }
  // The tables of 13818-3, in its own words: slen1 to slen4 and nr_of_sfb1 to nr_of_sfb4.
  int slen[4] = {};
  int row = 0;
  int code = granule.scaleFactorCode;
  if (!positions) {
    if (code < 400) {
      slen[0] = (code >> 4) / 5;
      slen[1] = (code >> 4) % 5;
      slen[2] = (code % 16) >> 2;
      slen[3] = code % 4;
    } else if (code < 500) {
      slen[0] = ((code - 400) >> 2) / 5;
      slen[1] = ((code - 400) >> 2) % 5;
      slen[2] = (code - 400) % 4;
      row = 1;
    } else {
      slen[0] = (code - 500) / 3;
      slen[1] = (code - 500) % 3;
      row = 2;
    }
  } else {
    code >>= 1;
    if (code < 180) {
      slen[0] = code / 36;
      slen[1] = (code % 36) / 6;
      slen[2] = (code % 36) % 6;
      row = 3;
    } else if (code < 244) {
      slen[0] = ((code - 180) % 64) >> 4;
      slen[1] = ((code - 180) % 16) >> 2;
      slen[2] = (code - 180) % 4;
      row = 4;
    } else {
      slen[0] = (code - 244) / 3;
      slen[1] = (code - 244) % 3;
      row = 5;
    }
  }
  static constexpr int kNumbers[3][6][4] = {
      {{6, 5, 5, 5}, {6, 5, 7, 3}, {11, 10, 0, 0}, {7, 7, 7, 0}, {6, 6, 6, 3}, {8, 8, 5, 0}},
      {{9, 9, 9, 9}, {9, 9, 12, 6}, {18, 18, 0, 0}, {12, 12, 12, 0}, {12, 9, 9, 6}, {15, 12, 9, 0}},
      {{6, 9, 9, 9}, {6, 9, 12, 6}, {15, 18, 0, 0}, {6, 15, 12, 0}, {6, 12, 9, 6}, {6, 18, 9, 0}}};
  const int block = isShort ? (granule.mixed ? 2 : 1) : 0;
  for (int i = 0; i < 4; ++i) add(kNumbers[block][row][i], slen[i]);
  return factors;
}

std::uint32_t HeaderBits(MP3Header const& header) {
  static constexpr int kBitrates[2][15] = {{0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
                                           {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320}};
  const int* const row = kBitrates[header.IsMpeg1() ? 1 : 0];
  const auto index = static_cast<std::uint32_t>(std::find(row, row + 15, header.bitrateKbits) - row);
  EXPECT_LT(index, 15U) << header.bitrateKbits;
  return 0xFFE00000U | static_cast<std::uint32_t>(header.version) << 19 | 1U << 17 | (header.hasCrc ? 0U : 1U << 16) |
         index << 12 | std::uint32_t{header.sampleRateIndex} << 10 | (header.padding ? 1U << 9 : 0U) |
         static_cast<std::uint32_t>(header.mode) << 6 | std::uint32_t{header.modeExtension} << 4;
}

MP3Header MakeHeader(MP3Version version, int bitrateKbits, int sampleRateIndex, MP3Mode mode) {
  MP3Header header;
  header.version = version;
  header.bitrateKbits = static_cast<std::int16_t>(bitrateKbits);
  header.sampleRateIndex = static_cast<std::uint8_t>(sampleRateIndex);
  header.mode = mode;
  return header;
}

int GranuleBits(WrittenGranule const& granule, MP3Header const& header) {
  BitWriter bits;
  PutGranule(bits, granule, header);
  return bits.Count();
}

std::string WriteStream(std::vector<WrittenFrame> const& frames, int reservoirBytes) {
  std::string mainData;
  std::vector<int> begins;
  int slots = 0;  // bytes of room up to and without the frame
  for (const WrittenFrame& frame : frames) {
    const MP3Header& header = frame.header;
    const int limit = std::min(reservoirBytes, header.IsMpeg1() ? 511 : 255);
    if (slots - static_cast<int>(mainData.size()) > limit) {
      mainData.resize(static_cast<std::size_t>(slots - limit));
    }
    begins.push_back(slots - static_cast<int>(mainData.size()));
    BitWriter bits;
    for (int gr = 0; gr < header.Granules(); ++gr) {
      for (int ch = 0; ch < header.Channels(); ++ch) PutGranule(bits, frame.granule[gr][ch], header);
    }
    mainData += bits.Bytes();
    slots += header.BodyBytes() - header.SideInfoBytes();
    EXPECT_LE(static_cast<int>(mainData.size()), slots) << "frame " << begins.size() - 1 << " is too full";
  }
  mainData.resize(static_cast<std::size_t>(slots));

  std::string stream;
  std::size_t next = 0;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const MP3Header& header = frames[i].header;
    stream += BigEndian32(HeaderBits(header));
    if (header.hasCrc) stream += "\x12\x34";
    stream += SideInformation(frames[i], begins[i]);
    const auto room = static_cast<std::size_t>(header.BodyBytes() - header.SideInfoBytes());
    stream += mainData.substr(next, room);
    next += room;
  }
  return stream;
}

WrittenFrame NoiseFrame(Random& random, MP3Header const& header, int pairs) {
  WrittenFrame frame;
  frame.header = header;
  for (auto& granules : frame.granule) {
    for (WrittenGranule& granule : granules) {
      granule.globalGain = random.Between(160, 170);
      granule.table = {1, 1, 1};
      granule.region0Count = 7;
      granule.region1Count = 7;
      granule.bigValues = pairs;
      for (int i = 0; i < 2 * pairs; ++i) granule.q[static_cast<std::size_t>(i)] = random.Between(-1, 1);
    }
  }
  return frame;
}

std::string NoiseStream(std::uint64_t seed, MP3Header const& header, int frames) {
  Random random(seed);
  std::vector<WrittenFrame> all;
  for (int i = 0; i < frames; ++i) all.push_back(NoiseFrame(random, header, 8));
  return WriteStream(all);
}

std::string TagFrame(MP3Header const& header, std::string const& text) {
  std::string frame = BigEndian32(HeaderBits(header));
  if (header.hasCrc) frame += "\x12\x34";
  frame.append(static_cast<std::size_t>(header.SideInfoBytes()), '\0');
  frame += text;
  frame.resize(static_cast<std::size_t>(header.FrameBytes()));
  return frame;
}

std::string BigEndian32(std::uint32_t value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift & 0xFF);
  return bytes;
}

std::string XingText(std::uint32_t count, std::uint32_t flags) {
  return "Xing" + BigEndian32(flags) + BigEndian32(count);
}

std::string TrailingTag() {
  std::string tag = "TAG";
  tag.resize(128, ' ');
  return tag;
}

}  // namespace kiv::test
