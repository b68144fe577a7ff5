#pragma once

// The level meter: one bar of segments per channel, showing exactly the last level set.
//   Threads  main.
//   Owns     nothing. The control finds its LDBDisplay through its property ('oskm', 'tHis'); whoever sets it keeps the
//            object alive as long as the control.

#include "foundation/level.h"
#include "ui/ui_event.h"
#include "ui/window_ref.h"

class LDBDisplay {
 public:
  // Makes the class of control known; before an interface file with a meter is loaded. Once is enough.
  static void GlobalInit();
  static bool bClassRegistered;

  // Ties this object to the control, or unties the control when null.
  void Attach(ControlRef meter);
  static void Detach(ControlRef meter);

  // Draws the control of a draw event; a control without an LDBDisplay stays as it is.
  static OSStatus DBDEventHandler(const kiv::Event& event, void* userData);

  void EvControlDraw(bool enabled);

  LDBMC level;

 private:
  ControlRef control_ = nullptr;
};
