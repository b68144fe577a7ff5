#include "foundation/text.h"

namespace {

TEST(tstrmcpy, CutsAtTheSizeOfTheBuffer) {
  char text[8];
  tstrmcpy(text, "abcdef", 4);
  EXPECT_STREQ(text, "abc");
}
TEST(tstrmcpy, ShorterTextIsWholeAndNothingBehindItIsTouched) {
  char text[8] = "1234567";
  tstrmcpy(text, "ab", 8);
  EXPECT_EQ(std::string(text, 8), std::string("ab\0"
                                              "4567\0",
                                              8));
}
TEST(tstrmcpy, TextThatJustFits) {
  char text[4];
  tstrmcpy(text, "abc", 4);
  EXPECT_STREQ(text, "abc");
}
TEST(tstrmcpy, SizeOneHoldsOnlyTheTerminator) {
  char text[2] = {'x', 'y'};
  tstrmcpy(text, "abc", 1);
  EXPECT_EQ(text[0], '\0');
  EXPECT_EQ(text[1], 'y');
}
TEST(tstrmcpy, SourceNeedsNoTerminatorBehindTheCut) {
  const char source[3] = {'a', 'b', 'c'};
  char text[4];
  tstrmcpy(text, source, 4 - 1);
  EXPECT_STREQ(text, "ab");
}
TEST(tstrmcpy, TheCompilerCountsTheBuffer) {
  char text[kiv::kTextSize];
  tstrmcpy(text, std::string(300, 'q').c_str());
  EXPECT_EQ(std::string(text), std::string(259, 'q'));
}

TEST(LEndianReverse, ReversesInPlaceAndTwiceIsNothing) {
  std::uint16_t half = 0x1234;
  LEndianReverse(half);
  EXPECT_EQ(half, 0x3412);
  std::uint32_t word = 0x12345678;
  LEndianReverse(word);
  EXPECT_EQ(word, 0x78563412U);
  LEndianReverse(word);
  EXPECT_EQ(word, 0x12345678U);
  word = 0xFF000080;
  LEndianReverse(word);
  EXPECT_EQ(word, 0x800000FFU);
  half = 0x80FF;
  LEndianReverse(half);
  EXPECT_EQ(half, 0xFF80);
}

TEST(EqualIgnoringCase, FoldsAsciiLettersAndNothingElse) {
  EXPECT_TRUE(kiv::EqualIgnoringCase("", ""));
  EXPECT_TRUE(kiv::EqualIgnoringCase("Settings", "sETTINGS"));
  EXPECT_FALSE(kiv::EqualIgnoringCase("a", ""));
  EXPECT_FALSE(kiv::EqualIgnoringCase("", "a"));
  EXPECT_FALSE(kiv::EqualIgnoringCase("ab", "abc"));
  EXPECT_FALSE(kiv::EqualIgnoringCase("@[`{", "`{@["));
  EXPECT_FALSE(kiv::EqualIgnoringCase("\xC9", "\xE9"));
  for (int c = 1; c < 256; ++c) {
    const bool isUpper = c >= 'A' && c <= 'Z';
    EXPECT_EQ(kiv::FoldCase(static_cast<char>(c)), static_cast<char>(isUpper ? c + 32 : c));
  }
}

TEST(ParseInt32, LeadingDigitsCount) {
  EXPECT_EQ(kiv::ParseInt32("12abc"), 12);
  EXPECT_EQ(kiv::ParseInt32("abc"), 0);
  EXPECT_EQ(kiv::ParseInt32(""), 0);
  EXPECT_EQ(kiv::ParseInt32("-7"), -7);
  EXPECT_EQ(kiv::ParseInt32("+7"), 7);
  EXPECT_EQ(kiv::ParseInt32("--7"), 0);
  EXPECT_EQ(kiv::ParseInt32("- 7"), 0);
  EXPECT_EQ(kiv::ParseInt32(" \t\n\v\f\r42 1"), 42);
  EXPECT_EQ(kiv::ParseInt32("0x10"), 0);
  EXPECT_EQ(kiv::ParseInt32("007"), 7);
  EXPECT_EQ(kiv::ParseInt32("1.9"), 1);
}
TEST(ParseInt32, ClampsTo32Bits) {
  EXPECT_EQ(kiv::ParseInt32("2147483647"), INT32_MAX);
  EXPECT_EQ(kiv::ParseInt32("2147483648"), INT32_MAX);
  EXPECT_EQ(kiv::ParseInt32("-2147483648"), INT32_MIN);
  EXPECT_EQ(kiv::ParseInt32("-2147483649"), INT32_MIN);
  EXPECT_EQ(kiv::ParseInt32(std::string(250, '9').c_str()), INT32_MAX);
  EXPECT_EQ(kiv::ParseInt32(std::string(250, '9').insert(0, 1, '-').c_str()), INT32_MIN);
}

}  // namespace
