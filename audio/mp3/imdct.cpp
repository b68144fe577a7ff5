#include "audio/mp3/imdct.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "audio/mp3/imdct_kernel.h"
#include "foundation/vector_width.h"

namespace kiv::mp3 {

const ImdctFunctions kImdctScalar{1, ImdctLong<float>, ImdctShort<float>};

namespace {

ImdctTables MakeTables() noexcept {
  ImdctTables tables = {};
  const auto sine = [](double i, int length) { return std::sin(std::numbers::pi / length * (i + 0.5)); };
  const auto longWindow = [&sine](int type, int i) {
    if (type == 1 && i >= 18) return i < 24 ? 1.0 : i < 30 ? sine(i - 18, 12) : 0.0;
    if (type == 3 && i < 18) return i < 6 ? 0.0 : i < 12 ? sine(i - 6, 12) : 1.0;
    return sine(i, 36);
  };
  for (int type = 0; type < 4; ++type) {
    for (int i = 0; i < 36; ++i) {
      // The value of a short window number i / 12 lands on 6 + 6 * (i / 12) + i % 12: the same parity as i.
      const double value = type == 2 ? sine(i % 12, 12) : longWindow(type, i);
      for (int lane = 0; lane < kWindowLanes; ++lane) {
        tables.window[type][i][lane] = static_cast<float>((i & lane & 1) != 0 ? -value : value);
      }
    }
  }
  for (int k = 0; k < 6; ++k) {
    for (int n = 0; n < 6; ++n) {
      tables.short6[k][n] = static_cast<float>(std::cos(std::numbers::pi / 24 * ((2 * n + 1) * (2 * k + 1))));
    }
  }
  return tables;
}

ImdctFunctions const& Functions() noexcept {
#if defined(__x86_64__)
  switch (BestVectorWidth()) {
    case VectorWidth::Avx2:
      return kImdctAvx2;
    case VectorWidth::Sse2:
      return kImdctSse2;
    case VectorWidth::Scalar:
      break;
  }
#endif
  return kImdctScalar;
}

}  // namespace

ImdctTables const& ImdctTables::Get() noexcept {
  static const ImdctTables tables = MakeTables();
  return tables;
}

}  // namespace kiv::mp3

void IMDCTSynthesize(MP3SideInfoGranule const& granule, int lines, float const* spectrum, MP3Overlap& overlap,
                     float (*out)[kMp3Subbands]) noexcept {
  using namespace kiv::mp3;
  constexpr int kNormal = 0;
  constexpr int kMixedLongSubbands = 2;

  ImdctTables const& tables = ImdctTables::Get();
  ImdctFunctions const& functions = Functions();
  // Subbands with lines, in whole groups; after them those with overlap only; then nothing.
  const auto wholeGroups = [&functions](int subbands) {
    return (subbands + functions.lanes - 1) / functions.lanes * functions.lanes;
  };
  const int active = wholeGroups((lines + kMp3Slots - 1) / kMp3Slots);
  const int fading = std::max(active, wholeGroups(overlap.subbands));

  ImdctArguments arguments{spectrum, &tables.window[granule.blockType], overlap.value, out, 0, active};
  const auto rest = [&](ImdctArguments const& a) {
    (granule.IsShort() ? functions.shortBlock : functions.longBlock)(a);
  };
  if (granule.windowSwitching && granule.mixedBlock && active > 0) {
    // The two lowest subbands with the normal window, the others of their group with their own.
    arguments.end = kMixedLongSubbands;
    arguments.window = &tables.window[kNormal];
    kImdctScalar.longBlock(arguments);
    arguments.window = &tables.window[granule.blockType];
    arguments.first = kMixedLongSubbands;
    arguments.end = std::max(functions.lanes, kMixedLongSubbands);
    (granule.IsShort() ? kImdctScalar.shortBlock : kImdctScalar.longBlock)(arguments);
    arguments.first = arguments.end;
    arguments.end = std::max(active, arguments.first);
  }
  if (arguments.end > arguments.first) rest(arguments);

  const int done = std::max(active, arguments.end);
  for (int slot = 0; slot < kMp3Slots; ++slot) {
    for (int sb = done; sb < fading; ++sb) {
      out[slot][sb] = overlap.value[slot][sb];
      overlap.value[slot][sb] = 0.0F;
    }
    for (int sb = std::max(done, fading); sb < kMp3Subbands; ++sb) out[slot][sb] = 0.0F;
  }
  overlap.subbands = done;
}
