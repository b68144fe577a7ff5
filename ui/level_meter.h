#pragma once

// The toolkit's side of the level meter: a control that asks to be drawn, and the surface it is drawn on.
//   Threads  main.

#include <vector>

#include "ui/meter_geometry.h"
#include "ui/window_ref.h"

namespace kiv {

// Interface files name the class LevelMeter. draw is called for each control that is to be drawn, while it can be.
void RegisterLevelMeter(void (*draw)(ControlRef control));

// The pixels that the control has to fill while it is drawn.
PixelRect MeterBounds(ControlRef control);
void FillMeter(ControlRef control, const std::vector<MeterFill>& fills);
// What the control tells assistive programs: "Level -12 dB", or "Level" alone without one.
void SetMeterText(ControlRef control, bool hasLevel, LDB level);

}  // namespace kiv
