// Bytes that no encoder wrote. Under the sanitizers these tests also show that nothing is read or written outside.

#include "audio/mp3/mp3_file.h"
#include "tests/audio/mp3/mp3_writer.h"
#include "tests/support/temporary_folder.h"

namespace {

using kiv::test::HeaderBits;
using kiv::test::MakeHeader;
using kiv::test::NoiseStream;
using kiv::test::Random;
using kiv::test::TagFrame;

constexpr std::int32_t kUntouched = 0x5A5A5A5A;

// Reads all that the source says it has (at most a minute) and then seeks about.
void Use(LSoundSource& source, Random& random) {
  EXPECT_EQ(source->Error(), kSourceGood);
  std::int32_t total = 0;
  const auto read = [&](std::int32_t frames) {
    const std::size_t count = static_cast<std::size_t>(frames) * source->Channels();
    std::vector<std::int32_t> samples(count + 1, kUntouched);
    const std::int32_t from = source->GetPositionSample();
    source->Read(samples.data(), frames);
    EXPECT_EQ(source->GetPositionSample(), from + frames);
    EXPECT_EQ(samples[count], kUntouched);
    EXPECT_GE(source->GetEndSample(), 0);
    total += frames;
  };
  while (source->GetPositionSample() < source->GetEndSample() && total < 60 * 44100) read(random.Between(1, 4000));
  for (int i = 0; i < 5; ++i) {
    const std::int32_t end = std::min(source->GetEndSample(), 1 << 24);
    source->Seek(random.Between(-5000, end + 5000));
    read(random.Between(0, 3000));
  }
}

class MP3Damage : public testing::Test {
 protected:
  void Try(const std::string& bytes) {
    kiv::test::WriteFile(folder_.File("a.mp3"), bytes);
    LSoundSource source = LMP3File::OpenSource(folder_.File("a.mp3").c_str());
    Use(source, random_);
  }
  std::string Bytes(std::size_t count) {
    std::string bytes(count, '\0');
    for (char& c : bytes) c = static_cast<char>(random_.Next());
    return bytes;
  }
  std::string Stream() {
    static constexpr MP3Version kVersions[] = {MP3Version::Mpeg1, MP3Version::Mpeg2, MP3Version::Mpeg25};
    const MP3Header header = MakeHeader(kVersions[random_.Between(0, 2)], 64, random_.Between(0, 2),
                                        static_cast<MP3Mode>(random_.Between(0, 3)));
    return NoiseStream(random_.Next(), header, 12);
  }

  kiv::test::TemporaryFolder folder_;
  Random random_{1};
};

TEST_F(MP3Damage, RandomBytes) {
  for (int i = 0; i < 40; ++i) Try(Bytes(static_cast<std::size_t>(random_.Between(0, 100000))));
}

TEST_F(MP3Damage, RandomBytesAfterEveryHeader) {
  // Side information of every kind: impossible regions, counts and tables, data that reach out of the frame.
  for (int i = 0; i < 150; ++i) {
    std::string bytes;
    const std::uint32_t fixed = static_cast<std::uint32_t>(random_.Next());
    for (int frame = 0; frame < 20; ++frame) {
      MP3Header header;
      const std::uint32_t varied = i % 2 == 0 ? fixed : static_cast<std::uint32_t>(random_.Next());
      if (!header.Parse(0xFFE20000U | (varied & 0x0019FFFFU))) continue;
      header.mode = i % 3 == 0 ? MP3Mode::JointStereo : header.mode;
      bytes += kiv::test::BigEndian32(HeaderBits(header)) + Bytes(static_cast<std::size_t>(header.FrameBytes() - 4));
    }
    Try(bytes);
  }
}

TEST_F(MP3Damage, FlippedBits) {
  for (int i = 0; i < 150; ++i) {
    std::string bytes = Stream();
    for (int flips = random_.Between(1, 60); flips > 0; --flips) {
      bytes[random_.Next() % bytes.size()] ^= static_cast<char>(1 << random_.Between(0, 7));
    }
    Try(bytes);
  }
}

TEST_F(MP3Damage, BytesLostAndAdded) {
  for (int i = 0; i < 100; ++i) {
    std::string bytes = Stream();
    for (int k = 0; k < 4; ++k) {
      const std::size_t at = random_.Next() % bytes.size();
      if (random_.Between(0, 1) == 0) {
        bytes.erase(at, random_.Next() % 300);
      } else {
        bytes.insert(at, Bytes(random_.Next() % 300));
      }
    }
    Try(bytes);
  }
}

TEST_F(MP3Damage, FilesCutAnywhere) {
  const std::string bytes = NoiseStream(3, MakeHeader(MP3Version::Mpeg2, 32, 0), 4) + kiv::test::TrailingTag();
  for (std::size_t size = 0; size < bytes.size(); size += 3) Try(bytes.substr(0, size));
}

TEST_F(MP3Damage, AbsurdFrameCounts) {
  const MP3Header header = MakeHeader(MP3Version::Mpeg1, 64, 0);
  for (const std::uint32_t count : {1U, 2U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU, 1864135U, 1864136U}) {
    Try(TagFrame(header, kiv::test::XingText(count)) + NoiseStream(4, header, 3) + kiv::test::TrailingTag());
    Try(TagFrame(header, "VBRI" + std::string(10, '\xFF') + kiv::test::BigEndian32(count)) + kiv::test::TrailingTag());
  }
}

TEST_F(MP3Damage, FalseSyncsInsideTags) {
  for (int i = 0; i < 40; ++i) {
    std::string tag("ID3\x03");
    tag.append(Bytes(3000));
    for (int k = 0; k < 30; ++k) {
      const std::size_t at = 4 + random_.Next() % 2900;
      tag[at] = '\xFF';
      tag[at + 1] = k % 2 == 0 ? '\xFB' : '\xE3';
    }
    Try(tag + Stream() + kiv::test::TrailingTag());
  }
}

TEST_F(MP3Damage, LongRunsOfSyncBytesBetweenFrames) {
  const std::string one = NoiseStream(5, MakeHeader(MP3Version::Mpeg1, 64, 0), 1);
  Try(std::string(65536, '\xFF'));
  Try(one + std::string(60000, '\xFF') + one + std::string(60000, '\xFF') + one + one);
}

}  // namespace
