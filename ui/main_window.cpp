#include "ui/main_window.h"

#include "platform/application_badge.h"
#include "platform/folders.h"
#include "platform/hot_keys.h"
#include "platform/services.h"
#include "ui/application_loop.h"
#include "ui/command_id.h"
#include "ui/help.h"
#include "ui/level_display.h"
#include "ui/message_box.h"
#include "ui/resources.h"
#include "ui/window.h"

namespace {

constexpr std::uint32_t kStartUp = kiv::FourCC("iNit");

// The last handler of the application: what is left when the frame has passed a command on.
OSStatus HandleAbout(const kiv::Event& event, void*) {
  if (kiv::CommandOf(event) != kiv::kCommandAbout) return eventNotHandledErr;
  kiv::ShowAboutBox();
  return noErr;
}

}  // namespace

void LMainWindow::Close() {
  kiv::QuitApplicationEventLoop();
}

void LMainWindow::EvSize() {}

void LMainWindow::EnableMainMenu() {}

void LMainWindow::CommandPress(int) {}

void LMainWindow::Run() {
  LDBDisplay::GlobalInit();
  kiv::EventQueue& queue = kiv::EventQueue::Main();
  kiv::InstallApplicationHandler(HandleAbout, nullptr, {{kEventClassCommand, kEventCommandProcess}});
  kiv::InstallApplicationHandler(_appEventHandler, this,
                                 {{kStartUp, kStartUp},
                                  {kEventClassCommand, kEventCommandProcess},
                                  {kEventClassMenu, kEventMenuEnableItems},
                                  {kEventClassApplication, kEventAppMayQuit}});
  const auto startUp = queue.Install(kStartUp, kStartUp, [this](const kiv::Event& event) {
    return _appEventHandler(event, this) != eventNotHandledErr;
  });
  const auto removeHandlers = [&] {
    queue.Remove(startUp);
    kiv::RemoveApplicationHandler(_appEventHandler, this);
    kiv::RemoveApplicationHandler(HandleAbout, nullptr);
  };

  window_ = kiv::CreateWindowFromInterface("MainWindow");
  kiv::InstallWindowHandler(window_, _winEventHandler, this,
                            {{kEventClassWindow, kEventWindowClose}, {kEventClassWindow, kEventWindowResizeCompleted}});
  kiv::SetMenuBarFromInterface(window_, "MenuBar");

  if (kiv::services.folders == nullptr || !kiv::services.folders->Resources()) {
    // A program without its own files has nothing to show.
    kiv::DisposeWindow(window_);
    window_ = nullptr;
    removeHandlers();
    return;
  }

  kiv::ActivateWindow(window_);
  initialised_ = 0;
  queue.Post(kiv::Event(kStartUp, kStartUp));
  kiv::RunApplicationEventLoop();

  kiv::CloseHelp();
  if (initialised_ != 0) {
    kiv::HideWindow(window_);
    DestroyDialog();
  }
  kiv::DisposeWindow(window_);
  window_ = nullptr;
  removeHandlers();
}

void LMainWindow::SetApplicationBadge(const char* name) {
  const std::string picture = kiv::ResourceByName("icons", name);
  if (picture.empty() || kiv::services.badge == nullptr) return;
  kiv::services.badge->Restore();
  kiv::services.badge->Overlay(picture);
}

void LMainWindow::ResetApplicationBadge() {
  if (kiv::services.badge != nullptr) kiv::services.badge->Restore();
}

void LMainWindow::InstallKeyHandler() {
  kiv::InstallKeyHandler(
      window_,
      [](int key, void* userData) {
        // Where the desktop hands us a key twice, as a hot key and as a press, it acts once.
        const kiv::HotKeys* hotKeys = kiv::services.hotKeys;
        if (hotKeys != nullptr && hotKeys->Holds(key >> 16)) return false;
        static_cast<LMainWindow*>(userData)->CommandPress(key);
        return true;
      },
      this);
}

OSStatus LMainWindow::_appEventHandler(const kiv::Event& event, void* userData) {
  return static_cast<LMainWindow*>(userData)->appEventHandler(event);
}

OSStatus LMainWindow::_winEventHandler(const kiv::Event& event, void* userData) {
  return static_cast<LMainWindow*>(userData)->winEventHandler(event);
}

OSStatus LMainWindow::appEventHandler(const kiv::Event& event) {
  if (event.Class() == kStartUp) {
    // A loop that is ending has shown nothing and has nothing to take down.
    if (initialised_ == 0 && !kiv::IsQuitting()) {
      initialised_ = 1;
      kiv::DispatchWaitingEvents();
      InitDialog();
      kiv::ShowWindow(window_);
    }
  } else if (event.Class() == kEventClassCommand) {
    const std::uint32_t command = kiv::CommandOf(event);
    if (command == kiv::kCommandQuit) {
      if (CmCancel()) kiv::QuitApplicationEventLoop();
    } else {
      Command(kiv::TranslateCommand(command));
    }
  } else if (event.Class() == kEventClassMenu) {
    EnableMainMenu();
  } else if (event.Class() == kEventClassApplication) {
    // The one event that is ended: by that the session's manager hears of the refusal.
    if (!CmCancel()) return noErr;
  }
  // Passed on.
  return eventNotHandledErr;
}

OSStatus LMainWindow::winEventHandler(const kiv::Event& event) {
  if (event.Class() != kEventClassWindow) return noErr;
  if (event.Kind() == kEventWindowResizeCompleted) {
    EvSize();
  } else if (event.Kind() == kEventWindowClose) {
    if (CmCancel()) kiv::QuitApplicationEventLoop();
  }
  return noErr;
}
