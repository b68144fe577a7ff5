#include "foundation/event_queue.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <thread>

#include "foundation/four_cc.h"

namespace {

using kiv::Event;
using kiv::EventQueue;
using kiv::FourCC;
using testing::ElementsAre;

constexpr std::uint32_t kClass = FourCC("Test");
constexpr std::uint32_t kKind = FourCC("numb");
constexpr std::uint32_t kName = FourCC("valu");
constexpr std::uint32_t kType = FourCC("INTT");

Event Number(std::int32_t value, std::uint32_t kind = kKind) {
  Event event(kClass, kind);
  event.Set(kName, kType, value);
  return event;
}

std::int32_t Value(const Event& event) {
  return event.Get<std::int32_t>(kName, kType).value_or(-1);
}

bool IsReadable(int descriptor) {
  pollfd poll{.fd = descriptor, .events = POLLIN, .revents = 0};
  return ::poll(&poll, 1, 0) == 1;
}

TEST(EventQueue, DispatchesInPostingOrderOneCallPerPost) {
  EventQueue queue;
  std::vector<std::int32_t> seen;
  queue.Install(kClass, kKind, [&](const Event& event) {
    seen.push_back(Value(event));
    return true;
  });
  for (int i : {1, 2, 2, 3}) queue.Post(Number(i));
  EXPECT_FALSE(queue.IsEmpty());
  EXPECT_EQ(queue.Drain(), 4U);
  EXPECT_TRUE(queue.IsEmpty());
  EXPECT_THAT(seen, ElementsAre(1, 2, 2, 3));
}

TEST(EventQueue, ParametersHaveNameTypeAndSize) {
  Event event(kClass, kKind);
  event.Set(kName, kType, std::int32_t{-7});
  EXPECT_EQ(event.Get<std::int32_t>(kName, kType), -7);
  EXPECT_EQ(event.Get<std::int32_t>(kName, FourCC("LSTM")), std::nullopt);
  EXPECT_EQ(event.Get<std::int32_t>(FourCC("none"), kType), std::nullopt);
  EXPECT_EQ(event.Get<std::int64_t>(kName, kType), std::nullopt);
}

TEST(EventQueue, LatestHandlerIsAskedFirstAndMayPassOn) {
  EventQueue queue;
  std::string order;
  queue.Install(kClass, kKind, [&](const Event&) {
    order += 'a';
    return true;
  });
  queue.Install(kClass, kKind, [&](const Event& event) {
    order += 'b';
    return Value(event) == 2;
  });
  queue.Install(kClass, FourCC("othr"), [&](const Event&) {
    order += 'x';
    return true;
  });
  queue.Post(Number(1));
  queue.Post(Number(2));
  queue.Drain();
  EXPECT_EQ(order, "bab");
}

TEST(EventQueue, EventThatNobodyAcceptsIsDropped) {
  EventQueue queue;
  queue.Post(Number(1));
  EXPECT_EQ(queue.Drain(), 1U);
  EXPECT_TRUE(queue.IsEmpty());
}

TEST(EventQueue, RemovedHandlerIsNotCalledEvenInTheMiddleOfAnEvent) {
  EventQueue queue;
  int first = 0;
  const auto id = queue.Install(kClass, kKind, [&](const Event&) {
    ++first;
    return true;
  });
  queue.Install(kClass, kKind, [&](const Event&) {
    queue.Remove(id);
    return false;
  });
  queue.Post(Number(1));
  queue.Drain();
  EXPECT_EQ(first, 0);
  queue.Remove(id);
}

TEST(EventQueue, HandlerMayRemoveItself) {
  EventQueue queue;
  EventQueue::HandlerId id = 0;
  const auto alive = std::make_shared<int>(5);
  int seen = 0;
  id = queue.Install(kClass, kKind, [&queue, &id, &seen, alive](const Event&) {
    queue.Remove(id);
    seen += *alive;
    return true;
  });
  queue.Post(Number(1));
  queue.Post(Number(2));
  queue.Drain();
  EXPECT_EQ(seen, 5);
  EXPECT_EQ(alive.use_count(), 1);
}

TEST(EventQueue, HandlerThatDrainsDoesNotHoldUpLaterEvents) {
  EventQueue queue;
  std::vector<std::int32_t> seen;
  queue.Install(kClass, kKind, [&](const Event& event) {
    if (Value(event) == 1) {
      EXPECT_TRUE(IsReadable(queue.WakeDescriptor()));
      EXPECT_EQ(queue.Drain(), 2U);
      EXPECT_FALSE(IsReadable(queue.WakeDescriptor()));
    }
    seen.push_back(Value(event));
    return true;
  });
  for (int i : {1, 2, 3}) queue.Post(Number(i));
  EXPECT_EQ(queue.Drain(), 1U);
  EXPECT_THAT(seen, ElementsAre(2, 3, 1));
}

TEST(EventQueue, WhatAHandlerPostsWaitsForTheNextTurnAndWakesIt) {
  EventQueue queue;
  int seen = 0;
  queue.Install(kClass, kKind, [&](const Event&) {
    ++seen;
    queue.Post(Number(1));
    return true;
  });
  queue.Post(Number(1));
  EXPECT_EQ(queue.Drain(), 1U);
  EXPECT_EQ(seen, 1);
  EXPECT_TRUE(IsReadable(queue.WakeDescriptor()));
}

TEST(EventQueue, DescriptorIsReadableExactlyWhileSomethingWaits) {
  EventQueue queue;
  EXPECT_FALSE(IsReadable(queue.WakeDescriptor()));
  queue.Post(Number(1));
  queue.Post(Number(2));
  EXPECT_TRUE(IsReadable(queue.WakeDescriptor()));
  queue.Drain();
  EXPECT_FALSE(IsReadable(queue.WakeDescriptor()));
}

// A thread that posts makes the descriptor readable after its event can be seen, and so perhaps taken.
TEST(EventQueue, WakeUpThatComesAfterItsEventWasTakenIsForgotten) {
  EventQueue queue;
  int seen = 0;
  queue.Install(kClass, kKind, [&](const Event&) { return ++seen > 0; });
  queue.Post(Number(1));
  EXPECT_EQ(queue.Drain(), 1U);
  const std::uint64_t late = 1;
  ASSERT_EQ(write(queue.WakeDescriptor(), &late, sizeof late), static_cast<ssize_t>(sizeof late));
  EXPECT_EQ(queue.Drain(), 0U);
  EXPECT_FALSE(IsReadable(queue.WakeDescriptor()));
  queue.Post(Number(2));
  EXPECT_TRUE(IsReadable(queue.WakeDescriptor()));
  EXPECT_EQ(queue.Drain(), 1U);
  EXPECT_EQ(seen, 2);
}

TEST(EventQueue, EveryThreadKeepsItsOwnOrder) {
  EventQueue queue;
  constexpr int kThreads = 4;
  constexpr int kPosts = 2000;
  std::vector<std::vector<std::int32_t>> seen(kThreads);
  for (std::uint32_t t = 0; t < kThreads; ++t) {
    queue.Install(kClass, t, [&seen, t](const Event& event) {
      seen[t].push_back(Value(event));
      return true;
    });
  }
  std::vector<std::thread> posters;
  for (std::uint32_t t = 0; t < kThreads; ++t) {
    posters.emplace_back([&queue, t] {
      for (int i = 0; i < kPosts; ++i) queue.Post(Number(i, t));
    });
  }
  std::size_t count = 0;
  while (count < std::size_t{kThreads} * kPosts) {
    pollfd poll{.fd = queue.WakeDescriptor(), .events = POLLIN, .revents = 0};
    ASSERT_EQ(::poll(&poll, 1, 20000), 1);
    count += queue.Drain();
  }
  for (auto& poster : posters) poster.join();
  for (const auto& values : seen) {
    ASSERT_EQ(values.size(), std::size_t{kPosts});
    EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
  }
}

TEST(EventQueue, IdentitiesAreNeverGivenTwice) {
  const auto first = EventQueue::NewIdentity();
  EXPECT_NE(first, 0U);
  EXPECT_LT(first, EventQueue::NewIdentity());
}

}  // namespace
