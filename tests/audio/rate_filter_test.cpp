#include "audio/rate_filter.h"

#include <algorithm>
#include <cstdlib>

#include "audio/buffer_level.h"
#include "audio/convert_rate.h"
#include "tests/support/test_signals.h"

namespace {

using kiv::NarrowFilter;
using kiv::RateRun;
using kiv::VectorWidth;
using kiv::test::Random;

using Samples = std::vector<std::int32_t>;

constexpr std::int32_t kRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000, 96000};

// Both loops over the same 16-bit samples, with every shift that occurs.
void ExpectSameBits(const LConvertRateBase& filter, std::int32_t phase, const Samples& samples, std::int32_t count,
                    std::int32_t largest) {
  const NarrowFilter narrow(filter);
  std::vector<std::int16_t> plane(samples.size());
  for (std::size_t i = 0; i < samples.size(); ++i) plane[i] = static_cast<std::int16_t>(samples[i]);
  for (int shift = 0; shift <= 15; ++shift) {
    const RateRun run{phase, count, shift, largest};
    Samples plain(static_cast<std::size_t>(count));
    kiv::ConvertPlain(filter, run, samples.data(), 1, plain.data());
    for (const VectorWidth width : {VectorWidth::Sse2, VectorWidth::Avx2}) {
      if (width > kiv::BestVectorWidth()) continue;
      Samples fast(static_cast<std::size_t>(count));
      narrow.Convert(width, run, plane.data(), fast.data(), 1);
      ASSERT_EQ(fast, plain) << "phase " << phase << " shift " << shift;
    }
  }
}

TEST(NarrowFilter, ServesEveryPairOfUsualRates) {
  const bool vectors = kiv::BestVectorWidth() != VectorWidth::Scalar;
  for (const std::int32_t from : kRates) {
    for (const std::int32_t to : kRates) {
      for (const std::int32_t taps : {15, 63}) {
        for (const bool wide : {false, true}) {
          const NarrowFilter filter(LConvertRateBase(from, to, taps, wide));
          EXPECT_EQ(filter.Serves(VectorWidth::Sse2, 32768), vectors) << from << " to " << to << ' ' << taps;
          EXPECT_EQ(filter.Serves(VectorWidth::Avx2, 32768), vectors) << from << " to " << to << ' ' << taps;
          EXPECT_FALSE(filter.Serves(VectorWidth::Scalar, 1));
        }
      }
    }
  }
}

TEST(NarrowFilter, ServesNeitherOtherLengthsNorUnusableSteps) {
  EXPECT_FALSE(NarrowFilter(LConvertRateBase(8000, 16000, 31, false)).Serves(VectorWidth::Avx2, 1));
  EXPECT_FALSE(NarrowFilter(LConvertRateBase(8000, 0, 63, false)).Serves(VectorWidth::Avx2, 1));
}

// The largest sums there are: every sample at an end of its range, with the sign of its coefficient.
TEST(NarrowFilter, TheLargestSumsOfEveryRowAreExact) {
  for (const std::int32_t from : {8000, 44100, 96000}) {
    for (const std::int32_t to : kRates) {
      for (const std::int32_t taps : {15, 63}) {
        const LConvertRateBase filter(from, to, taps, false);
        if (!NarrowFilter(filter).Serves(VectorWidth::Sse2, 32768)) continue;
        const std::int32_t every = filter.Phases() / 5 + 1;
        for (std::int32_t phase = 0; phase < filter.Phases(); phase += every) {
          for (const bool turned : {false, true}) {
            // Down to where the coefficients are not split any more, and around that edge of many filters.
            for (const std::int32_t largest : {32768, 30000, 27500, 27000, 26500, 25000, 22000, 16384, 300}) {
              Samples samples(static_cast<std::size_t>(taps) + 1);
              for (std::int32_t k = 0; k < taps; ++k) {
                const bool up = (filter.Row(phase)[k] > 0) != turned;
                samples[static_cast<std::size_t>(k)] = up ? std::min(largest, 32767) : -largest;
              }
              ExpectSameBits(filter, phase, samples, 1, largest);
            }
          }
        }
      }
    }
  }
}

TEST(NarrowFilter, EveryStartAndCountIsExact) {
  Random random(31);
  for (const std::int32_t to : {8000, 22050, 44100, 96000}) {
    for (const std::int32_t taps : {15, 63}) {
      const LConvertRateBase filter(44100, to, taps, false);
      for (std::int32_t count = 0; count <= 9; ++count) {
        const std::int32_t phase = random.Between(0, filter.Phases() - 1);
        const std::int32_t last =
            static_cast<std::int32_t>((phase + std::int64_t{count} * filter.Step()) / filter.Phases());
        Samples samples(static_cast<std::size_t>(last + taps + 1));
        for (std::int32_t& sample : samples) sample = random.Between(INT16_MIN, INT16_MAX);
        ExpectSameBits(filter, phase, samples, count, 32768);
      }
    }
  }
}

TEST(NarrowFilter, ItReadsNothingBehindTheLastFilter) {
  // The sanitizer watches the end of the plane: the last row of 63 taps is read as 64.
  const LConvertRateBase filter(16000, 8000, 63, false);
  const NarrowFilter narrow(filter);
  for (const VectorWidth width : {VectorWidth::Sse2, VectorWidth::Avx2}) {
    if (width > kiv::BestVectorWidth()) continue;
    for (std::int32_t count = 1; count <= 9; ++count) {
      const std::vector<std::int16_t> plane(static_cast<std::size_t>(2 * (count - 1) + 64), 1000);
      Samples out(static_cast<std::size_t>(count));
      narrow.Convert(width, RateRun{0, count, 15, 32768}, plane.data(), out.data(), 1);
    }
  }
}

TEST(PackNarrow, RoundsHalfUpSeparatesTheChannelsAndFindsThePeak) {
  for (const VectorWidth width : {VectorWidth::Sse2, VectorWidth::Avx2}) {
    if (width > kiv::BestVectorWidth()) continue;
    for (const int channels : {1, 2}) {
      for (const int scaling : {0, 1, 5, 15}) {
        for (std::int32_t frames = 0; frames <= 70; ++frames) {
          const Samples samples = kiv::test::Noise(7, 70, channels, (INT16_MAX << scaling) - 1);
          std::vector<std::int16_t> planes(150, 77);
          const std::int32_t peak = kiv::PackNarrow(width, samples.data(), frames, channels, scaling, planes.data());
          ASSERT_EQ(peak, GetBufferPeak(samples.data(), frames, static_cast<std::uint8_t>(channels)));
          for (std::int32_t i = 0; i < 150; ++i) {
            std::int64_t expected = 77;
            if (i < frames * channels) {
              const auto at = static_cast<std::size_t>(i % frames * channels + i / frames);
              expected = (samples[at] + ((std::int64_t{1} << scaling) / 2)) >> scaling;
            }
            ASSERT_EQ(planes[static_cast<std::size_t>(i)], expected) << frames << ' ' << channels << ' ' << scaling;
          }
        }
      }
    }
  }
}

TEST(PackNarrow, ThePeakIsRightForSamplesThatDoNotFit) {
  for (const VectorWidth width : {VectorWidth::Sse2, VectorWidth::Avx2}) {
    if (width > kiv::BestVectorWidth()) continue;
    for (const std::int32_t loud : {INT32_MAX, INT32_MIN, INT32_MIN + 1, 1 << 30, 40000, -40000}) {
      for (std::size_t at = 0; at < 70; ++at) {
        Samples samples(70, -5);
        samples[at] = loud;
        std::vector<std::int16_t> planes(70);
        const std::int32_t expected = GetBufferPeak(samples.data(), 70, 1);
        ASSERT_EQ(kiv::PackNarrow(width, samples.data(), 70, 1, 15, planes.data()), expected);
        ASSERT_EQ(kiv::PackNarrow(width, samples.data(), 35, 2, 0, planes.data()), expected);
      }
    }
  }
}

}  // namespace
