#pragma once

// Inverse modified cosine transform of all subbands, windows and overlap.
//   Layout   spectrum: 576 lines, 18 of each subband together. out and overlap: [time 0 to 17][subband 0 to 31],
//            as the polyphase synthesis takes them; odd times of odd subbands are already negated.
//   Threads  one at a time for an overlap memory.

#include "audio/mp3/side_info.h"

inline constexpr int kMp3Subbands = 32;
inline constexpr int kMp3Slots = 18;

struct MP3Overlap {
  alignas(32) float value[kMp3Slots][kMp3Subbands] = {};
  int subbands = 0;  // From here on all values are 0.
};

// Transforms the first `lines` lines (the others are 0) and leaves the second halves in overlap.
void IMDCTSynthesize(MP3SideInfoGranule const& granule, int lines, float const* spectrum, MP3Overlap& overlap,
                     float (*out)[kMp3Subbands]) noexcept;

namespace kiv::mp3 {

// Window of every block type for the 36 values of a subband, [type][value][lane]: the odd lanes of the odd
// values are negated, which undoes the frequency inversion of the odd subbands.
inline constexpr int kWindowLanes = 8;
using SignedWindow = float[36][kWindowLanes];

struct ImdctTables {
  static ImdctTables const& Get() noexcept;

  // A short window has its 12 values three times, at 6, 12 and 18, as [window * 12 + value].
  alignas(32) SignedWindow window[4];
  float short6[6][6];  // cos((2n+1)(2k+1) pi/24), [k][n]
};

// Subbands first to end (whole multiples of the width) of one channel; the widths differ in speed only.
struct ImdctArguments {
  float const* spectrum;
  SignedWindow const* window;
  float (*overlap)[kMp3Subbands];
  float (*out)[kMp3Subbands];
  int first;
  int end;
};
using ImdctFunction = void (*)(ImdctArguments const&) noexcept;
struct ImdctFunctions {
  int lanes;
  ImdctFunction longBlock;
  ImdctFunction shortBlock;
};
extern const ImdctFunctions kImdctScalar;
extern const ImdctFunctions kImdctSse2;
extern const ImdctFunctions kImdctAvx2;

}  // namespace kiv::mp3
