#include "audio/wave_source.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <tuple>

#include "audio/wave_file.h"
#include "audio/wave_header.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_signals.h"
#include "tests/support/wave_bytes.h"

namespace {

using kiv::test::Chunk;
using kiv::test::ChunkOfSize;
using kiv::test::FormatBytes;
using kiv::test::FormatFields;
using kiv::test::Little16;
using kiv::test::Little32;
using kiv::test::ReadInPieces;
using kiv::test::Riff;
using kiv::test::WaveBytes;
using testing::Each;
using testing::ElementsAre;

class WaveSource : public testing::Test {
 protected:
  LSoundSource Open(const std::string& bytes) {
    kiv::test::WriteFile(Path(), bytes);
    return LWaveFile::OpenSource(Path().c_str());
  }
  std::uint8_t ErrorOf(const std::string& bytes) { return Open(bytes)->Error(); }
  std::string Path() const { return folder_.File("a.wav"); }
  const kiv::test::TemporaryFolder& Folder() const { return folder_; }

 private:
  kiv::test::TemporaryFolder folder_;
};

// A file in memory, so that its size does not depend on what the disk allows; what was not written takes no room.
class HugeFile {
 public:
  HugeFile(const std::string& head, std::int64_t size) : file_(memfd_create("huge", MFD_CLOEXEC)) {
    EXPECT_EQ(write(file_, head.data(), head.size()), static_cast<ssize_t>(head.size()));
    EXPECT_EQ(ftruncate(file_, size), 0);
  }
  ~HugeFile() { close(file_); }
  HugeFile(const HugeFile&) = delete;
  HugeFile& operator=(const HugeFile&) = delete;
  std::string Path() const { return "/proc/self/fd/" + std::to_string(file_); }
  void Put(std::int64_t offset, const std::string& bytes) const {
    EXPECT_EQ(pwrite(file_, bytes.data(), bytes.size(), offset), static_cast<ssize_t>(bytes.size()));
  }

 private:
  int file_;
};

// 16-bit samples 1, 2, 3, ... of one channel.
std::string Ramp(int samples) {
  std::string data;
  for (int i = 1; i <= samples; ++i) data += Little16(static_cast<std::uint32_t>(i));
  return data;
}

std::vector<std::int32_t> ReadAll(LSoundSource& source, std::int32_t frames) {
  return ReadInPieces(source, frames, {8192});
}

TEST_F(WaveSource, ReadsSixteenBitSamplesTimesSixteen) {
  LSoundSource source = Open(WaveBytes({}, Little16(0x8000) + Little16(0xFFFF) + Little16(0) + Little16(0x7FFF)));
  EXPECT_EQ(source->Error(), kSourceGood);
  EXPECT_EQ(source->Rate(), 8000);
  EXPECT_EQ(source->Channels(), 1);
  EXPECT_EQ(source->Peak(), 524272);
  EXPECT_EQ(source->GetEndSample(), 4);
  EXPECT_EQ(source->GetPositionSample(), 0);
  EXPECT_THAT(ReadAll(source, 4), ElementsAre(-524288, -16, 0, 524272));
}

TEST_F(WaveSource, ReadsEightBitStereo) {
  LSoundSource source =
      Open(WaveBytes({.channels = 2, .rateHz = 44100, .bits = 8}, std::string("\x00\xFF\x80\x81", 4)));
  EXPECT_EQ(source->Channels(), 2);
  EXPECT_EQ(source->Rate(), 44100);
  EXPECT_EQ(source->Peak(), 524272);
  EXPECT_EQ(source->GetEndSample(), 2);
  EXPECT_THAT(ReadAll(source, 2), ElementsAre(-524288, 520192, 0, 4096));
}

TEST_F(WaveSource, ChunksBeforeFormatAndDataAreSkipped) {
  LSoundSource source = Open(Riff(Chunk("LIST", "INFOxyz") + Chunk("fmt ", FormatBytes({})) + Chunk("fact", "abcd") +
                                  Chunk("odd ", "x") + Chunk("none", "") + Chunk("data", Ramp(2))));
  EXPECT_EQ(source->Error(), kSourceGood);
  EXPECT_THAT(ReadAll(source, 2), ElementsAre(16, 32));
}

TEST_F(WaveSource, ChunksInFrontOfTheRiffHeaderAreSkipped) {
  const std::string wave = WaveBytes({}, Ramp(2));
  for (const char* content : {"12345", "123456", "1234567890123"}) {
    LSoundSource source = Open(Chunk("junk", content) + wave);
    EXPECT_EQ(source->Error(), kSourceGood) << content;
    EXPECT_EQ(source->GetEndSample(), 2);
  }
  // Another RIFF form is such a chunk, too.
  EXPECT_EQ(ErrorOf(Chunk("RIFF", "AVI 123456") + wave), kSourceGood);
}

TEST_F(WaveSource, ChunkInFrontMustHoldMoreThanFourBytes) {
  const std::string wave = WaveBytes({}, Ramp(2));
  EXPECT_EQ(ErrorOf(ChunkOfSize("junk", 0, "") + wave), kSourceInvalid);
  EXPECT_EQ(ErrorOf(Chunk("junk", "123") + wave), kSourceInvalid);
  EXPECT_EQ(ErrorOf(Chunk("junk", "1234") + wave), kSourceInvalid);
  EXPECT_EQ(ErrorOf(ChunkOfSize("junk", 0xFFFFFFFF, "1234") + wave), kSourceInvalid);
  EXPECT_EQ(ErrorOf(ChunkOfSize("junk", 0xFFFFFFFE, "1234") + wave), kSourceInvalid);
}

TEST_F(WaveSource, ChunkSizesNearTheEndOf32BitsAreInvalid) {
  for (const std::uint32_t size : {0x7FFFFFFEU, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFF8U, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
    const std::string rest = Chunk("fmt ", FormatBytes({})) + Chunk("data", Ramp(2));
    EXPECT_EQ(ErrorOf(Riff(ChunkOfSize("LIST", size, "") + rest)), kSourceInvalid) << size;
    EXPECT_EQ(ErrorOf(Riff(Chunk("fmt ", FormatBytes({})) + ChunkOfSize("fact", size, "") + Chunk("data", Ramp(2)))),
              kSourceInvalid)
        << size;
  }
}

// The rest of the file lies behind the chunk each time, so that only the size decides.
TEST_F(WaveSource, ChunkIsSkippedUpToTheLargestEvenSizeOf31Bits) {
  const std::string rest = Chunk("fmt ", FormatBytes({})) + Chunk("data", Ramp(2));
  for (const std::uint32_t size : {0x7FFFFFFDU, 0x7FFFFFFEU, 0x7FFFFFFFU, 0x80000000U}) {
    const std::string head = Riff(ChunkOfSize("LIST", size, ""));
    const std::int64_t behind = static_cast<std::int64_t>(head.size()) + ((std::int64_t{size} + 1) & ~std::int64_t{1});
    const HugeFile file(head, behind + 1000);
    file.Put(behind, rest);
    EXPECT_EQ(LWaveFile::OpenSource(file.Path().c_str())->Error(), size <= 0x7FFFFFFE ? kSourceGood : kSourceInvalid)
        << size;
  }
}

TEST_F(WaveSource, FormatChunkHolds16To8192BytesWithoutPad) {
  const std::string data = Chunk("data", Ramp(2));
  const auto error = [&](std::size_t size) {
    std::string format = FormatBytes({});
    format.resize(size);
    return ErrorOf(Riff(ChunkOfSize("fmt ", static_cast<std::uint32_t>(size), format) + data));
  };
  EXPECT_EQ(error(15), kSourceInvalid);
  EXPECT_EQ(error(16), kSourceGood);
  EXPECT_EQ(error(17), kSourceGood);
  EXPECT_EQ(error(18), kSourceGood);
  EXPECT_EQ(error(8192), kSourceGood);
  EXPECT_EQ(error(8193), kSourceInvalid);
  // A padded odd format chunk throws the search off by one byte.
  EXPECT_EQ(ErrorOf(Riff(Chunk("fmt ", FormatBytes({}) + "x") + data)), kSourceInvalid);
}

TEST_F(WaveSource, FileCutAnywhereInTheHeaderIsInvalid) {
  const std::string bytes =
      Chunk("junk", "12345") + Riff(Chunk("LIST", "abc") + Chunk("fmt ", FormatBytes({})) + Chunk("data", ""));
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    EXPECT_EQ(ErrorOf(bytes.substr(0, size)), kSourceInvalid) << size;
  }
  EXPECT_EQ(ErrorOf(bytes), kSourceGood);
}

TEST_F(WaveSource, FieldsOutOfRangeAreRefusedEachWithItsReason) {
  const auto error = [&](FormatFields fields) { return ErrorOf(WaveBytes(fields, Ramp(2))); };
  EXPECT_EQ(error({.channels = 0}), kSourceInvalid);
  EXPECT_EQ(error({.channels = 1}), kSourceGood);
  EXPECT_EQ(error({.channels = 255}), kSourceGood);
  EXPECT_EQ(error({.channels = 256}), kSourceInvalid);
  EXPECT_EQ(error({.channels = 65535}), kSourceInvalid);
  EXPECT_EQ(error({.rateHz = 0}), kSourceInvalid);
  EXPECT_EQ(error({.rateHz = 1}), kSourceGood);
  EXPECT_EQ(error({.rateHz = 196000}), kSourceGood);
  EXPECT_EQ(error({.rateHz = 196001}), kSourceInvalid);
  EXPECT_EQ(error({.rateHz = 0x80000000}), kSourceInvalid);
  EXPECT_EQ(error({.tag = 3}), kSourceNotSupported);
  EXPECT_EQ(error({.tag = 0}), kSourceNotSupported);
  EXPECT_EQ(error({.tag = 0xFFFE}), kSourceNotSupported);
  EXPECT_EQ(error({.bits = 17}), kSourceNotSupported);
  EXPECT_EQ(error({.bits = 24}), kSourceNotSupported);
  EXPECT_EQ(error({.tag = 3, .channels = 0, .bits = 24}), kSourceInvalid);
}

TEST_F(WaveSource, MissingChunksAreInvalidBeforeFieldsAreJudged) {
  EXPECT_EQ(ErrorOf(Riff(Chunk("fmt ", FormatBytes({.bits = 24})))), kSourceInvalid);
  EXPECT_EQ(ErrorOf(Riff(Chunk("data", Ramp(2)) + Chunk("fmt ", FormatBytes({})))), kSourceInvalid);
  EXPECT_EQ(ErrorOf(Riff("")), kSourceInvalid);
}

TEST_F(WaveSource, UpToEightBitsAreReadAsBytesAndNineToSixteenAsWords) {
  for (std::uint32_t bits = 0; bits <= 16; ++bits) {
    LSoundSource source = Open(WaveBytes({.bits = bits}, std::string(64, '\x40')));
    EXPECT_EQ(source->Error(), kSourceGood) << bits;
    EXPECT_EQ(source->GetEndSample(), bits <= 8 ? 64 : 32) << bits;
    EXPECT_EQ(ReadAll(source, 1)[0], bits <= 8 ? -64 * 4096 : 0x4040 * 16) << bits;
  }
}

TEST_F(WaveSource, FilesThatCannotBeOpenedAreToldFromThoseThatAreNone) {
  EXPECT_EQ(LWaveFile::OpenSource(Folder().File("none.wav").c_str())->Error(), kSourceNotOpened);
  EXPECT_EQ(LWaveFile::OpenSource("")->Error(), kSourceNotOpened);
  EXPECT_EQ(LWaveFile::OpenSource(std::string(5000, 'x').c_str())->Error(), kSourceNotOpened);
  EXPECT_EQ(LWaveFile::OpenSource(Folder().Path().c_str())->Error(), kSourceInvalid);  // A folder opens, unread.
  EXPECT_EQ(LWaveFile::OpenSource("/dev/null")->Error(), kSourceInvalid);
  EXPECT_EQ(LWaveFile::OpenSource("/dev/zero")->Error(), kSourceInvalid);
}

TEST_F(WaveSource, NamedPipeWithoutWriterDoesNotHoldUp) {
  const std::string pipe = Folder().File("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(LWaveFile::OpenSource(pipe.c_str())->Error(), kSourceInvalid);
}

// In a process of its own that is not the superuser, who may read everything.
TEST_F(WaveSource, FileThatMayNotBeReadCountsAsNotOpened) {
  kiv::test::WriteFile(Path(), WaveBytes({}, Ramp(2)));
  ASSERT_EQ(chmod(Folder().Path().c_str(), 0755), 0);
  const auto errorForOthers = [this](mode_t mode) {
    EXPECT_EQ(chmod(Path().c_str(), mode), 0);
    const pid_t child = fork();
    if (child == 0) {
      if (geteuid() == 0 && seteuid(65534) != 0) _exit(100);
      _exit(LWaveFile::OpenSource(Path().c_str())->Error());
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WEXITSTATUS(status);
  };
  EXPECT_EQ(errorForOthers(0644), kSourceGood);
  EXPECT_EQ(errorForOthers(0), kSourceNotOpened);
}

TEST_F(WaveSource, SeekBeforeStartReadsSilenceThenData) {
  LSoundSource source = Open(WaveBytes({}, Ramp(400)));
  source->Seek(-100);
  EXPECT_EQ(source->GetPositionSample(), -100);
  const std::vector<std::int32_t> samples = ReadAll(source, 300);
  EXPECT_EQ(source->GetPositionSample(), 200);
  for (std::size_t i = 0; i < 300; ++i) EXPECT_EQ(samples[i], i < 100 ? 0 : static_cast<std::int32_t>(i - 99) * 16);
}

TEST_F(WaveSource, ReadsThatEndBeforeTheStartAreSilent) {
  LSoundSource source = Open(WaveBytes({}, Ramp(10)));
  source->Seek(-5);
  EXPECT_THAT(ReadAll(source, 3), Each(0));
  EXPECT_EQ(source->GetPositionSample(), -2);
  EXPECT_THAT(ReadAll(source, 2), Each(0));
  EXPECT_EQ(source->GetPositionSample(), 0);
  EXPECT_THAT(ReadAll(source, 2), ElementsAre(16, 32));
}

TEST_F(WaveSource, ReadPastTheEndIsSilentAndMovesOn) {
  LSoundSource source = Open(WaveBytes({}, Ramp(3)) + std::string(100, '\x55'));
  EXPECT_THAT(ReadAll(source, 5), ElementsAre(16, 32, 48, 0, 0));
  EXPECT_EQ(source->GetPositionSample(), 5);
  EXPECT_THAT(ReadAll(source, 4), Each(0));
  EXPECT_EQ(source->GetPositionSample(), 9);
  source->Seek(1000);
  EXPECT_EQ(source->GetPositionSample(), 1000);
  EXPECT_THAT(ReadAll(source, 4), Each(0));
  source->Seek(2);
  EXPECT_THAT(ReadAll(source, 2), ElementsAre(48, 0));
}

TEST_F(WaveSource, OneReadMayReachOverBothEnds) {
  LSoundSource source = Open(WaveBytes({}, Ramp(3)));
  source->Seek(-2);
  EXPECT_THAT(ReadAll(source, 7), ElementsAre(0, 0, 16, 32, 48, 0, 0));
}

TEST_F(WaveSource, ReadsOfNoFramesDoNothing) {
  LSoundSource source = Open(WaveBytes({}, Ramp(3)));
  std::int32_t sample = 7;
  source->Read(&sample, 0);
  source->Read(&sample, -1);
  source->Read(&sample, INT32_MIN);
  EXPECT_EQ(sample, 7);
  EXPECT_EQ(source->GetPositionSample(), 0);
}

TEST_F(WaveSource, PartialLastFrameIsIgnored) {
  EXPECT_EQ(Open(WaveBytes({.channels = 2}, std::string(11, 'x')))->GetEndSample(), 2);
  const std::string open = Riff(Chunk("fmt ", FormatBytes({.channels = 2})) + ChunkOfSize("data", 0xFFFFFFFF, ""));
  LSoundSource source = Open(open + std::string(11, '\x40'));
  EXPECT_EQ(source->GetEndSample(), 2);
  EXPECT_THAT(ReadAll(source, 3), ElementsAre(0x40400, 0x40400, 0x40400, 0x40400, 0, 0));
}

TEST_F(WaveSource, DataSizeLargerThanTheFileReadsSilenceForTheMissingPart) {
  const std::string head = Riff(Chunk("fmt ", FormatBytes({.channels = 2})) + ChunkOfSize("data", 4000, ""));
  LSoundSource source = Open(head + Ramp(5));  // Two frames and a half.
  EXPECT_EQ(source->GetEndSample(), 1000);
  EXPECT_THAT(ReadAll(source, 4), ElementsAre(16, 32, 48, 64, 0, 0, 0, 0));
  source->Seek(900);
  EXPECT_THAT(ReadAll(source, 200), Each(0));
  EXPECT_EQ(source->GetPositionSample(), 1100);
}

TEST_F(WaveSource, EndThatDoesNotFitIsNoBound) {
  const std::string format = Chunk("fmt ", FormatBytes({.bits = 8}));
  LSoundSource source = Open(Riff(format + ChunkOfSize("data", 0xFFFFFFFE, "")) + "\x81\x82\x83\x84");
  EXPECT_LT(source->GetEndSample(), 0);
  EXPECT_THAT(ReadAll(source, 6), ElementsAre(4096, 8192, 3 * 4096, 4 * 4096, 0, 0));
  source->Seek(2);
  EXPECT_THAT(ReadAll(source, 3), ElementsAre(3 * 4096, 4 * 4096, 0));
  source->Seek(INT32_MAX);
  EXPECT_EQ(source->GetPositionSample(), INT32_MAX);
  EXPECT_THAT(ReadAll(source, 3), Each(0));  // The position wraps.
  source->Seek(-1);
  EXPECT_THAT(ReadAll(source, 2), ElementsAre(0, 4096));
  EXPECT_EQ(Open(Riff(format + ChunkOfSize("data", 0x80000000, "")))->GetEndSample(), INT32_MIN);
  EXPECT_EQ(Open(Riff(format + ChunkOfSize("data", 0x7FFFFFFF, "")))->GetEndSample(), INT32_MAX);
}

TEST_F(WaveSource, SparseFileBeyond32BitsOfFramesIsReadToItsEnd) {
  const std::string head = Riff(Chunk("fmt ", FormatBytes({.bits = 8})) + ChunkOfSize("data", 0xFFFFFFFF, ""));
  for (const std::int64_t size : {std::int64_t{3} << 30, std::int64_t{5} << 30}) {
    const HugeFile file(head, size);
    LSoundSource source = LWaveFile::OpenSource(file.Path().c_str());
    EXPECT_LT(source->GetEndSample(), 0);
    source->Seek(INT32_MAX - 4);
    EXPECT_THAT(ReadAll(source, 4), Each(-524288));
  }
}

TEST_F(WaveSource, ManyEmptyChunksEndInAnErrorInBoundedTime) {
  const HugeFile file(Riff(Chunk("fmt ", FormatBytes({}))), std::int64_t{1} << 40);
  EXPECT_EQ(LWaveFile::OpenSource(file.Path().c_str())->Error(), kSourceInvalid);
}

TEST_F(WaveSource, RequestsAbove8192FramesAreCarriedOutInPieces) {
  const std::vector<std::int32_t> noise = kiv::test::Noise(3, 20001, 2, 32767);
  std::string data;
  for (const std::int32_t sample : noise) data += Little16(static_cast<std::uint32_t>(sample));
  LSoundSource source = Open(WaveBytes({.channels = 2}, data));
  source->Seek(-9000);
  std::vector<std::int32_t> samples(std::size_t{2} * 40000, 1);
  source->Read(samples.data(), 40000);
  EXPECT_EQ(source->GetPositionSample(), 31000);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const bool inside = i >= 18000 && i < 18000 + noise.size();
    ASSERT_EQ(samples[i], inside ? noise[i - 18000] * 16 : 0) << i;
  }
}

TEST_F(WaveSource, TakesOverTheDescriptorAndClosesIt) {
  kiv::test::WriteFile(Path(), "xx" + Ramp(5));
  int descriptor = -1;
  {
    LReadFile file = LReadFile::Open(Path().c_str());
    descriptor = file.Descriptor();
    ASSERT_EQ(lseek(descriptor, 2, SEEK_SET), 2);
    LSRCPCMFile<LSFLE16> source(file, 8000, 1, kiv::kWaveSizeUnknown);
    EXPECT_EQ(file.Descriptor(), -1);
    EXPECT_EQ(source.Error(), kSourceGood);
    EXPECT_EQ(source.GetEndSample(), 5);
    source.Seek(1);
    std::int32_t samples[2] = {};
    source.Read(samples, 2);
    EXPECT_THAT(samples, ElementsAre(32, 48));
  }
  EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
}

TEST_F(WaveSource, DescriptorIsNotInheritedByOtherPrograms) {
  kiv::test::WriteFile(Path(), WaveBytes({}, Ramp(1)));
  const int next = dup(0);  // The number that the next descriptor gets.
  close(next);
  LSoundSource source = LWaveFile::OpenSource(Path().c_str());
  EXPECT_NE(fcntl(next, F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(WaveSource, FailedOpenLeavesNoDescriptorBehind) {
  const int before = dup(0);
  close(before);
  for (const std::string& bytes : {std::string("x"), WaveBytes({.tag = 3}, ""), WaveBytes({.channels = 0}, "")}) {
    EXPECT_NE(ErrorOf(bytes), kSourceGood);
  }
  LWaveFile::OpenSource(Folder().Path().c_str());
  const int after = dup(0);
  close(after);
  EXPECT_EQ(before, after);
}

TEST_F(WaveSource, SourceWithoutFileCarriesErrorFourAndReadsSilence) {
  LReadFile file;
  LSRCPCMFile<LSFU8> source(file, 8000, 2, kiv::kWaveSizeUnknown);
  EXPECT_EQ(source.Error(), kSourceNotOpened);
  std::int32_t samples[4] = {1, 1, 1, 1};
  source.Read(samples, 2);
  EXPECT_THAT(samples, Each(0));
  source.Seek(5);
  EXPECT_EQ(source.GetPositionSample(), 5);
}

class Bare : public LSRCPCMFileBase {
 public:
  using LSRCPCMFileBase::LSRCPCMFileBase;
  void Read(std::int32_t*, std::int32_t) override {}
};

TEST_F(WaveSource, NoBytesPerSampleCountAsTwoWithErrorThree) {
  kiv::test::WriteFile(Path(), Ramp(5));
  LReadFile file = LReadFile::Open(Path().c_str());
  const Bare source(file, 8000, 1, 5, 0, kiv::kWaveSizeUnknown);
  EXPECT_EQ(source.Error(), kSourceInvalid);
  EXPECT_EQ(source.GetEndSample(), 5);
  EXPECT_EQ(source.Peak(), 5);
}

TEST_F(WaveSource, NoChannelsCountAsOneWithErrorThree) {
  kiv::test::WriteFile(Path(), Ramp(5));
  LReadFile file = LReadFile::Open(Path().c_str());
  LSRCPCMFile<LSFLE16> source(file, 8000, 0, kiv::kWaveSizeUnknown);
  EXPECT_EQ(source.Error(), kSourceInvalid);
  EXPECT_EQ(source.Channels(), 1);
  std::int32_t samples[2] = {};
  source.Read(samples, 2);
  EXPECT_THAT(samples, ElementsAre(16, 32));
}

}  // namespace
