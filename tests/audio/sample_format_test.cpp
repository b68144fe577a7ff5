#include "audio/sample_format.h"

#include <cstring>

#include "tests/support/every_vector_width.h"
#include "tests/support/test_signals.h"

namespace {

std::int32_t In8(std::uint8_t byte) {
  const LSFU8 in{byte};
  std::int32_t out = 1;
  ConvertSamplesIn(&out, &in, 1);
  return out;
}
std::uint8_t Out8(std::int32_t sample) {
  LSFU8 out{};
  ConvertSamplesOut(&out, &sample, 1);
  return out.value;
}
std::int32_t Out16(std::int32_t sample) {
  LSFLE16 stored{};
  ConvertSamplesOut(&stored, &sample, 1);
  LSF16 native{};
  ConvertSamplesOut(&native, &sample, 1);
  const auto* bytes = reinterpret_cast<const unsigned char*>(&stored);
  EXPECT_EQ(static_cast<std::int16_t>(bytes[0] | bytes[1] << 8), native.value);
  return native.value;
}

TEST(SampleFormat, SixteenBitOutRoundsHalfUpAndWraps) {
  EXPECT_EQ(Out16(524272), 32767);
  EXPECT_EQ(Out16(524280), -32768);
  EXPECT_EQ(Out16(-8), 0);
  EXPECT_EQ(Out16(-9), -1);
  EXPECT_EQ(Out16(7), 0);
  EXPECT_EQ(Out16(8), 1);
  EXPECT_EQ(Out16(-524288), -32768);
  EXPECT_EQ(Out16(INT32_MAX), 0);
  EXPECT_EQ(Out16(INT32_MIN), 0);
}
TEST(SampleFormat, EightBitOutRoundsHalfUpAndWraps) {
  EXPECT_EQ(Out8(0), 128);
  EXPECT_EQ(Out8(520192), 255);
  EXPECT_EQ(Out8(-524288), 0);
  EXPECT_EQ(Out8(524288), 0);
  EXPECT_EQ(Out8(2047), 128);
  EXPECT_EQ(Out8(2048), 129);
  EXPECT_EQ(Out8(-2048), 128);
  EXPECT_EQ(Out8(-2049), 127);
  EXPECT_EQ(Out8(INT32_MAX), 128);
}
TEST(SampleFormat, EightBitInIsCentredOn128) {
  EXPECT_EQ(In8(0), -524288);
  EXPECT_EQ(In8(128), 0);
  EXPECT_EQ(In8(255), 520192);
}
TEST(SampleFormat, EverySixteenBitValueComesBack) {
  for (std::int32_t v = -32768; v <= 32767; ++v) {
    const LSF16 native{static_cast<std::int16_t>(v)};
    std::int32_t sample = 0;
    ConvertSamplesIn(&sample, &native, 1);
    EXPECT_EQ(sample, v * 16);
    EXPECT_EQ(Out16(sample), v);
  }
}
TEST(SampleFormat, LittleEndianBytesAreReadInThatOrder) {
  const unsigned char bytes[2] = {0x34, 0x92};
  std::int32_t sample = 0;
  ConvertSamplesIn(&sample, reinterpret_cast<const LSFLE16*>(bytes), 1);
  EXPECT_EQ(sample, (0x9234 - 0x10000) * 16);
}
TEST(SampleFormat, ExactlyNSamplesAreConverted) {
  const std::vector<std::int32_t> in = kiv::test::Noise(1, 40, 1, INT32_MAX);
  for (std::int32_t n = -1; n <= 33; ++n) {
    std::vector<LSFLE16> out(40, LSFLE16{0x5555});
    ConvertSamplesOut(out.data(), in.data(), n);
    std::vector<std::int32_t> back(40, 12345);
    ConvertSamplesIn(back.data(), out.data(), n);
    for (std::int32_t i = 0; i < 40; ++i) {
      const auto at = static_cast<std::size_t>(i);
      if (i < n) {
        EXPECT_EQ(back[at] / 16, Out16(in[at]));
      } else {
        EXPECT_EQ(out[at].stored, 0x5555);
        EXPECT_EQ(back[at], 12345);
      }
    }
  }
}

// Every vector width against one sample at a time, which no width can vectorise, with n from 0 through several vectors
// and a rest.
class SampleFormatWidth : public kiv::test::EveryVectorWidth {
 protected:
  template <typename Format>
  static void CompareWithSingles() {
    std::vector<std::int32_t> in = kiv::test::Noise(2, 300, 1, INT32_MAX);
    in[5] = INT32_MIN;
    in[6] = INT32_MAX;
    in[7] = INT32_MAX - 7;
    in[8] = -8;
    in[9] = -9;
    for (std::int32_t n = 0; n <= 100; ++n) {
      for (std::size_t start = 0; start < 200; start += 67) {  // Unaligned, too.
        std::vector<Format> out(101);
        std::vector<std::int32_t> back(101, 12345);
        ConvertSamplesOut(out.data(), in.data() + start, n);
        ConvertSamplesIn(back.data(), out.data(), n);
        for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
          Format single{};
          std::int32_t singleBack = 0;
          ConvertSamplesOut(&single, &in[start + i], 1);
          ConvertSamplesIn(&singleBack, &single, 1);
          ASSERT_EQ(std::memcmp(&out[i], &single, sizeof single), 0) << n << " " << i;
          ASSERT_EQ(back[i], singleBack) << n << " " << i;
        }
        ASSERT_EQ(back[static_cast<std::size_t>(n)], 12345);
      }
    }
  }
};

TEST_P(SampleFormatWidth, GivesTheSameBits) {
  CompareWithSingles<LSFU8>();
  CompareWithSingles<LSFLE16>();
  CompareWithSingles<LSF16>();
}

INSTANTIATE_TEST_SUITE_P(EveryWidth, SampleFormatWidth, kiv::test::kVectorWidths, kiv::test::VectorWidthName);

}  // namespace
