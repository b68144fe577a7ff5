#pragma once

// The script of a call: one command a line, timed or not.
//
//   record                 as the Record button: requested mode record, and it begins when nothing is going on
//   hold                   as the Hold button
//   stop                   requested mode none; counts at the next time report
//   stop-now               ends everything at once
//   stop-devices           mode none, and player and recorder are stopped directly, as for the preferences
//   number [TEXT]          the file number of the next recordings
//   set KEY VALUE          a setting by its key; on and off for the switches
//   remove NAME            deletes a prompt's file: remove Record Tone
//   wait SECONDS           lets the call go on
//   wait-for STATE [S]     idle, start-prompt, end-prompt, recording, on-hold; at most S seconds (30)
//   stall-input SECONDS    the line's input delivers nothing for so long (simulated line only, as all faults)
//   refuse-input on|off    the input cannot be opened
//   silence-output SECONDS nobody hears what is played for so long
//
// A number in front is the time, in seconds from the start, at which the command is given: 12.5 hold. What follows # is
// a remark.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "recorder/engine.h"

namespace kiv {

enum class CallVerb {
  Record,
  Hold,
  Stop,
  StopNow,
  StopDevices,
  Number,
  Set,
  Remove,
  Wait,
  WaitFor,
  StallInput,
  RefuseInput,
  SilenceOutput,
};

struct CallCommand {
  int line = 0;  // From 1.
  std::optional<std::int64_t> atMs;
  CallVerb verb = CallVerb::Wait;
  std::string text;     // The command as it stands, without its time.
  std::string key;      // Of a setting.
  std::string value;    // Of a setting; file number; prompt's name.
  std::int64_t ms = 0;  // Of waits and faults.
  bool on = false;
  SndStateType state = SndStateType::Idle;
};

char const* NameOfState(SndStateType state);

// The commands of a script; or nothing, with the reason in error ("line 3: ...").
std::optional<std::vector<CallCommand>> ReadCallScript(const std::string& script, std::string& error);

// Stores a setting in the store that it belongs to; false for a key that there is not.
bool StoreSetting(const std::string& key, const std::string& value);
bool IsSetting(const std::string& key);

}  // namespace kiv
