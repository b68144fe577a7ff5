#include "foundation/queued_notify.h"

LThreadQueuedNotify::LThreadQueuedNotify()
    : queue_(kiv::EventQueue::Main()), identity_(kiv::EventQueue::NewIdentity()) {
  handler_ = queue_.Install(kiv::kNotifyClass, kiv::kNotifyKind,
                            [this](const kiv::Event& event) { return EventHandler(event, this); });
}

LThreadQueuedNotify::~LThreadQueuedNotify() {
  queue_.Remove(handler_);
}

void LThreadQueuedNotify::PostQueueNotify() {
  kiv::Event event(kiv::kNotifyClass, kiv::kNotifyKind);
  event.Set(kiv::kNotifyObject, kiv::kNotifyObjectType, identity_);
  queue_.Post(std::move(event));
}

bool LThreadQueuedNotify::EventHandler(const kiv::Event& event, LThreadQueuedNotify* userData) {
  const auto identity = event.Get<std::uint64_t>(kiv::kNotifyObject, kiv::kNotifyObjectType);
  if (identity != userData->identity_) return false;
  userData->EvNotify();
  return true;
}
