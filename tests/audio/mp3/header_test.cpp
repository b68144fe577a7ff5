#include "audio/mp3/header.h"

#include "audio/mp3/read_file.h"
#include "tests/audio/mp3/mp3_writer.h"
#include "tests/support/temporary_folder.h"

namespace {

using kiv::test::HeaderBits;
using kiv::test::MakeHeader;
using kiv::test::TemporaryFolder;

constexpr std::uint32_t kGood = 0xFFFB9064;  // MPEG-1 Layer III, 128 kbit/s, 44100 Hz, joint stereo

TEST(MP3Header, TakesTheFieldsOfAnOrdinaryHeader) {
  MP3Header header;
  ASSERT_TRUE(header.Parse(kGood));
  EXPECT_EQ(header.version, MP3Version::Mpeg1);
  EXPECT_FALSE(header.hasCrc);
  EXPECT_EQ(header.Bitrate(), 128000);
  EXPECT_EQ(header.SampleRate(), 44100);
  EXPECT_FALSE(header.padding);
  EXPECT_EQ(header.mode, MP3Mode::JointStereo);
  EXPECT_EQ(header.modeExtension, 2);
  EXPECT_EQ(header.Channels(), 2);
  EXPECT_EQ(header.Samples(), 1152);
  EXPECT_EQ(header.FrameBytes(), 417);
  EXPECT_EQ(header.SideInfoBytes(), 32);
}

TEST(MP3Header, RefusesWhatThisDecoderDoesNotTake) {
  MP3Header header;
  EXPECT_FALSE(header.Parse(0x7FFB9064)) << "first byte not 0xFF";
  EXPECT_FALSE(header.Parse(0xFFDB9064)) << "second byte below 0xE0";
  EXPECT_FALSE(header.Parse(0xFFEB9064)) << "reserved version";
  EXPECT_FALSE(header.Parse(0xFFFD9064)) << "Layer II";
  EXPECT_FALSE(header.Parse(0xFFFF9064)) << "Layer I";
  EXPECT_FALSE(header.Parse(0xFFF99064)) << "reserved layer";
  EXPECT_FALSE(header.Parse(0xFFFB0064)) << "free format";
  EXPECT_FALSE(header.Parse(0xFFFBF064)) << "bit rate 15";
  EXPECT_FALSE(header.Parse(0xFFFB9C64)) << "sampling rate 3";
  EXPECT_TRUE(header.Parse(0xFFE39064)) << "MPEG-2.5 has one sync bit less";
  EXPECT_EQ(header.SampleRate(), 11025);
  EXPECT_TRUE(header.Parse(0xFFFB9066)) << "the reserved emphasis is not looked at";
}

TEST(MP3Header, KnowsEveryRateBitRateAndFrameSize) {
  constexpr int kRates[3] = {44100, 48000, 32000};
  for (const MP3Version version : {MP3Version::Mpeg1, MP3Version::Mpeg2, MP3Version::Mpeg25}) {
    const bool one = version == MP3Version::Mpeg1;
    const int divisor = one ? 1 : version == MP3Version::Mpeg2 ? 2 : 4;
    for (int rate = 0; rate < 3; ++rate) {
      for (const int kbits : one ? std::vector<int>{32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320}
                                 : std::vector<int>{8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160}) {
        for (const bool padding : {false, true}) {
          MP3Header written = MakeHeader(version, kbits, rate, MP3Mode::SingleChannel);
          written.padding = padding;
          MP3Header header;
          ASSERT_TRUE(header.Parse(HeaderBits(written)));
          EXPECT_EQ(header.SampleRate(), kRates[rate] / divisor);
          EXPECT_EQ(header.Bitrate(), kbits * 1000);
          // All samples of the frame take their share of the bit rate, in whole bytes.
          const std::int64_t bits = std::int64_t{header.Samples()} * header.Bitrate();
          EXPECT_EQ(header.FrameBytes(), bits / 8 / header.SampleRate() + (padding ? 1 : 0));
          EXPECT_EQ(header.SideInfoBytes(), one ? 17 : 9);
          EXPECT_EQ(header.Samples(), one ? 1152 : 576);
          EXPECT_LE(header.FrameBytes(), MP3Header::kMaxFrameBytes);
          EXPECT_GE(header.BodyBytes() - header.SideInfoBytes() - MP3Header::kCrcBytes, 0);
        }
      }
    }
  }
}

class MP3HeaderSearch : public testing::Test {
 protected:
  bool Search(std::string bytes) {
    kiv::test::WriteFile(folder_.File("a.mp3"), bytes + std::string(128, 'x'));
    MP3ReadFile file(folder_.File("a.mp3").c_str());
    const bool found = header_.ReadHeader(file);
    remaining_ = file.Remaining();
    return found;
  }
  static std::string Header(std::uint32_t bits = kGood) { return kiv::test::BigEndian32(bits); }

  TemporaryFolder folder_;
  MP3Header header_;
  std::int64_t remaining_ = 0;
};

TEST_F(MP3HeaderSearch, FindsAHeaderAtTheOffsets0To65534) {
  for (const std::size_t offset : {0U, 1U, 2U, 3U, 4U, 1000U, 65533U, 65534U}) {
    EXPECT_TRUE(Search(std::string(offset, '\xAA') + Header() + "12345")) << offset;
    EXPECT_EQ(remaining_, 5) << offset;
  }
}

TEST_F(MP3HeaderSearch, GivesUpAfter65535Places) {
  EXPECT_FALSE(Search(std::string(65535, '\xAA') + Header() + "12345"));
  EXPECT_EQ(remaining_, 6) << "the last place tried ends there";
}

TEST_F(MP3HeaderSearch, EndsAtTheEndOfTheData) {
  EXPECT_FALSE(Search(""));
  EXPECT_FALSE(Search(Header().substr(0, 3)));
  EXPECT_FALSE(Search(std::string(100, '\xFF')));
  EXPECT_FALSE(Search(std::string(5, ' ') + Header().substr(0, 3)));
}

TEST_F(MP3HeaderSearch, TriesEveryByteOfALongRunOfSyncBytes) {
  EXPECT_TRUE(Search(std::string(10, '\xFF') + Header()));
  EXPECT_FALSE(Search(std::string(65536, '\xFF')));
}

TEST_F(MP3HeaderSearch, ReadsPastTheCrc) {
  MP3Header crc;
  ASSERT_TRUE(crc.Parse(kGood));
  crc.hasCrc = true;
  EXPECT_TRUE(Search(Header(HeaderBits(crc)) + "cc12345"));
  EXPECT_TRUE(header_.hasCrc);
  EXPECT_EQ(remaining_, 5);
  EXPECT_FALSE(Search(Header(HeaderBits(crc)) + "c")) << "half a CRC";
}

TEST(MP3ReadFile, LeavesTheLast128BytesAlone) {
  const TemporaryFolder folder;
  for (const int size : {0, 1, 127, 128, 129, 20000}) {
    kiv::test::WriteFile(folder.File("a"), std::string(static_cast<std::size_t>(size), 'a'));
    MP3ReadFile file(folder.File("a").c_str());
    const int data = std::max(size - 128, 0);
    EXPECT_EQ(file.DataBytes(), data);
    std::vector<std::uint8_t> bytes(30000);
    EXPECT_EQ(file.Read(bytes.data(), bytes.size()), static_cast<std::size_t>(data));
    EXPECT_EQ(file.Remaining(), 0);
  }
}

TEST(MP3ReadFile, ReadsSkipsAndSeeksLikeAStringOfTheSameBytes) {
  const TemporaryFolder folder;
  kiv::test::Random random(7);
  std::string content(100000, '\0');
  for (char& c : content) c = static_cast<char>(random.Next());
  kiv::test::WriteFile(folder.File("a"), content + std::string(128, 'T'));
  MP3ReadFile file(folder.File("a").c_str());
  std::int64_t place = 0;
  const auto size = static_cast<std::int64_t>(content.size());
  for (int i = 0; i < 5000; ++i) {
    const std::int64_t n = random.Between(0, random.Between(0, 9) == 0 ? 40000 : 600);
    switch (random.Between(0, 2)) {
      case 0: {
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(n));
        const auto got = static_cast<std::int64_t>(file.Read(bytes.data(), bytes.size()));
        ASSERT_EQ(got, std::min(n, size - place));
        ASSERT_EQ(std::string(bytes.begin(), bytes.begin() + got),
                  content.substr(static_cast<std::size_t>(place), static_cast<std::size_t>(got)));
        place += got;
        break;
      }
      case 1:
        file.Skip(n);
        place = std::min(place + n, size);
        break;
      default:
        if (i % 10 == 0) {
          place = std::clamp<std::int64_t>(random.Between(-10, 100010), 0, size);
          file.SeekTo(place);
        }
    }
    ASSERT_EQ(file.Remaining(), size - place);
  }
}

TEST(MP3ReadFile, AFileCutByAnotherProgramEndsThere) {
  const TemporaryFolder folder;
  kiv::test::WriteFile(folder.File("a"), std::string(50000, 'a'));
  MP3ReadFile file(folder.File("a").c_str());
  kiv::test::WriteFile(folder.File("a"), std::string(10, 'a'));
  std::vector<std::uint8_t> bytes(50000);
  EXPECT_EQ(file.Read(bytes.data(), bytes.size()), 10U);
  EXPECT_EQ(file.Remaining(), 0);
}

}  // namespace
