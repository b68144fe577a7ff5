#include "tests/tools/kiv-call/call_script.h"

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

#include "foundation/dat_file.h"
#include "foundation/file.h"
#include "platform/preference_store.h"
#include "platform/services.h"
#include "recorder/setting_keys.h"
#include "recorder/settings.h"

namespace kiv {
namespace {

constexpr double kMostSeconds = 2000000;
constexpr std::int64_t kWaitForMs = 30000;
constexpr std::string_view kBlanks = " \t\r";

constexpr std::array kStates = {SndStateType::Idle, SndStateType::StartPrompt, SndStateType::EndPrompt,
                                SndStateType::Recording, SndStateType::OnHold};

struct Key {
  char const* name;
  SettingStore store;
  bool isSwitch;
};
constexpr std::array kKeys = {
    Key{k1HourStop.key, SettingStore::Preferences, true},
    Key{kCopyRecordings.key, SettingStore::Preferences, true},
    Key{kCopyToFolder.key, SettingStore::Preferences, false},
    Key{kAutoDeleteDays.key, SettingStore::Preferences, false},
    Key{kAutoLevelControl.key, SettingStore::Preferences, true},
    Key{kStartPrompt.key, SettingStore::File, true},
    Key{kEndPrompt.key, SettingStore::File, true},
    Key{kRecordTone.key, SettingStore::File, true},
    Key{kRecordToneInterval.key, SettingStore::File, false},
    Key{kHoldNumber.key, SettingStore::File, false},
    Key{kAudioHighPass.key, SettingStore::File, false},
    Key{kAudioCompressorThreshold.key, SettingStore::File, false},
    Key{kAudioGain.key, SettingStore::File, false},
};

const Key* FindKey(std::string_view name) {
  for (const Key& key : kKeys) {
    if (name == key.name) return &key;
  }
  return nullptr;
}

struct Word {
  char const* name;
  CallVerb verb;
};
constexpr std::array kWords = {
    Word{"record", CallVerb::Record},
    Word{"hold", CallVerb::Hold},
    Word{"stop", CallVerb::Stop},
    Word{"stop-now", CallVerb::StopNow},
    Word{"stop-devices", CallVerb::StopDevices},
    Word{"number", CallVerb::Number},
    Word{"set", CallVerb::Set},
    Word{"remove", CallVerb::Remove},
    Word{"wait", CallVerb::Wait},
    Word{"wait-for", CallVerb::WaitFor},
    Word{"stall-input", CallVerb::StallInput},
    Word{"refuse-input", CallVerb::RefuseInput},
    Word{"silence-output", CallVerb::SilenceOutput},
};

std::string_view Trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

// Takes the first word off.
std::string_view TakeWord(std::string_view& text) {
  const std::size_t end = text.find_first_of(kBlanks);
  const std::string_view word = text.substr(0, end);
  text = end == std::string_view::npos ? std::string_view() : Trimmed(text.substr(end));
  return word;
}

std::optional<std::int64_t> Milliseconds(std::string_view text) {
  double seconds = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return std::nullopt;
  if (!(seconds >= 0 && seconds <= kMostSeconds)) return std::nullopt;
  return std::llround(seconds * 1000);
}

bool TakeSeconds(std::string_view text, std::int64_t& ms) {
  const std::optional<std::int64_t> read = Milliseconds(text);
  if (read) ms = *read;
  return read.has_value();
}

bool TakeState(std::string_view rest, CallCommand& command) {
  const std::string_view name = TakeWord(rest);
  command.ms = kWaitForMs;
  for (const SndStateType state : kStates) {
    if (name != NameOfState(state)) continue;
    command.state = state;
    return rest.empty() || TakeSeconds(rest, command.ms);
  }
  return false;
}

// What follows the verb; false when it cannot be that.
bool TakeArguments(std::string_view rest, CallCommand& command) {
  switch (command.verb) {
    case CallVerb::Record:
    case CallVerb::Hold:
    case CallVerb::Stop:
    case CallVerb::StopNow:
    case CallVerb::StopDevices:
      return rest.empty();
    case CallVerb::Number:
      command.value = rest;
      return true;
    case CallVerb::Remove:
      command.value = rest;
      return !rest.empty() && rest.find('/') == std::string_view::npos;
    case CallVerb::Set:
      command.key = TakeWord(rest);
      command.value = rest;
      return IsSetting(command.key);
    case CallVerb::Wait:
    case CallVerb::StallInput:
    case CallVerb::SilenceOutput:
      return TakeSeconds(rest, command.ms);
    case CallVerb::WaitFor:
      return TakeState(rest, command);
    case CallVerb::RefuseInput:
      command.on = rest == "on";
      return command.on || rest == "off";
  }
  return false;
}

bool ReadCommand(std::string_view text, CallCommand& command) {
  std::string_view rest = text;
  std::string_view word = TakeWord(rest);
  if ((command.atMs = Milliseconds(word))) {
    text = rest;
    word = TakeWord(rest);
  }
  command.text = text;
  for (const Word& known : kWords) {
    if (word != known.name) continue;
    command.verb = known.verb;
    return TakeArguments(rest, command);
  }
  return false;
}

}  // namespace

char const* NameOfState(SndStateType state) {
  switch (state) {
    case SndStateType::Idle:
      return "idle";
    case SndStateType::StartPrompt:
      return "start-prompt";
    case SndStateType::EndPrompt:
      return "end-prompt";
    case SndStateType::Recording:
      return "recording";
    case SndStateType::OnHold:
      return "on-hold";
  }
  return "";
}

std::optional<std::vector<CallCommand>> ReadCallScript(const std::string& script, std::string& error) {
  std::vector<CallCommand> commands;
  std::string_view left = script;
  for (int line = 1; !left.empty(); ++line) {
    const std::size_t end = left.find('\n');
    std::string_view text = left.substr(0, end);
    left = end == std::string_view::npos ? std::string_view() : left.substr(end + 1);
    text = Trimmed(text.substr(0, text.find('#')));
    if (text.empty()) continue;
    CallCommand command;
    command.line = line;
    if (!ReadCommand(text, command)) {
      error = "line " + std::to_string(line);
      error.append(": cannot be '").append(text).append("'");
      return std::nullopt;
    }
    commands.push_back(std::move(command));
  }
  return commands;
}

bool IsSetting(const std::string& key) {
  return FindKey(key) != nullptr;
}

bool StoreSetting(const std::string& name, const std::string& value) {
  const Key* const key = FindKey(name);
  if (key == nullptr) return false;
  const bool isFile = key->store == SettingStore::File;
  std::string stored = value;
  if (key->isSwitch && value == "on") stored = isFile ? "true" : "1";
  if (key->isSwitch && value == "off") stored = isFile ? "false" : "0";
  if (isFile) {
    char path[kTextSize];
    tstrmcpy(path, gSettings.dataFolder);
    LFile::_FilePathCat(path, "settings.ini");
    LDatFileSetValue(path, "settings", name.c_str(), stored.c_str());
  } else {
    services.preferences->Set("Settings/" + name, stored);
  }
  return true;
}

}  // namespace kiv
