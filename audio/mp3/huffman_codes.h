#pragma once

// The Huffman code tables of the standard (Layer III, table B.7): for each pair (x, y) the code word and its
// length without sign bits. Data only; huffman.cpp turns it into look-up tables.

#include <cstdint>

namespace kiv::mp3 {

struct HuffmanCodes {
  int size;                     // x and y run from 0 to size - 1; 0 for a table that codes only zeros
  const std::uint8_t* lengths;  // [x * size + y]
  const std::uint16_t* codes;
};

inline constexpr int kHuffmanSelections = 32;

// Codes and escape bits (linbits) of a table selection, 0 to 31. Selections 4 and 14 do not exist in the
// standard and read as table 0.
const HuffmanCodes& CodesOf(int selection) noexcept;
int EscapeBits(int selection) noexcept;

// Codes of the four values of magnitude 0 and 1 (count1 table A), index v * 8 + w * 4 + x * 2 + y. Table B is
// four bits, each inverted.
extern const std::uint8_t kQuadLengthsA[16];
extern const std::uint8_t kQuadCodesA[16];

}  // namespace kiv::mp3
