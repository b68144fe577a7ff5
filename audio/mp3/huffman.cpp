#include "audio/mp3/huffman.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <vector>

#include "audio/mp3/huffman_codes.h"
#include "audio/mp3/lookup_tables.h"

namespace {

using kiv::mp3::BitReader;
using kiv::mp3::CodesOf;
using kiv::mp3::EscapeBits;
using kiv::mp3::HuffmanCodes;

// A pair is looked up with its signs by the next kFastBits bits. What does not fit - long codes, escapes - goes
// through the plain tables: the code alone by up to kFastBits bits and then by the rest.
constexpr int kFastBits = 10;  // No group of four needs more.
constexpr int kFastSize = 1 << kFastBits;
constexpr int kMaxSmall = 15;

// Entry of a fast table: bits 0 to 3 the bits taken (0: use the plain table), 4 to 8 x + 16, 9 to 13 y + 16.
using FastEntry = std::uint16_t;

// Entry of a plain table: a code (bits 0 to 4 its length, then 4 bits x, 4 bits y), or where bit 15 is set a
// second table (bits 0 to 3 the bits that index it, 4 to 14 its place in `second`).
using PlainEntry = std::uint16_t;
constexpr unsigned kSecond = 0x8000;

struct CodeTable {
  float const* fourThirds;  // of MP3LookupTables, within reach
  FastEntry fast[kFastSize];
  PlainEntry plain[kFastSize];
  std::vector<PlainEntry> second;
};

struct PairOfValues {
  float x;
  float y;
};
struct FourValues {
  float value[4];
};

// Entry of a quad table: bits 0 to 3 the bits taken, the others the place in fours.
using QuadEntry = std::uint16_t;

class HuffmanTables {
 public:
  static HuffmanTables const& Get() {
    static const HuffmanTables tables;
    return tables;
  }

  CodeTable const* ofSelection[kiv::mp3::kHuffmanSelections] = {};
  PairOfValues pairs[32 * 32];  // [(y + 16) * 32 + x + 16], to the power 4/3
  QuadEntry quads[2][kFastSize];
  FourValues fours[81];

 private:
  HuffmanTables();
  static void Build(CodeTable& table, HuffmanCodes const& codes, bool escapes);
  void BuildQuads();

  std::unique_ptr<CodeTable> tables_[kiv::mp3::kHuffmanSelections];
};

void HuffmanTables::Build(CodeTable& table, HuffmanCodes const& codes, bool escapes) {
  std::memset(table.fast, 0, sizeof table.fast);
  std::memset(table.plain, 0, sizeof table.plain);
  // Longest code behind every prefix of kFastBits.
  std::uint8_t longest[kFastSize] = {};
  for (int i = 0; i < codes.size * codes.size; ++i) {
    const int length = codes.lengths[i];
    if (length > kFastBits) {
      std::uint8_t& most = longest[codes.codes[i] >> (length - kFastBits)];
      most = std::max<std::uint8_t>(most, static_cast<std::uint8_t>(length));
    }
  }
  for (int prefix = 0; prefix < kFastSize; ++prefix) {
    if (longest[prefix] == 0) continue;
    const int width = longest[prefix] - kFastBits;
    table.plain[prefix] = static_cast<PlainEntry>(kSecond | table.second.size() << 4 | static_cast<unsigned>(width));
    table.second.resize(table.second.size() + (std::size_t{1} << width));
  }
  for (int i = 0; i < codes.size * codes.size; ++i) {
    const int x = i / codes.size;
    const int y = i % codes.size;
    const int length = codes.lengths[i];
    const unsigned code = codes.codes[i];
    const auto plain = static_cast<PlainEntry>(length | x << 5 | y << 9);
    if (length > kFastBits) {
      const unsigned entry = table.plain[code >> (length - kFastBits)];
      const int width = static_cast<int>(entry & 15);
      const int spare = width - (length - kFastBits);
      const unsigned rest = (code << spare) & ((1U << width) - 1);
      std::fill_n(table.second.begin() + static_cast<int>((entry & ~kSecond) >> 4) + static_cast<int>(rest), 1 << spare,
                  plain);
      continue;
    }
    const int spare = kFastBits - length;
    std::fill_n(table.plain + (code << spare), 1 << spare, plain);
    const int signs = (x != 0 ? 1 : 0) + (y != 0 ? 1 : 0);
    if (signs > spare || (escapes && (x == kMaxSmall || y == kMaxSmall))) continue;
    const int free = spare - signs;
    for (int sign = 0; sign < 1 << signs; ++sign) {
      // The sign of x comes first where both have one.
      const bool xMinus = x != 0 && (sign >> (signs - 1) & 1) != 0;
      const bool yMinus = y != 0 && (sign & 1) != 0;
      const int xValue = 16 + (xMinus ? -x : x);
      const int yValue = 16 + (yMinus ? -y : y);
      const unsigned start = ((code << signs) | static_cast<unsigned>(sign)) << free;
      std::fill_n(table.fast + start, 1 << free, static_cast<FastEntry>((length + signs) | xValue << 4 | yValue << 9));
    }
  }
}

void HuffmanTables::BuildQuads() {
  for (int i = 0; i < 81; ++i) {
    int rest = i;
    for (float& value : fours[i].value) {
      value = static_cast<float>(rest % 3 - 1);
      rest /= 3;
    }
  }
  constexpr int kPlace[4] = {1, 3, 9, 27};
  for (int table = 0; table < 2; ++table) {
    for (unsigned quad = 0; quad < 16; ++quad) {
      const int length = table == 0 ? kiv::mp3::kQuadLengthsA[quad] : 4;
      const unsigned code = table == 0 ? kiv::mp3::kQuadCodesA[quad] : 15 - quad;
      const int signs = std::popcount(quad);
      const int free = kFastBits - length - signs;
      for (unsigned sign = 0; sign < 1U << signs; ++sign) {
        int place = 0;
        int signsLeft = signs;
        for (int i = 0; i < 4; ++i) {
          int value = 0;
          if ((quad >> (3 - i) & 1) != 0) {
            --signsLeft;
            value = (sign >> signsLeft & 1) != 0 ? -1 : 1;
          }
          place += (value + 1) * kPlace[i];
        }
        const unsigned start = ((code << signs) | sign) << free;
        std::fill_n(quads[table] + start, 1 << free, static_cast<QuadEntry>((length + signs) | place << 4));
      }
    }
  }
}

HuffmanTables::HuffmanTables() {
  MP3LookupTables const& lookup = MP3LookupTables::InitTables();
  const auto power = [&lookup](int value) { return value < 0 ? -lookup.fourThirds[-value] : lookup.fourThirds[value]; };
  for (int y = -16; y < 16; ++y) {
    for (int x = -16; x < 16; ++x) pairs[(y + 16) * 32 + x + 16] = {power(x), power(y)};
  }
  for (int selection = 0; selection < kiv::mp3::kHuffmanSelections; ++selection) {
    HuffmanCodes const& codes = CodesOf(selection);
    if (codes.size == 0) continue;
    // Selections 16 to 23 and 24 to 31 share a table each.
    const int owner = selection < 16 ? selection : selection < 24 ? 16 : 24;
    if (owner == selection) {
      tables_[owner] = std::make_unique<CodeTable>();
      tables_[owner]->fourThirds = lookup.fourThirds;
      Build(*tables_[owner], codes, owner >= 16);
    }
    ofSelection[selection] = tables_[owner].get();
  }
  BuildQuads();
}

// What the plain path takes from the window of the bit reader, passed in registers.
struct LongPair {
  PairOfValues pair;
  int bits;
};

// One value: the escape bits of a 15, then the sign of a value that is not 0.
float TakeValue(std::uint64_t& window, int& taken, float const* fourThirds, int value, int escapeBits) noexcept {
  if (value == 0) return 0.0F;
  if (value == kMaxSmall && escapeBits > 0) {
    value += static_cast<int>(window >> (64 - escapeBits));
    window <<= escapeBits;
    taken += escapeBits;
  }
  const float power = fourThirds[value];
  const bool minus = (window >> 63) != 0;
  window <<= 1;
  ++taken;
  return minus ? -power : power;
}

[[gnu::noinline]] LongPair TakeLongPair(std::uint64_t window, CodeTable const& table, int escapeBits) noexcept {
  unsigned entry = table.plain[window >> (64 - kFastBits)];
  if ((entry & kSecond) != 0) {
    const int width = static_cast<int>(entry & 15);
    entry = table.second[((entry & ~kSecond) >> 4) + (window << kFastBits >> (64 - width))];
  }
  int taken = static_cast<int>(entry & 31);
  window <<= taken;
  const float x = TakeValue(window, taken, table.fourThirds, static_cast<int>(entry >> 5 & 15), escapeBits);
  const float y = TakeValue(window, taken, table.fourThirds, static_cast<int>(entry >> 9 & 15), escapeBits);
  return {{x, y}, taken};
}

// Pairs of one region. The fast path takes at most kFastBits a pair, so four pairs need one refill.
void DecodeRegion(BitReader& caller, HuffmanTables const& tables, int selection, float* out,
                  float const* end) noexcept {
  CodeTable const* table = tables.ofSelection[selection];
  if (table == nullptr) {
    std::fill(out, out + (end - out), 0.0F);
    return;
  }
  BitReader bits = caller;  // A copy that the compiler can keep in registers.
  const int escapeBits = EscapeBits(selection);
  const auto decodePair = [&](float* to) {
    const unsigned entry = table->fast[bits.Peek(kFastBits)];
    if (entry != 0) [[likely]] {
      bits.Drop(static_cast<int>(entry & 15));
      std::memcpy(to, &tables.pairs[entry >> 4], sizeof(PairOfValues));
    } else {
      bits.Refill();
      const LongPair slow = TakeLongPair(bits.Window(), *table, escapeBits);
      bits.Drop(slow.bits);
      bits.Refill();
      std::memcpy(to, &slow.pair, sizeof slow.pair);
    }
  };
  while (end - out >= 8) {
    bits.Refill();
    decodePair(out);
    decodePair(out + 2);
    decodePair(out + 4);
    decodePair(out + 6);
    out += 8;
  }
  for (; out < end; out += 2) {
    bits.Refill();
    decodePair(out);
  }
  caller = bits;
}

// Groups of four from line on; answers the line after the last one.
int DecodeQuads(BitReader& caller, HuffmanTables const& tables, int endBit, QuadEntry const* quads, int line,
                float* spectrum) noexcept {
  BitReader bits = caller;
  int left = endBit - bits.Position();
  bool whole = true;
  const auto decodeQuad = [&]() {
    const unsigned entry = quads[bits.Peek(kFastBits)];
    const int length = static_cast<int>(entry & 15);
    left -= length;
    whole = left >= 0;
    if (!whole) return;
    bits.Drop(length);
    std::memcpy(spectrum + line, &tables.fours[entry >> 4], sizeof(FourValues));
    line += 4;
  };
  // A quad has at most kFastBits, so four need one refill.
  while (line <= kMp3Lines - 16 && left > 0 && whole) {
    bits.Refill();
    decodeQuad();
    if (whole && left > 0) decodeQuad();
    if (whole && left > 0) decodeQuad();
    if (whole && left > 0) decodeQuad();
  }
  while (line <= kMp3Lines - 4 && left > 0 && whole) {
    bits.Refill();
    decodeQuad();
  }
  caller = bits;
  return line;
}

}  // namespace

int DecodeHuffmanData(BitReader& bits, int endBit, MP3Header const& header, MP3SideInfoGranule const& granule,
                      float* spectrum) noexcept {
  HuffmanTables const& tables = HuffmanTables::Get();
  std::int16_t const* const bands = MP3LookupTables::longBands[header.RateRow()];

  const int bigLines = granule.bigValues * 2;
  int regionEnd[3];
  if (granule.windowSwitching) {
    // A short block's first region is three bands of three windows, also in a mixed block.
    regionEnd[0] = granule.IsShort() ? 3 * MP3LookupTables::shortBands[header.RateRow()][3] : bands[8];
    regionEnd[1] = kMp3Lines;
  } else {
    regionEnd[0] = bands[granule.region0Count + 1];
    regionEnd[1] = bands[std::min(granule.region0Count + granule.region1Count + 2, MP3LookupTables::kLongBands)];
  }
  regionEnd[2] = kMp3Lines;

  int line = 0;
  for (int region = 0; region < 3; ++region) {
    const int end = std::min(regionEnd[region], bigLines);
    if (end > line) {
      DecodeRegion(bits, tables, granule.tableSelect[region], spectrum + line, spectrum + end);
      line = end;
    }
  }
  if (bits.Position() > endBit) {
    std::fill_n(spectrum, kMp3Lines, 0.0F);
    return 0;
  }

  const int coded = DecodeQuads(bits, tables, endBit, tables.quads[granule.quadTable], line, spectrum);
  std::fill(spectrum + coded, spectrum + kMp3Lines, 0.0F);
  int lines = coded;
  while (lines > 0 && spectrum[lines - 1] == 0.0F) --lines;
  return lines;
}
