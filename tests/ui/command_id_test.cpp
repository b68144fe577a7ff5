#include "ui/command_id.h"

#include <gtest/gtest.h>

#include "tests/support/test_signals.h"

namespace {

using kiv::FourCC;
using kiv::TranslateCommand;

TEST(CommandId, EveryNumberOfFourDigitsIsThatNumber) {
  for (std::uint32_t n = 0; n < 10000; ++n) {
    const std::uint32_t id =
        ('0' + n / 1000) << 24 | ('0' + n / 100 % 10) << 16 | ('0' + n / 10 % 10) << 8 | ('0' + n % 10);
    ASSERT_EQ(TranslateCommand(id), n);
  }
}

TEST(CommandId, OtherCodesStayAsTheyAre) {
  for (const std::uint32_t id : {FourCC("quit"), FourCC("reco"), FourCC("not!"), FourCC("ok  "), FourCC("pref"), 101U,
                                 0U, 0xFFFFFFFFU, 0x2FFFFFFFU}) {
    EXPECT_EQ(TranslateCommand(id), id);
  }
}

// The range is tested as one number, from '0000' to the last below 0x3939393A, whatever the bytes in between.
TEST(CommandId, RangeIsOfTheWholeWord) {
  EXPECT_EQ(TranslateCommand(0x39393939U), 9999U);
  EXPECT_EQ(TranslateCommand(0x3939393AU), 0x3939393AU);
  EXPECT_EQ(TranslateCommand(0x30303030U), 0U);
  EXPECT_EQ(TranslateCommand(0x3030302FU), 0x3030302FU);
  EXPECT_EQ(TranslateCommand(FourCC("1abc")), 1U * 1000 + ('a' - '0') * 100 + ('b' - '0') * 10 + ('c' - '0'));
  EXPECT_EQ(TranslateCommand(FourCC("9abc")), FourCC("9abc"));
}

// The same rule byte by byte with borrow, on words near the range.
TEST(CommandId, AgreesWithSubtractionByByte) {
  kiv::test::Random random(8);
  for (int i = 0; i < 200000; ++i) {
    const auto id = static_cast<std::uint32_t>(random.Between(0x2F000000, 0x3A000000));
    std::uint32_t bytes[4] = {id >> 24, id >> 16 & 0xFF, id >> 8 & 0xFF, id & 0xFF};
    std::uint32_t borrow = 0;
    for (int b = 3; b >= 0; --b) {
      const int value = static_cast<int>(bytes[b]) - 0x30 - static_cast<int>(borrow);
      borrow = value < 0 ? 1 : 0;
      bytes[b] = static_cast<std::uint32_t>(value & 0xFF);
    }
    const std::uint64_t word = std::uint64_t{bytes[0]} << 24 | bytes[1] << 16 | bytes[2] << 8 | bytes[3];
    const std::uint32_t expected = word < 0x0909090A ? bytes[0] * 1000 + bytes[1] * 100 + bytes[2] * 10 + bytes[3] : id;
    ASSERT_EQ(TranslateCommand(id), expected) << std::hex << id;
  }
}

}  // namespace
