#pragma once

// Windows and controls as the controllers know them: opaque references, so that only the files which draw see the
// toolkit. A reference is the address of the toolkit's widget and dies with it.

#include "platform/file_panels.h"

namespace kiv {
class NativeControl;
}

using ControlRef = kiv::NativeControl*;
