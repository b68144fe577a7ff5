#include "ui/timers.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <vector>

#include "tests/ui/wait_until.h"

namespace {

using kiv::test::WaitUntil;

// No test takes that long.
constexpr int kNeverMs = 3600000;

class Owner : public LTimers {
 public:
  std::vector<int> fired;
  int again = 0;
  void EvTimer(int id) override {
    fired.push_back(id);
    if (again > 0 && --again >= 0) TimerSet(id, 0);
  }
};

int Pending() {
  int count = 0;
  for (LListIterator<LTimers::TimerListItem> it(LTimers::lTimers); it; ++it) ++count;
  return count;
}

void Fire(LTimers::TimerListItem* item) {
  LTimers::TimerAction(item->timer, item);
}

TEST(Timers, SetTwiceLeavesOnePending) {
  Owner owner;
  owner.TimerSet(1, kNeverMs);
  owner.TimerSet(1, kNeverMs);
  EXPECT_EQ(Pending(), 1);
}

TEST(Timers, SetTwiceFiresOnceAndCountsFromTheSecond) {
  constexpr int kDelayMs = 40;
  Owner owner;
  owner.TimerSet(1, kDelayMs);
  owner.TimerSet(2, kDelayMs / 2);
  ASSERT_TRUE(WaitUntil([&owner] { return !owner.fired.empty(); }));
  ASSERT_EQ(owner.fired, std::vector<int>{2});
  QElapsedTimer clock;
  clock.start();
  owner.TimerSet(1, kDelayMs);
  EXPECT_TRUE(WaitUntil([&owner] { return owner.fired.size() > 1; }));
  EXPECT_GE(clock.elapsed(), kDelayMs - 1);  // The loop counts in whole milliseconds.
  EXPECT_EQ(owner.fired, (std::vector<int>{2, 1}));
  EXPECT_EQ(Pending(), 0);
}

TEST(Timers, NewestStandsFirst) {
  Owner owner;
  owner.TimerSet(1, kNeverMs);
  owner.TimerSet(2, kNeverMs);
  ASSERT_NE(LTimers::lTimers.head, nullptr);
  EXPECT_EQ(LTimers::lTimers.head->id, 2);
  EXPECT_EQ(LTimers::lTimers.head->next->id, 1);
}

TEST(Timers, TwoObjectsUseTheSameIdIndependently) {
  Owner a;
  Owner b;
  a.TimerSet(1, kNeverMs);
  b.TimerSet(1, kNeverMs);
  a.TimerReset(1);
  ASSERT_EQ(Pending(), 1);
  EXPECT_EQ(LTimers::lTimers.head->owner, &b);
}

TEST(Timers, ResetOfAnIdleTimerDoesNothing) {
  Owner owner;
  owner.TimerSet(1, kNeverMs);
  owner.TimerReset(2);
  EXPECT_EQ(Pending(), 1);
}

TEST(Timers, FiringCallsTheOwnerOnceAndMakesTheTimerIdle) {
  Owner owner;
  owner.TimerSet(7, kNeverMs);
  LTimers::TimerListItem* item = LTimers::lTimers.head;
  EventLoopTimerRef timer = item->timer;
  Fire(item);
  EXPECT_EQ(owner.fired, std::vector<int>{7});
  EXPECT_EQ(Pending(), 0);
  kiv::RemoveEventLoopTimer(timer);  // Fired by hand, so it has not gone by itself.
}

TEST(Timers, ItemResetAfterItsFiringWasQueuedDoesNothing) {
  Owner owner;
  owner.TimerSet(1, kNeverMs);
  LTimers::TimerListItem* stale = LTimers::lTimers.head;
  owner.TimerReset(1);
  LTimers::TimerAction(nullptr, stale);
  EXPECT_TRUE(owner.fired.empty());
}

TEST(Timers, SettingAnewInEvTimerRepeats) {
  Owner owner;
  owner.again = 3;
  owner.TimerSet(1, 0);
  EXPECT_TRUE(WaitUntil([&owner] { return owner.fired.size() == 4; }));
  EXPECT_EQ(owner.fired, (std::vector<int>{1, 1, 1, 1}));
  EXPECT_EQ(Pending(), 0);
}

TEST(Timers, FireInTheOrderOfTheirTimes) {
  Owner owner;
  owner.TimerSet(1, kNeverMs);
  owner.TimerSet(2, 0);
  owner.TimerSet(3, -5);
  owner.TimerSet(4, 20);
  EXPECT_TRUE(WaitUntil([&owner] { return owner.fired.size() == 3; }));
  EXPECT_EQ(owner.fired, (std::vector<int>{2, 3, 4}));
  EXPECT_EQ(Pending(), 1);
}

TEST(Timers, DestructorCancelsEveryTimerOfItsObjectOnly) {
  Owner other;
  other.TimerSet(9, kNeverMs);
  {
    Owner owner;
    owner.TimerSet(1, 0);
    owner.TimerSet(2, 0);
    EXPECT_EQ(Pending(), 3);
  }
  ASSERT_EQ(Pending(), 1);
  EXPECT_EQ(LTimers::lTimers.head->owner, &other);
  QCoreApplication::processEvents();
  EXPECT_TRUE(other.fired.empty());
}

}  // namespace
