#include "foundation/event_queue.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <utility>

namespace kiv {

EventQueue::EventQueue() : wakeDescriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

EventQueue::~EventQueue() {
  if (wakeDescriptor_ >= 0) close(wakeDescriptor_);
}

EventQueue& EventQueue::Main() {
  static EventQueue* const queue = new EventQueue;
  return *queue;
}

void EventQueue::Wake() {
  const std::uint64_t count = 1;
  [[maybe_unused]] const auto written = write(wakeDescriptor_, &count, sizeof count);
}

void EventQueue::EndWakeLocked() {
  awake_ = false;
  std::uint64_t count = 0;
  [[maybe_unused]] const auto got = read(wakeDescriptor_, &count, sizeof count);
}

void EventQueue::Post(Event event) {
  bool wake = false;
  {
    const std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
    ++posted_;
    wake = !std::exchange(awake_, true);
  }
  // Not under the mutex, for which the main thread, just woken, would have to wait.
  if (wake) Wake();
}

bool EventQueue::IsEmpty() const {
  const std::lock_guard lock(mutex_);
  return events_.empty();
}

std::size_t EventQueue::Drain() {
  std::unique_lock lock(mutex_);
  // The wake-up for an event that had already been taken when it came.
  if (events_.empty()) EndWakeLocked();
  const std::uint64_t last = posted_;
  std::size_t count = 0;
  // A nested Drain may take events that this one counted on, hence numbers instead of a count.
  while (!events_.empty() && taken_ < last) {
    const Event event = std::move(events_.front());
    events_.pop_front();
    ++taken_;
    ++count;
    // Before the handler runs: a loop that it may enter sees whether there is more.
    if (events_.empty()) EndWakeLocked();
    lock.unlock();
    Dispatch(event);
    lock.lock();
  }
  return count;
}

void EventQueue::Dispatch(const Event& event) {
  std::vector<std::shared_ptr<Installed>> candidates;
  for (const auto& installed : handlers_) {
    if (installed->eventClass == event.Class() && installed->kind == event.Kind()) candidates.push_back(installed);
  }
  for (auto candidate = candidates.rbegin(); candidate != candidates.rend(); ++candidate) {
    // One that was removed meanwhile has lost its number.
    if ((*candidate)->id != 0 && (*candidate)->handler(event)) return;
  }
}

EventQueue::HandlerId EventQueue::Install(std::uint32_t eventClass, std::uint32_t kind, Handler handler) {
  handlers_.push_back(std::make_shared<Installed>(
      Installed{.id = ++lastHandler_, .eventClass = eventClass, .kind = kind, .handler = std::move(handler)}));
  return lastHandler_;
}

void EventQueue::Remove(HandlerId id) {
  const auto found =
      std::find_if(handlers_.begin(), handlers_.end(), [id](const auto& installed) { return installed->id == id; });
  if (found == handlers_.end()) return;
  (*found)->id = 0;
  handlers_.erase(found);
}

std::uint64_t EventQueue::NewIdentity() noexcept {
  static std::atomic<std::uint64_t> last{0};
  return ++last;
}

}  // namespace kiv
