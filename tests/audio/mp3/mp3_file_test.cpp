#include "audio/mp3/mp3_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cmath>

#include "foundation/vector_width.h"
#include "tests/audio/mp3/mp3_writer.h"
#include "tests/support/temporary_folder.h"

namespace {

using kiv::test::BigEndian32;
using kiv::test::HeaderBits;
using kiv::test::MakeHeader;
using kiv::test::NoiseFrame;
using kiv::test::NoiseStream;
using kiv::test::Random;
using kiv::test::ReadInPieces;
using kiv::test::TagFrame;
using kiv::test::TemporaryFolder;
using kiv::test::TrailingTag;
using kiv::test::WrittenFrame;
using kiv::test::XingText;

class MP3File : public testing::Test {
 protected:
  // Opens bytes as a file, with the block that is never decoded after them.
  LSoundSource Open(const std::string& bytes) { return OpenWhole(bytes + TrailingTag()); }
  LSoundSource OpenWhole(const std::string& bytes) {
    // A file of its own for each, since several may be open at once.
    const std::string path = folder_.File(std::to_string(++files_) + ".mp3");
    kiv::test::WriteFile(path, bytes);
    return LMP3File::OpenSource(path.c_str());
  }
  static void ExpectEmpty(LSoundSource& source) {
    EXPECT_EQ(source->Rate(), 44100);
    EXPECT_EQ(source->Channels(), 1);
    EXPECT_EQ(source->Peak(), 2097152);
    EXPECT_EQ(source->Error(), kSourceGood);
    EXPECT_EQ(source->GetEndSample(), 0);
    EXPECT_EQ(source->GetPositionSample(), 0);
    std::vector<std::int32_t> samples(3000, 77);
    source->Read(samples.data(), 3000);
    EXPECT_THAT(samples, testing::Each(0));
    EXPECT_EQ(source->GetPositionSample(), 3000);
    EXPECT_EQ(source->GetEndSample(), 0);
    source->Seek(-5);
    EXPECT_EQ(source->GetPositionSample(), -5);
    source->Seek(2000);
    source->Read(samples.data(), 10);
    EXPECT_EQ(source->GetPositionSample(), 2010);
  }

  TemporaryFolder folder_;
  int files_ = 0;
  const MP3Header stereo_ = MakeHeader(MP3Version::Mpeg1, 128, 0);
  const MP3Header mono_ = MakeHeader(MP3Version::Mpeg1, 64, 0, MP3Mode::SingleChannel);
  const MP3Header half_ = MakeHeader(MP3Version::Mpeg2, 48, 0, MP3Mode::SingleChannel);
};

std::vector<std::int32_t> ReadAll(LSoundSource& source, std::int32_t piece) {
  std::vector<std::int32_t> all;
  while (source->GetPositionSample() < source->GetEndSample()) {
    const std::int32_t from = source->GetPositionSample();
    std::vector<std::int32_t> samples(static_cast<std::size_t>(piece) * source->Channels());
    source->Read(samples.data(), piece);
    EXPECT_EQ(source->GetPositionSample(), from + piece);
    const std::int32_t valid = std::min(piece, std::max(source->GetEndSample() - from, 0));
    const auto end = samples.begin() + std::ptrdiff_t{valid} * source->Channels();
    EXPECT_TRUE(std::all_of(end, samples.end(), [](std::int32_t s) { return s == 0; }));
    all.insert(all.end(), samples.begin(), end);
  }
  return all;
}

TEST_F(MP3File, HasTheRateChannelsAndPeakOfItsFirstFrame) {
  LSoundSource a = Open(NoiseStream(1, stereo_, 5));
  EXPECT_EQ(a->Rate(), 44100);
  EXPECT_EQ(a->Channels(), 2);
  EXPECT_EQ(a->Peak(), 2097152);
  EXPECT_EQ(a->Error(), kSourceGood);
  EXPECT_EQ(a->ReferenceCount(), 1);
  LSoundSource b = Open(NoiseStream(1, half_, 5));
  EXPECT_EQ(b->Rate(), 22050);
  EXPECT_EQ(b->Channels(), 1);
  EXPECT_EQ(b->GetEndSample(), 5 * 576);
  LSoundSource c = Open(NoiseStream(1, MakeHeader(MP3Version::Mpeg25, 32, 2), 5));
  EXPECT_EQ(c->Rate(), 8000);
  EXPECT_EQ(c->Channels(), 2);
}

TEST_F(MP3File, LengthOfConstantBitRateIsTheBytesOverTheMeanFrame) {
  // 417 bytes a frame against a mean of 417.96: rounded up from a tenth of a frame.
  for (const int frames : {1, 2, 7, 100, 2000}) {
    LSoundSource source = Open(NoiseStream(2, stereo_, frames));
    const double mean = 144.0 * 128000.0 / 44100.0;
    EXPECT_EQ(source->GetEndSample(), static_cast<int>(417.0 * frames / mean + 0.9) * 1152) << frames;
  }
}

TEST_F(MP3File, XingCountGivesTheLengthBeforeAnyDecoding) {
  const std::string stream = TagFrame(stereo_, XingText(1000)) + NoiseStream(3, stereo_, 3);
  LSoundSource source = Open(stream);
  EXPECT_EQ(source->GetEndSample(), 1152000);
}

TEST_F(MP3File, VbriCountActsLikeAXingCount) {
  const std::string vbri = "VBRI" + std::string(10, '\x7F') + BigEndian32(321);
  LSoundSource source = Open(TagFrame(stereo_, vbri) + NoiseStream(3, stereo_, 3));
  EXPECT_EQ(source->GetEndSample(), 321 * 1152);
  std::vector<std::int32_t> samples(2 * 1152 * 2);
  source->Read(samples.data(), 2 * 1152);
  EXPECT_EQ(source->GetEndSample(), 321 * 1152) << "no estimate replaces a count";
}

TEST_F(MP3File, TagIsFoundAfterTheSideInformationOfEveryLayoutAndAfterACrc) {
  for (const MP3Version version : {MP3Version::Mpeg1, MP3Version::Mpeg2, MP3Version::Mpeg25}) {
    for (const MP3Mode mode : {MP3Mode::Stereo, MP3Mode::SingleChannel}) {
      for (const bool crc : {false, true}) {
        MP3Header header = MakeHeader(version, 64, 0, mode);
        header.hasCrc = crc;
        LSoundSource source = Open(TagFrame(header, XingText(50)) + NoiseStream(4, header, 2));
        EXPECT_EQ(source->GetEndSample(), 50 * header.Samples());
      }
    }
  }
}

TEST_F(MP3File, WhatIsNotAUsableCountFallsBackToTheMean) {
  const std::string rest = NoiseStream(3, stereo_, 9);
  const int estimate = 10 * 1152;
  EXPECT_EQ(Open(TagFrame(stereo_, "Info" + BigEndian32(1) + BigEndian32(1000)) + rest)->GetEndSample(), estimate);
  EXPECT_EQ(Open(TagFrame(stereo_, XingText(1000, 14)) + rest)->GetEndSample(), estimate) << "no flag";
  EXPECT_EQ(Open(TagFrame(stereo_, XingText(0)) + rest)->GetEndSample(), estimate) << "count 0";
  EXPECT_EQ(Open(TagFrame(stereo_, XingText(1864136)) + rest)->GetEndSample(), estimate) << "leaves 31 bits";
  EXPECT_EQ(Open(TagFrame(stereo_, XingText(0xFFFFFFFF)) + rest)->GetEndSample(), estimate);
  EXPECT_EQ(Open(TagFrame(stereo_, XingText(1864135)) + rest)->GetEndSample(), 1864135 * 1152) << "just fits";
  std::string side = TagFrame(stereo_, XingText(1000));
  side[20] = 1;
  EXPECT_EQ(Open(side + rest)->GetEndSample(), estimate) << "side information other than 0";
}

TEST_F(MP3File, ATagCutByTheEndOfTheDataIsNoTag) {
  const std::string tag = TagFrame(stereo_, XingText(1000));
  LSoundSource cut = Open(tag.substr(0, 4 + 32 + 11));
  EXPECT_EQ(cut->GetEndSample(), static_cast<int>(47 / (144.0 * 128000 / 44100) + 0.9) * 1152);
  LSoundSource whole = Open(tag.substr(0, 4 + 32 + 12));
  EXPECT_EQ(whole->GetEndSample(), 1152000);
}

TEST_F(MP3File, MeanTakesTheFirstEightHeadersAndKeepsItsFraction) {
  // Nine frames; the ninth does not count. (32 + 40 + 48 + 56 + 64 + 80 + 96 + 112) / 8 = 66.
  std::string stream;
  std::int64_t bytes = 0;
  for (const int kbits : {32, 40, 48, 56, 64, 80, 96, 112, 320, 320, 320, 320}) {
    stream += TagFrame(MakeHeader(MP3Version::Mpeg1, kbits, 1), "");
  }
  bytes = static_cast<std::int64_t>(stream.size());
  const double mean = 144.0 * 66000.0 / 48000.0;
  EXPECT_EQ(Open(stream)->GetEndSample(), static_cast<int>(static_cast<double>(bytes) / mean + 0.9) * 1152);

  // With a mean of 32 + 1/8 of 8 kbit/s more, the fraction decides.
  stream.clear();
  for (int i = 0; i < 400; ++i) stream += TagFrame(MakeHeader(MP3Version::Mpeg1, i == 0 ? 40 : 32, 1), "");
  const double mean33 = 144.0 * (33000.0) / 48000.0;
  EXPECT_EQ(Open(stream)->GetEndSample(), static_cast<int>(static_cast<double>(stream.size()) / mean33 + 0.9) * 1152);
}

TEST_F(MP3File, MeanOfFewerThanEightFramesIsOverThoseFound) {
  std::string stream;
  for (const int kbits : {32, 40, 56}) stream += TagFrame(MakeHeader(MP3Version::Mpeg1, kbits, 1), "");
  const double mean = 144.0 * (128000.0 / 3) / 48000.0;
  EXPECT_EQ(Open(stream)->GetEndSample(), static_cast<int>(static_cast<double>(stream.size()) / mean + 0.9) * 1152);
}

TEST_F(MP3File, WhatCannotBeOpenedIsAnEmptyStreamWithoutError) {
  LSoundSource missing = LMP3File::OpenSource(folder_.File("missing.mp3").c_str());
  ExpectEmpty(missing);
  LSoundSource directory = LMP3File::OpenSource(folder_.Path().c_str());
  ExpectEmpty(directory);
  LSoundSource noPath = LMP3File::OpenSource("");
  ExpectEmpty(noPath);
  ASSERT_EQ(mkfifo(folder_.File("pipe").c_str(), 0600), 0);
  LSoundSource pipe = LMP3File::OpenSource(folder_.File("pipe").c_str());
  ExpectEmpty(pipe);
}

TEST_F(MP3File, FilesOf0To200BytesAreEmpty) {
  const std::string frame = NoiseStream(5, stereo_, 1);
  for (std::size_t size = 0; size <= 200; ++size) {
    // From 132 bytes on a header is inside the data; its frame is cut.
    LSoundSource source = OpenWhole(frame.substr(0, size));
    EXPECT_EQ(source->Error(), kSourceGood);
    EXPECT_EQ(source->GetEndSample(), size < 128 + 42 ? 0 : 1152) << size;
    std::vector<std::int32_t> samples(5000, 3);
    source->Read(samples.data(), 2500 / source->Channels());
    EXPECT_THAT(std::vector<std::int32_t>(samples.begin(), samples.begin() + 2500 / source->Channels()),
                testing::Each(0));
    EXPECT_EQ(source->GetEndSample(), 0) << size;
  }
}

TEST_F(MP3File, LayersOneAndTwoAndFreeFormatAreEmpty) {
  for (const std::uint32_t bits : {0xFFFD9064U, 0xFFFF9064U, 0xFFFB0064U, 0xFFFBF064U, 0xFFFB9C64U, 0xFFEB9064U}) {
    std::string stream;
    for (int i = 0; i < 100; ++i) stream += BigEndian32(bits) + std::string(413, '\0');
    LSoundSource source = Open(stream);
    ExpectEmpty(source);
  }
}

TEST_F(MP3File, NothingButSyncBytesIsEmpty) {
  LSoundSource source = Open(std::string(65536, '\xFF'));
  ExpectEmpty(source);
}

TEST_F(MP3File, ATagOfLessThan64KibIsSkippedAndALongerOneIsNot) {
  const std::string stream = NoiseStream(6, stereo_, 20);
  LSoundSource found = Open(std::string(65534, 'I') + stream);
  EXPECT_EQ(found->Channels(), 2);
  EXPECT_GT(found->GetEndSample(), 0);
  LSoundSource lost = Open(std::string(65535, 'I') + stream);
  ExpectEmpty(lost);
}

TEST_F(MP3File, ReadingInAnyPiecesGivesTheSameBitsPositionsAndEnds) {
  for (const MP3Header& header : {stereo_, mono_, half_}) {
    const std::string stream = NoiseStream(8, header, 12);
    LSoundSource whole = Open(stream);
    const std::vector<std::int32_t> expected = ReadAll(whole, 100000);
    ASSERT_EQ(expected.size(),
              static_cast<std::size_t>(12) * static_cast<std::size_t>(header.Samples()) * whole->Channels());
    EXPECT_NE(std::count(expected.begin(), expected.end(), 0), std::ptrdiff_t(expected.size()));
    for (const std::int32_t piece : {1, 7, 575, 576, 577, 1151, 1152, 1153, 3000, 8192}) {
      LSoundSource source = Open(stream);
      EXPECT_EQ(ReadAll(source, piece), expected) << piece;
      EXPECT_EQ(source->GetEndSample(), whole->GetEndSample());
    }
    LSoundSource mixed = Open(stream);
    const std::vector<std::int32_t> pieces = {1, 2000, 3, 1152, 1152, 40, 1112, 5000};
    std::vector<std::int32_t> samples = ReadInPieces(mixed, 12 * header.Samples(), pieces);
    EXPECT_EQ(samples, expected);
  }
}

TEST_F(MP3File, ReadOfNothingDoesNothing) {
  LSoundSource source = Open(NoiseStream(8, stereo_, 3));
  std::int32_t untouched = 5;
  source->Read(&untouched, 0);
  source->Read(&untouched, -7);
  EXPECT_EQ(untouched, 5);
  EXPECT_EQ(source->GetPositionSample(), 0);
}

// What the length must be after every decoded frame, from the places of the frames alone.
TEST_F(MP3File, EndIsEstimatedAnewAfterEachFrame) {
  std::string stream;
  std::vector<std::size_t> frameEnds;
  Random random(9);
  const int kbits[] = {32, 320, 64, 128, 256, 48, 96};
  for (int i = 0; i < 60; ++i) {
    stream +=
        NoiseStream(static_cast<std::uint64_t>(i), MakeHeader(MP3Version::Mpeg1, kbits[random.Between(0, 6)], 0), 1);
    frameEnds.push_back(stream.size());
  }
  LSoundSource source = Open(stream);
  double sum = 0;
  std::size_t at = 0;
  for (int i = 0; i < 8; ++i) {
    MP3Header header;
    ASSERT_TRUE(
        header.Parse(static_cast<std::uint32_t>(std::uint8_t(stream[at]) << 24 | std::uint8_t(stream[at + 1]) << 16 |
                                                std::uint8_t(stream[at + 2]) << 8 | std::uint8_t(stream[at + 3]))));
    sum += header.Bitrate();
    at = frameEnds[static_cast<std::size_t>(i)];
  }
  const double mean = 144.0 * (sum / 8) / 44100.0;
  const auto end = [&](std::int32_t reached, std::size_t from) {
    return reached + static_cast<std::int32_t>(static_cast<double>(stream.size() - from) / mean + 0.9) * 1152;
  };
  EXPECT_EQ(source->GetEndSample(), end(0, 0));
  std::vector<std::int32_t> samples(2 * 1152);
  for (std::size_t i = 0; i < frameEnds.size(); ++i) {
    const auto start = static_cast<std::int32_t>(i) * 1152;
    if (start >= source->GetEndSample()) {
      EXPECT_EQ(source->GetEndSample(), start);
      break;
    }
    // One frame of it is enough to have the whole MPEG frame decoded.
    source->Read(samples.data(), 1);
    EXPECT_EQ(source->GetEndSample(), end(start + 1152, frameEnds[i])) << i;
    source->Read(samples.data(), 1151);
    EXPECT_EQ(source->GetPositionSample(), start + 1152);
  }
}

TEST_F(MP3File, AnEstimateTooShortGrowsWithinOneRead) {
  // The first eight frames say 320 kbit/s, the others are ten times smaller.
  std::string stream = NoiseStream(1, MakeHeader(MP3Version::Mpeg1, 320, 0), 8);
  stream += NoiseStream(2, MakeHeader(MP3Version::Mpeg1, 32, 0, MP3Mode::Stereo), 100);
  LSoundSource source = Open(stream);
  const std::int32_t first = source->GetEndSample();
  EXPECT_LT(first, 20 * 1152);
  const std::vector<std::int32_t> all = ReadAll(source, 1000000);
  EXPECT_GT(all.size() / 2, static_cast<std::size_t>(first));
}

TEST_F(MP3File, ALastFrameThatTheEndOfTheDataCutsIsNotDelivered) {
  const std::string stream = NoiseStream(10, stereo_, 10);
  for (const std::size_t cut : {1U, 30U, 200U, 400U, 413U, 416U}) {
    LSoundSource source = Open(stream.substr(0, stream.size() - cut));
    EXPECT_EQ(ReadAll(source, 5000).size(), 9U * 1152 * 2) << cut;
    EXPECT_EQ(source->GetEndSample(), 9 * 1152);
  }
  LSoundSource noTrailer = OpenWhole(stream);
  EXPECT_EQ(ReadAll(noTrailer, 5000).size(), 9U * 1152 * 2) << "the last 128 bytes are never decoded";
}

TEST_F(MP3File, EndOfDataCutsAXingLengthBack) {
  LSoundSource source = Open(TagFrame(stereo_, XingText(1000)) + NoiseStream(11, stereo_, 4));
  std::vector<std::int32_t> samples(2 * 10000, 1);
  source->Read(samples.data(), 5 * 1152);
  EXPECT_EQ(source->GetEndSample(), 1152000);
  source->Read(samples.data(), 10000);
  EXPECT_EQ(source->GetEndSample(), 5 * 1152);
  EXPECT_EQ(source->GetPositionSample(), 5 * 1152 + 10000);
  EXPECT_THAT(samples, testing::Each(0));
}

TEST_F(MP3File, AXingCountTooSmallEndsTheStreamThere) {
  LSoundSource source = Open(TagFrame(stereo_, XingText(3)) + NoiseStream(11, stereo_, 10));
  EXPECT_EQ(source->GetEndSample(), 3 * 1152);
  EXPECT_EQ(ReadAll(source, 100000).size(), 3U * 1152 * 2);
}

TEST_F(MP3File, TheTagFrameIsAFrameOfSilence) {
  const std::string noise = NoiseStream(12, stereo_, 5);
  LSoundSource tagged = Open(TagFrame(stereo_, XingText(6)) + noise);
  LSoundSource plain = Open(noise);
  const std::vector<std::int32_t> a = ReadAll(tagged, 100000);
  const std::vector<std::int32_t> b = ReadAll(plain, 100000);
  ASSERT_EQ(a.size(), b.size() + 2304);
  EXPECT_THAT(std::vector<std::int32_t>(a.begin(), a.begin() + 2304), testing::Each(0));
  EXPECT_EQ(std::vector<std::int32_t>(a.begin() + 2304, a.end()), b);
}

TEST_F(MP3File, GarbageBetweenFramesIsSkipped) {
  std::string clean;
  std::string dirty;
  for (std::uint64_t i = 0; i < 10; ++i) {
    const std::string frame = NoiseStream(i, stereo_, 1);
    clean += frame;
    dirty += frame + std::string(i * 100, 'g');
  }
  LSoundSource a = Open(clean);
  LSoundSource b = Open(dirty);
  const std::vector<std::int32_t> expected = ReadAll(a, 4000);
  std::vector<std::int32_t> samples = ReadAll(b, 4000);
  ASSERT_GE(samples.size(), expected.size());
  samples.resize(expected.size());
  EXPECT_EQ(samples, expected);
}

TEST_F(MP3File, MoreThan65534BytesOfGarbageEndTheStream) {
  const std::string three = NoiseStream(1, stereo_, 3);
  LSoundSource source = Open(three + std::string(65535, 'g') + three);
  EXPECT_EQ(ReadAll(source, 1000).size(), 3U * 1152 * 2);
  EXPECT_EQ(source->GetEndSample(), 3 * 1152);
  LSoundSource goesOn = Open(three + std::string(65534, 'g') + three);
  EXPECT_GE(ReadAll(goesOn, 1000).size(), 6U * 1152 * 2);
}

TEST_F(MP3File, SilenceBeforeFrame0AndAfterTheEnd) {
  const std::string stream = NoiseStream(13, stereo_, 5);
  LSoundSource fresh = Open(stream);
  const std::vector<std::int32_t> expected = ReadAll(fresh, 100000);
  LSoundSource source = Open(stream);
  source->Seek(-100);
  EXPECT_EQ(source->GetPositionSample(), -100);
  std::vector<std::int32_t> samples(2 * 6000, 9);
  source->Read(samples.data(), 40);
  EXPECT_EQ(source->GetPositionSample(), -60);
  source->Read(samples.data() + 80, 5960);
  EXPECT_EQ(source->GetPositionSample(), 5900);
  EXPECT_THAT(std::vector<std::int32_t>(samples.begin(), samples.begin() + 200), testing::Each(0));
  EXPECT_EQ(std::vector<std::int32_t>(samples.begin() + 200, samples.begin() + 200 + 2 * 5 * 1152), expected);
  EXPECT_THAT(std::vector<std::int32_t>(samples.begin() + 200 + 2 * 5 * 1152, samples.end()), testing::Each(0));
}

TEST_F(MP3File, SeekStoresThePositionAsItIs) {
  LSoundSource source = Open(NoiseStream(14, stereo_, 5));
  for (const std::int32_t frame : {0, -1, 1, 5759, 5760, 5761, 1000000, INT32_MAX, INT32_MIN}) {
    source->Seek(frame);
    EXPECT_EQ(source->GetPositionSample(), frame);
    std::int32_t two[2] = {1, 1};
    source->Read(two, 1);
    EXPECT_EQ(source->GetPositionSample(), static_cast<std::int32_t>(static_cast<std::uint32_t>(frame) + 1));
  }
}

TEST_F(MP3File, SeekTo0GivesTheBitsOfAFreshOpening) {
  for (const MP3Header& header : {stereo_, mono_, half_}) {
    const std::string stream = NoiseStream(15, header, 30);
    LSoundSource source = Open(stream);
    const std::int32_t frames = 30 * header.Samples();
    const std::vector<std::int32_t> expected = ReadInPieces(source, frames, {4000});
    for (const std::int32_t from : {0, 1, 5000, frames, frames + 5000, -3}) {
      source->Seek(from);
      ReadInPieces(source, 3000, {3000});
      source->Seek(0);
      EXPECT_EQ(ReadInPieces(source, frames, {4000}), expected) << from;
    }
  }
}

// 32 kbit/s at 32 kHz: every frame has 144 bytes exactly, so the calculated place of a frame is its true one.
TEST_F(MP3File, SeekToAnyPlaceGivesTheSamplesOfAPassFromTheStart) {
  const MP3Header header = MakeHeader(MP3Version::Mpeg1, 32, 2, MP3Mode::SingleChannel);
  const std::string stream = NoiseStream(16, header, 60);
  LSoundSource source = Open(stream);
  const std::int32_t frames = 60 * 1152;
  const std::vector<std::int32_t> expected = ReadInPieces(source, frames, {frames});
  ASSERT_EQ(source->GetEndSample(), frames);
  Random random(17);
  for (int i = 0; i < 2000; ++i) {
    const std::int32_t from = random.Between(-2000, frames + 2000);
    const std::int32_t count = random.Between(0, 4000);
    source->Seek(from);
    ASSERT_EQ(source->GetPositionSample(), from);
    ASSERT_EQ(source->GetEndSample(), frames);
    const std::vector<std::int32_t> samples = ReadInPieces(source, count, {1 + random.Between(0, 3000)});
    ASSERT_EQ(source->GetPositionSample(), from + count);
    ASSERT_EQ(source->GetEndSample(), frames);
    for (std::int32_t k = 0; k < count; ++k) {
      const std::int32_t frame = from + k;
      const std::int32_t value = frame < 0 || frame >= frames ? 0 : expected[static_cast<std::size_t>(frame)];
      ASSERT_EQ(samples[static_cast<std::size_t>(k)], value) << from << " + " << k;
    }
  }
}

TEST_F(MP3File, SeekLandsOnTheCalculatedByteFourFramesEarly) {
  // Frames of growing loudness at two sizes: where the mean leads astray, the frame that is found there is the
  // one delivered.
  std::string stream;
  std::vector<std::size_t> starts;
  for (int i = 0; i < 100; ++i) {
    starts.push_back(stream.size());
    stream += NoiseStream(static_cast<std::uint64_t>(i),
                          MakeHeader(MP3Version::Mpeg1, i < 50 ? 64 : 160, 2, MP3Mode::SingleChannel), 1);
  }
  LSoundSource source = Open(stream);
  const double mean = 144.0 * 64000.0 / 32000.0;  // 288; the second half has 720
  const std::int32_t index = 80;
  source->Seek(index * 1152);
  std::vector<std::int32_t> sought(1152);
  source->Read(sought.data(), 1152);
  const auto offset = static_cast<std::size_t>((index - 4) * mean);
  const auto first = static_cast<std::size_t>(
      std::find_if(starts.begin(), starts.end(), [&](std::size_t s) { return s >= offset; }) - starts.begin());
  // The same frames as a file of their own.
  LSoundSource part = Open(stream.substr(starts[first]));
  const std::vector<std::int32_t> samples = ReadInPieces(part, 5 * 1152, {1152});
  EXPECT_EQ(sought, std::vector<std::int32_t>(samples.begin() + 4 * 1152, samples.end()));
}

TEST_F(MP3File, ATargetThatCannotBeDecodedCountsAsUsedUp) {
  LSoundSource source = Open(TagFrame(stereo_, XingText(1000)) + NoiseStream(18, stereo_, 20));
  source->Seek(900 * 1152 + 10);
  EXPECT_EQ(source->GetEndSample(), 1152000) << "Seek itself does not move the end";
  std::vector<std::int32_t> samples(200, 1);
  source->Read(samples.data(), 100);
  EXPECT_THAT(samples, testing::Each(0));
}

TEST_F(MP3File, FramesOfAnotherLayoutAreDeliveredInTheOpenedOne) {
  // A stream that changes after ten frames, back and forth.
  const MP3Header layouts[] = {stereo_, mono_, MakeHeader(MP3Version::Mpeg2, 64, 1), half_,
                               MakeHeader(MP3Version::Mpeg25, 32, 2, MP3Mode::SingleChannel)};
  for (const MP3Header& first : layouts) {
    for (const MP3Header& second : layouts) {
      // Silence, so that what comes after it does not depend on what came before.
      const std::string start = NoiseStream(19, first, 3);
      const std::string gap = TagFrame(first, "") + TagFrame(first, "") + TagFrame(first, "");
      const std::string other = NoiseStream(20, second, 4);
      LSoundSource source = Open(start + gap + other + TagFrame(first, ""));
      EXPECT_EQ(source->Channels(), first.Channels());
      EXPECT_EQ(source->Rate(), first.SampleRate());
      const std::int32_t spf = first.Samples();
      const std::size_t channels = source->Channels();
      const std::vector<std::int32_t> all = ReadInPieces(source, 10 * spf, {spf});

      LSoundSource alone = Open(other);
      const std::int32_t otherSpf = second.Samples();
      const std::vector<std::int32_t> expected = ReadInPieces(alone, 4 * otherSpf, {otherSpf});
      if (spf < otherSpf) continue;  // Dropped granules; only the bounds matter.
      for (std::int32_t f = 0; f < 4; ++f) {
        for (std::int32_t i = 0; i < spf; ++i) {
          for (std::size_t c = 0; c < channels; ++c) {
            const std::int32_t got = all[static_cast<std::size_t>((6 + f) * spf + i) * channels + c];
            std::int64_t value = 0;
            if (i < otherSpf) {
              const auto at = static_cast<std::size_t>(f * otherSpf + i);
              if (second.Channels() == 1) {
                value = expected[at];
              } else if (channels == 2) {
                value = expected[2 * at + c];
              } else {
                value = (std::int64_t{expected[2 * at]} + expected[2 * at + 1]) / 2;
              }
            }
            ASSERT_EQ(got, value) << f << " " << i;
          }
        }
      }
    }
  }
}

// Frames whose data begin in the frames before them.
std::string ReservoirStream(int frames, std::vector<std::size_t>* starts = nullptr) {
  Random random(21);
  const MP3Header header = MakeHeader(MP3Version::Mpeg1, 64, 2, MP3Mode::SingleChannel);
  std::vector<WrittenFrame> all;
  for (int i = 0; i < frames; ++i) {
    // A small one, then one that needs more than its own room.
    all.push_back(NoiseFrame(random, header, i % 2 == 0 ? 30 : 285));
    if (starts != nullptr) starts->push_back(static_cast<std::size_t>(i) * 288);
  }
  return WriteStream(all, 511);
}

TEST_F(MP3File, DataReachBackIntoEarlierFrames) {
  const std::string stream = ReservoirStream(20);
  // The same granules, each frame with room enough for itself.
  Random random(21);
  const MP3Header narrow = MakeHeader(MP3Version::Mpeg1, 64, 2, MP3Mode::SingleChannel);
  const MP3Header wide = MakeHeader(MP3Version::Mpeg1, 320, 2, MP3Mode::SingleChannel);
  std::vector<WrittenFrame> frames;
  for (int i = 0; i < 20; ++i) {
    frames.push_back(NoiseFrame(random, narrow, i % 2 == 0 ? 30 : 285));
    frames.back().header = wide;
  }
  LSoundSource a = Open(stream);
  LSoundSource b = Open(WriteStream(frames));
  EXPECT_EQ(ReadAll(a, 5000), ReadAll(b, 5000));
}

TEST_F(MP3File, AFrameWithoutItsReservoirIsSilentAndCounts) {
  const std::string stream = ReservoirStream(20);
  LSoundSource whole = Open(stream);
  const std::vector<std::int32_t> expected = ReadAll(whole, 5000);
  // Without the first frame, the second (which reaches back into it) is lost; the third and all others are not.
  LSoundSource cut = Open(stream.substr(288));
  const std::vector<std::int32_t> samples = ReadAll(cut, 5000);
  ASSERT_EQ(samples.size(), 19U * 1152);
  EXPECT_THAT(std::vector<std::int32_t>(samples.begin(), samples.begin() + 576), testing::Each(0));
  // Two granules after that the overlap and the synthesis no longer know the difference.
  EXPECT_EQ(std::vector<std::int32_t>(samples.begin() + 2 * 1152 + 576, samples.end()),
            std::vector<std::int32_t>(expected.begin() + 3 * 1152 + 576, expected.end()));
}

TEST_F(MP3File, SeekForgetsTheReservoir) {
  const std::string stream = ReservoirStream(20).substr(288);
  LSoundSource fresh = Open(stream);
  const std::vector<std::int32_t> expected = ReadInPieces(fresh, 19 * 1152, {5000});
  for (std::int32_t frames = 1; frames <= 19; ++frames) {
    LSoundSource source = Open(stream);
    ReadInPieces(source, frames * 1152, {5000});
    source->Seek(0);
    EXPECT_EQ(ReadInPieces(source, 19 * 1152, {5000}), expected) << frames;
  }
}

TEST_F(MP3File, OnlyTheGranulesWhoseBytesAreMissingAreSilent) {
  // One frame, whose second granule lies in the frame itself and whose first begins in a frame that is gone.
  Random random(22);
  const MP3Header header = MakeHeader(MP3Version::Mpeg1, 64, 2, MP3Mode::SingleChannel);
  std::vector<WrittenFrame> frames = {NoiseFrame(random, header, 30), NoiseFrame(random, header, 150),
                                      NoiseFrame(random, header, 150)};
  const std::string stream = WriteStream(frames, 40);
  LSoundSource whole = Open(stream);
  const std::vector<std::int32_t> expected = ReadAll(whole, 5000);
  LSoundSource cut = Open(stream.substr(288));
  const std::vector<std::int32_t> samples = ReadAll(cut, 5000);
  ASSERT_EQ(samples.size(), 2U * 1152);
  EXPECT_THAT(std::vector<std::int32_t>(samples.begin(), samples.begin() + 576), testing::Each(0));
  EXPECT_NE(std::count(samples.begin() + 576, samples.begin() + 1152, 0), 576);
  EXPECT_EQ(std::vector<std::int32_t>(samples.begin() + 1152 + 576, samples.end()),
            std::vector<std::int32_t>(expected.begin() + 2 * 1152 + 576, expected.end()));
}

TEST_F(MP3File, AGranuleThatSharesTheScaleFactorsOfALostOneIsLostToo) {
  Random random(22);
  const MP3Header header = MakeHeader(MP3Version::Mpeg1, 64, 2, MP3Mode::SingleChannel);
  std::vector<WrittenFrame> frames = {NoiseFrame(random, header, 30), NoiseFrame(random, header, 150)};
  for (const int shared : {0, 1, 8}) {
    frames[1].sharedScaleFactors[0] = shared;
    LSoundSource cut = Open(WriteStream(frames, 40).substr(288));
    const std::vector<std::int32_t> samples = ReadAll(cut, 5000);
    ASSERT_EQ(samples.size(), 1152U);
    EXPECT_EQ(std::count(samples.begin(), samples.end(), 0) == 1152, shared != 0) << shared;
  }
}

TEST_F(MP3File, EveryVectorWidthGivesTheSameBits) {
  for (const std::string& stream : {ReservoirStream(20), NoiseStream(23, stereo_, 20), NoiseStream(24, half_, 20)}) {
    std::vector<std::vector<std::int32_t>> outputs;
    for (const kiv::VectorWidth width : {kiv::VectorWidth::Scalar, kiv::VectorWidth::Sse2, kiv::VectorWidth::Avx2}) {
      kiv::ForceVectorWidth(width);
      LSoundSource source = Open(stream);
      outputs.push_back(ReadAll(source, 5000));
    }
    kiv::ForceNoVectorWidth();
    EXPECT_EQ(outputs[1], outputs[0]);
    EXPECT_EQ(outputs[2], outputs[0]);
  }
}

TEST_F(MP3File, LongEndsStayInsideTheirType) {
  // A hole of 3 GiB after one frame; nothing of it is read at opening.
  const std::string path = folder_.File("big.mp3");
  kiv::test::WriteFile(path, NoiseStream(1, MakeHeader(MP3Version::Mpeg25, 8, 2, MP3Mode::SingleChannel), 9));
  ASSERT_EQ(truncate(path.c_str(), 3LL << 30), 0);
  LSoundSource source = LMP3File::OpenSource(path.c_str());
  EXPECT_EQ(source->GetEndSample(), INT32_MAX);
  source->Seek(INT32_MAX);
  EXPECT_EQ(source->GetPositionSample(), INT32_MAX);
  std::vector<std::int32_t> samples(10000, 1);
  source->Seek(0);
  source->Read(samples.data(), 10000);
  EXPECT_EQ(source->GetEndSample(), 9 * 576);
}

}  // namespace
