// By scripts/soak starts under valgrind, which tells what has been leaked.

#include <filesystem>
#include <iterator>

#include "tests/devices/line_fixture.h"

namespace {

using kiv::MakeSilence;
using kiv::test::HeldSink;
using kiv::test::InstalledLine;
using kiv::test::kNeverPause;
using kiv::test::kNoLimit;
using kiv::test::Noise;
using kiv::test::OpenMemory;

std::ptrdiff_t Entries(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

TEST(StartsAndStops, AThousandLeaveNoDescriptorAndNoThreadBehind) {
  InstalledLine installed(MakeSilence(), {.speed = 20.0});
  LSoundRecorder recorder;
  LSoundPlayer player;
  std::ptrdiff_t descriptors = 0;
  std::ptrdiff_t threads = 0;
  for (int i = 0; i < 1000; ++i) {
    HeldSink out;
    LSoundSource source = OpenMemory(Noise(1, 8000, 1, 500000), 8000, 1);
    ASSERT_TRUE(recorder.Start(out.handle, kNoLimit, -127, kNeverPause));
    ASSERT_TRUE(player.Start(source));
    kiv::EventQueue::Main().Drain();
    recorder.Stop();
    player.Stop();
    if (i == 0) {
      descriptors = Entries("/proc/self/fd");
      threads = Entries("/proc/self/task");
    }
  }
  EXPECT_EQ(Entries("/proc/self/fd"), descriptors);
  EXPECT_EQ(Entries("/proc/self/task"), threads);
  EXPECT_EQ(installed.line.OpenDevices(), 0);
}

}  // namespace
