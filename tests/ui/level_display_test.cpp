#include "ui/level_display.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <QImage>
#include <QWidget>
#include <memory>

#include "tests/support/test_signals.h"
#include "tests/ui/ui_environment.h"
#include "ui/controls.h"
#include "ui/meter_geometry.h"
#include "ui/toolkit_window.h"

namespace {

using kiv::MeterColour;
using kiv::MeterFills;
using kiv::PixelRect;

LDBMC Levels(std::initializer_list<int> dB) {
  LDBMC level;
  for (const int d : dB) level.level[level.channels++] = d;
  return level;
}

int Count(const std::vector<kiv::MeterFill>& fills, MeterColour colour) {
  int count = 0;
  for (const kiv::MeterFill& fill : fills) count += fill.colour == colour;
  return count;
}

TEST(MeterGeometry, TwoChannelsIn100By21HaveNoWidth) {
  const auto fills = MeterFills(Levels({0, 0}), {0, 0, 100, 21}, true);
  ASSERT_EQ(fills.size(), 1U + 36 + 36);
  EXPECT_EQ(fills[1].height, 9);
  EXPECT_EQ(fills[1].width, 0);
  EXPECT_EQ(fills[1].y, 1);
  EXPECT_EQ(fills[37].y, 1 + 9 + 1);
}

TEST(MeterGeometry, Width300GivesSegmentsOf4) {
  const auto fills = MeterFills(Levels({12}), {0, 0, 300, 21}, true);
  EXPECT_EQ(fills[1].width, 4);
  EXPECT_EQ(fills[1].x, 2);
  EXPECT_EQ(fills[2].x, 8);
  EXPECT_EQ(fills[1].height, 19);
}

TEST(MeterGeometry, LitSegmentsByLevel) {
  struct Case {
    int dB;
    int green;
    int red;
  };
  for (const Case c : {Case{-127, 0, 0},
                       {-37, 0, 0},
                       {-36, 0, 0},
                       {-35, 1, 0},
                       {-1, 35, 0},
                       {0, 36, 0},
                       {1, 36, 1},
                       {12, 36, 12},
                       {20, 36, 12},
                       {127, 36, 12}}) {
    const auto fills = MeterFills(Levels({c.dB}), {0, 0, 490, 20}, true);
    EXPECT_EQ(Count(fills, MeterColour::Green), c.green) << c.dB;
    EXPECT_EQ(Count(fills, MeterColour::Red), c.red) << c.dB;
  }
}

TEST(MeterGeometry, DisabledIsOneGreyFill) {
  const auto fills = MeterFills(Levels({0}), {3, 4, 300, 20}, false);
  ASSERT_EQ(fills.size(), 1U);
  EXPECT_EQ(fills[0].colour, MeterColour::Grey);
  EXPECT_EQ(fills[0].x, 3);
  EXPECT_EQ(fills[0].width, 297);
  EXPECT_EQ(fills[0].height, 16);
}

TEST(MeterGeometry, WithoutChannelsItIsBlack) {
  const auto fills = MeterFills(LDBMC(), {0, 0, 300, 20}, true);
  ASSERT_EQ(fills.size(), 1U);
  EXPECT_EQ(fills[0].colour, MeterColour::Black);
}

// Bounds of any size, also none, and every count of channels.
TEST(MeterGeometry, AnyBoundsGiveTheStatedPlaces) {
  kiv::test::Random random(103);
  for (int i = 0; i < 3000; ++i) {
    LDBMC level;
    level.channels = static_cast<std::uint8_t>(random.Between(1, 255));
    for (int c = 0; c < level.channels; ++c) level.level[c] = random.Between(-127, 127);
    PixelRect bounds{random.Between(-50, 50), random.Between(-50, 50), 0, 0};
    bounds.right = bounds.left + random.Between(0, 2000);
    bounds.bottom = bounds.top + random.Between(0, 600);
    const auto fills = MeterFills(level, bounds, true);
    std::size_t next = 1;
    const int h = ((bounds.bottom - bounds.top) - level.channels - 1) / level.channels;
    const int w = (bounds.right - bounds.left) / 49 - 2;
    for (int c = 0; c < level.channels; ++c) {
      int x = bounds.left + 2;
      const int d = std::min(12, std::max(-36, int{level.level[c]}));
      for (int s = 0; s < d + 36; ++s) {
        ASSERT_LT(next, fills.size());
        ASSERT_EQ(fills[next].x, x);
        ASSERT_EQ(fills[next].y, bounds.top + c * h + 1 + c);
        ASSERT_EQ(fills[next].width, w);
        ASSERT_EQ(fills[next].height, h);
        ASSERT_EQ(fills[next].colour, s < 36 ? MeterColour::Green : MeterColour::Red);
        x += w + 2;
        ++next;
      }
    }
    ASSERT_EQ(next, fills.size());
  }
}

// The scale's mark of a level stands where the lit part of that level ends.
TEST(MeterGeometry, ScaleMarksMeetTheBar) {
  const PixelRect bounds{0, 0, 520, 20};
  for (int dB = -35; dB <= 12; ++dB) {
    const auto fills = MeterFills(Levels({dB}), bounds, true);
    EXPECT_EQ(kiv::MeterLevelX(bounds, dB), fills.back().x + fills.back().width + 2);
  }
}

class LevelDisplayTest : public testing::Test {
 protected:
  LevelDisplayTest() : window_(kiv::CreateWindowFromInterface("MainWindow")) {
    meter_ = kiv::GetControlByID(window_, 103);
    kiv::WidgetOf(meter_)->setFixedSize(490, 21);
  }
  ~LevelDisplayTest() override { kiv::DisposeWindow(window_); }
  QImage Picture(double scale = 1.0) {
    QWidget* widget = kiv::WidgetOf(meter_);
    QImage image(widget->size() * scale, QImage::Format_RGB32);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::magenta);
    widget->render(&image, {}, {}, {});
    return image;
  }
  kiv::test::Desktop desktop_;
  WindowRef window_;
  ControlRef meter_;
};

constexpr QRgb kGreen = qRgb(0, 217, 0);
constexpr QRgb kRed = qRgb(255, 0, 0);
constexpr QRgb kBlack = qRgb(0, 0, 0);
constexpr QRgb kGrey = qRgb(125, 125, 125);

TEST_F(LevelDisplayTest, ClassIsRegisteredOnce) {
  EXPECT_TRUE(LDBDisplay::bClassRegistered);
  LDBDisplay::GlobalInit();
  ASSERT_NE(meter_, nullptr);
}

TEST_F(LevelDisplayTest, DisabledIsUniformlyGreyWhateverTheLevel) {
  LDBDisplay display;
  display.Attach(meter_);
  display.level = Levels({12});
  kiv::EnableControl(meter_, false);
  const QImage picture = Picture();
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) ASSERT_EQ(picture.pixel(x, y) | 0xFF000000, kGrey);
  }
}

TEST_F(LevelDisplayTest, EnabledMeterIsPixelForPixelTheGeometry) {
  LDBDisplay display;
  display.Attach(meter_);
  kiv::EnableControl(meter_, true);
  for (const int dB : {-127, -12, 0, 6, 20}) {
    display.level = Levels({dB});
    const QImage picture = Picture();
    QImage expected(picture.size(), QImage::Format_RGB32);
    for (const kiv::MeterFill& fill : MeterFills(display.level, {0, 0, 490, 21}, true)) {
      const kiv::Colour c = kiv::ColourOf(fill.colour);
      for (int y = fill.y; y < fill.y + fill.height; ++y) {
        for (int x = fill.x; x < fill.x + fill.width; ++x) expected.setPixel(x, y, qRgb(c.red, c.green, c.blue));
      }
    }
    for (int y = 0; y < picture.height(); ++y) {
      for (int x = 0; x < picture.width(); ++x) {
        ASSERT_EQ(picture.pixel(x, y) | 0xFF000000, expected.pixel(x, y) | 0xFF000000) << dB << " at " << x << "," << y;
      }
    }
  }
}

TEST_F(LevelDisplayTest, GreenToZeroRedAbove) {
  LDBDisplay display;
  display.Attach(meter_);
  kiv::EnableControl(meter_, true);
  display.level = Levels({20});
  const QImage picture = Picture();
  EXPECT_EQ(picture.pixel(2, 10) | 0xFF000000, kGreen);
  EXPECT_EQ(picture.pixel(2 + 35 * 10, 10) | 0xFF000000, kGreen);
  EXPECT_EQ(picture.pixel(2 + 36 * 10, 10) | 0xFF000000, kRed);
  EXPECT_EQ(picture.pixel(2 + 48 * 10, 10) | 0xFF000000, kBlack);
  EXPECT_EQ(picture.pixel(1, 10) | 0xFF000000, kBlack);
  EXPECT_EQ(picture.pixel(2, 0) | 0xFF000000, kBlack);
}

TEST_F(LevelDisplayTest, MeterWithoutADisplayIsGrey) {
  kiv::EnableControl(meter_, true);
  EXPECT_EQ(Picture().pixel(100, 10) | 0xFF000000, kGrey);
  LDBDisplay display;
  display.level = Levels({0});
  display.Attach(meter_);
  EXPECT_EQ(Picture().pixel(2, 10) | 0xFF000000, kGreen);
  LDBDisplay::Detach(meter_);
  EXPECT_EQ(Picture().pixel(2, 10) | 0xFF000000, kGrey);
}

TEST_F(LevelDisplayTest, AccessibleTextSaysTheLevel) {
  LDBDisplay display;
  display.Attach(meter_);
  QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(kiv::WidgetOf(meter_));
  ASSERT_NE(accessible, nullptr);
  EXPECT_EQ(accessible->text(QAccessible::Name), "Level");
  kiv::EnableControl(meter_, true);
  display.level = Levels({-12});
  Picture();
  EXPECT_EQ(accessible->text(QAccessible::Name), "Level -12 dB");
  ASSERT_NE(accessible->valueInterface(), nullptr);
  EXPECT_EQ(accessible->valueInterface()->currentValue().toInt(), -12);
  display.level = Levels({-30, 3});
  Picture();
  EXPECT_EQ(accessible->text(QAccessible::Name), "Level 3 dB");
  kiv::EnableControl(meter_, false);
  Picture();
  EXPECT_EQ(accessible->text(QAccessible::Name), "Level");
}

TEST_F(LevelDisplayTest, EventsOfOtherControlsDrawNothing) {
  EXPECT_EQ(LDBDisplay::DBDEventHandler({kEventClassControl, kEventControlDraw}, nullptr), noErr);
}

}  // namespace
