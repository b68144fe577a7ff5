#include "ui/list_view.h"

#include <strings.h>

#include <algorithm>
#include <iterator>

#include "foundation/text.h"
#include "ui/controls.h"

LListViewStorage gListViewStorage;

namespace {

constexpr std::uint32_t kSignature = kiv::FourCC("nKIV");
constexpr std::uint32_t kOwnerTag = kiv::FourCC("tLVN");

// kColumns when there is no such column.
int ColumnOf(std::uint32_t property) {
  const auto* id = std::find(std::begin(LListViewStorage::pID), std::end(LListViewStorage::pID), property);
  return static_cast<int>(id - std::begin(LListViewStorage::pID));
}

}  // namespace

void LListViewNotify::EvListSelChanged() {}

void LListViewNotify::EvListDoubleClicked() {}

void LListViewNotify::EvListEditComplete(std::uint32_t, const char*) {}

void LListViewNotify::SetOwner(ControlRef browser, LListViewNotify* owner) {
  kiv::SetControlProperty(browser, kSignature, kOwnerTag, owner);
}

LListViewNotify* LListViewNotify::OwnerOf(ControlRef browser) {
  return static_cast<LListViewNotify*>(kiv::GetControlProperty(browser, kSignature, kOwnerTag));
}

void LListViewNotify::DBNotificationCallback(ControlRef browser, std::uint32_t, std::uint32_t message) {
  LListViewNotify* owner = OwnerOf(browser);
  if (owner == nullptr) return;
  if (message == kDataBrowserItemDoubleClicked) {
    owner->EvListDoubleClicked();
  } else if (message == kDataBrowserSelectionSetChanged) {
    owner->EvListSelChanged();
  }
}

const std::uint32_t LListViewStorage::pID[kColumns] = {kiv::FourCC("cl01"), kiv::FourCC("cl02"), kiv::FourCC("cl03"),
                                                       kiv::FourCC("cl04"), kiv::FourCC("cl05"), kiv::FourCC("cl06"),
                                                       kiv::FourCC("cl07"), kiv::FourCC("cl08"), kiv::FourCC("cl09"),
                                                       kiv::FourCC("cl10"), kiv::FourCC("cl11"), kiv::FourCC("cl12")};

void LListViewStorage::SetCount(std::uint32_t count) {
  rows_.clear();
  rows_.resize(count);
}

LListViewStorage::Row* LListViewStorage::MakeRow(std::uint32_t item) {
  if (item >= rows_.size()) return nullptr;
  if (rows_[item] == nullptr) rows_[item] = std::make_unique<Row>();
  return rows_[item].get();
}

void LListViewStorage::SetText(std::uint32_t item, int column, const char* text) {
  Row* row = MakeRow(item);
  if (row != nullptr && column >= 0 && column < kColumns) row->columns[column] = std::make_unique<std::string>(text);
}

const char* LListViewStorage::Text(std::uint32_t item, int column) const {
  if (!HasRow(item) || rows_[item]->columns[column] == nullptr) return "";
  return rows_[item]->columns[column]->c_str();
}

OSStatus LListViewStorage::DBDataCallback(ControlRef browser, std::uint32_t item, std::uint32_t property,
                                          LListCell& itemData, bool setValue) {
  LListViewStorage& storage = gListViewStorage;
  const int column = ColumnOf(property);
  if (column < kColumns && !setValue) {
    itemData.text = storage.Text(item, column);
    if (column == 0 && storage.HasRow(item)) itemData.icon = storage.rows_[item]->icon;
    return noErr;
  }
  if (column < kColumns) {
    // Only the first column can be edited; the others answer that they were.
    if (column != 0) return noErr;
    char text[kiv::kTextSize];
    tstrmcpy(text, itemData.text.c_str());
    if (storage.HasRow(item)) storage.rows_[item]->columns[0] = std::make_unique<std::string>(text);
    if (LListViewNotify* owner = LListViewNotify::OwnerOf(browser)) owner->EvListEditComplete(item, text);
    return noErr;
  }
  if (property == kDataBrowserItemIsEditableProperty) {
    itemData.editable = true;
    return noErr;
  }
  return errDataBrowserPropertyNotSupported;
}

bool LListViewStorage::DBCompareCallback(ControlRef, std::uint32_t itemOne, std::uint32_t itemTwo,
                                         std::uint32_t sortProperty) {
  const LListViewStorage& storage = gListViewStorage;
  const int first = ColumnOf(sortProperty);
  if (first == kColumns) return strcasecmp(storage.Text(itemOne, 0), storage.Text(itemTwo, 0)) < 0;
  for (int column = first; column < kColumns; ++column) {
    const int order = strcasecmp(storage.Text(itemOne, column), storage.Text(itemTwo, column));
    if (order != 0) return order < 0;
  }
  return itemOne < itemTwo;
}

OSStatus LListViewStorage::DBControlEventHandler(const kiv::Event& event, ControlRef browser,
                                                 const std::vector<std::uint32_t>& items) {
  if (event.Class() != kEventClassControl || event.Kind() != kEventControlDispose) return eventNotHandledErr;
  for (const std::uint32_t item : items) {
    if (gListViewStorage.HasRow(item)) gListViewStorage.rows_[item].reset();
  }
  LListViewNotify::SetOwner(browser, nullptr);
  return eventNotHandledErr;
}
