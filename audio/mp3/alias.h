#pragma once

// Alias reduction: eight butterflies across each border of two subbands.
//   Threads  pure.

#include "audio/mp3/side_info.h"

// spectrum holds 576 lines of which the first `lines` may differ from 0; answers their number afterwards. Short
// blocks have no butterflies; mixed ones have them between the two long subbands only.
int AliasReduction(MP3SideInfoGranule const& granule, int lines, float* spectrum) noexcept;
