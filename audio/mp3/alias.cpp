#include "audio/mp3/alias.h"

#include <algorithm>

#include "audio/mp3/huffman.h"

namespace {

constexpr int kButterflies = 8;
constexpr int kSubbandLines = 18;

// 1 / sqrt(1 + c^2) and c / sqrt(1 + c^2) for c = -0.6, -0.535, -0.33, -0.185, -0.095, -0.041, -0.0142, -0.0037
// (table B.9 of the standard).
constexpr float kCs[kButterflies] = {0.85749292571254418F, 0.88174199731770519F, 0.94962864910273281F,
                                     0.98331459249179014F, 0.99551781606758576F, 0.99916055817814750F,
                                     0.99989919524444715F, 0.99999315507028023F};
constexpr float kCa[kButterflies] = {-0.51449575542752646F,  -0.47173196856497229F,  -0.31337745420390184F,
                                     -0.18191319961098119F,  -0.094574192526420643F, -0.040965582885304046F,
                                     -0.014198568572471149F, -0.0036999746737600369F};

}  // namespace

int AliasReduction(MP3SideInfoGranule const& granule, int lines, float* spectrum) noexcept {
  if (lines == 0 || (granule.IsShort() && !granule.mixedBlock)) return lines;
  // The last border that a line other than 0 can reach.
  const int reach = (lines + kButterflies - 1) / kSubbandLines;
  const int borders = std::min(granule.IsShort() ? 1 : 31, reach);
  for (int border = 1; border <= borders; ++border) {
    float* const down = spectrum + kSubbandLines * border - 1;
    float* const up = spectrum + kSubbandLines * border;
    float below[kButterflies];
    float above[kButterflies];
    for (int i = 0; i < kButterflies; ++i) {
      below[i] = down[-i] * kCs[i] - up[i] * kCa[i];
      above[i] = up[i] * kCs[i] + down[-i] * kCa[i];
    }
    for (int i = 0; i < kButterflies; ++i) {
      down[-i] = below[i];
      up[i] = above[i];
    }
  }
  return std::min(std::max(lines, kSubbandLines * borders + kButterflies), kMp3Lines);
}
