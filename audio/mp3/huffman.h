#pragma once

// Huffman decoding of the spectrum.
//   Threads  pure; the look-up tables are built once, at the first call.

#include "audio/mp3/bit_reader.h"
#include "audio/mp3/side_info.h"

inline constexpr int kMp3Lines = 576;

// Decodes one channel's spectrum: the big values by the three regions, then the values of magnitude at most
// one. spectrum gets sign(q) * |q|^(4/3) for each quantised value q in the order of the bit stream; the lines
// after the last coded one are 0. Answers the number of lines that may differ from 0.
//   endBit   where the channel's main data end. A group of four that crosses it is dropped, and big values
//            that cross it, which only a damaged frame has, make all lines 0.
int DecodeHuffmanData(kiv::mp3::BitReader& bits, int endBit, MP3Header const& header, MP3SideInfoGranule const& granule,
                      float* spectrum) noexcept;
