#include "platform/pulse/byte_ring.h"

#include <deque>

#include "tests/support/test_signals.h"

namespace {

using kiv::ByteRing;

std::string Pop(ByteRing& ring, std::size_t size) {
  std::string out(size, '\0');
  return ring.Pop(out.data(), size) ? out : "-";
}

TEST(ByteRing, GivesBackInOrder) {
  ByteRing ring;
  ring.Reset(8);
  EXPECT_EQ(ring.Push("abcdef", 6, 2), 0U);
  EXPECT_EQ(Pop(ring, 4), "abcd");
  EXPECT_EQ(ring.Push("ghijkl", 6, 2), 0U);  // Around the end.
  EXPECT_EQ(ring.Size(), 8U);
  EXPECT_EQ(Pop(ring, 8), "efghijkl");
}

TEST(ByteRing, TakesNothingWhenThereIsTooLittle) {
  ByteRing ring;
  ring.Reset(8);
  ring.Push("ab", 2, 2);
  EXPECT_EQ(Pop(ring, 4), "-");
  EXPECT_EQ(Pop(ring, 2), "ab");
  EXPECT_EQ(Pop(ring, 0), "");
}

TEST(ByteRing, OldestWholeUnitsGoWhenItIsFull) {
  ByteRing ring;
  ring.Reset(8);
  ring.Push("abcdefgh", 8, 4);
  EXPECT_EQ(ring.Push("ij", 2, 4), 4U);
  EXPECT_EQ(Pop(ring, 6), "efghij");
}

TEST(ByteRing, OnlyTheNewestPartOfTooMuchStays) {
  ByteRing ring;
  ring.Reset(4);
  ring.Push("ab", 2, 2);
  EXPECT_EQ(ring.Push("cdefghij", 8, 2), 6U);
  EXPECT_EQ(Pop(ring, 4), "ghij");
}

TEST(ByteRing, MissingDataIsZeros) {
  ByteRing ring;
  ring.Reset(4);
  ring.Push("xyz", 3, 1);
  EXPECT_EQ(Pop(ring, 3), "xyz");
  ring.Push(nullptr, 3, 1);
  EXPECT_EQ(Pop(ring, 3), std::string(3, '\0'));
}

TEST(ByteRing, WithoutRoomEverythingIsLost) {
  ByteRing ring;
  EXPECT_EQ(ring.Push("ab", 2, 2), 2U);
  EXPECT_EQ(Pop(ring, 1), "-");
}

TEST(ByteRing, ActsLikeAQueueOnRandomSequences) {
  kiv::test::Random random(5);
  ByteRing ring;
  ring.Reset(64);
  std::deque<char> model;
  for (int step = 0; step < 20000; ++step) {
    const auto size = static_cast<std::size_t>(random.Between(0, 80)) & ~std::size_t{1};
    if (random.Between(0, 1) == 0) {
      std::string data(size, '\0');
      for (char& c : data) c = static_cast<char>(random.Between(0, 255));
      std::size_t dropped = 0;
      model.insert(model.end(), data.begin(), data.end());
      for (; model.size() > 64; ++dropped) model.pop_front();
      ASSERT_EQ(ring.Push(data.data(), size, 2), dropped);
    } else {
      std::string out(size, '\0');
      const bool there = size <= model.size();
      ASSERT_EQ(ring.Pop(out.data(), size), there);
      if (!there) continue;
      ASSERT_EQ(out, std::string(model.begin(), model.begin() + static_cast<std::ptrdiff_t>(size)));
      model.erase(model.begin(), model.begin() + static_cast<std::ptrdiff_t>(size));
    }
    ASSERT_EQ(ring.Size(), model.size());
  }
}

}  // namespace
