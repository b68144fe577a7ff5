#pragma once

// What windows, menus, controls, tool bars and keys tell the controllers, and what a handler answers.
//   Order    an event goes to the window that it happened in; a handler that answers eventNotHandledErr passes it on,
//            in the end to the application's handlers, newest first.
//   Threads  main. What crosses threads travels in the main queue instead.

#include <algorithm>
#include <cstdint>
#include <vector>

#include "foundation/event_queue.h"
#include "foundation/four_cc.h"

using OSStatus = std::int32_t;
inline constexpr OSStatus noErr = 0;
inline constexpr OSStatus eventNotHandledErr = -9874;

inline constexpr std::uint32_t kEventClassApplication = kiv::FourCC("appl");
inline constexpr std::uint32_t kEventAppMayQuit = kiv::FourCC("quit");
inline constexpr std::uint32_t kEventClassCommand = kiv::FourCC("cmds");
inline constexpr std::uint32_t kEventCommandProcess = 1;
inline constexpr std::uint32_t kEventClassMenu = kiv::FourCC("menu");
inline constexpr std::uint32_t kEventMenuEnableItems = 8;
inline constexpr std::uint32_t kEventClassWindow = kiv::FourCC("wind");
inline constexpr std::uint32_t kEventWindowClose = 72;
inline constexpr std::uint32_t kEventWindowResizeCompleted = 29;
inline constexpr std::uint32_t kEventClassKeyboard = kiv::FourCC("keyb");
inline constexpr std::uint32_t kEventHotKeyPressed = 5;
inline constexpr std::uint32_t kEventHotKeyReleased = 6;
inline constexpr std::uint32_t kEventClassControl = kiv::FourCC("cntl");
inline constexpr std::uint32_t kEventControlDraw = 4;
inline constexpr std::uint32_t kEventControlValueFieldChanged = 151;
inline constexpr std::uint32_t kEventControlDispose = 1001;
inline constexpr std::uint32_t kEventClassToolbar = kiv::FourCC("tbar");
inline constexpr std::uint32_t kEventToolbarGetDefaultIdentifiers = 1;
inline constexpr std::uint32_t kEventToolbarGetAllowedIdentifiers = 2;
inline constexpr std::uint32_t kEventToolbarCreateItemWithIdentifier = 3;

inline constexpr std::uint32_t kEventParamDirectObject = kiv::FourCC("----");
inline constexpr std::uint32_t typeHICommand = kiv::FourCC("hcmd");
inline constexpr std::uint32_t typeEventHotKeyID = kiv::FourCC("hkid");

// The direct object of a command event.
struct HICommand {
  std::uint32_t commandID;
};

// The direct object of a hot-key event.
struct EventHotKeyID {
  std::uint32_t signature;
  std::uint32_t id;
};

namespace kiv {

// One kind of event that a handler asks for.
struct EventTypeSpec {
  std::uint32_t eventClass;
  std::uint32_t kind;
};

// Whether the event is of one of these kinds.
inline bool IsOneOf(const Event& event, const std::vector<EventTypeSpec>& specs) {
  return std::any_of(specs.begin(), specs.end(), [&event](const EventTypeSpec& spec) {
    return spec.eventClass == event.Class() && spec.kind == event.Kind();
  });
}

// A handler as it is installed: a plain function that forwards to a member of the object userData.
using UiEventHandler = OSStatus (*)(const Event& event, void* userData);

inline Event CommandEvent(std::uint32_t commandId) {
  Event event(kEventClassCommand, kEventCommandProcess);
  event.Set(kEventParamDirectObject, typeHICommand, HICommand{commandId});
  return event;
}

// The identifier of a command event; 0 when it has none.
inline std::uint32_t CommandOf(const Event& event) {
  const auto command = event.Get<HICommand>(kEventParamDirectObject, typeHICommand);
  return command ? command->commandID : 0;
}

}  // namespace kiv
