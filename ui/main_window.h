#pragma once

// Frame of the program's one main window: from its interface file to its end, with the application's commands.
//
//   Order    Run: handlers, window and menu bar (hidden), loop; the start-up event, then every event that waits, then
//            InitDialog, and only then the window is shown. After the loop: hidden, DestroyDialog (only if InitDialog
//            was called), window gone.
//   Quit     the command 'quit', the close box, SIGTERM, SIGINT and SIGHUP ask CmCancel and end the loop; the desktop's
//            session manager has it asked when it wants the session to end, and ends the loop when it does.
//   Threads  main.
//   Errors   none is shown. Without the resources folder Run returns at once.

#include <cstdint>

#include "ui/dialog.h"

class LMainWindow : public LDialog {
 public:
  LMainWindow() = default;

  // The virtual operations go on from those of LDialog; the order is part of the interface.
  ~LMainWindow() override = default;
  // Ends the application's loop.
  void Close() override;
  // A resize of the window has been completed.
  virtual void EvSize();
  // The menus are about to be shown.
  virtual void EnableMainMenu();
  // A function key pressed in the window: its key code in the high half, 0x10 in the low half. A key that is also held
  // as a global hot key does not come here.
  virtual void CommandPress(int key);

  void Run();

  // A picture by name over the application's icon; the plain icon stays when there is no such picture.
  void SetApplicationBadge(const char* name);
  void ResetApplicationBadge();

  // Key presses of the window reach CommandPress from here on.
  void InstallKeyHandler();

  static OSStatus _appEventHandler(const kiv::Event& event, void* userData);
  static OSStatus _winEventHandler(const kiv::Event& event, void* userData);

 protected:
  OSStatus appEventHandler(const kiv::Event& event);
  OSStatus winEventHandler(const kiv::Event& event);

  std::uint32_t initialised_ = 0;
};
