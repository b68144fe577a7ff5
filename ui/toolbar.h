#pragma once

// The tool bar of a window: items from a table, changed later by their command.
//   Standard items   spaces and separators are made by the bar itself.
//   Threads  main.
//   Owns     the table and its texts live as long as the bar; a bar lives as long as the window that it is attached to,
//            and is gone from the window when it goes first.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "ui/ui_event.h"
#include "ui/window_ref.h"

// One row of a controller's table, fields in this order.
struct LToolBarItem {
  std::uint32_t command;     // Sent when the item is clicked.
  std::uint32_t systemIcon;  // An icon of the desktop; 0 for one of our own.
  const char* iconName;      // The icon's name when systemIcon is 0.
  const char* identifier;    // Null for a row that is only a blank space.
  const char* label;
  const char* helpText;
  std::uint32_t inDefaultSet;
};

namespace kiv {

inline constexpr char kToolBarSeparator[] = "com.apple.hitoolbox.toolbar.separator";
inline constexpr char kToolBarSpace[] = "com.apple.hitoolbox.toolbar.space";
inline constexpr char kToolBarFlexibleSpace[] = "com.apple.hitoolbox.toolbar.flexiblespace";

inline constexpr std::uint32_t kEventParamMutableArray = kiv::FourCC("marr");
inline constexpr std::uint32_t kEventParamToolbarItem = kiv::FourCC("tbit");
inline constexpr std::uint32_t kEventParamToolbarItemIdentifier = kiv::FourCC("tbii");
inline constexpr std::uint32_t kTypePointer = kiv::FourCC("ptr ");

// Pointers travel in events as numbers.
template <typename T>
void SetPointer(Event& event, std::uint32_t name, T* pointer) {
  event.Set(name, kTypePointer, reinterpret_cast<std::uintptr_t>(pointer));
}
// Null when the event has none.
template <typename T>
T* PointerOf(const Event& event, std::uint32_t name) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the number is the one that SetPointer made of a pointer.
  return reinterpret_cast<T*>(event.Get<std::uintptr_t>(name, kTypePointer).value_or(0));
}

// An item as it stands in the bar.
struct ToolBarItem {
  std::string identifier;
  std::uint32_t command = 0;
  std::string iconName;
  std::string label;
  std::string helpText;
};

// The bar itself. It asks its handler, by events of the tool-bar class, which items it has; parameters of these events
// are pointers: to a list of identifiers, to the identifier asked for, to the item to be filled.
class ToolBar {
 public:
  ToolBar(std::string identifier, UiEventHandler handler, void* userData);
  ToolBar(const ToolBar&) = delete;
  ToolBar& operator=(const ToolBar&) = delete;

  std::vector<std::string> DefaultIdentifiers() const;
  std::vector<std::string> AllowedIdentifiers() const;
  // The item that the handler makes for the identifier; one without a command for standard items; false for others.
  bool CreateItem(const std::string& identifier, ToolBarItem& item) const;

  // Takes the default items.
  void Build();
  const std::vector<ToolBarItem>& Items() const { return items_; }
  void SetLabel(std::size_t index, const std::string& label);
  void SetIcon(std::size_t index, const std::string& iconName);

  // Called after every change of an item with its index.
  void SetObserver(std::function<void(std::size_t index)> observer) { observer_ = std::move(observer); }
  const std::string& Identifier() const { return identifier_; }

 private:
  std::vector<std::string> AskIdentifiers(std::uint32_t kind) const;
  void Changed(std::size_t index);

  std::string identifier_;
  UiEventHandler handler_;
  void* userData_;
  std::vector<ToolBarItem> items_;
  std::function<void(std::size_t)> observer_;
};

// Shows the bar at the top of the window. Clicks send the item's command to the window.
void AttachToolBar(WindowRef window, ToolBar& toolBar);

}  // namespace kiv

using HIToolbarRef = kiv::ToolBar*;

class LToolBar {
 public:
  LToolBar(const LToolBarItem* items, std::size_t count) : items_(items), count_(count) {}

  // Items without that command stay as they are; a command that no item has changes nothing.
  void SetToolBarItemText(std::uint32_t command, const char* text);
  void SetToolBarItemIcon(std::uint32_t command, const char* name);

  static OSStatus _toolbarEventHandler(const kiv::Event& event, void* userData);

  // The bar that the two setters change; the owner creates it and attaches it to its window.
  HIToolbarRef toolbar = nullptr;

 private:
  OSStatus toolbarEventHandler(const kiv::Event& event);

  const LToolBarItem* items_;
  std::size_t count_;
};
