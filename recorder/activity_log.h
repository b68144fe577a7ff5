#pragma once

// The activity log: one file a day in the logs folder, one time-stamped line an event, and the same line in the main
// window's status text.
//
//   File     "20YY-MM-DD Kiv Recorder Log.txt" by local time; years are taken to be 2000 to 2099.
//   Line     "HH:MM:SS message" and a CR, without LF, as the log has always been read. A line holds kLogLineSize
//            bytes with its terminator; a longer message is cut so that the CR stays.
//   Threads  any. One mutex orders the lines of this program's threads, in the file and in the status text alike.
//   Errors   none are reported. When another program holds a lock on the file, the line is lost from the file; it is
//            shown all the same.

#include <cstddef>

namespace kiv {

inline constexpr std::size_t kLogLineSize = 2048;
inline constexpr std::size_t kLogMessageSize = 2064;

}  // namespace kiv

void LogFile(char const* message);
// Logs prefix and text joined.
void LogFile(char const* prefix, char const* text);
