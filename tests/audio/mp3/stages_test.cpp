// Each decoding stage against the formula of the standard, in double and without any short cut.

#include <cmath>
#include <cstring>
#include <numbers>

#include "audio/mp3/alias.h"
#include "audio/mp3/huffman.h"
#include "audio/mp3/huffman_codes.h"
#include "audio/mp3/imdct.h"
#include "audio/mp3/lookup_tables.h"
#include "audio/mp3/requantize.h"
#include "audio/mp3/side_info.h"
#include "audio/mp3/stereo.h"
#include "audio/mp3/synth.h"
#include "tests/audio/mp3/mp3_writer.h"
#include "tests/support/every_vector_width.h"

namespace {

using kiv::VectorWidth;
using kiv::test::Random;
constexpr double kPi = std::numbers::pi;

class MP3Transforms : public kiv::test::EveryVectorWidth {};
INSTANTIATE_TEST_SUITE_P(EveryWidth, MP3Transforms, kiv::test::kVectorWidths, kiv::test::VectorWidthName);

double Uniform(Random& random) {
  return random.Between(-1000000, 1000000) / 1000000.0;
}

TEST(MP3HuffmanCodes, EveryTableIsACompletePrefixCode) {
  for (int table = 1; table < kiv::mp3::kHuffmanSelections; ++table) {
    const kiv::mp3::HuffmanCodes& codes = kiv::mp3::CodesOf(table);
    const int count = codes.size * codes.size;
    double sum = 0;
    for (int i = 0; i < count; ++i) {
      sum += std::ldexp(1.0, -codes.lengths[i]);
      for (int k = 0; k < count; ++k) {
        if (i == k || codes.lengths[k] < codes.lengths[i]) continue;
        EXPECT_NE(codes.codes[k] >> (codes.lengths[k] - codes.lengths[i]), codes.codes[i])
            << "table " << table << ", " << i << " begins " << k;
      }
    }
    EXPECT_EQ(sum, count > 0 ? 1.0 : 0.0) << "table " << table;
  }
}

TEST(MP3SIBitStream, ReadsFromTheHighBitAndZerosPastTheEnd) {
  const std::uint8_t bytes[] = {0xA5, 0x0F};
  MP3SIBitStream bits(bytes, 2);
  EXPECT_EQ(bits.Read(1), 1U);
  EXPECT_EQ(bits.Read(3), 2U);
  EXPECT_EQ(bits.Read(0), 0U);
  EXPECT_EQ(bits.Read(8), 0x50U);
  EXPECT_EQ(bits.Read(8), 0xF0U);
  EXPECT_EQ(bits.Read(16), 0U);
}

TEST(MP3LookupTables, HoldTheirPowers) {
  const MP3LookupTables& tables = MP3LookupTables::InitTables();
  for (int i = 0; i < MP3LookupTables::kQuarterPowers; ++i) {
    EXPECT_FLOAT_EQ(tables.quarterPower[i], static_cast<float>(std::pow(2.0, -i / 4.0)));
  }
  for (int i = 0; i < MP3LookupTables::kHalfPowers; ++i) {
    EXPECT_FLOAT_EQ(tables.halfPower[i], static_cast<float>(std::pow(2.0, -i / 2.0)));
  }
  for (int i = 0; i <= MP3LookupTables::kMaxQuantized; ++i) {
    EXPECT_FLOAT_EQ(tables.fourThirds[i], static_cast<float>(std::pow(double(i), 4.0 / 3.0)));
  }
  for (int row = 0; row < MP3LookupTables::kRateRows; ++row) {
    EXPECT_EQ(MP3LookupTables::longBands[row][22], 576);
    EXPECT_EQ(MP3LookupTables::shortBands[row][13], 192);
    EXPECT_TRUE(std::is_sorted(MP3LookupTables::longBands[row], MP3LookupTables::longBands[row] + 23));
    EXPECT_TRUE(std::is_sorted(MP3LookupTables::shortBands[row], MP3LookupTables::shortBands[row] + 14));
    // A mixed block's two parts meet.
    EXPECT_EQ(MP3LookupTables::longBands[row][row < 3 ? 8 : 6], 3 * MP3LookupTables::shortBands[row][3]);
  }
}

TEST(MP3LookupTables, TheWindowIsOneSmoothLowPass) {
  // In the window the signs of every second block of 64 are turned; undone, it is the prototype low pass of 512
  // taps, symmetric, with a gain of 64 at frequency 0.
  const MP3LookupTables& tables = MP3LookupTables::InitTables();
  const auto prototype = [&](int i) { return tables.window[i] * (i / 64 % 2 == 0 ? 1.0 : -1.0); };
  double sum = 0;
  for (int i = 0; i < 512; ++i) sum += prototype(i);
  EXPECT_NEAR(std::abs(sum), 64.0, 0.01);
  for (int i = 1; i < 256; ++i) EXPECT_EQ(prototype(i), prototype(512 - i)) << i;
  // No value stands out from its neighbours by more than the curve's own bend and the rounding to 2^-16.
  for (int i = 2; i < 510; ++i) {
    const double bend =
        prototype(i - 2) - 4 * prototype(i - 1) + 6 * prototype(i) - 4 * prototype(i + 1) + prototype(i + 2);
    EXPECT_LT(std::abs(bend), 16.5 / 65536) << i;
  }
}

TEST(AliasReduction, TurnsEachPairOfLinesByTheAngleOfItsCoefficient) {
  constexpr double kC[8] = {-0.6, -0.535, -0.33, -0.185, -0.095, -0.041, -0.0142, -0.0037};
  Random random(1);
  for (int blockType = 0; blockType < 4; ++blockType) {
    for (const bool mixed : {false, true}) {
      for (const int lines : {0, 1, 10, 11, 18, 19, 300, 568, 575, 576}) {
        float spectrum[576] = {};
        double expected[576];
        for (int i = 0; i < lines; ++i) spectrum[i] = static_cast<float>(Uniform(random));
        std::copy(spectrum, spectrum + 576, expected);
        const int borders = blockType != 2 ? 31 : mixed ? 1 : 0;
        for (int border = 1; border <= borders; ++border) {
          for (int i = 0; i < 8; ++i) {
            const double cs = 1 / std::sqrt(1 + kC[i] * kC[i]);
            const double ca = kC[i] / std::sqrt(1 + kC[i] * kC[i]);
            const double below = expected[18 * border - 1 - i];
            const double above = expected[18 * border + i];
            expected[18 * border - 1 - i] = below * cs - above * ca;
            expected[18 * border + i] = above * cs + below * ca;
          }
        }
        MP3SideInfoGranule granule = {};
        granule.blockType = static_cast<std::uint8_t>(blockType);
        granule.mixedBlock = mixed;
        granule.windowSwitching = true;
        const int after = AliasReduction(granule, lines, spectrum);
        for (int i = 0; i < 576; ++i) {
          ASSERT_NEAR(spectrum[i], expected[i], 1e-6) << i;
          ASSERT_TRUE(i < after || expected[i] == 0.0) << i << " of " << lines;
        }
      }
    }
  }
}

// The 36 windowed values of one subband by the definition.
void DirectImdct(const float* x, int type, double* out) {
  std::fill(out, out + 36, 0.0);
  if (type == 2) {
    for (int w = 0; w < 3; ++w) {
      for (int i = 0; i < 12; ++i) {
        double sum = 0;
        for (int k = 0; k < 6; ++k) sum += x[3 * k + w] * std::cos(kPi / 24 * (2 * i + 1 + 6) * (2 * k + 1));
        out[6 + 6 * w + i] += sum * std::sin(kPi / 12 * (i + 0.5));
      }
    }
    return;
  }
  for (int i = 0; i < 36; ++i) {
    double window = std::sin(kPi / 36 * (i + 0.5));
    if (type == 1 && i >= 18) window = i < 24 ? 1 : i < 30 ? std::sin(kPi / 12 * (i - 18 + 0.5)) : 0;
    if (type == 3 && i < 18) window = i < 6 ? 0 : i < 12 ? std::sin(kPi / 12 * (i - 6 + 0.5)) : 1;
    double sum = 0;
    for (int k = 0; k < 18; ++k) sum += x[k] * std::cos(kPi / 72 * (2 * i + 1 + 18) * (2 * k + 1));
    out[i] = sum * window;
  }
}

TEST_P(MP3Transforms, ImdctIsTheDefinitionWithWindowOverlapAndFrequencyInversion) {
  Random random(2);
  MP3Overlap overlap;
  double expectedOverlap[32][18] = {};
  for (int round = 0; round < 200; ++round) {
    MP3SideInfoGranule granule = {};
    granule.blockType = static_cast<std::uint8_t>(random.Between(0, 3));
    granule.windowSwitching = granule.blockType != 0;
    granule.mixedBlock = granule.windowSwitching && random.Between(0, 1) == 1;
    const int lines = random.Between(0, 3) == 0 ? random.Between(0, 40) : random.Between(0, 576);
    alignas(32) float spectrum[576] = {};
    for (int i = 0; i < lines; ++i) spectrum[i] = static_cast<float>(Uniform(random));
    alignas(32) float out[18][32];
    IMDCTSynthesize(granule, lines, spectrum, overlap, out);
    for (int sb = 0; sb < 32; ++sb) {
      double values[36];
      DirectImdct(spectrum + 18 * sb, granule.mixedBlock && sb < 2 ? 0 : granule.blockType, values);
      for (int i = 0; i < 18; ++i) {
        const double sign = (i & sb & 1) != 0 ? -1 : 1;
        ASSERT_NEAR(out[i][sb], sign * (values[i] + expectedOverlap[sb][i]), 2e-5) << round << " " << sb << " " << i;
        expectedOverlap[sb][i] = values[18 + i];
      }
    }
  }
}

// The flow chart of the standard, as it stands.
class DirectSynthesis {
 public:
  void Slot(const float* s, double* out) {
    const MP3LookupTables& tables = MP3LookupTables::InitTables();
    std::copy_backward(v_, v_ + 960, v_ + 1024);
    for (int i = 0; i < 64; ++i) {
      v_[i] = 0;
      for (int k = 0; k < 32; ++k) v_[i] += std::cos((16 + i) * (2 * k + 1) * kPi / 64) * s[k];
    }
    for (int j = 0; j < 32; ++j) {
      out[j] = 0;
      for (int i = 0; i < 8; ++i) {
        out[j] += v_[i * 128 + j] * tables.window[i * 64 + j];
        out[j] += v_[i * 128 + 96 + j] * tables.window[i * 64 + 32 + j];
      }
      out[j] *= 524288;
    }
  }

 private:
  double v_[1024] = {};
};

TEST_P(MP3Transforms, SynthesisIsTheFlowChartOfTheStandard) {
  Random random(3);
  DirectSynthesis direct;
  MP3PolyphaseSynth synth;
  for (int round = 0; round < 20; ++round) {
    alignas(32) float slots[18][32];
    for (auto& slot : slots) {
      for (float& s : slot) s = static_cast<float>(Uniform(random)) * 0.2F;
    }
    std::int32_t samples[18 * 32];
    if (round % 3 == 0) {
      for (int i = 0; i < 18; ++i) synth.Synthesize(slots[i], samples + 32 * i, false);
    } else {
      synth.SynthesizeGranule(slots, samples);
    }
    for (int i = 0; i < 18; ++i) {
      double expected[32];
      direct.Slot(slots[i], expected);
      for (int j = 0; j < 32; ++j) ASSERT_NEAR(samples[32 * i + j], expected[j], 1.3) << round << " " << i << " " << j;
    }
  }
}

TEST_P(MP3Transforms, EveryWidthGivesTheBitsOfTheScalarOne) {
  const auto run = [](VectorWidth width) {
    kiv::ForceVectorWidth(width);
    Random random(4);
    MP3Overlap overlap;
    MP3PolyphaseSynth synth;
    std::vector<std::int32_t> all;
    for (int round = 0; round < 100; ++round) {
      MP3SideInfoGranule granule = {};
      granule.blockType = static_cast<std::uint8_t>(random.Between(0, 3));
      granule.windowSwitching = granule.blockType != 0;
      granule.mixedBlock = granule.windowSwitching && random.Between(0, 3) == 0;
      const int lines = random.Between(0, 576);
      alignas(32) float spectrum[576] = {};
      for (int i = 0; i < lines; ++i) spectrum[i] = static_cast<float>(Uniform(random));
      alignas(32) float out[18][32];
      IMDCTSynthesize(granule, lines, spectrum, overlap, out);
      std::int32_t samples[576];
      synth.SynthesizeGranule(out, samples);
      all.insert(all.end(), samples, samples + 576);
    }
    return all;
  };
  const std::vector<std::int32_t> scalar = run(VectorWidth::Scalar);
  EXPECT_EQ(run(GetParam()), scalar);
}

TEST_P(MP3Transforms, SynthesisTruncatesTowardZeroAndClampsOnlyOutside32Bits) {
  // A constant in subband 0 settles to a constant level; looked at in small steps around whole numbers it must
  // never leave zero too early or too late.
  for (const double level : {0.3, -0.3, 0.999, -0.999, 1.5, -1.5, 1000.75, -1000.75}) {
    MP3PolyphaseSynth synth;
    DirectSynthesis direct;
    for (int slot = 0; slot < 60; ++slot) {
      float s[32] = {static_cast<float>(level / 524288)};
      std::int32_t samples[32];
      double expected[32];
      synth.Synthesize(s, samples, false);
      direct.Slot(s, expected);
      for (int j = 0; j < 32; ++j) {
        if (std::abs(expected[j] - std::round(expected[j])) < 1e-3) continue;
        ASSERT_EQ(samples[j], static_cast<std::int32_t>(std::trunc(expected[j]))) << expected[j];
      }
    }
  }
  MP3PolyphaseSynth synth;
  DirectSynthesis direct;
  int clampedHigh = 0;
  int clampedLow = 0;
  for (int slot = 0; slot < 200; ++slot) {
    // 5000 times full scale leaves 32 bits in its peaks.
    float s[32] = {};
    s[3] = static_cast<float>(5000 * std::sin(slot * 0.7));
    std::int32_t samples[32];
    double expected[32];
    synth.Synthesize(s, samples, false);
    direct.Slot(s, expected);
    for (int j = 0; j < 32; ++j) {
      if (expected[j] > 2147490000.0) {
        ASSERT_EQ(samples[j], INT32_MAX);
        ++clampedHigh;
      } else if (expected[j] < -2147490000.0) {
        ASSERT_EQ(samples[j], INT32_MIN);
        ++clampedLow;
      } else if (std::abs(expected[j]) < 2147480000.0) {
        ASSERT_NEAR(samples[j], expected[j], 4000) << "no limit below 32 bits";
      }
    }
  }
  EXPECT_GT(clampedHigh, 10);
  EXPECT_GT(clampedLow, 10);
}

TEST(MP3PolyphaseSynth, WritesEverySecondPlaceOfAnInterleavedBufferAndForgetsOnReset) {
  Random random(5);
  MP3PolyphaseSynth plain;
  MP3PolyphaseSynth interleaved;
  for (int pass = 0; pass < 2; ++pass) {
    Random same(6);
    std::vector<std::int32_t> first;
    for (int slot = 0; slot < 50; ++slot) {
      float s[32];
      for (float& value : s) value = static_cast<float>(Uniform(same));
      std::int32_t a[32];
      std::int32_t b[64];
      std::fill(b, b + 64, 42);
      plain.Synthesize(s, a, false);
      interleaved.Synthesize(s, b, true);
      for (int j = 0; j < 32; ++j) {
        ASSERT_EQ(b[2 * j], a[j]);
        ASSERT_EQ(b[2 * j + 1], 42);
      }
      if (slot == 0) first.assign(a, a + 32);
    }
    static std::vector<std::int32_t> firstOfAll;
    if (pass == 0) firstOfAll = first;
    EXPECT_EQ(first, firstOfAll);
    plain.Reset();
    interleaved.Reset();
  }
}

// Every pair of every table with every pattern of signs, and escapes of every width.
TEST(DecodeHuffmanData, ReadsBackEveryCodeWord) {
  const MP3Header header = kiv::test::MakeHeader(MP3Version::Mpeg1, 128, 0, MP3Mode::SingleChannel);
  const MP3LookupTables& tables = MP3LookupTables::InitTables();
  Random random(8);
  for (int table = 0; table < kiv::mp3::kHuffmanSelections; ++table) {
    const int size = kiv::mp3::CodesOf(table).size;
    if (size == 0) continue;
    const int escapeBits = kiv::mp3::EscapeBits(table);
    std::vector<std::pair<int, int>> pairs;
    for (int x = 0; x < size; ++x) {
      for (int y = 0; y < size; ++y) {
        for (int signs = 0; signs < 4; ++signs) {
          const auto magnitude = [&](int value) {
            return value == 15 && escapeBits > 0 ? 15 + random.Between(0, (1 << escapeBits) - 1) : value;
          };
          pairs.emplace_back((signs & 1) != 0 ? -magnitude(x) : magnitude(x),
                             (signs & 2) != 0 ? -magnitude(y) : magnitude(y));
        }
      }
    }
    pairs.emplace_back(size - 1 + ((1 << escapeBits) - 1), 0);
    for (std::size_t next = 0; next < pairs.size();) {
      kiv::test::WrittenFrame frame;
      frame.header = header;
      kiv::test::WrittenGranule& written = frame.granule[0][0];
      written.table = {table, table, table};
      written.bigValues = 0;
      while (next < pairs.size() && written.bigValues < 60) {
        const auto at = static_cast<std::size_t>(2 * written.bigValues++);
        written.q[at] = pairs[next].first;
        written.q[at + 1] = pairs[next].second;
        ++next;
      }
      frame.header.bitrateKbits = 320;
      const std::string stream = kiv::test::WriteStream({frame}) + std::string(2000, '\0');
      const auto* const data = reinterpret_cast<const std::uint8_t*>(stream.data()) + 4 + 17;
      MP3SideInfoGranule granule = {};
      granule.bigValues = static_cast<std::uint16_t>(written.bigValues);
      for (std::uint8_t& t : granule.tableSelect) t = static_cast<std::uint8_t>(table);
      float spectrum[576];
      kiv::mp3::BitReader bits(data, 0);
      const int end = GranuleBits(written, header);
      DecodeHuffmanData(bits, end, header, granule, spectrum);
      ASSERT_EQ(bits.Position(), end);
      for (std::size_t i = 0; i < 576; ++i) {
        const int q = written.q[i];
        const float power = tables.fourThirds[std::abs(q)];
        ASSERT_EQ(spectrum[i], q < 0 ? -power : power) << "table " << table << " line " << i;
      }
    }
  }
}

TEST(DecodeHuffmanData, BigValuesThatCrossTheEndMakeAllLinesSilent) {
  const MP3Header header = kiv::test::MakeHeader(MP3Version::Mpeg1, 320, 0, MP3Mode::SingleChannel);
  kiv::test::WrittenFrame frame;
  frame.header = header;
  kiv::test::WrittenGranule& written = frame.granule[0][0];
  written.table = {1, 1, 1};
  written.bigValues = 20;
  std::fill_n(written.q.begin(), 40, 1);
  const std::string stream = kiv::test::WriteStream({frame}) + std::string(2000, '\0');
  const auto* const data = reinterpret_cast<const std::uint8_t*>(stream.data()) + 4 + 17;
  MP3SideInfoGranule granule = {};
  granule.bigValues = 20;
  for (std::uint8_t& table : granule.tableSelect) table = 1;
  const int end = GranuleBits(written, header);
  for (const int missing : {0, 1, 10, end}) {
    float spectrum[576];
    std::fill(spectrum, spectrum + 576, 5.0F);
    kiv::mp3::BitReader bits(data, 0);
    EXPECT_EQ(DecodeHuffmanData(bits, end - missing, header, granule, spectrum), missing == 0 ? 40 : 0) << missing;
    for (int i = 0; i < 576; ++i) ASSERT_EQ(spectrum[i], missing == 0 && i < 40 ? 1.0F : 0.0F) << missing << " " << i;
  }
}

TEST(DecodeHuffmanData, ReadsBackEveryQuadAndDropsOneThatCrossesTheEnd) {
  const MP3Header header = kiv::test::MakeHeader(MP3Version::Mpeg1, 320, 0, MP3Mode::SingleChannel);
  for (int table = 0; table < 2; ++table) {
    kiv::test::WrittenFrame frame;
    frame.header = header;
    kiv::test::WrittenGranule& written = frame.granule[0][0];
    written.quadTable = table;
    for (int i = 0; i < 81; ++i) {
      for (int k = 0, rest = i; k < 4; ++k, rest /= 3) written.q[static_cast<std::size_t>(4 * i + k)] = rest % 3 - 1;
    }
    written.quads = 81;
    const std::string stream = kiv::test::WriteStream({frame}) + std::string(2000, '\0');
    const auto* const data = reinterpret_cast<const std::uint8_t*>(stream.data()) + 4 + 17;
    MP3SideInfoGranule granule = {};
    granule.quadTable = static_cast<std::uint8_t>(table);
    const int end = GranuleBits(written, header);
    for (const int cut : {0, 1}) {
      float spectrum[576];
      kiv::mp3::BitReader bits(data, 0);
      const int lines = DecodeHuffmanData(bits, end - cut, header, granule, spectrum);
      EXPECT_EQ(lines, cut == 0 ? 324 : 320);
      for (std::size_t i = 0; i < 576; ++i) {
        const float expected = static_cast<int>(i) < lines ? static_cast<float>(written.q[i]) : 0.0F;
        ASSERT_EQ(spectrum[i], expected) << i;
      }
    }
  }
}

// The formulas of the standard for every line, with all their terms.
TEST(RequantizeSpectrum, ScalesByGainScaleFactorsAndBoostAndReordersShortBlocks) {
  Random random(9);
  for (const MP3Version version : {MP3Version::Mpeg1, MP3Version::Mpeg2, MP3Version::Mpeg25}) {
    for (int round = 0; round < 200; ++round) {
      const MP3Header header = kiv::test::MakeHeader(version, 64, random.Between(0, 2), MP3Mode::SingleChannel);
      MP3SideInfoGranule granule = {};
      granule.blockType = static_cast<std::uint8_t>(random.Between(0, 3));
      granule.mixedBlock = random.Between(0, 1) == 1;
      granule.windowSwitching = granule.blockType != 0;
      granule.globalGain = static_cast<std::uint8_t>(random.Between(0, 255));
      granule.scaleFactorScale = static_cast<std::uint8_t>(random.Between(0, 1));
      for (std::uint8_t& gain : granule.subblockGain) gain = static_cast<std::uint8_t>(random.Between(0, 7));
      MP3ScaleFactors factors = {};
      for (int band = 0; band < 21; ++band) factors.longBand[band] = static_cast<std::uint8_t>(random.Between(0, 31));
      for (int band = 0; band < 12; ++band) {
        for (std::uint8_t& f : factors.shortBand[band]) f = static_cast<std::uint8_t>(random.Between(0, 31));
      }
      const bool boost = random.Between(0, 1) == 1;
      const int lines = random.Between(0, 576);
      float spectrum[576] = {};
      double expected[576] = {};
      for (int i = 0; i < lines; ++i) spectrum[i] = static_cast<float>(Uniform(random));
      const double step = granule.scaleFactorScale != 0 ? 1.0 : 0.5;
      const std::int16_t* const longBands = MP3LookupTables::longBands[header.RateRow()];
      const std::int16_t* const shortBands = MP3LookupTables::shortBands[header.RateRow()];
      const int longEnd = !granule.IsShort() ? 22 : !granule.mixedBlock ? 0 : header.IsMpeg1() ? 8 : 6;
      for (int band = 0; band < longEnd; ++band) {
        const int factor = factors.longBand[band] + (boost ? MP3LookupTables::highFrequencyBoost[band] : 0);
        for (int i = longBands[band]; i < longBands[band + 1]; ++i) {
          expected[i] = spectrum[i] * std::pow(2.0, (granule.globalGain - 210) / 4.0 - step * factor);
        }
      }
      for (int band = granule.mixedBlock ? 3 : 0; granule.IsShort() && band < 13; ++band) {
        const int start = 3 * shortBands[band];
        const int width = shortBands[band + 1] - shortBands[band];
        for (int window = 0; window < 3; ++window) {
          for (int i = 0; i < width; ++i) {
            expected[start + 3 * i + window] =
                spectrum[start + window * width + i] *
                std::pow(2.0, (granule.globalGain - 210 - 8 * granule.subblockGain[window]) / 4.0 -
                                  step * factors.shortBand[band][window]);
          }
        }
      }
      const int after = RequantizeSpectrum(header, granule, factors, boost, lines, spectrum);
      for (int i = 0; i < 576; ++i) {
        ASSERT_NEAR(spectrum[i], expected[i], 1e-6 * std::abs(expected[i])) << i;
        ASSERT_TRUE(i < after || expected[i] == 0.0) << i << " of " << lines;
      }
    }
  }
}

struct Gains {
  double left;
  double right;
};

// What becomes of a left line of 1 above all right lines, for a position and the bits that it was sent with.
Gains IntensityGains(MP3Version version, bool midSide, int position, int width, bool coarse) {
  MP3Header header = kiv::test::MakeHeader(version, 64, 0, MP3Mode::JointStereo);
  header.modeExtension = midSide ? 3 : 1;
  MP3SideInfoGranule right = {};
  right.scaleFactorCode = coarse ? 1 : 0;
  MP3ScaleFactors factors = {};
  for (int band = 0; band < 22; ++band) {
    factors.longBand[band] = static_cast<std::uint8_t>(position);
    factors.longIllegal[band] = static_cast<std::uint8_t>(version == MP3Version::Mpeg1 ? 7 : (1 << width) - 1);
  }
  float left[576] = {};
  float other[576] = {};
  left[300] = 1;
  left[575] = 1;  // The last band takes the position of the one below it.
  other[10] = 1;
  float* const spectrum[2] = {left, other};
  int lines[2] = {576, 11};
  JointStereoProcessing(header, right, factors, spectrum, lines);
  EXPECT_EQ(left[575], left[300]);
  EXPECT_EQ(other[575], other[300]);
  EXPECT_EQ(lines[1], 576);
  return {left[300], other[300]};
}

TEST(JointStereoProcessing, Mpeg1PositionsAreSixStepsOfFifteenDegreesAndSevenIsIllegal) {
  for (const bool midSide : {false, true}) {
    for (int position = 0; position < 16; ++position) {
      const Gains gains = IntensityGains(MP3Version::Mpeg1, midSide, position, 4, false);
      if (position == 6) {
        EXPECT_EQ(gains.left, 1.0);
        EXPECT_EQ(gains.right, 0.0);
      } else if (position < 6) {
        const double ratio = std::tan(position * kPi / 12);
        EXPECT_NEAR(gains.left, ratio / (1 + ratio), 1e-7);
        EXPECT_NEAR(gains.right, 1 / (1 + ratio), 1e-7);
      } else {
        EXPECT_NEAR(gains.left, midSide ? std::sqrt(0.5) : 1.0, 1e-7);
        EXPECT_NEAR(gains.right, midSide ? std::sqrt(0.5) : 0.0, 1e-7);
      }
    }
  }
}

TEST(JointStereoProcessing, Mpeg2PositionsFallOnOneSideAndTheLargestOfTheirWidthIsIllegal) {
  for (const bool midSide : {false, true}) {
    for (const bool coarse : {false, true}) {
      for (int width = 0; width <= 5; ++width) {
        for (int position = 0; position < 1 << width; ++position) {
          const Gains gains = IntensityGains(MP3Version::Mpeg2, midSide, position, width, coarse);
          double left = midSide ? std::sqrt(0.5) : 1.0;
          double right = midSide ? std::sqrt(0.5) : 0.0;
          if (position != (1 << width) - 1) {
            const double fallen = std::pow(coarse ? std::sqrt(0.5) : std::pow(0.5, 0.25), (position + 1) / 2);
            left = position % 2 == 1 ? fallen : 1.0;
            right = position % 2 == 1 ? 1.0 : fallen;
          }
          EXPECT_NEAR(gains.left, left, 1e-7) << width << " " << position;
          EXPECT_NEAR(gains.right, right, 1e-7) << width << " " << position;
        }
      }
    }
  }
}

TEST(JointStereoProcessing, EachWindowOfAShortBlockHasItsOwnBound) {
  MP3Header header = kiv::test::MakeHeader(MP3Version::Mpeg1, 64, 0, MP3Mode::JointStereo);
  header.modeExtension = 1;
  MP3SideInfoGranule right = {};
  right.blockType = 2;
  right.windowSwitching = true;
  MP3ScaleFactors factors = {};  // position 0: all to the right
  std::memset(factors.shortIllegal, 7, sizeof factors.shortIllegal);
  float left[576];
  float other[576] = {};
  std::fill(left, left + 576, 1.0F);
  const std::int16_t* const bands = MP3LookupTables::shortBands[0];
  other[3 * bands[5] + 1] = 1;  // Window 1 reaches band 5; the other windows are silent.
  float* const spectrum[2] = {left, other};
  int lines[2] = {576, 576};
  JointStereoProcessing(header, right, factors, spectrum, lines);
  for (int line = 0; line < 192; ++line) {
    for (int window = 0; window < 3; ++window) {
      const bool intensity = window != 1 || line >= bands[6];
      EXPECT_EQ(left[3 * line + window], intensity ? 0.0F : 1.0F) << line << " " << window;
    }
  }
}

}  // namespace
