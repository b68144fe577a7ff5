#include "audio/convert_rate.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <utility>

#include "tests/reference/plain_rate_conversion.h"
#include "tests/support/every_vector_width.h"
#include "tests/support/test_signals.h"

namespace {

using kiv::test::MemorySource;
using kiv::test::Noise;
using kiv::test::OpenMemory;
using kiv::test::PlainMemory;
using kiv::test::PlainRateFilter;
using kiv::test::PlainRateStage;
using kiv::test::ReadInPieces;
using kiv::test::Sine;
using kiv::test::TakeFrames;

using Samples = std::vector<std::int32_t>;

constexpr std::int32_t kRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000, 96000};

LSoundSource Stage(LSoundSource input, std::int32_t rate, bool wideGuard = false) {
  return LSoundSource(new LSRCConvertRate(input, rate, wideGuard));
}
LSoundSource Converted(LSoundSource input, std::int32_t rate) {
  return LSPConvertRate(rate).OpenSource(input);
}

// The step and the filter.

TEST(LConvertRateBase, TheFirstPhaseCountThatIsGoodEnoughWins) {
  const LConvertRateBase filter(44100, 8000, 63, false);
  EXPECT_EQ(filter.Phases(), 39);
  EXPECT_EQ(filter.Step(), 215);
  EXPECT_TRUE(filter.IsUsable());
}

TEST(LConvertRateBase, WholeStepsHaveOnePhase) {
  const LConvertRateBase half(16000, 8000, 63, false);
  EXPECT_EQ(half.Phases(), 1);
  EXPECT_EQ(half.Step(), 2);
  const LConvertRateBase same(8000, 8000, 63, false);
  EXPECT_EQ(same.Phases(), 1);
  EXPECT_EQ(same.Step(), 1);
  const LConvertRateBase twice(8000, 16000, 63, false);
  EXPECT_EQ(twice.Phases(), 2);
  EXPECT_EQ(twice.Step(), 1);
}

TEST(LConvertRateBase, TheMiddleTapIsTheCutOff) {
  // 8000 / 44100 - 0.046875, times 65536, plus a half, cut.
  EXPECT_EQ(LConvertRateBase(44100, 8000, 63, false).Row(0)[31], 8817);
  EXPECT_EQ(LConvertRateBase(44100, 8000, 63, true).Row(0)[31], 5745);
  EXPECT_EQ(LConvertRateBase(8000, 44100, 63, false).Row(0)[31], 63898);
  EXPECT_EQ(LConvertRateBase(8000, 44100, 63, true).Row(0)[31], 63898);
  EXPECT_EQ(LConvertRateBase(8000, 44100, 15, false).Row(0)[7], 63898);
  EXPECT_EQ(LConvertRateBase(44100, 44100, 63, false).Row(0)[31], 62464);
}

TEST(LConvertRateBase, EveryPairAndFilterMatchesTheFormulas) {
  for (const std::int32_t from : {8000, 11025, 16000, 22050, 32000, 44100, 48000, 96000, 7999, 192000, 1}) {
    for (const std::int32_t to : {8000, 11025, 16000, 22050, 32000, 44100, 48000, 96000, 12345, 3000}) {
      for (const bool wide : {false, true}) {
        for (const int taps : {15, 63}) {
          if (from == 1 && taps == 63) continue;
          const LConvertRateBase filter(from, to, taps, wide);
          if (!filter.IsUsable() || (from == 32000 && to == 3000 && wide)) continue;  // A cut-off of 0.
          const PlainRateFilter plain(from, to, taps, wide);
          ASSERT_EQ(filter.Phases(), plain.phases) << from << " to " << to;
          ASSERT_EQ(filter.Step(), plain.step) << from << " to " << to;
          for (std::int32_t p = 0; p < filter.Phases(); ++p) {
            for (std::int32_t k = 0; k < taps; ++k) {
              ASSERT_EQ(filter.Row(p)[k], plain.rows[static_cast<std::size_t>(p)][static_cast<std::size_t>(k)])
                  << from << " to " << to << " phase " << p << " tap " << k;
            }
          }
        }
      }
    }
  }
}

TEST(LConvertRateBase, ACutOffOfZeroIsSilence) {
  // 3000 / 32000 is the wide guard itself.
  const LConvertRateBase filter(32000, 3000, 63, true);
  ASSERT_TRUE(filter.IsUsable());
  for (std::int32_t p = 0; p < filter.Phases(); ++p) {
    for (int k = 0; k < 63; ++k) ASSERT_EQ(filter.Row(p)[k], 0);
  }
}

TEST(LConvertRateBase, AStepOfZeroOrBeyondABlockIsNotUsable) {
  EXPECT_FALSE(LConvertRateBase(1, 1000, 63, false).IsUsable());
  EXPECT_FALSE(LConvertRateBase(8000, 2000000000, 63, false).IsUsable());
  EXPECT_TRUE(LConvertRateBase(8192, 1, 63, false).IsUsable());
  EXPECT_FALSE(LConvertRateBase(8193, 1, 63, false).IsUsable());
  EXPECT_FALSE(LConvertRateBase(INT32_MAX, 1, 63, false).IsUsable());
  EXPECT_FALSE(LConvertRateBase(0, 8000, 63, false).IsUsable());
  EXPECT_FALSE(LConvertRateBase(8000, 0, 63, false).IsUsable());
  EXPECT_FALSE(LConvertRateBase(8000, INT32_MIN, 63, false).IsUsable());
}

// Opening.

TEST(LSPConvertRate, TheSameRateIsTheInputItself) {
  LSoundSource input = OpenMemory({1, 2, 3}, 8000, 1);
  LSoundSource out = Converted(input, 8000);
  EXPECT_EQ(&*out, &*input);
}

TEST(LSPConvertRate, AnInputInErrorIsTheInputItself) {
  auto* object = new MemorySource({}, 8000, 1);
  object->SetError(kSourceNotOpened);
  LSoundSource input(object);
  LSoundSource out = Converted(input, 16000);
  EXPECT_EQ(&*out, &*input);
}

// One stage gives other samples than two.
bool IsOneStage(std::int32_t from, std::int32_t to) {
  const Samples tone = Sine(440.0, 400000.0, from, 12000, 1);
  LSoundSource ours = Converted(OpenMemory(tone, from, 1), to);
  LSoundSource one = Stage(OpenMemory(tone, from, 1), to);
  return ReadInPieces(ours, 1000, {1000}) == ReadInPieces(one, 1000, {1000});
}

TEST(LSPConvertRate, BelowAQuarterOfTheRateTakesTwoStages) {
  EXPECT_FALSE(IsOneStage(44100, 8000));
  EXPECT_FALSE(IsOneStage(48000, 11025));
  EXPECT_FALSE(IsOneStage(96000, 22050));
  EXPECT_TRUE(IsOneStage(48000, 12000));
  EXPECT_TRUE(IsOneStage(44100, 11025));
  EXPECT_TRUE(IsOneStage(32000, 8000));
  EXPECT_TRUE(IsOneStage(8000, 44100));
}

TEST(LSPConvertRate, TheFirstOfTwoStagesHasTwiceTheTargetAndTheWideGuard) {
  const Samples noise = Noise(3, 60000, 1, 500000);
  LSoundSource whole = Converted(OpenMemory(noise, 48000, 1), 11025);
  EXPECT_EQ(whole->Rate(), 11025);
  LSoundSource first = Stage(OpenMemory(noise, 48000, 1), 22050, true);
  LSoundSource second = Stage(first, 11025, false);
  EXPECT_EQ(ReadInPieces(whole, 12000, {12000}), ReadInPieces(second, 12000, {12000}));
}

TEST(LSPConvertRate, AnInvalidTargetBecomes44100WithErrorThree) {
  for (const std::int32_t rate : {0, -1, -1500000000, INT32_MIN}) {
    LSoundSource out = Converted(OpenMemory({1, 2, 3}, 8000, 1), rate);
    EXPECT_EQ(out->Rate(), 44100);
    EXPECT_EQ(out->Error(), kSourceInvalid);
    Samples buffer(1000, 1);
    out->Read(buffer.data(), 1000);
  }
}

TEST(LSRCConvertRate, AnInvalidRateStillConverts) {
  const Samples noise = Noise(4, 4000, 1, 30000);
  LSoundSource invalid = Stage(OpenMemory(noise, 8000, 1), 0);
  EXPECT_EQ(invalid->Error(), kSourceInvalid);
  LSoundSource valid = Stage(OpenMemory(noise, 8000, 1), 44100);
  EXPECT_EQ(valid->Error(), kSourceGood);
  EXPECT_EQ(ReadInPieces(invalid, 9000, {9000}), ReadInPieces(valid, 9000, {9000}));
}

TEST(LSRCConvertRate, RatesWithoutAStepAreErrorThreeAndSilence) {
  const std::pair<std::int32_t, std::int32_t> pairs[] = {{8000, 2000000000}, {1, 96000}, {INT32_MAX, 1}};
  for (const auto& [from, to] : pairs) {
    LSoundSource out = Stage(OpenMemory({500, 600, 700}, from, 1), to);
    EXPECT_EQ(out->Error(), kSourceInvalid);
    out->Seek(5);
    EXPECT_EQ(out->GetPositionSample(), 0);
    EXPECT_EQ(out->GetEndSample(), 0);
    Samples buffer(10, 77);
    out->Read(buffer.data(), 9);
    out->Read(buffer.data(), -5);
    EXPECT_EQ(buffer, Samples({0, 0, 0, 0, 0, 0, 0, 0, 0, 77}));
  }
}

TEST(LSRCConvertRate, TheLargestStepReadsOneFramePerBlock) {
  LSoundSource out = Stage(OpenMemory(Noise(8, 100000, 1, 500000), 8192, 1), 1);
  auto memory = std::make_shared<PlainMemory>(Noise(8, 100000, 1, 500000), 1);
  PlainRateStage plain(memory, 1, 8192, 1, false);
  EXPECT_EQ(ReadInPieces(out, 14, {3, 1}), TakeFrames(plain, 14));
}

TEST(LSRCConvertRate, AnInputInErrorIsErrorTwoAndConverts) {
  auto* object = new MemorySource(Noise(4, 4000, 1, 30000), 8000, 1);
  object->SetError(kSourceNotOpened);
  LSoundSource out = Stage(LSoundSource(object), 16000);
  EXPECT_EQ(out->Error(), kSourceInput);
  LSoundSource good = Stage(OpenMemory(Noise(4, 4000, 1, 30000), 8000, 1), 16000);
  EXPECT_EQ(ReadInPieces(out, 6000, {6000}), ReadInPieces(good, 6000, {6000}));
}

TEST(LSRCConvertRate, ThePeakDoublesUpToTwoToThe20) {
  EXPECT_EQ(Stage(OpenMemory({}, 8000, 1, 524272), 16000)->Peak(), 1048544);
  EXPECT_EQ(Stage(OpenMemory({}, 8000, 1, 1048576), 16000)->Peak(), 2097152);
  EXPECT_EQ(Stage(OpenMemory({}, 8000, 1, 1048577), 16000)->Peak(), 1048577);
  EXPECT_EQ(Stage(OpenMemory({}, 8000, 1, 2097152), 16000)->Peak(), 2097152);
}

TEST(LSRCConvertRate, MoreThanTwoChannelsProduceNothing) {
  LSoundSource out = Stage(OpenMemory(Samples(300, 9999), 8000, 3), 16000);
  EXPECT_EQ(out->Channels(), 3);
  Samples buffer(300, 77);
  out->Read(buffer.data(), 100);
  EXPECT_EQ(buffer, Samples(300, 77));
  out->Seek(50);
  out->Read(buffer.data(), 100);
  EXPECT_EQ(buffer, Samples(300, 77));
}

TEST(LSRCConvertRate, TheFirstFrameIsTheFirstFrame) {
  // One click at the start comes out as the middle column of the filter: no delay.
  Samples click(100, 0);
  click[0] = 16384;
  LSoundSource out = Stage(OpenMemory(click, 8000, 1), 16000);
  const Samples first = ReadInPieces(out, 4, {4});
  const LConvertRateBase filter(8000, 16000, 63, false);
  for (std::int32_t i = 0; i < 4; ++i) {
    const std::int32_t coefficient = filter.Row(i % 2)[31 - i / 2];
    EXPECT_EQ(first[static_cast<std::size_t>(i)], ((coefficient * 8192) + 16384) >> 15) << i;
  }
}

// Where the stream stands.

TEST(LSRCConvertRate, PositionAndEndFollowTheRatio) {
  LSoundSource out = Stage(OpenMemory(Samples(44100, 5), 44100, 1), 8000);
  EXPECT_EQ(out->GetEndSample(), 44100 / 215 * 39 + 44100 % 215 * 39 / 215);
  EXPECT_EQ(out->GetPositionSample(), 0);
  Samples buffer(5000);
  out->Read(buffer.data(), 1);
  // The place moves on with the next frame.
  EXPECT_EQ(out->GetPositionSample(), 0);
  out->Read(buffer.data(), 1);
  EXPECT_EQ(out->GetPositionSample(), 0);  // 5 input frames, which is not a whole output frame.
  out->Read(buffer.data(), 4000);
  EXPECT_EQ(out->GetPositionSample(), 4000);  // 4001 * 215 / 39 cut is 22056 input frames.
  out->Read(buffer.data(), 0);
  out->Read(buffer.data(), -1);
  EXPECT_EQ(out->GetPositionSample(), 4000);
}

TEST(LSRCConvertRate, SeekStandsWhereItWasAsked) {
  LSoundSource out = Stage(OpenMemory(Samples(80000, 5), 8000, 1), 16000);
  for (const std::int32_t frame : {0, 2, 1000, 100000, -2, -500}) {
    out->Seek(frame);
    EXPECT_EQ(out->GetPositionSample(), frame);
  }
}

TEST(LSRCConvertRate, PositionBeforeTheStartIsCutTowardZero) {
  LSoundSource out = Stage(OpenMemory(Samples(44100, 5), 44100, 1), 8000);
  out->Seek(-5);  // -28 input frames, which are 5.08 output frames.
  EXPECT_EQ(out->GetPositionSample(), -5);
}

// The second stage sends the first one before its start, whose place lags by one frame.
TEST(LSRCConvertRate, TwoStagesStandOnTheStartAfterSeekThere) {
  LSoundSource out = Converted(OpenMemory(Samples(48000, 5), 48000, 1), 8000);
  out->Seek(0);
  EXPECT_EQ(out->GetPositionSample(), 0);
}

TEST(LSRCConvertRate, FarSeeksWrapAndDoNotCrash) {
  for (const std::int32_t to : {8000, 11025, 96000, 1000}) {
    LSoundSource out = Stage(OpenMemory(Noise(1, 100, 2, 1000), 44100, 2), to);
    for (const std::int32_t frame : {INT32_MAX, INT32_MIN, INT32_MAX - 8000, INT32_MIN + 8000}) {
      out->Seek(frame);
      Samples buffer(200);
      out->Read(buffer.data(), 100);
      out->GetPositionSample();
    }
  }
}

// Bits.

// What the model makes of a material through one stage, computed once for all widths.
const Samples& Modelled(const Samples& material, int channels, std::int32_t from, std::int32_t to, bool wide,
                        std::int32_t frames) {
  static std::map<std::string, Samples> cache;
  std::string key = std::to_string(from) + ' ' + std::to_string(to) + ' ' + std::to_string(channels) +
                    (wide ? " w " : " n ") + std::to_string(frames);
  for (std::size_t i = 0; i < 8; ++i) key += ' ' + std::to_string(material[i]);
  Samples& result = cache[key];
  if (result.empty()) {
    PlainRateStage plain(std::make_shared<PlainMemory>(material, channels), channels, from, to, wide);
    result = TakeFrames(plain, frames);
  }
  return result;
}

enum class Shape { Quiet, SixteenBit, FullScale, RoundsUpTo32768, Changing, Square, Huge, Words, Lowest };
constexpr Shape kShapes[] = {Shape::Quiet,    Shape::SixteenBit, Shape::FullScale, Shape::RoundsUpTo32768,
                             Shape::Changing, Shape::Square,     Shape::Huge,      Shape::Words,
                             Shape::Lowest};

Samples Material(Shape shape, std::int32_t frames, int channels) {
  const auto count = static_cast<std::size_t>(frames) * static_cast<std::size_t>(channels);
  switch (shape) {
    case Shape::Quiet:
      return Noise(11, frames, channels, 32767);
    case Shape::SixteenBit:
      return Noise(12, frames, channels, 524272);
    case Shape::FullScale:
      return Noise(13, frames, channels, 2097152);
    case Shape::RoundsUpTo32768: {
      // 524287 / 16 is rounded to 32768, which 16 bits do not hold.
      Samples samples = Noise(14, frames, channels, 524287);
      for (std::size_t i = 0; i < count; i += 3) samples[i] = 524287 - static_cast<std::int32_t>(i % 5);
      return samples;
    }
    case Shape::Changing: {
      // Every block another loudness, so that the scaling changes at every boundary.
      Samples samples = Noise(15, frames, channels, INT32_MAX);
      for (std::size_t i = 0; i < count; ++i) samples[i] >>= (i / 3000) * 7 % 31;
      return samples;
    }
    case Shape::Square: {
      // Follows the sign of a filter row closely for long stretches: the largest sums.
      Samples samples(count);
      for (std::size_t i = 0; i < count; ++i) {
        const bool odd = (i / static_cast<std::size_t>(channels)) % 2 != 0;
        const bool flip = (i / static_cast<std::size_t>(channels)) % 64 >= 32;
        samples[i] = odd != flip ? 524272 : -524272;
      }
      return samples;
    }
    case Shape::Huge:
      return Noise(16, frames, channels, (1 << 30) - 1);
    case Shape::Words:
      return Noise(17, frames, channels, INT32_MAX);
    case Shape::Lowest: {
      Samples samples(count);
      for (std::size_t i = 0; i < count; ++i) samples[i] = i / 40 % 2 == 0 ? INT32_MIN : INT32_MAX;
      return samples;
    }
  }
  return {};
}

class LSRCConvertRateBits : public kiv::test::EveryVectorWidth {};
INSTANTIATE_TEST_SUITE_P(EveryWidth, LSRCConvertRateBits, kiv::test::kVectorWidths, kiv::test::VectorWidthName);

TEST_P(LSRCConvertRateBits, EveryPairMatchesThePlainModel) {
  for (const std::int32_t from : kRates) {
    const Samples noise = Noise(static_cast<std::uint64_t>(from), 12000, 1, 524272);
    for (const std::int32_t to : kRates) {
      const auto frames = static_cast<std::int32_t>(std::int64_t{9000} * to / from);
      LSoundSource out = Stage(OpenMemory(noise, from, 1), to);
      ASSERT_EQ(ReadInPieces(out, frames, {700}), Modelled(noise, 1, from, to, false, frames)) << from << " to " << to;
    }
  }
}

TEST_P(LSRCConvertRateBits, AnyPairOfRatesMatchesThePlainModel) {
  kiv::test::Random random(51);
  const auto anyRate = [&random] { return random.Between(1, 1 << random.Between(1, 20)); };
  const Samples noise = Noise(52, 30000, 2, 524287);
  int usable = 0;
  for (int i = 0; i < 60; ++i) {
    const std::int32_t from = anyRate();
    const std::int32_t to = anyRate();
    const bool wide = random.Between(0, 1) == 1;
    LSoundSource out = Stage(OpenMemory(noise, from, 2), to, wide);
    if (out->Error() != kSourceGood) continue;
    ++usable;
    PlainRateStage plain(std::make_shared<PlainMemory>(noise, 2), 2, from, to, wide);
    ASSERT_EQ(ReadInPieces(out, 8, {3}), TakeFrames(plain, 8)) << from << " to " << to;
    const std::int32_t frame = random.Between(-500, 500);
    out->Seek(frame);
    plain.Seek(frame);
    ASSERT_EQ(out->GetPositionSample(), plain.Position()) << from << " to " << to << " at " << frame;
    ASSERT_EQ(ReadInPieces(out, 8, {3}), TakeFrames(plain, 8)) << from << " to " << to << " at " << frame;
  }
  EXPECT_GT(usable, 20);
}

TEST_P(LSRCConvertRateBits, EveryShapeOfMaterialMatchesThePlainModel) {
  struct Case {
    std::int32_t from;
    std::int32_t to;
    bool wide;
  };
  const Case cases[] = {{44100, 8000, true},  {44100, 8000, false}, {8000, 44100, false}, {16000, 8000, false},
                        {8000, 16000, false}, {8000, 8000, false},  {96000, 1000, true}};
  for (const Shape shape : kShapes) {
    for (const int channels : {1, 2}) {
      const Samples material = Material(shape, 20000, channels);
      for (const auto& [from, to, wide] : cases) {
        const auto frames = static_cast<std::int32_t>(std::int64_t{9000} * to / from);
        LSoundSource out = Stage(OpenMemory(material, from, static_cast<std::uint8_t>(channels)), to, wide);
        ASSERT_EQ(ReadInPieces(out, frames, {700, 5000, 1, 2, 3}), Modelled(material, channels, from, to, wide, frames))
            << static_cast<int>(shape) << ' ' << channels << " channels " << from << " to " << to;
      }
    }
  }
}

// The largest sums there are: under one output frame after the other full-scale samples with the signs of its row, and
// with the opposite ones. Filters of both kinds, with coefficients that fit 16 bits and with others.
TEST_P(LSRCConvertRateBits, MaterialWithTheSignsOfTheRowsMatchesThePlainModel) {
  const std::pair<std::int32_t, std::int32_t> pairs[] = {{16000, 8000},  {22050, 11025}, {44100, 16000},
                                                         {48000, 22050}, {44100, 32000}, {8000, 44100}};
  for (const auto& [from, to] : pairs) {
    const PlainRateFilter filter(from, to, 63, false);
    Samples material(20000, 0);
    std::int32_t frames = 0;
    for (std::int64_t free = 100, frame = 0; free < 19000; ++frame) {
      const std::int64_t start = frame * filter.step / filter.phases - 31;
      if (start < free) continue;
      const auto& row = filter.rows[static_cast<std::size_t>(frame * filter.step % filter.phases)];
      for (std::size_t k = 0; k < row.size(); ++k) {
        const bool up = (row[k] > 0) == (frame % 2 == 0);
        material[static_cast<std::size_t>(start) + k] = up ? 524272 : -524272;
      }
      free = start + 63;
      frames = static_cast<std::int32_t>(frame);
    }
    LSoundSource out = Stage(OpenMemory(material, from, 1), to);
    PlainRateStage plain(std::make_shared<PlainMemory>(material, 1), 1, from, to, false);
    ASSERT_EQ(ReadInPieces(out, frames, {700}), TakeFrames(plain, frames)) << from << " to " << to;
  }
}

TEST_P(LSRCConvertRateBits, TwoStagesMatchThePlainModel) {
  for (const int channels : {1, 2}) {
    const Samples noise = Noise(21, 60000, channels, 524287);
    LSoundSource out = Converted(OpenMemory(noise, 44100, static_cast<std::uint8_t>(channels)), 8000);
    auto first =
        std::make_shared<PlainRateStage>(std::make_shared<PlainMemory>(noise, channels), channels, 44100, 16000, true);
    PlainRateStage plain(first, channels, 16000, 8000, false);
    ASSERT_EQ(ReadInPieces(out, 2500, {333}), TakeFrames(plain, 2500));
    for (const std::int32_t frame : {0, 1, 777, 9000, -3, -4000}) {
      out->Seek(frame);
      plain.Seek(frame);
      EXPECT_EQ(out->GetPositionSample(), plain.Position()) << frame;
      ASSERT_EQ(ReadInPieces(out, 700, {100}), TakeFrames(plain, 700)) << frame;
      EXPECT_EQ(out->GetPositionSample(), plain.Position()) << frame;
    }
  }
}

TEST_P(LSRCConvertRateBits, SeekMatchesThePlainModel) {
  const std::pair<std::int32_t, std::int32_t> pairs[] = {{44100, 8000}, {8000, 44100}, {16000, 8000}, {32000, 22050}};
  for (const auto& [from, to] : pairs) {
    const Samples noise = Noise(22, 60000, 2, 524287);
    LSoundSource out = Stage(OpenMemory(noise, from, 2), to);
    PlainRateStage plain(std::make_shared<PlainMemory>(noise, 2), 2, from, to, false);
    for (const std::int32_t frame : {0, 1, 2, 38, 39, 40, 5000, 255, -1, -2, -39, -40, -7000, 1000000}) {
      out->Seek(frame);
      plain.Seek(frame);
      EXPECT_EQ(out->GetPositionSample(), plain.Position()) << from << " to " << to << " at " << frame;
      ASSERT_EQ(ReadInPieces(out, 600, {100}), TakeFrames(plain, 600)) << from << " to " << to << " at " << frame;
      EXPECT_EQ(out->GetPositionSample(), plain.Position()) << from << " to " << to << " after " << frame;
    }
  }
}

TEST_P(LSRCConvertRateBits, SplittingTheReadsChangesNothing) {
  const std::vector<Samples> splits = {{1},    {2, 3, 5, 7}, {4},    {63},     {8191, 1},
                                       {8192}, {8193},       {9000}, {0, 100}, {1, 0, -1, 20000}};
  const std::pair<std::int32_t, std::int32_t> pairs[] = {{44100, 8000}, {8000, 44100}, {48000, 11025}, {16000, 8000}};
  for (const auto& [from, to] : pairs) {
    for (const int channels : {1, 2}) {
      const Samples noise = Noise(23, 60000, channels, 524287);
      const auto width = static_cast<std::uint8_t>(channels);
      LSoundSource whole = Converted(OpenMemory(noise, from, width), to);
      const Samples expected = ReadInPieces(whole, 11000, {11000});
      for (const Samples& split : splits) {
        LSoundSource pieces = Converted(OpenMemory(noise, from, width), to);
        Samples result(expected.size());
        std::int32_t done = 0;
        for (std::size_t i = 0; done < 11000; ++i) {
          const std::int32_t n = std::min(split[i % split.size()], 11000 - done);
          pieces->Read(result.data() + static_cast<std::size_t>(done) * width, n);
          done += std::max(n, 0);
        }
        ASSERT_EQ(result, expected) << from << " to " << to << " pieces of " << split[0];
      }
    }
  }
}

TEST_P(LSRCConvertRateBits, StereoIsTwoMonosWhereTheyAreScaledAlike) {
  // Both channels as loud as one another in every block, so that each alone is scaled by the same power.
  for (const std::int32_t peak : {30000, 500000}) {
    Samples left = Noise(24, 50000, 1, peak);
    Samples right = Noise(25, 50000, 1, peak);
    for (std::size_t i = 0; i < left.size(); i += 500) left[i] = right[i] = peak;
    Samples both;
    for (std::size_t i = 0; i < left.size(); ++i) both.insert(both.end(), {left[i], right[i]});
    for (const std::int32_t to : {8000, 32000, 96000}) {
      LSoundSource stereo = Converted(OpenMemory(both, 44100, 2), to);
      LSoundSource monoLeft = Converted(OpenMemory(left, 44100, 1), to);
      LSoundSource monoRight = Converted(OpenMemory(right, 44100, 1), to);
      const Samples l = ReadInPieces(monoLeft, 8000, {8000});
      const Samples r = ReadInPieces(monoRight, 8000, {8000});
      Samples expected;
      for (std::size_t i = 0; i < l.size(); ++i) expected.insert(expected.end(), {l[i], r[i]});
      ASSERT_EQ(ReadInPieces(stereo, 8000, {8000}), expected) << peak << ' ' << to;
    }
  }
}

TEST_P(LSRCConvertRateBits, SeekForgetsEverythingBefore) {
  const Samples noise = Noise(26, 80000, 2, 3000000);
  for (const std::int32_t to : {8000, 32000, 96000}) {
    LSoundSource used = Converted(OpenMemory(noise, 44100, 2), to);
    ReadInPieces(used, 5000, {123});
    for (const std::int32_t frame : {0, 4321, -100}) {
      LSoundSource fresh = Converted(OpenMemory(noise, 44100, 2), to);
      fresh->Seek(frame);
      used->Seek(frame);
      ASSERT_EQ(ReadInPieces(used, 6000, {7}), ReadInPieces(fresh, 6000, {6000})) << to << " at " << frame;
    }
  }
}

TEST_P(LSRCConvertRateBits, AQuietStreamIsTheSameAfterSeekAsReadThrough) {
  // Nothing is scaled below 16 bits, so the place of the block boundaries does not show.
  const Samples quiet = Noise(27, 80000, 1, 32767);
  for (const std::int32_t to : {16000, 32000, 96000}) {
    LSoundSource through = Stage(OpenMemory(quiet, 44100, 1), to);
    const Samples all = ReadInPieces(through, 12000, {12000});
    LSoundSource sought = Stage(OpenMemory(quiet, 44100, 1), to);
    for (const std::int32_t frame : {0, 1, 39, 5000, 8191}) {
      sought->Seek(frame);
      const Samples rest(all.begin() + frame, all.begin() + frame + 3000);
      ASSERT_EQ(ReadInPieces(sought, 3000, {3000}), rest) << to << " at " << frame;
    }
  }
}

// Loudness.

// Scaling of a block can be heard: a click of 3 vanishes beside a peak that is scaled by more than 2 bits.
Samples ClickBeside(std::int32_t peak) {
  Samples samples(8192, 0);
  samples[100] = 3;
  samples[8000] = peak;
  LSoundSource out = Stage(OpenMemory(samples, 8000, 1), 8000);
  return ReadInPieces(out, 200, {200});
}

TEST(LSRCConvertRate, ABlockIsScaledJustEnoughForSixteenBits) {
  EXPECT_EQ(ClickBeside(32767)[100], 3);  // 3 * 62464 / 65536, rounded.
  EXPECT_EQ(ClickBeside(40000)[100], 4);  // 3 becomes (3 + 1) >> 1 = 2, and back.
  EXPECT_EQ(ClickBeside(65535)[100], 4);
  EXPECT_EQ(ClickBeside(65536)[100], 4);   // (3 + 2) >> 2 = 1
  EXPECT_EQ(ClickBeside(131072)[100], 0);  // (3 + 4) >> 3 = 0
  EXPECT_EQ(ClickBeside(-32768)[100], 4);  // A peak of 32768, either way, is too loud.
}

// A 1 kHz tone stays one.

struct Tone {
  double hz;
  double amplitude;
  double residue;  // Power of what is not the tone, relative to the tone.
};

// Least squares of a sine of that frequency.
Tone FitTone(const Samples& samples, double hz, double rate) {
  double cosine = 0.0;
  double sine = 0.0;
  double cc = 0.0;
  double ss = 0.0;
  double cs = 0.0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double angle = 2.0 * 3.14159265358979323846 * hz * static_cast<double>(i) / rate;
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    cosine += c * samples[i];
    sine += s * samples[i];
    cc += c * c;
    ss += s * s;
    cs += c * s;
  }
  const double det = cc * ss - cs * cs;
  const double a = (cosine * ss - sine * cs) / det;
  const double b = (sine * cc - cosine * cs) / det;
  double rest = 0.0;
  double all = 0.0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double angle = 2.0 * 3.14159265358979323846 * hz * static_cast<double>(i) / rate;
    const double tone = a * std::cos(angle) + b * std::sin(angle);
    rest += (samples[i] - tone) * (samples[i] - tone);
    all += tone * tone;
  }
  return {hz, std::sqrt(a * a + b * b), rest / all};
}

TEST(LSRCConvertRate, AOneKilohertzToneStaysOneThroughEveryPair) {
  for (const std::int32_t from : kRates) {
    const Samples tone = Sine(1000.0, 262144.0, from, from, 1);
    for (const std::int32_t to : kRates) {
      LSoundSource out = Converted(OpenMemory(tone, from, 1), to);
      Samples result = ReadInPieces(out, to / 2, {800});
      result.erase(result.begin(), result.begin() + to / 10);  // The filter's start.
      // The step is taken when it is less than 0.001 input frames off, so the tone may shift by that share.
      double expectedHz = 1000.0;
      if (from != to) {
        const std::int32_t between = 4 * to < from ? 2 * to : to;
        const LConvertRateBase first(from, between, 63, between != to);
        const double ratio = double(from) / between;
        expectedHz = 1000.0 * (double(first.Step()) / first.Phases()) / ratio;
        EXPECT_LT(std::abs(expectedHz - 1000.0), 1000.0 * 0.001 / ratio) << from << " to " << to;
      }
      const Tone fitted = FitTone(result, expectedHz, to);
      EXPECT_NEAR(20.0 * std::log10(fitted.amplitude / 262144.0), 0.0, 0.3) << from << " to " << to;
      EXPECT_LT(10.0 * std::log10(fitted.residue), -50.0) << from << " to " << to;
    }
  }
}

}  // namespace
