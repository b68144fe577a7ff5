#pragma once

// What the sanitizers leave out, by name. The libraries below us are the distribution's and not instrumented: the
// sanitizers see what these allocate, copy, free and lock, but not by what they order it among threads.
//
// `race:` leaves out every report with the name anywhere in it. That is right only for what never calls our code. The
// toolkit does, every handler has it among its callers; so for the toolkit, and for the loop that it runs in, it is
// `called_from_lib:`, which leaves out no more than the library's own calls. A fault of ours in a handler is reported;
// tests/ui/faults makes some to see that.

namespace kiv::test {

inline constexpr char kThreadSuppressions[] =
    // Objects, texts and events go between the main thread and those that draw in parts, read folders and listen to the
    // session bus; atomic words inside the library guard them.
    "called_from_lib:libQt6Core.so.6\n"
    // Several threads fill one picture, each its own lines.
    "called_from_lib:libQt6Gui.so.6\n"
    // Messages of the session bus are made on one thread and freed on the other. The two go together: the second takes
    // a mutex of a connection that the other thread has made, and some of its functions jump into the system's unlock,
    // which then seems to be called by the first.
    "called_from_lib:libQt6DBus.so.6\n"
    "called_from_lib:libdbus-1.so.3\n"
    // One loop wakes another through a descriptor that the other thread has opened.
    "called_from_lib:libglib-2.0.so.0\n"
    // A thread of the toolkit reads the events of the display, the main thread frees them.
    "race:libxcb.so.1\n"
    // The sound server's library makes some mutexes when they are first used, and publishes them by an atomic word.
    "race:^pa_mutex_lock$\n";

inline constexpr char kAddressSuppressions[] =
    // It copies a name with a known length out of an answer of the display, which ends right after it; strict string
    // checks want a terminator there.
    "interceptor_via_fun:^xkb_x11_keymap_new_from_device$\n";

inline constexpr char kLeakSuppressions[] =
    // Patterns of its configuration, once for a process.
    "leak:libfontconfig.so.1\n";

}  // namespace kiv::test
