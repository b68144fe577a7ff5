#include "audio/sound_sink.h"

#include "tests/support/test_signals.h"

namespace {

using kiv::test::MemorySink;

TEST(LSoundSink, DefaultHandleIsEmpty) {
  LSoundSink sink;
  EXPECT_TRUE(sink.IsEmpty());
  sink.Close();
  LSoundSink other(sink);
  other = sink;
  EXPECT_TRUE(other.IsEmpty());
}

TEST(LSoundSink, HandlesShareAndLastReleaseDeletes) {
  auto* object = new MemorySink(8000, 1);
  LSoundSink a(object);
  LSoundSink b;
  b = a;
  EXPECT_EQ(object->ReferenceCount(), 2);
  LSoundSink& alias = b;
  b = alias;
  EXPECT_EQ(object->ReferenceCount(), 2);
  a.Close();
  EXPECT_TRUE(a.IsEmpty());
  EXPECT_EQ(object->ReferenceCount(), 1);
  b = a;
  EXPECT_TRUE(b.IsEmpty());
}

}  // namespace
