#include "foundation/queued_notify.h"

#include <functional>
#include <memory>
#include <optional>
#include <thread>

namespace {

using kiv::EventQueue;

class Notifier : public LThreadQueuedNotify {
 public:
  std::function<void()> onNotify = [] {};
  int notified = 0;

 private:
  void EvNotify() override {
    ++notified;
    onNotify();
  }
};

void DrainAll() {
  while (EventQueue::Main().Drain() > 0) {
  }
}

TEST(LThreadQueuedNotify, OneCallPerPostOnTheDrainingThread) {
  Notifier notifier;
  std::thread::id where;
  notifier.onNotify = [&] { where = std::this_thread::get_id(); };
  std::thread poster([&] {
    for (int i = 0; i < 3; ++i) notifier.PostQueueNotify();
  });
  poster.join();
  EXPECT_EQ(notifier.notified, 0);
  DrainAll();
  EXPECT_EQ(notifier.notified, 3);
  EXPECT_EQ(where, std::this_thread::get_id());
}

TEST(LThreadQueuedNotify, TwoNotifiersPostingAtOnceEachGetTheirOwn) {
  Notifier a;
  Notifier b;
  std::thread posterA([&] {
    for (int i = 0; i < 1000; ++i) a.PostQueueNotify();
  });
  std::thread posterB([&] {
    for (int i = 0; i < 500; ++i) b.PostQueueNotify();
  });
  posterA.join();
  posterB.join();
  DrainAll();
  EXPECT_EQ(a.notified, 1000);
  EXPECT_EQ(b.notified, 500);
}

TEST(LThreadQueuedNotify, EventForADestroyedNotifierReachesNobodyAtTheSameAddress) {
  std::optional<Notifier> notifier;
  notifier.emplace();
  const Notifier* const address = &*notifier;
  notifier->PostQueueNotify();
  notifier.emplace();
  ASSERT_EQ(&*notifier, address);
  DrainAll();
  EXPECT_EQ(notifier->notified, 0);
  notifier->PostQueueNotify();
  DrainAll();
  EXPECT_EQ(notifier->notified, 1);
}

TEST(LThreadQueuedNotify, ForeignEventsOfTheSameKindArePassedOn) {
  int passed = 0;
  const auto id = EventQueue::Main().Install(kiv::kNotifyClass, kiv::kNotifyKind, [&](const kiv::Event&) {
    ++passed;
    return true;
  });
  {
    Notifier notifier;
    EventQueue::Main().Post(kiv::Event(kiv::kNotifyClass, kiv::kNotifyKind));
    DrainAll();
    EXPECT_EQ(notifier.notified, 0);
  }
  EXPECT_EQ(passed, 1);
  EventQueue::Main().Remove(id);
}

TEST(LThreadQueuedNotify, MayBeDestroyedFromItsOwnNotification) {
  auto notifier = std::make_unique<Notifier>();
  notifier->onNotify = [&] { notifier.reset(); };
  notifier->PostQueueNotify();
  notifier->PostQueueNotify();
  DrainAll();
  EXPECT_EQ(notifier, nullptr);
}

TEST(LThreadQueuedNotify, NestedDrainDeliversTheRest) {
  Notifier outer;
  Notifier inner;
  outer.onNotify = [&] {
    if (outer.notified == 1) DrainAll();
  };
  outer.PostQueueNotify();
  inner.PostQueueNotify();
  outer.PostQueueNotify();
  EXPECT_EQ(EventQueue::Main().Drain(), 1U);
  EXPECT_EQ(outer.notified, 2);
  EXPECT_EQ(inner.notified, 1);
}

}  // namespace
