#include "audio/wave_sink.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <string>

#include "audio/wave_file.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_signals.h"
#include "tests/support/wave_bytes.h"

namespace {

using kiv::test::FormatBytes;
using kiv::test::Little16;
using kiv::test::Little32;
using kiv::test::Noise;
using kiv::test::ReadFile;
using kiv::test::ReadInPieces;
using kiv::test::WriteFile;
using testing::Each;
using testing::ElementsAre;

constexpr std::uint32_t kUnknown = 0xFFFFFFFF;

// The header as it stands in the file, written out byte by byte.
std::string Header(std::uint32_t channels, std::uint32_t rateHz, std::uint32_t bits, std::uint32_t riffSize,
                   std::uint32_t dataSize) {
  return "RIFF" + Little32(riffSize) + "WAVEfmt " + Little32(18) +
         FormatBytes({.channels = channels, .rateHz = rateHz, .bits = bits}) + Little16(0) + "data" +
         Little32(dataSize);
}

std::string StoredRamp(int samples) {
  std::string data;
  for (int i = 1; i <= samples; ++i) data += Little16(static_cast<std::uint32_t>(i));
  return data;
}
std::vector<std::int32_t> Ramp(int samples) {
  std::vector<std::int32_t> ramp;
  for (int i = 1; i <= samples; ++i) ramp.push_back(i * 16);
  return ramp;
}

class WaveSink : public testing::Test {
 protected:
  LSoundSink Open(std::int32_t rateHz = 8000, std::uint8_t channels = 1, std::uint16_t bits = 16,
                  std::int32_t start = 0) {
    return LWaveFile::OpenSinkPCM(Path().c_str(), rateHz, channels, bits, start);
  }
  std::string Path() const { return folder_.File("a.wav"); }
  std::string Bytes() const { return ReadFile(Path()); }
  const kiv::test::TemporaryFolder& Folder() const { return folder_; }

 private:
  kiv::test::TemporaryFolder folder_;
};

TEST_F(WaveSink, HeaderIsCompleteFromTheFirstByteAndFinalAtTheEnd) {
  LSoundSink sink = Open(11025, 2, 16);
  EXPECT_EQ(sink->Error(), kSinkGood);
  EXPECT_EQ(sink->Rate(), 11025);
  EXPECT_EQ(sink->Channels(), 2);
  EXPECT_EQ(Bytes(), Header(2, 11025, 16, kUnknown, kUnknown));
  EXPECT_EQ(Bytes().size(), 46U);
  sink->Write(Ramp(6).data(), 3);
  EXPECT_EQ(sink->Position(), 3);
  EXPECT_EQ(Bytes(), Header(2, 11025, 16, kUnknown, kUnknown) + StoredRamp(6));
  const LSoundSink shared = sink;
  sink.Close();
  EXPECT_EQ(Bytes(), Header(2, 11025, 16, kUnknown, kUnknown) + StoredRamp(6));  // One handle is left.
  static_cast<void>(shared->Position());
}

TEST_F(WaveSink, LastReleaseWritesTheSizes) {
  LSoundSink sink = Open(11025, 2, 16);
  sink->Write(Ramp(6).data(), 3);
  LSoundSink shared = sink;
  sink.Close();
  shared.Close();
  EXPECT_EQ(Bytes(), Header(2, 11025, 16, 50, 12) + StoredRamp(6));
}

TEST_F(WaveSink, EmptyRecordingIsTheHeaderAlone) {
  Open().Close();
  EXPECT_EQ(Bytes(), Header(1, 8000, 16, 38, 0));
}

TEST_F(WaveSink, BitsChooseTheStoredFormat) {
  const std::int32_t samples[3] = {-524288, 0, 520192};
  for (const std::uint16_t bits : std::vector<std::uint16_t>{0, 1, 8}) {
    LSoundSink sink = Open(8000, 1, bits);
    sink->Write(samples, 3);
    sink.Close();
    EXPECT_EQ(Bytes(), Header(1, 8000, 8, 41, 3) + std::string("\x00\x80\xFF", 3)) << bits;
  }
  for (const std::uint16_t bits : std::vector<std::uint16_t>{9, 12, 16}) {
    LSoundSink sink = Open(8000, 1, bits);
    sink->Write(samples, 3);
    sink.Close();
    EXPECT_EQ(Bytes(), Header(1, 8000, 16, 44, 6) + std::string("\x00\x80\x00\x00\x00\x7F", 6)) << bits;
  }
}

TEST_F(WaveSink, MoreThanSixteenBitsGiveAnEmptyHandleAndNoFile) {
  EXPECT_TRUE(Open(8000, 1, 17).IsEmpty());
  EXPECT_TRUE(Open(8000, 1, 65535).IsEmpty());
  EXPECT_NE(access(Path().c_str(), F_OK), 0);
}

TEST_F(WaveSink, SamplesOutOfRangeWrap) {
  const std::int32_t sample = 524280;
  LSoundSink sink = Open();
  sink->Write(&sample, 1);
  EXPECT_EQ(Bytes().substr(46), std::string("\x00\x80", 2));
}

TEST_F(WaveSink, NewFileReplacesWhatWasThere) {
  WriteFile(Path(), std::string(1000, 'x'));
  const LSoundSink sink = Open();
  EXPECT_EQ(Bytes(), Header(1, 8000, 16, kUnknown, kUnknown));
}

TEST_F(WaveSink, SinkThatCannotOpenItsFileSwallowsEverything) {
  for (const std::string& path : {Folder().Path(), Folder().File("none/a.wav"), std::string()}) {
    LSoundSink sink = LWaveFile::OpenSinkPCM(path.c_str(), 8000, 1, 16, 7);
    ASSERT_FALSE(sink.IsEmpty());
    EXPECT_EQ(sink->Error(), kSinkFailed);
    EXPECT_EQ(sink->Position(), 7);
    sink->Write(Ramp(3).data(), 3);
    EXPECT_EQ(sink->Position(), 10);
    sink->Seek(2);
    EXPECT_EQ(sink->Position(), 2);
  }
}

TEST_F(WaveSink, NoChannelsBecomeOneWithErrorOne) {
  LSoundSink sink = Open(8000, 0, 16);
  EXPECT_EQ(sink->Error(), kSinkFailed);
  EXPECT_EQ(sink->Channels(), 1);
  sink->Write(Ramp(2).data(), 2);
  sink.Close();
  EXPECT_EQ(Bytes(), Header(1, 8000, 16, 42, 4) + StoredRamp(2));
}

TEST_F(WaveSink, WritesOfNoFramesDoNothing) {
  LSoundSink sink = Open();
  const std::int32_t sample = 16;
  sink->Write(&sample, 0);
  sink->Write(&sample, -1);
  sink->Write(&sample, INT32_MIN);
  EXPECT_EQ(sink->Position(), 0);
  EXPECT_EQ(Bytes().size(), 46U);
}

TEST_F(WaveSink, SeekBackCutsTheFile) {
  for (const std::uint8_t channels : std::vector<std::uint8_t>{1, 2, 255}) {
    const std::vector<std::int32_t> noise = Noise(1, 100, channels, 524272);
    LSoundSink sink = Open(8000, channels);
    sink->Write(noise.data(), 100);
    sink->Seek(10);
    EXPECT_EQ(sink->Position(), 10);
    EXPECT_EQ(Bytes().size(), 46U + std::size_t{20} * channels);
    sink->Write(noise.data(), 5);
    sink.Close();
    LSoundSource source = LWaveFile::OpenSource(Path().c_str());
    EXPECT_EQ(source->GetEndSample(), 15);
  }
}

TEST_F(WaveSink, SeekForwardIsIgnored) {
  LSoundSink sink = Open();
  sink->Write(Ramp(4).data(), 4);
  sink->Seek(5);
  sink->Seek(INT32_MAX);
  EXPECT_EQ(sink->Position(), 4);
  sink->Seek(4);  // Here is not forward.
  EXPECT_EQ(Bytes().substr(46), StoredRamp(4));
}

TEST_F(WaveSink, SeekBeforeTheStartEmptiesTheFile) {
  LSoundSink sink = Open();
  sink->Write(Ramp(4).data(), 4);
  sink->Seek(INT32_MIN);
  EXPECT_EQ(sink->Position(), 0);
  EXPECT_EQ(Bytes().size(), 46U);
  sink->Write(Ramp(1).data(), 1);
  sink.Close();
  EXPECT_EQ(Bytes(), Header(1, 8000, 16, 40, 2) + StoredRamp(1));
}

TEST_F(WaveSink, StartKeepsTheFirstFramesOfTheFile) {
  LSoundSink sink = Open();
  sink->Write(Ramp(100).data(), 100);
  sink.Close();
  sink = Open(8000, 1, 16, 40);
  EXPECT_EQ(sink->Position(), 40);
  EXPECT_EQ(Bytes(), Header(1, 8000, 16, kUnknown, kUnknown) + StoredRamp(40));
  sink->Write(Ramp(2).data(), 2);
  sink.Close();
  EXPECT_EQ(Bytes(), Header(1, 8000, 16, 38 + 84, 84) + StoredRamp(40) + StoredRamp(2));
}

TEST_F(WaveSink, StartBeyondTheFileKeepsItWholeAndCountsAllTheSame) {
  WriteFile(Path(), std::string(46, 'x') + StoredRamp(3) + "y");
  LSoundSink sink = Open(8000, 1, 16, 10);
  EXPECT_EQ(sink->Error(), kSinkGood);
  EXPECT_EQ(sink->Position(), 10);
  EXPECT_EQ(Bytes(), Header(1, 8000, 16, kUnknown, kUnknown) + StoredRamp(3) + "y");
  sink.Close();
  EXPECT_EQ(Bytes(), Header(1, 8000, 16, 58, 20) + StoredRamp(3) + "y");
}

TEST_F(WaveSink, SeekToTheCountedPositionFillsUpAFileThatWasShorter) {
  WriteFile(Path(), std::string(46, 'x') + StoredRamp(3));
  LSoundSink sink = Open(8000, 1, 16, 10);
  sink->Seek(10);
  EXPECT_EQ(sink->Position(), 10);
  EXPECT_EQ(Bytes().substr(46), StoredRamp(3) + std::string(14, '\0'));
}

TEST_F(WaveSink, StartOfAMissingFileMakesTheHeaderAlone) {
  const LSoundSink sink = Open(8000, 1, 16, INT32_MAX);
  EXPECT_EQ(sink->Position(), INT32_MAX);
  EXPECT_EQ(Bytes(), Header(1, 8000, 16, kUnknown, kUnknown));
}

TEST_F(WaveSink, NegativeStartIsANewFile) {
  WriteFile(Path(), std::string(1000, 'x'));
  const LSoundSink sink = Open(8000, 1, 16, -1);
  EXPECT_EQ(sink->Position(), 0);
  EXPECT_EQ(Bytes().size(), 46U);
}

// Sizes of 4 GB and more do not fit the header: they stay unknown, and readers go to the end of the file.
TEST_F(WaveSink, SizesBeyond32BitsStayUnknown) {
  Open(8000, 1, 16, INT32_MAX).Close();
  EXPECT_EQ(Bytes(), Header(1, 8000, 16, kUnknown, 0xFFFFFFFE));
  Open(8000, 2, 16, INT32_MAX).Close();
  EXPECT_EQ(Bytes(), Header(2, 8000, 16, kUnknown, kUnknown));
}

TEST_F(WaveSink, PositionWrapsAfter32Bits) {
  LSoundSink sink = Open(8000, 1, 8, INT32_MAX);
  const std::int32_t sample = 0;
  sink->Write(&sample, 1);
  EXPECT_EQ(sink->Position(), INT32_MIN);
  sink.Close();
  EXPECT_EQ(Bytes().substr(0, 46), Header(1, 8000, 8, 0x80000026, 0x80000000));
}

TEST_F(WaveSink, RequestsAbove8192FramesAreCarriedOutInPieces) {
  const std::vector<std::int32_t> ramp = Ramp(20001);
  LSoundSink sink = Open();
  sink->Write(ramp.data(), 20001);
  sink.Close();
  EXPECT_EQ(Bytes(), Header(1, 8000, 16, 38 + 40002, 40002) + StoredRamp(20001));
}

TEST_F(WaveSink, DescriptorIsNotInheritedByOtherPrograms) {
  const int next = dup(0);  // The number that the next descriptor gets.
  close(next);
  const LSoundSink sink = Open();
  EXPECT_NE(fcntl(next, F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(WaveSink, FullDeviceSetsTheErrorAndCountsOn) {
  LSoundSink sink = LWaveFile::OpenSinkPCM("/dev/full", 8000, 1, 16, 0);
  ASSERT_FALSE(sink.IsEmpty());
  EXPECT_EQ(sink->Error(), kSinkFailed);
  sink->Write(Ramp(3).data(), 3);
  EXPECT_EQ(sink->Error(), kSinkFailed);
  EXPECT_EQ(sink->Position(), 3);
}

// Runs act in a process of its own and gives the wait status; act's result is the exit code.
int RunInChild(const std::function<int()>& act) {
  const pid_t child = fork();
  if (child == 0) _exit(act());
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

TEST_F(WaveSink, FileSizeLimitSetsTheErrorAndKeepsWhatWasWritten) {
  const std::string path = Path();
  const int status = RunInChild([&path] {
    signal(SIGXFSZ, SIG_DFL);
    const rlimit limit{46 + 2 * 150 + 1, 46 + 2 * 150 + 1};  // In the middle of a sample.
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 10;
    LSoundSink sink = LWaveFile::OpenSinkPCM(path.c_str(), 8000, 1, 16, 0);
    if (sink->Error() != kSinkGood) return 11;
    sink->Write(Ramp(100).data(), 100);
    if (sink->Error() != kSinkGood) return 12;
    sink->Write(Ramp(100).data(), 100);  // Falls short.
    if (sink->Error() != kSinkFailed) return 13;
    sink->Write(Ramp(100).data(), 100);  // Fails.
    if (sink->Error() != kSinkFailed || sink->Position() != 300) return 14;
    sink.Close();
    return 0;
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Bytes(), Header(1, 8000, 16, 638, 600) + StoredRamp(100) + StoredRamp(51).substr(0, 101));
  LSoundSource source = LWaveFile::OpenSource(path.c_str());
  EXPECT_EQ(source->GetEndSample(), 300);
  EXPECT_EQ(ReadInPieces(source, 100, {100}), Ramp(100));
  EXPECT_EQ(ReadInPieces(source, 50, {100}), Ramp(50));
  EXPECT_THAT(ReadInPieces(source, 150, {100}), Each(0));
}

TEST_F(WaveSink, FileSizeLimitInsideTheHeader) {
  const std::string path = Path();
  const int status = RunInChild([&path] {
    signal(SIGXFSZ, SIG_DFL);
    const rlimit limit{20, 20};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 10;
    LSoundSink sink = LWaveFile::OpenSinkPCM(path.c_str(), 8000, 1, 16, 0);
    if (sink->Error() != kSinkFailed) return 11;
    sink->Write(Ramp(100).data(), 100);
    sink->Seek(0);
    return 0;
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(LWaveFile::OpenSource(path.c_str())->Error(), kSourceInvalid);
}

// The writer reports each block; after the last report that is waited for it is killed in the middle of its work.
TEST_F(WaveSink, KilledWriterLeavesEveryFrameThatItWrote) {
  const std::vector<std::int32_t> block = Noise(9, 800, 1, 32767);
  std::vector<std::int32_t> samples;
  for (const std::int32_t s : block) samples.push_back(s * 16);
  for (const int blocks : {0, 1, 2, 17}) {
    int report[2];
    int go[2];
    ASSERT_EQ(pipe(report), 0);
    ASSERT_EQ(pipe(go), 0);
    const pid_t child = fork();
    if (child == 0) {
      LSoundSink sink = LWaveFile::OpenSinkPCM(Path().c_str(), 8000, 1, 16, 0);
      char token = 'x';
      for (int i = 0; i < blocks; ++i) sink->Write(samples.data(), 800);
      static_cast<void>(write(report[1], &token, 1) == 1);
      static_cast<void>(read(go[0], &token, 1) == 1);  // Never comes: it waits here for its end.
      _exit(1);
    }
    char token = 0;
    ASSERT_EQ(read(report[0], &token, 1), 1);
    ASSERT_EQ(kill(child, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    for (const int end : {report[0], report[1], go[0], go[1]}) close(end);

    LSoundSource source = LWaveFile::OpenSource(Path().c_str());
    EXPECT_EQ(source->Error(), kSourceGood);
    ASSERT_EQ(source->GetEndSample(), blocks * 800);
    for (int i = 0; i < blocks; ++i) EXPECT_EQ(ReadInPieces(source, 800, {800}), samples);
    EXPECT_THAT(ReadInPieces(source, 10, {10}), Each(0));
  }
}

// The same without a meeting point: wherever the kill falls, every block that was reported is there.
TEST_F(WaveSink, WriterKilledAnywhereLeavesEveryReportedFrame) {
  const std::vector<std::int32_t> ramp = Ramp(700);
  for (int round = 0; round < 20; ++round) {
    int report[2];
    ASSERT_EQ(pipe(report), 0);
    const pid_t child = fork();
    if (child == 0) {
      LSoundSink sink = LWaveFile::OpenSinkPCM(Path().c_str(), 8000, 1, 16, 0);
      const char token = 'x';
      for (;;) {
        sink->Write(ramp.data(), 700);
        static_cast<void>(write(report[1], &token, 1) == 1);
      }
    }
    close(report[1]);
    int blocks = 0;
    char token = 0;
    while (blocks < 3 * round + 1 && read(report[0], &token, 1) == 1) ++blocks;
    ASSERT_EQ(kill(child, SIGKILL), 0);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    while (read(report[0], &token, 1) == 1) ++blocks;
    close(report[0]);

    LSoundSource source = LWaveFile::OpenSource(Path().c_str());
    EXPECT_GE(source->GetEndSample(), blocks * 700);
    EXPECT_LE(source->GetEndSample(), (blocks + 1) * 700);
    for (int i = 0; i < blocks; ++i) ASSERT_EQ(ReadInPieces(source, 700, {700}), ramp);
  }
}

TEST_F(WaveSink, RecordingIsContinuedAfterTheWriterWasKilled) {
  WriteFile(Path(), Header(1, 8000, 16, kUnknown, kUnknown) + StoredRamp(5) + "t");
  const std::int32_t frames = LWaveFile::OpenSource(Path().c_str())->GetEndSample();
  EXPECT_EQ(frames, 5);
  LSoundSink sink = Open(8000, 1, 16, frames);
  sink->Write(Ramp(2).data(), 2);
  sink.Close();
  EXPECT_EQ(Bytes(), Header(1, 8000, 16, 38 + 14, 14) + StoredRamp(5) + StoredRamp(2));
}

}  // namespace
