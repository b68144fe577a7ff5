#include "ui/hot_key_handler.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "platform/services.h"
#include "recorder/activity_log.h"
#include "ui/key_codes.h"

namespace {

constexpr std::uint32_t kSignature = kiv::FourCC("nKIV");

std::string KeyName(int virtualKey) {
  const auto* key = std::find(std::begin(kiv::kFunctionKeyCodes), std::end(kiv::kFunctionKeyCodes), virtualKey);
  if (key == std::end(kiv::kFunctionKeyCodes)) return std::to_string(virtualKey);
  std::string name("F");
  name += std::to_string(key - std::begin(kiv::kFunctionKeyCodes) + 1);
  return name;
}

kiv::Event HotKeyEvent(std::uint32_t kind, std::uint32_t id) {
  kiv::Event event(kEventClassKeyboard, kind);
  event.Set(kEventParamDirectObject, typeEventHotKeyID, EventHotKeyID{kSignature, id});
  return event;
}

}  // namespace

LHotKeyHandler::LHotKeyHandler() : port_(kiv::services.hotKeys) {}

LHotKeyHandler::~LHotKeyHandler() {
  for (std::uint32_t id = 0; id < kMaxHotKeys; ++id) UnregisterHotKey(id);
  if (retryTimer_ != nullptr) kiv::RemoveEventLoopTimer(retryTimer_);
}

void LHotKeyHandler::EvHotKeyReleased(std::uint32_t) {}

void LHotKeyHandler::RegisterHotKey(int virtualKey, std::uint32_t id) {
  if (id >= kMaxHotKeys || port_ == nullptr) return;
  UnregisterHotKey(id);
  keys_[id] = {port_->Register(virtualKey, id, forwarder_), virtualKey, false};
  ReportTaken();
  ScheduleRetry();
}

void LHotKeyHandler::UnregisterHotKey(std::uint32_t id) {
  if (!IsHotKeyRegistered(id)) return;
  port_->Unregister(keys_[id].registration);
  keys_[id] = {};
}

bool LHotKeyHandler::IsHotKeyRegistered(std::uint32_t id) const {
  return id < kMaxHotKeys && keys_[id].registration != 0;
}

OSStatus LHotKeyHandler::_LHKEventHandler(const kiv::Event& event, void* userData) {
  return static_cast<LHotKeyHandler*>(userData)->LHKEventHandler(event);
}

OSStatus LHotKeyHandler::LHKEventHandler(const kiv::Event& event) {
  const auto key = event.Get<EventHotKeyID>(kEventParamDirectObject, typeEventHotKeyID);
  if (!key || event.Class() != kEventClassKeyboard) return noErr;
  if (event.Kind() == kEventHotKeyPressed) {
    EvHotKey(key->id);
  } else if (event.Kind() == kEventHotKeyReleased) {
    EvHotKeyReleased(key->id);
  }
  return noErr;
}

void LHotKeyHandler::Forwarder::HotKeyPressed(std::uint32_t id) {
  _LHKEventHandler(HotKeyEvent(kEventHotKeyPressed, id), &handler_);
}

void LHotKeyHandler::Forwarder::HotKeyReleased(std::uint32_t id) {
  _LHKEventHandler(HotKeyEvent(kEventHotKeyReleased, id), &handler_);
}

void LHotKeyHandler::ReportTaken() {
  for (HotKey& key : keys_) {
    if (key.registration == 0) continue;
    const bool taken = port_->StateOf(key.registration) == kiv::HotKeys::State::Taken;
    if (taken && !key.reported) LogFile("Warning: Hot key unavailable: ", KeyName(key.virtualKey).c_str());
    key.reported = taken;
  }
}

void LHotKeyHandler::ScheduleRetry() {
  const bool anyTaken = std::any_of(std::begin(keys_), std::end(keys_), [this](const HotKey& key) {
    return key.registration != 0 && port_->StateOf(key.registration) == kiv::HotKeys::State::Taken;
  });
  if (anyTaken && retryTimer_ == nullptr) retryTimer_ = kiv::InstallEventLoopTimer(kRetryMs, RetryAction, this);
}

void LHotKeyHandler::RetryAction(EventLoopTimerRef, void* userData) {
  auto* handler = static_cast<LHotKeyHandler*>(userData);
  handler->retryTimer_ = nullptr;
  handler->RetryHotKeys();
}

void LHotKeyHandler::RetryHotKeys() {
  if (port_ == nullptr) return;
  port_->Retry();
  ReportTaken();
  ScheduleRetry();
}
