// Streams that encoders do not make, written field by field, against the other decoders.

#include <cmath>
#include <cstdio>

#include "audio/mp3/huffman_codes.h"
#include "tests/audio/mp3/comparison.h"
#include "tests/audio/mp3/mp3_writer.h"
#include "tests/audio/mp3/reference_decoders.h"

namespace {

using kiv::test::Compare;
using kiv::test::DecodeWithOurs;
using kiv::test::MakeHeader;
using kiv::test::Random;
using kiv::test::WrittenFrame;
using kiv::test::WrittenGranule;

enum class Blocks { Long, Start, Stop, Short, Mixed, MixedStart, MixedStop };
enum class Joint { Mono, None, MidSide, Intensity, Both };

struct Recipe {
  MP3Version version;
  int rate;
  Joint joint;
  Blocks blocks;
};

MP3Header HeaderOf(Recipe const& recipe) {
  const bool one = recipe.version == MP3Version::Mpeg1;
  MP3Header header = MakeHeader(recipe.version, one ? 320 : 160, recipe.rate,
                                recipe.joint == Joint::Mono   ? MP3Mode::SingleChannel
                                : recipe.joint == Joint::None ? MP3Mode::Stereo
                                                              : MP3Mode::JointStereo);
  header.modeExtension = recipe.joint == Joint::MidSide     ? 2
                         : recipe.joint == Joint::Intensity ? 1
                         : recipe.joint == Joint::Both      ? 3
                                                            : 0;
  return header;
}

int RandomTable(Random& random) {
  for (;;) {
    const int table = random.Between(1, 31);
    if (table != 4 && table != 14) return table;
  }
}

int RandomMagnitude(Random& random, int table) {
  const int size = kiv::mp3::CodesOf(table).size;
  const int escape = kiv::mp3::EscapeBits(table);
  if (escape > 0 && random.Between(0, 40) == 0) return 15 + random.Between(0, std::min((1 << escape) - 1, 300));
  return random.Between(0, random.Between(0, 3) == 0 ? size - 1 : std::min(size - 1, 3));
}

// The other decoders know no illegal position of MPEG-2 but 7, or none at all. Takes the positions below both;
// false when a band has no bits and so nothing but an illegal one.
bool MakePositionsLegal(WrittenGranule& granule) {
  for (auto& [value, width] : granule.scaleFactors) {
    if (width == 0) return false;
    value = std::min({value, (1 << width) - 2, 6});
  }
  return true;
}

WrittenGranule RandomGranule(Random& random, Recipe const& recipe, MP3Header const& header, bool right, int shared,
                             int limitBits) {
  WrittenGranule granule;
  const bool intensity = right && header.UsesIntensity();
  granule.blockType = recipe.blocks == Blocks::Long                                           ? 0
                      : recipe.blocks == Blocks::Start || recipe.blocks == Blocks::MixedStart ? 1
                      : recipe.blocks == Blocks::Stop || recipe.blocks == Blocks::MixedStop   ? 3
                                                                                              : 2;
  granule.windowSwitching = granule.blockType != 0;
  granule.mixed = recipe.blocks >= Blocks::Mixed;
  do {
    granule.scaleFactorCode = random.Between(0, header.IsMpeg1() ? 15 : 511);
    granule.scaleFactors = RandomScaleFactors(random, header, granule, shared, intensity, intensity ? 7 : 5);
  } while (intensity && !header.IsMpeg1() && !MakePositionsLegal(granule));
  for (int& table : granule.table) table = RandomTable(random);
  if (granule.windowSwitching) granule.table[2] = 0;
  if (granule.blockType == 2) {
    for (int& gain : granule.subblockGain) gain = random.Between(0, 3);
  }
  granule.region0Count = random.Between(0, 15);
  granule.region1Count = random.Between(0, std::min(7, 20 - granule.region0Count));
  granule.preflag = header.IsMpeg1() ? random.Between(0, 1) : 0;
  granule.scaleFactorScale = random.Between(0, 1);
  granule.quadTable = random.Between(0, 1);
  const int lines = intensity ? random.Between(0, 200) : random.Between(0, 576);
  granule.bigValues = random.Between(0, lines / 2);
  // libmpg123 does not look at the positions of a right channel without any bits.
  if (intensity) granule.bigValues = std::max(granule.bigValues, 1);
  granule.quads = random.Between(0, std::max(lines - 2 * granule.bigValues, 0) / 4);
  // Which of the three tables a pair uses depends on its place; small enough for all of them is simplest.
  int smallest = granule.table[0];
  for (int i = 1; i < (granule.windowSwitching ? 2 : 3); ++i) {
    const int table = granule.table[static_cast<std::size_t>(i)];
    if (kiv::mp3::CodesOf(table).size + (1 << kiv::mp3::EscapeBits(table)) <
        kiv::mp3::CodesOf(smallest).size + (1 << kiv::mp3::EscapeBits(smallest))) {
      smallest = table;
    }
  }
  int largest = 1;
  for (std::size_t i = 0; i < static_cast<std::size_t>(2 * granule.bigValues); ++i) {
    const int magnitude = RandomMagnitude(random, smallest);
    granule.q[i] = random.Between(0, 1) == 0 ? magnitude : -magnitude;
    largest = std::max(largest, magnitude);
  }
  for (int i = 0; i < 4 * granule.quads; ++i) {
    granule.q[static_cast<std::size_t>(2 * granule.bigValues + i)] = random.Between(-1, 1);
  }
  // Loud enough to matter, not far above full scale.
  granule.globalGain = static_cast<int>(210 - 4 * std::log2(std::pow(largest, 4.0 / 3) * random.Between(3, 20)));
  while (GranuleBits(granule, header) > limitBits && granule.bigValues > 0) {
    granule.bigValues = granule.bigValues / 2;
    granule.quads = 0;
  }
  return granule;
}

std::string RandomStream(std::uint64_t seed, Recipe const& recipe, int frames) {
  Random random(seed);
  const MP3Header header = HeaderOf(recipe);
  std::vector<WrittenFrame> all;
  const int room = (header.BodyBytes() - header.SideInfoBytes() - 4) * 8 / (header.Granules() * header.Channels());
  for (int i = 0; i < frames; ++i) {
    WrittenFrame frame;
    frame.header = header;
    frame.header.hasCrc = random.Between(0, 3) == 0;
    for (int ch = 0; ch < header.Channels(); ++ch) {
      frame.sharedScaleFactors[ch] = header.IsMpeg1() && recipe.blocks < Blocks::Short ? random.Between(0, 15) : 0;
      for (int gr = 0; gr < header.Granules(); ++gr) {
        frame.granule[gr][ch] = RandomGranule(random, recipe, header, ch == 1,
                                              gr == 1 ? frame.sharedScaleFactors[ch] : 0, std::min(room, 4095));
      }
    }
    all.push_back(frame);
  }
  return WriteStream(all, 511);
}

std::string NameOf(Recipe const& recipe) {
  static const char* const kJoints[] = {"mono", "left and right", "middle/side", "intensity",
                                        "middle/side and intensity"};
  static const char* const kBlocks[] = {
      "long", "start", "stop", "short", "mixed", "start, mixed flag", "stop, mixed flag"};
  return std::to_string(HeaderOf(recipe).SampleRate()) + " Hz, " + kJoints[static_cast<int>(recipe.joint)] + ", " +
         kBlocks[static_cast<int>(recipe.blocks)];
}

// Where a decoder is known to leave the standard; docs/mp3.md tells why we do not follow.
bool Mpg123Differs(Recipe const& recipe) {
  if (recipe.blocks != Blocks::Mixed) return false;
  return recipe.version == MP3Version::Mpeg25 ||
         (recipe.version == MP3Version::Mpeg2 && recipe.joint >= Joint::Intensity);
}
bool LibavcodecDiffers(Recipe const& recipe) {
  // Another border between the long bands 17 and 18 at 24 kHz.
  return recipe.version == MP3Version::Mpeg2 && recipe.rate == 1 && recipe.blocks != Blocks::Short &&
         recipe.blocks != Blocks::Mixed;
}

// All rates, joint modes and block types; in each stream every table, scale-factor code, sub-block gain, shared
// scale factors, escapes and CRC words turn up at random.
TEST(MP3Features, EveryCombinationAgreesWithBothDecodersOrWithTheOneThatKeepsToTheStandard) {
#if defined(KIV_SMALL_CORPUS)
  constexpr int kRounds = 1;
  constexpr int kFrames = 3;
#else
  constexpr int kRounds = 4;
  constexpr int kFrames = 12;
#endif
  double worst = 0;
  int streams = 0;
  for (const MP3Version version : {MP3Version::Mpeg1, MP3Version::Mpeg2, MP3Version::Mpeg25}) {
    for (int rate = 0; rate < 3; ++rate) {
      for (int joint = 0; joint < 5; ++joint) {
        for (int blocks = 0; blocks < 7; ++blocks) {
          const Recipe recipe{version, rate, static_cast<Joint>(joint), static_cast<Blocks>(blocks)};
          SCOPED_TRACE(NameOf(recipe));
          ASSERT_FALSE(Mpg123Differs(recipe) && LibavcodecDiffers(recipe));
          for (int round = 0; round < kRounds; ++round) {
            const auto seed = static_cast<std::uint64_t>(10000 * round + 1000 * rate + 100 * joint + blocks);
            const std::string stream = RandomStream(seed, recipe, kFrames);
            const kiv::test::OurSound ours = DecodeWithOurs(stream);
            const auto samples = static_cast<std::size_t>(kFrames * HeaderOf(recipe).Samples());
            ASSERT_EQ(ours.samples.size(), samples * static_cast<std::size_t>(ours.channels));
            const auto check = [&](const kiv::test::ReferenceSound& reference, const char* name) {
              SCOPED_TRACE(name);
              ASSERT_EQ(reference.samples.size(), ours.samples.size());
              const kiv::test::Difference difference = Compare(ours.samples, reference);
              EXPECT_LT(difference.rms, kiv::test::kRmsLimit);
              EXPECT_LE(difference.maximum, kiv::test::kMaximumLimit);
              worst = std::max(worst, difference.maximum);
            };
            if (!Mpg123Differs(recipe)) check(kiv::test::DecodeWithMpg123(stream), "mpg123");
            if (!LibavcodecDiffers(recipe)) check(kiv::test::DecodeWithLibavcodec(stream), "libavcodec");
            ++streams;
          }
        }
      }
    }
  }
  std::printf("%d streams, largest difference %.3g of full scale\n", streams, worst);
}

}  // namespace
