#include "ui/timers.h"

#include <memory>

LList<LTimers::TimerListItem> LTimers::lTimers;

namespace {

// Takes out and deletes every item of the owner that matches.
template <typename Matches>
void RemoveItems(const LTimers* owner, Matches matches) {
  LListIterator<LTimers::TimerListItem> it(LTimers::lTimers);
  while (it) {
    if (it->owner != owner || !matches(*it)) {
      ++it;
      continue;
    }
    kiv::RemoveEventLoopTimer(it->timer);
    delete LTimers::lTimers.Detach(it);
  }
}

}  // namespace

LTimers::~LTimers() {
  RemoveItems(this, [](const TimerListItem&) { return true; });
}

void LTimers::TimerSet(int id, std::int32_t milliseconds) {
  TimerReset(id);
  auto item = std::make_unique<TimerListItem>();
  item->owner = this;
  item->id = id;
  item->timer = kiv::InstallEventLoopTimer(milliseconds, TimerAction, item.get());
  item->next = lTimers.head;
  lTimers.head = item.release();
}

void LTimers::TimerReset(int id) {
  RemoveItems(this, [id](const TimerListItem& item) { return item.id == id; });
}

void LTimers::TimerAction(EventLoopTimerRef, void* userData) {
  LListIterator<TimerListItem> it(lTimers);
  while (it && &*it != userData) ++it;
  if (!it) return;
  const std::unique_ptr<TimerListItem> item(lTimers.Detach(it));
  item->owner->EvTimer(item->id);
}
