#include "ui/meter_geometry.h"

#include <algorithm>

namespace kiv {

std::vector<MeterFill> MeterFills(const LDBMC& level, const PixelRect& bounds, bool enabled) {
  const int width = bounds.right - bounds.left;
  const int height = bounds.bottom - bounds.top;
  std::vector<MeterFill> fills;
  fills.push_back({bounds.left, bounds.top, width, height, enabled ? MeterColour::Black : MeterColour::Grey});
  const int channels = level.channels;
  if (!enabled || channels == 0) return fills;

  const int barHeight = (height - channels - 1) / channels;
  const int segmentWidth = MeterSegmentWidth(bounds);
  for (int channel = 0; channel < channels; ++channel) {
    const int y = bounds.top + channel * barHeight + 1 + channel;
    const int dB = std::clamp(int{level.level[channel]}, kMeterLowestDB, kMeterHighestDB);
    for (int segment = 0; segment < dB - kMeterLowestDB; ++segment) {
      const MeterColour colour = segment < -kMeterLowestDB ? MeterColour::Green : MeterColour::Red;
      fills.push_back({MeterLevelX(bounds, kMeterLowestDB + segment), y, segmentWidth, barHeight, colour});
    }
  }
  return fills;
}

}  // namespace kiv
