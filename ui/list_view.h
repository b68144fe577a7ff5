#pragma once

// Rows of a list: texts of up to 12 columns and an icon each, how they sort, how the first column is edited, and how a
// list tells its owner what happened.
//
//   Text     UTF-8 bytes; edits are cut at 259 bytes. A row or text that is not there counts as empty.
//   Threads  main.
//   Owns     the storage owns rows and texts; a list that goes frees the rows it shows.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ui/ui_event.h"
#include "ui/window_ref.h"

inline constexpr std::uint32_t kDataBrowserItemIsEditableProperty = 3;
inline constexpr std::uint32_t kDataBrowserItemDoubleClicked = 7;
inline constexpr std::uint32_t kDataBrowserSelectionSetChanged = 14;
inline constexpr OSStatus errDataBrowserPropertyNotSupported = -4979;

// The owner of a list.
class LListViewNotify {
 public:
  LListViewNotify() = default;
  LListViewNotify(const LListViewNotify&) = delete;
  LListViewNotify& operator=(const LListViewNotify&) = delete;

  // The order of the virtual operations is part of the interface.
  virtual void EvListSelChanged();
  virtual void EvListDoubleClicked();
  virtual void EvListEditComplete(std::uint32_t item, const char* text);

  // The list control's owner; null for none.
  static void SetOwner(ControlRef browser, LListViewNotify* owner);
  static LListViewNotify* OwnerOf(ControlRef browser);

  static void DBNotificationCallback(ControlRef browser, std::uint32_t item, std::uint32_t message);

 protected:
  // Nobody deletes an owner through this interface.
  ~LListViewNotify() = default;
};

// What a list asks of a cell and gets, or sets.
struct LListCell {
  std::string text;
  std::int32_t icon = -1;  // An icon type; -1 for none.
  bool editable = false;
};

class LListViewStorage {
 public:
  static constexpr int kColumns = 12;
  static const std::uint32_t pID[kColumns];

  struct Row {
    std::int32_t icon = -1;
    std::unique_ptr<std::string> columns[kColumns];
  };

  // Empty rows from 0 to count - 1.
  void SetCount(std::uint32_t count);
  std::uint32_t Count() const { return static_cast<std::uint32_t>(rows_.size()); }
  // The row, made when it was empty; null when item is not below Count.
  Row* MakeRow(std::uint32_t item);
  void SetText(std::uint32_t item, int column, const char* text);
  bool HasRow(std::uint32_t item) const { return item < rows_.size() && rows_[item] != nullptr; }

  static OSStatus DBDataCallback(ControlRef browser, std::uint32_t item, std::uint32_t property, LListCell& itemData,
                                 bool setValue);
  // Whether itemOne sorts before itemTwo.
  static bool DBCompareCallback(ControlRef browser, std::uint32_t itemOne, std::uint32_t itemTwo,
                                std::uint32_t sortProperty);
  // On dispose of the list control: frees the rows of the items it shows and lets go of its owner; passes it on.
  static OSStatus DBControlEventHandler(const kiv::Event& event, ControlRef browser,
                                        const std::vector<std::uint32_t>& items);

 private:
  // The text, never null.
  const char* Text(std::uint32_t item, int column) const;

  std::vector<std::unique_ptr<Row>> rows_;
};

// The rows of every list of the program.
extern LListViewStorage gListViewStorage;
