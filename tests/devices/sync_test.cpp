// How often a recording is brought to the disk. This program's own fdatasync stands in front of the system's.

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>

#include "audio/wave_file.h"
#include "tests/devices/line_fixture.h"
#include "tests/support/temporary_folder.h"

namespace {

std::atomic<int> syncs{0};

}  // namespace

extern "C" int fdatasync(int descriptor) {
  ++syncs;
  return static_cast<int>(syscall(SYS_fdatasync, descriptor));
}

namespace kiv::test {
namespace {

TEST(LSoundRecorder, WavFileIsBroughtToTheDiskEveryFiveSeconds) {
  const TemporaryFolder folder;
  for (const std::int32_t lineRateHz : {8000, 44100}) {
    InstalledLine installed(MakeFunction(NoiseAt), {.lockStep = true, .inputRateHz = lineRateHz});
    LSoundRecorder recorder;
    LSoundSink sink = LWaveFile::OpenSinkPCM(folder.File("call.wav").c_str(), 8000, 1, 16, 0);
    ASSERT_TRUE(recorder.Start(sink, kNoLimit, -127, kNeverPause));
    syncs = 0;
    installed.line.Run(4900);
    EXPECT_EQ(syncs, 0) << lineRateHz;
    installed.line.Run(100);
    EXPECT_EQ(syncs, 1) << lineRateHz;
    installed.line.Run(11000);
    EXPECT_EQ(syncs, 3) << lineRateHz;
  }
}

}  // namespace
}  // namespace kiv::test
