#include "audio/mp3/frame_check.h"

#include "audio/mp3/mp3_file.h"
#include "tests/audio/mp3/mp3_writer.h"
#include "tests/support/temporary_folder.h"

namespace {

using kiv::test::MakeHeader;
using kiv::test::NoiseStream;
using kiv::test::Random;
using kiv::test::TrailingTag;

class Mp3Frames : public testing::Test {
 protected:
  // In bytes with the block behind them that is never decoded.
  bool AreIn(const std::string& bytes) {
    kiv::test::WriteFile(path_, Joined({bytes, TrailingTag()}));
    return kiv::HoldsMp3Frames(path_.c_str());
  }
  static std::string Joined(const std::vector<std::string>& pieces) {
    std::string bytes;
    for (const std::string& piece : pieces) bytes.append(piece);
    return bytes;
  }
  static std::string RandomBytes(std::uint64_t seed, std::size_t count) {
    Random random(seed);
    std::string bytes;
    while (bytes.size() < count) bytes.push_back(static_cast<char>(random.Between(0, 255)));
    return bytes;
  }

  kiv::test::TemporaryFolder folder_;
  const std::string path_ = folder_.File("some");
  const MP3Header stereo_ = MakeHeader(MP3Version::Mpeg1, 128, 0);
};

TEST_F(Mp3Frames, AreFoundInStreamsOfEveryVersionAndWithACrc) {
  for (const MP3Version version : {MP3Version::Mpeg1, MP3Version::Mpeg2, MP3Version::Mpeg25}) {
    for (const bool crc : {false, true}) {
      MP3Header header = MakeHeader(version, 64, 1);
      header.hasCrc = crc;
      EXPECT_TRUE(AreIn(NoiseStream(1, header, 10)));
    }
  }
}

TEST_F(Mp3Frames, OneAloneCountsWhenItIsAllThereIs) {
  EXPECT_TRUE(AreIn(NoiseStream(1, stereo_, 1)));
  EXPECT_TRUE(AreIn(NoiseStream(1, stereo_, 2)));
  EXPECT_FALSE(AreIn(Joined({"x", NoiseStream(1, stereo_, 2)})));
  EXPECT_FALSE(AreIn(Joined({NoiseStream(1, stereo_, 1), "some text", NoiseStream(1, stereo_, 1)})));
}

TEST_F(Mp3Frames, AreFoundBehindATagAndBehindDamage) {
  const std::string frames = NoiseStream(1, stereo_, 3);
  EXPECT_TRUE(AreIn(Joined({std::string(60000, 'x'), frames})));
  EXPECT_TRUE(AreIn(Joined({RandomBytes(5, 60000), frames})));
  EXPECT_TRUE(AreIn(Joined({NoiseStream(2, stereo_, 1), "damage", frames})));
}

TEST_F(Mp3Frames, AreNotInFilesWithoutAnyOrTooShortForThem) {
  EXPECT_FALSE(kiv::HoldsMp3Frames(path_.c_str()));
  EXPECT_FALSE(kiv::HoldsMp3Frames(folder_.Path().c_str()));
  EXPECT_FALSE(AreIn(""));
  EXPECT_FALSE(AreIn("\xFF\xFB"));
  EXPECT_FALSE(AreIn(std::string(200000, '\0')));
  EXPECT_FALSE(AreIn(std::string(200000, '\xFF')));
}

// The decoder does find a first frame in most of these.
TEST_F(Mp3Frames, AreNotInRandomBytesThatHoldFalseHeaders) {
  int opened = 0;
  for (std::uint64_t seed = 1; seed <= 50; ++seed) {
    EXPECT_FALSE(AreIn(RandomBytes(seed, 100000))) << seed;
    if (LMP3File::OpenSource(path_.c_str())->GetEndSample() != 0) ++opened;
  }
  EXPECT_GE(opened, 25);
}

TEST_F(Mp3Frames, OfDifferentRatesAreNotInARow) {
  const std::string one = NoiseStream(1, stereo_, 1);
  const std::string other = NoiseStream(1, MakeHeader(MP3Version::Mpeg1, 128, 1), 1);
  EXPECT_FALSE(AreIn(Joined({"x", one, other, one, other, one})));
}

}  // namespace
