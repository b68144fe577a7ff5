#pragma once

// Joint stereo: middle/side and intensity.
//   Threads  pure.

#include "audio/mp3/scale_factors.h"
#include "audio/mp3/side_info.h"

// Both requantised spectra of a granule and the lines of each that may differ from 0; turns them into left and
// right. right holds side information and scale factors of the second channel, which carry the intensity
// positions.
void JointStereoProcessing(MP3Header const& header, MP3SideInfoGranule const& right,
                           MP3ScaleFactors const& rightFactors, float* const spectrum[2], int lines[2]) noexcept;
