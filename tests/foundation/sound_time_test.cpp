#include "foundation/sound_time.h"

namespace {

std::int32_t FromText(char const* text) {
  LSoundTime time(77);
  time.SetText(text);
  return time;
}

TEST(LSoundTime, WorkedTexts) {
  EXPECT_EQ(FromText("5"), 5000);
  EXPECT_EQ(FromText("1:30"), 90000);
  EXPECT_EQ(FromText("1:00:00"), 3600000);
  EXPECT_EQ(FromText("2.5"), 2500);
  EXPECT_EQ(FromText("0.0625"), 62);
  EXPECT_EQ(FromText("1:2:3"), 3723000);
  EXPECT_EQ(FromText("-1.5"), -1500);
  EXPECT_EQ(FromText("1.2345"), 1234);
  EXPECT_EQ(FromText(""), 0);
  EXPECT_EQ(FromText(".5"), 500);
}
TEST(LSoundTime, MinusCountsAnywhere) {
  EXPECT_EQ(FromText("1:3-0"), -90000);
}
TEST(LSoundTime, SecondPointIsSkipped) {
  EXPECT_EQ(FromText("1.2.3"), 1230);
}
TEST(LSoundTime, OtherCharactersAreSkipped) {
  EXPECT_EQ(FromText(" 1 5 s"), 15000);
}
TEST(LSoundTime, ColonAfterTheFractionMultipliesAndStaysInTheFraction) {
  EXPECT_EQ(FromText("1.5:7"), 90000 + 70);
}
TEST(LSoundTime, HugeNumbersWrapAt32Bits) {
  // The text's value in ms modulo 2^32.
  EXPECT_EQ(FromText("2147484"), static_cast<std::int32_t>(2147484000U));
  EXPECT_EQ(FromText("99999999999:99999999999"),
            static_cast<std::int32_t>(static_cast<std::uint32_t>(99999999999000ULL * 60 + 99999999999000ULL)));
}

}  // namespace
