#include "ui/list_view.h"

#include <gtest/gtest.h>

#include <QWidget>
#include <algorithm>

#include "ui/toolkit_window.h"

namespace {

constexpr std::uint32_t kNoColumn = kiv::FourCC("cl13");

class Owner : public LListViewNotify {
 public:
  int selections = 0;
  int doubleClicks = 0;
  std::vector<std::pair<std::uint32_t, std::string>> edits;
  void EvListSelChanged() override { ++selections; }
  void EvListDoubleClicked() override { ++doubleClicks; }
  void EvListEditComplete(std::uint32_t item, const char* text) override { edits.emplace_back(item, text); }
};

class ListViewTest : public testing::Test {
 protected:
  ListViewTest() : browser_(kiv::ControlRefOf(&widget_)) { gListViewStorage.SetCount(4); }
  ~ListViewTest() override { gListViewStorage.SetCount(0); }
  std::string Read(std::uint32_t item, std::uint32_t property) {
    LListCell cell;
    EXPECT_EQ(LListViewStorage::DBDataCallback(browser_, item, property, cell, false), noErr);
    return cell.text;
  }
  OSStatus Edit(std::uint32_t item, std::uint32_t property, const std::string& text) {
    LListCell cell;
    cell.text = text;
    return LListViewStorage::DBDataCallback(browser_, item, property, cell, true);
  }
  bool Before(std::uint32_t one, std::uint32_t two, std::uint32_t property) {
    return LListViewStorage::DBCompareCallback(browser_, one, two, property);
  }
  QWidget widget_;
  ControlRef browser_;
};

TEST_F(ListViewTest, ReadsTheTextOfEachColumn) {
  for (int column = 0; column < LListViewStorage::kColumns; ++column) {
    gListViewStorage.SetText(1, column, std::to_string(column).c_str());
  }
  for (int column = 0; column < LListViewStorage::kColumns; ++column) {
    EXPECT_EQ(Read(1, LListViewStorage::pID[column]), std::to_string(column));
  }
  EXPECT_EQ(LListViewStorage::pID[0], kiv::FourCC("cl01"));
  EXPECT_EQ(LListViewStorage::pID[11], kiv::FourCC("cl12"));
}

TEST_F(ListViewTest, WhatIsMissingReadsAsEmpty) {
  EXPECT_EQ(Read(0, kiv::FourCC("cl01")), "");
  gListViewStorage.MakeRow(0);
  EXPECT_EQ(Read(0, kiv::FourCC("cl05")), "");
  EXPECT_EQ(Read(4, kiv::FourCC("cl01")), "");
  EXPECT_EQ(Read(0xFFFFFFFF, kiv::FourCC("cl01")), "");
}

TEST_F(ListViewTest, IconComesWithTheFirstColumnOnly) {
  gListViewStorage.MakeRow(2)->icon = 77;
  LListCell cell;
  LListViewStorage::DBDataCallback(browser_, 2, kiv::FourCC("cl01"), cell, false);
  EXPECT_EQ(cell.icon, 77);
  cell.icon = -1;
  LListViewStorage::DBDataCallback(browser_, 2, kiv::FourCC("cl02"), cell, false);
  EXPECT_EQ(cell.icon, -1);
}

TEST_F(ListViewTest, EditingTheFirstColumnStoresAndTells) {
  Owner owner;
  LListViewNotify::SetOwner(browser_, &owner);
  gListViewStorage.SetText(1, 0, "old");
  EXPECT_EQ(Edit(1, kiv::FourCC("cl01"), "new"), noErr);
  EXPECT_EQ(Read(1, kiv::FourCC("cl01")), "new");
  EXPECT_EQ(owner.edits, (std::vector<std::pair<std::uint32_t, std::string>>{{1, "new"}}));
}

TEST_F(ListViewTest, EditingAnotherColumnChangesNothing) {
  Owner owner;
  LListViewNotify::SetOwner(browser_, &owner);
  gListViewStorage.SetText(1, 4, "old");
  EXPECT_EQ(Edit(1, kiv::FourCC("cl05"), "new"), noErr);
  EXPECT_EQ(Read(1, kiv::FourCC("cl05")), "old");
  EXPECT_TRUE(owner.edits.empty());
}

TEST_F(ListViewTest, EditWithoutAnOwnerOnlyStores) {
  gListViewStorage.SetText(1, 0, "old");
  EXPECT_EQ(Edit(1, kiv::FourCC("cl01"), "new"), noErr);
  EXPECT_EQ(Read(1, kiv::FourCC("cl01")), "new");
}

TEST_F(ListViewTest, EditIsCutAt259Bytes) {
  gListViewStorage.MakeRow(1);
  Edit(1, kiv::FourCC("cl01"), std::string(300, 'x'));
  EXPECT_EQ(Read(1, kiv::FourCC("cl01")), std::string(259, 'x'));
}

TEST_F(ListViewTest, EditOfARowThatIsNotThereTellsButStoresNothing) {
  Owner owner;
  LListViewNotify::SetOwner(browser_, &owner);
  EXPECT_EQ(Edit(9, kiv::FourCC("cl01"), "x"), noErr);
  EXPECT_EQ(owner.edits.size(), 1U);
  EXPECT_EQ(Read(9, kiv::FourCC("cl01")), "");
}

TEST_F(ListViewTest, EveryItemIsEditable) {
  LListCell cell;
  EXPECT_EQ(LListViewStorage::DBDataCallback(browser_, 99, kDataBrowserItemIsEditableProperty, cell, false), noErr);
  EXPECT_TRUE(cell.editable);
}

TEST_F(ListViewTest, UnknownPropertyIsNotSupported) {
  LListCell cell;
  EXPECT_EQ(LListViewStorage::DBDataCallback(browser_, 0, kNoColumn, cell, false), errDataBrowserPropertyNotSupported);
  EXPECT_EQ(LListViewStorage::DBDataCallback(browser_, 0, kNoColumn, cell, true), errDataBrowserPropertyNotSupported);
}

TEST_F(ListViewTest, SortsWithoutCaseByTheColumnThenThoseToItsRight) {
  gListViewStorage.SetText(0, 2, "same");
  gListViewStorage.SetText(1, 2, "SAME");
  gListViewStorage.SetText(0, 3, "b");
  gListViewStorage.SetText(1, 3, "A");
  EXPECT_TRUE(Before(1, 0, kiv::FourCC("cl03")));
  EXPECT_FALSE(Before(0, 1, kiv::FourCC("cl03")));
}

TEST_F(ListViewTest, EqualRowsSortByNumberWhateverStandsToTheLeft) {
  gListViewStorage.SetText(0, 0, "z");
  gListViewStorage.SetText(1, 0, "a");
  for (int column = 3; column < LListViewStorage::kColumns; ++column) {
    gListViewStorage.SetText(0, column, "same");
    gListViewStorage.SetText(1, column, "same");
  }
  EXPECT_TRUE(Before(0, 1, kiv::FourCC("cl04")));
  EXPECT_FALSE(Before(1, 0, kiv::FourCC("cl04")));
  EXPECT_FALSE(Before(0, 0, kiv::FourCC("cl04")));
}

TEST_F(ListViewTest, UnknownSortPropertyLooksAtTheFirstColumnOnly) {
  gListViewStorage.SetText(0, 0, "A");
  gListViewStorage.SetText(1, 0, "a");
  gListViewStorage.SetText(0, 1, "1");
  gListViewStorage.SetText(1, 1, "2");
  EXPECT_FALSE(Before(0, 1, kNoColumn));
  EXPECT_FALSE(Before(1, 0, kNoColumn));
  gListViewStorage.SetText(1, 0, "b");
  EXPECT_TRUE(Before(0, 1, kNoColumn));
}

TEST_F(ListViewTest, MissingRowsSortAsEmpty) {
  gListViewStorage.SetText(1, 0, "a");
  EXPECT_TRUE(Before(0, 1, kiv::FourCC("cl01")));
  EXPECT_TRUE(Before(99, 1, kiv::FourCC("cl01")));
  EXPECT_TRUE(Before(0, 2, kiv::FourCC("cl01")));
}

TEST_F(ListViewTest, TellsSelectionAndDoubleClickOnly) {
  Owner owner;
  LListViewNotify::DBNotificationCallback(browser_, 0, kDataBrowserSelectionSetChanged);
  EXPECT_EQ(owner.selections, 0);
  LListViewNotify::SetOwner(browser_, &owner);
  for (std::uint32_t message = 0; message < 30; ++message) {
    LListViewNotify::DBNotificationCallback(browser_, 0, message);
  }
  EXPECT_EQ(owner.selections, 1);
  EXPECT_EQ(owner.doubleClicks, 1);
}

TEST_F(ListViewTest, DisposeFreesTheShownRowsAndLetsGoOfTheOwner) {
  Owner owner;
  LListViewNotify::SetOwner(browser_, &owner);
  for (std::uint32_t item = 0; item < 3; ++item) gListViewStorage.SetText(item, 0, "x");
  EXPECT_EQ(LListViewStorage::DBControlEventHandler({kEventClassControl, kEventControlDispose}, browser_, {0, 2, 99}),
            eventNotHandledErr);
  EXPECT_FALSE(gListViewStorage.HasRow(0));
  EXPECT_TRUE(gListViewStorage.HasRow(1));
  EXPECT_FALSE(gListViewStorage.HasRow(2));
  EXPECT_EQ(LListViewNotify::OwnerOf(browser_), nullptr);
  EXPECT_EQ(gListViewStorage.Count(), 4U);
}

TEST_F(ListViewTest, OtherControlEventsFreeNothing) {
  gListViewStorage.SetText(0, 0, "x");
  LListViewStorage::DBControlEventHandler({kEventClassControl, kEventControlDraw}, browser_, {0});
  EXPECT_TRUE(gListViewStorage.HasRow(0));
}

}  // namespace
