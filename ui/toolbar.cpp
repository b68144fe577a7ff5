#include "ui/toolbar.h"

#include <cstring>
#include <utility>

namespace kiv {
namespace {

// Our own drawing for an icon of the desktop.
const char* SystemIconName(std::uint32_t systemIcon) {
  return systemIcon == kiv::FourCC("tcus") ? "preferences" : "";
}

}  // namespace

ToolBar::ToolBar(std::string identifier, UiEventHandler handler, void* userData)
    : identifier_(std::move(identifier)), handler_(handler), userData_(userData) {}

std::vector<std::string> ToolBar::AskIdentifiers(std::uint32_t kind) const {
  std::vector<std::string> identifiers;
  Event event(kEventClassToolbar, kind);
  SetPointer(event, kEventParamMutableArray, &identifiers);
  handler_(event, userData_);
  return identifiers;
}

std::vector<std::string> ToolBar::DefaultIdentifiers() const {
  return AskIdentifiers(kEventToolbarGetDefaultIdentifiers);
}

std::vector<std::string> ToolBar::AllowedIdentifiers() const {
  return AskIdentifiers(kEventToolbarGetAllowedIdentifiers);
}

bool ToolBar::CreateItem(const std::string& identifier, ToolBarItem& item) const {
  item = {};
  Event event(kEventClassToolbar, kEventToolbarCreateItemWithIdentifier);
  SetPointer(event, kEventParamToolbarItemIdentifier, &identifier);
  SetPointer(event, kEventParamToolbarItem, &item);
  if (handler_(event, userData_) == noErr && !item.identifier.empty()) return true;
  if (identifier != kToolBarSpace && identifier != kToolBarSeparator && identifier != kToolBarFlexibleSpace) {
    return false;
  }
  item.identifier = identifier;
  return true;
}

void ToolBar::Build() {
  items_.clear();
  for (const std::string& identifier : DefaultIdentifiers()) {
    ToolBarItem item;
    if (CreateItem(identifier, item)) items_.push_back(std::move(item));
  }
}

void ToolBar::SetLabel(std::size_t index, const std::string& label) {
  if (std::exchange(items_[index].label, label) != label) Changed(index);
}

void ToolBar::SetIcon(std::size_t index, const std::string& iconName) {
  if (std::exchange(items_[index].iconName, iconName) != iconName) Changed(index);
}

void ToolBar::Changed(std::size_t index) {
  if (observer_) observer_(index);
}

}  // namespace kiv

void LToolBar::SetToolBarItemText(std::uint32_t command, const char* text) {
  if (toolbar == nullptr) return;
  for (std::size_t i = 0; i < toolbar->Items().size(); ++i) {
    if (toolbar->Items()[i].command == command) toolbar->SetLabel(i, text);
  }
}

void LToolBar::SetToolBarItemIcon(std::uint32_t command, const char* name) {
  if (toolbar == nullptr) return;
  for (std::size_t i = 0; i < toolbar->Items().size(); ++i) {
    if (toolbar->Items()[i].command == command) toolbar->SetIcon(i, name);
  }
}

OSStatus LToolBar::_toolbarEventHandler(const kiv::Event& event, void* userData) {
  return static_cast<LToolBar*>(userData)->toolbarEventHandler(event);
}

OSStatus LToolBar::toolbarEventHandler(const kiv::Event& event) {
  if (event.Class() != kEventClassToolbar) return eventNotHandledErr;
  switch (event.Kind()) {
    case kEventToolbarGetDefaultIdentifiers: {
      auto* list = kiv::PointerOf<std::vector<std::string>>(event, kiv::kEventParamMutableArray);
      if (list == nullptr) return noErr;
      for (std::size_t i = 0; i < count_; ++i) {
        if (items_[i].inDefaultSet == 0) continue;
        list->emplace_back(items_[i].identifier != nullptr ? items_[i].identifier : kiv::kToolBarSpace);
      }
      return noErr;
    }
    case kEventToolbarGetAllowedIdentifiers: {
      auto* list = kiv::PointerOf<std::vector<std::string>>(event, kiv::kEventParamMutableArray);
      if (list == nullptr) return noErr;
      for (std::size_t i = 0; i < count_; ++i) {
        if (items_[i].identifier != nullptr) list->emplace_back(items_[i].identifier);
      }
      list->emplace_back(kiv::kToolBarSeparator);
      list->emplace_back(kiv::kToolBarSpace);
      list->emplace_back(kiv::kToolBarFlexibleSpace);
      return noErr;
    }
    case kEventToolbarCreateItemWithIdentifier: {
      const auto* wanted = kiv::PointerOf<const std::string>(event, kiv::kEventParamToolbarItemIdentifier);
      auto* item = kiv::PointerOf<kiv::ToolBarItem>(event, kiv::kEventParamToolbarItem);
      if (wanted == nullptr || item == nullptr) return noErr;
      for (std::size_t i = 0; i < count_; ++i) {
        const LToolBarItem& row = items_[i];
        if (row.identifier == nullptr || *wanted != row.identifier) continue;
        *item = {*wanted, row.command, row.systemIcon == 0 ? row.iconName : kiv::SystemIconName(row.systemIcon),
                 row.label, row.helpText};
        break;
      }
      return noErr;
    }
    default:
      return eventNotHandledErr;
  }
}
