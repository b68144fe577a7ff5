#include "platform/x11/x11_hot_keys.h"

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>
// The header names a member "explicit".
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <utility>

namespace kiv {
namespace {

constexpr xcb_keysym_t kKeysymF1 = 0xFFBE;
constexpr xcb_keysym_t kKeysymNumLock = 0xFF7F;

// The longer of a keyboard's own repeat times, where it does not tell.
constexpr std::uint32_t kUsualRepeatMs = 660;

template <typename T>
struct FreeDeleter {
  void operator()(T* pointer) const { std::free(pointer); }
};
template <typename T>
using Reply = std::unique_ptr<T, FreeDeleter<T>>;

xcb_keysym_t KeysymOf(int virtualKey) {
  const auto* key = std::find(std::begin(kFunctionKeyCodes), std::end(kFunctionKeyCodes), virtualKey);
  if (key == std::end(kFunctionKeyCodes)) return XCB_NO_SYMBOL;
  return kKeysymF1 + static_cast<xcb_keysym_t>(key - std::begin(kFunctionKeyCodes));
}

struct SymbolsDeleter {
  void operator()(xcb_key_symbols_t* symbols) const { xcb_key_symbols_free(symbols); }
};
using Symbols = std::unique_ptr<xcb_key_symbols_t, SymbolsDeleter>;

// 0 when no key has the symbol.
std::uint8_t KeycodeOf(xcb_key_symbols_t* symbols, xcb_keysym_t keysym) {
  if (symbols == nullptr || keysym == XCB_NO_SYMBOL) return 0;
  const Reply<xcb_keycode_t> codes(xcb_key_symbols_get_keycode(symbols, keysym));
  return codes ? codes.get()[0] : std::uint8_t{0};
}

}  // namespace

X11HotKeys::X11HotKeys(const char* display, std::uint32_t repeatSlackMs)
    : repeatSlackMs_(repeatSlackMs), longestRepeatGapMs_(kUsualRepeatMs + repeatSlackMs) {
  int screenNumber = 0;
  xcb_connection_t* connection = xcb_connect(display, &screenNumber);
  if (xcb_connection_has_error(connection) != 0) {
    xcb_disconnect(connection);
    return;
  }
  xcb_screen_iterator_t screen = xcb_setup_roots_iterator(xcb_get_setup(connection));
  for (; screenNumber > 0 && screen.rem > 1; --screenNumber) xcb_screen_next(&screen);
  connection_ = connection;
  root_ = screen.data->root;

  // A held key then sends no release before each repeat, so repeats can be told from presses.
  const Reply<xcb_xkb_use_extension_reply_t> xkb(
      xcb_xkb_use_extension_reply(connection_, xcb_xkb_use_extension(connection_, 1, 0), nullptr));
  if (xkb && xkb->supported) {
    constexpr std::uint32_t kFlag = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
    const Reply<xcb_xkb_per_client_flags_reply_t> flags(xcb_xkb_per_client_flags_reply(
        connection_, xcb_xkb_per_client_flags(connection_, XCB_XKB_ID_USE_CORE_KBD, kFlag, kFlag, 0, 0, 0), nullptr));
    // Programs that use the extension hear of a changed keyboard by its events alone.
    constexpr std::uint16_t kEvents = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    constexpr std::uint16_t kParts = XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP;
    xcb_xkb_select_events(connection_, XCB_XKB_ID_USE_CORE_KBD, kEvents, 0, kEvents, kParts, kParts, nullptr);
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection_, &xcb_xkb_id);
    if (extension != nullptr && extension->present != 0) keyboardEvent_ = extension->first_event;
  }
  ReadKeyboard();
}

X11HotKeys::~X11HotKeys() {
  // The server gives the keys free with the connection.
  if (connection_ != nullptr) xcb_disconnect(connection_);
}

void X11HotKeys::ReadKeyboard() {
  const Symbols symbols(xcb_key_symbols_alloc(connection_));
  numLockMask_ = 0;
  const std::uint8_t numLock = KeycodeOf(symbols.get(), kKeysymNumLock);
  const Reply<xcb_get_modifier_mapping_reply_t> mapping(
      xcb_get_modifier_mapping_reply(connection_, xcb_get_modifier_mapping(connection_), nullptr));
  if (mapping && numLock != 0) {
    const xcb_keycode_t* codes = xcb_get_modifier_mapping_keycodes(mapping.get());
    for (int modifier = 0; modifier < 8; ++modifier) {
      for (int i = 0; i < mapping->keycodes_per_modifier; ++i) {
        if (codes[modifier * mapping->keycodes_per_modifier + i] == numLock) {
          numLockMask_ = static_cast<std::uint16_t>(numLockMask_ | 1U << modifier);
        }
      }
    }
  }
  for (auto& [registration, key] : keys_) key.keycode = KeycodeOf(symbols.get(), KeysymOf(key.virtualKey));

  if (keyboardEvent_ == 0) return;
  const Reply<xcb_xkb_get_controls_reply_t> controls(
      xcb_xkb_get_controls_reply(connection_, xcb_xkb_get_controls(connection_, XCB_XKB_ID_USE_CORE_KBD), nullptr));
  if (controls) {
    longestRepeatGapMs_ = std::max<std::uint32_t>(controls->repeatDelay, controls->repeatInterval) + repeatSlackMs_;
  }
}

namespace {

// Without and with each lock key; a set, since a keyboard without Num Lock has two of them alike.
std::vector<std::uint16_t> LockMasks(std::uint16_t numLockMask) {
  std::vector<std::uint16_t> masks = {0, XCB_MOD_MASK_LOCK};
  if (numLockMask != 0) {
    masks.push_back(numLockMask);
    masks.push_back(static_cast<std::uint16_t>(numLockMask | XCB_MOD_MASK_LOCK));
  }
  return masks;
}

}  // namespace

bool X11HotKeys::Grab(std::uint8_t keycode) {
  if (keycode == 0) return false;
  // All asked before the first answer is read, which costs one way to the server and back.
  std::vector<xcb_void_cookie_t> cookies;
  for (const std::uint16_t mask : LockMasks(numLockMask_)) {
    cookies.push_back(
        xcb_grab_key_checked(connection_, 0, root_, mask, keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
  }
  bool all = true;
  for (const xcb_void_cookie_t cookie : cookies) {
    const Reply<xcb_generic_error_t> error(xcb_request_check(connection_, cookie));
    if (error) all = false;
  }
  // Half a key would act only while Caps Lock is off, say: better none until the other program lets go.
  if (!all) Ungrab(keycode, numLockMask_);
  return all;
}

void X11HotKeys::Ungrab(std::uint8_t keycode, std::uint16_t numLockMask) {
  if (keycode == 0) return;
  for (const std::uint16_t mask : LockMasks(numLockMask)) xcb_ungrab_key(connection_, keycode, root_, mask);
  xcb_flush(connection_);
}

HotKeys::Registration X11HotKeys::Register(int virtualKey, std::uint32_t id, Listener& listener) {
  if (connection_ == nullptr) return 0;
  const Symbols symbols(xcb_key_symbols_alloc(connection_));
  Key key{virtualKey, id, &listener, KeycodeOf(symbols.get(), KeysymOf(virtualKey))};
  if (key.keycode == 0) return 0;
  // A key that we hold already is not asked for again.
  const bool ours = !RegistrationsOf(key.keycode).empty() && Holds(virtualKey);
  key.held = ours || Grab(key.keycode);
  keys_.emplace(++lastRegistration_, key);
  return lastRegistration_;
}

void X11HotKeys::Unregister(Registration registration) {
  const auto found = keys_.find(registration);
  if (found == keys_.end()) return;
  const Key key = found->second;
  keys_.erase(found);
  if (key.held && RegistrationsOf(key.keycode).empty()) Ungrab(key.keycode, numLockMask_);
}

HotKeys::State X11HotKeys::StateOf(Registration registration) const {
  const auto found = keys_.find(registration);
  return found != keys_.end() && found->second.held ? State::Held : State::Taken;
}

void X11HotKeys::Retry() {
  for (auto& [registration, key] : keys_) {
    if (!key.held) key.held = Grab(key.keycode);
  }
}

bool X11HotKeys::Holds(int virtualKey) const {
  return std::any_of(keys_.begin(), keys_.end(), [virtualKey](const auto& entry) {
    return entry.second.virtualKey == virtualKey && entry.second.held;
  });
}

int X11HotKeys::Descriptor() const {
  return connection_ == nullptr ? -1 : xcb_get_file_descriptor(connection_);
}

void X11HotKeys::GrabAll() {
  const std::uint16_t maskBefore = numLockMask_;
  std::vector<std::uint8_t> codesBefore;
  for (const auto& [registration, key] : keys_) codesBefore.push_back(key.keycode);
  ReadKeyboard();
  const bool same = numLockMask_ == maskBefore &&
                    std::equal(keys_.begin(), keys_.end(), codesBefore.begin(),
                               [](const auto& entry, std::uint8_t code) { return entry.second.keycode == code; });
  // News of the keyboard come with the first key of another one, too. A key let go for a moment could be pressed in it.
  if (same) return;
  for (const std::uint8_t code : codesBefore) Ungrab(code, maskBefore);
  for (auto& [registration, key] : keys_) key.held = Grab(key.keycode);
}

void X11HotKeys::Dispatch() {
  if (connection_ == nullptr) return;
  DispatchEvents();
  // What comes while the keys are asked for anew is read along with the answers; the descriptor tells of it no more.
  while (std::exchange(keyboardChanged_, false)) {
    GrabAll();
    DispatchEvents();
  }
}

void X11HotKeys::DispatchEvents() {
  while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection_)}) {
    const int type = event->response_type & 0x7F;
    if (keyboardEvent_ != 0 && type == keyboardEvent_) keyboardChanged_ = true;
    switch (type) {
      case XCB_KEY_PRESS: {
        const auto* press = reinterpret_cast<const xcb_key_press_event_t*>(event.get());
        Press(press->detail, press->time);
        break;
      }
      case XCB_KEY_RELEASE:
        Release(reinterpret_cast<const xcb_key_release_event_t*>(event.get())->detail);
        break;
      case XCB_MAPPING_NOTIFY:
        // Of the pointer's buttons, too; a change of the keyboard comes as several of these.
        keyboardChanged_ |=
            reinterpret_cast<const xcb_mapping_notify_event_t*>(event.get())->request != XCB_MAPPING_POINTER;
        break;
      default:
        break;
    }
  }
}

std::vector<HotKeys::Registration> X11HotKeys::RegistrationsOf(std::uint8_t keycode) const {
  std::vector<Registration> registrations;
  for (const auto& [registration, key] : keys_) {
    if (key.keycode == keycode) registrations.push_back(registration);
  }
  return registrations;
}

// Listeners may register and unregister, so each registration is looked up anew before its call.

void X11HotKeys::Press(std::uint8_t keycode, std::uint32_t timeMs) {
  for (const Registration registration : RegistrationsOf(keycode)) {
    const auto found = keys_.find(registration);
    if (found == keys_.end()) continue;
    Key& key = found->second;
    // The release of a key that is down may have gone to another program's grab.
    const bool repeat = key.down && timeMs - key.lastPressMs <= longestRepeatGapMs_;
    key.down = true;
    key.lastPressMs = timeMs;
    if (!repeat) key.listener->HotKeyPressed(key.id);
  }
}

void X11HotKeys::Release(std::uint8_t keycode) {
  for (const Registration registration : RegistrationsOf(keycode)) {
    const auto found = keys_.find(registration);
    if (found == keys_.end() || !found->second.down) continue;
    found->second.down = false;
    found->second.listener->HotKeyReleased(found->second.id);
  }
}

}  // namespace kiv
