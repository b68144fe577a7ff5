#pragma once

// The program's loop, the modal loops inside it, and how they end.
//   Queue    every loop here, modal ones too, hands out the main queue in posting order.
//   Threads  main. An application object of the toolkit exists before anything here is called.

#include <initializer_list>

#include "ui/ui_event.h"
#include "ui/window_ref.h"

namespace kiv {

// The application's handlers get what a window's handler passes on, newest first.
void InstallApplicationHandler(UiEventHandler handler, void* userData, std::initializer_list<EventTypeSpec> specs);
void RemoveApplicationHandler(UiEventHandler handler, void* userData);
OSStatus SendToApplication(const Event& event);

// Ends with QuitApplicationEventLoop; at once when that came before. While it runs, SIGTERM, SIGINT and SIGHUP arrive
// as the command 'quit'. The end of the desktop's session comes in two steps: its manager's question as the event
// kEventAppMayQuit, where a handler that ends the event refuses; then the end itself, which asks no more.
void RunApplicationEventLoop();
// Ends the application's loop and, before it, every modal loop: open dialogs get their close box, message boxes and
// panels their Cancel, work under a progress window its stop. No further dialog opens until the loop has ended.
void QuitApplicationEventLoop();
bool IsQuitting();

// Runs until QuitAppModalLoopForWindow of the same window; not at all while the program quits.
void RunAppModalLoopForWindow(WindowRef window);
void QuitAppModalLoopForWindow(WindowRef window);

// A window that is open for input; quitting sends it the close box. Begin and End as a stack.
void BeginModalWindow(WindowRef window);
void EndModalWindow(WindowRef window);

// Hands out everything that waits now: the main queue and the toolkit's own events.
void DispatchWaitingEvents();

// While one lives, the toolkit's loop hands out the main queue and the hot keys. RunApplicationEventLoop and modal
// loops hold one.
class EventSources {
 public:
  EventSources();
  ~EventSources();
  EventSources(const EventSources&) = delete;
  EventSources& operator=(const EventSources&) = delete;
};

}  // namespace kiv
