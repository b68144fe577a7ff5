#include "ui/tab_view.h"

#include "ui/window.h"

namespace {

constexpr int kPaneBase = 80;
constexpr int kMaxPanes = 9;

}  // namespace

LTabView::~LTabView() {
  kiv::RemoveValueHandler(tabControl_, this);
}

void LTabView::Install(WindowRef window, ControlRef tabControl) {
  window_ = window;
  tabControl_ = tabControl;
  currentTab_ = 0;  // A window that opens again has not been turned yet.
  kiv::InstallValueHandler(tabControl, ValueChanged, this);
}

void LTabView::ValueChanged(ControlRef control, void* userData) {
  auto* view = static_cast<LTabView*>(userData);
  if (control == nullptr) {
    // The control is gone.
    view->tabControl_ = nullptr;
    view->window_ = nullptr;
    return;
  }
  _TabViewEventHandler(kiv::Event(kEventClassControl, kEventControlValueFieldChanged), userData);
}

OSStatus LTabView::_TabViewEventHandler(const kiv::Event&, void* userData) {
  auto& view = *static_cast<LTabView*>(userData);
  const auto value = static_cast<std::int16_t>(kiv::ControlValue(view.tabControl_));
  if (value == view.currentTab_) return eventNotHandledErr;
  kiv::ClearKeyboardFocus(view.window_);
  for (int tab = 1; tab <= kMaxPanes; ++tab) {
    const ControlRef pane = view.GetControl(kPaneBase + tab);
    if (pane == nullptr) break;
    kiv::ShowControl(pane, tab == value);
  }
  kiv::RedrawControl(view.tabControl_);
  view.currentTab_ = value;
  return noErr;
}
