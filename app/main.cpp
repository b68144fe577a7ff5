// kiv-recorder: the program.

#include <sys/stat.h>
#include <unistd.h>

#include <QApplication>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>

#include "app/options.h"
#include "app/single_instance.h"
#include "app/sound_system.h"
#include "platform/posix/posix_clock.h"
#include "platform/posix/posix_folders.h"
#include "platform/qt/application_badge.h"
#include "platform/qt/file_panels.h"
#include "platform/qt/opener.h"
#include "platform/qt/preference_store.h"
#include "platform/services.h"
#include "platform/x11/x11_hot_keys.h"
#include "recorder/recording_queue.h"
#include "recorder/settings.h"
#include "ui/main_dialog.h"
#include "ui/resources.h"

namespace {

constexpr int kFailed = 1;

// Without any the toolkit would end the program as a crash does.
bool MayHaveDisplay() {
  for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "WAYLAND_SOCKET", "QT_QPA_PLATFORM"}) {
    const char* const value = std::getenv(name);
    if (value != nullptr && *value != '\0') return true;
  }
  return false;
}

// The program from its first window to its last, on the services that are there already.
void RunOnDesktop(int argc, char** argv, kiv::SingleInstance& instance) {
  // Not as the display name, which the toolkit would append to the title of every window.
  QApplication::setApplicationName("Kiv Recorder");
  QApplication::setDesktopFileName("com.oskmera.Kiv");
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);

  kiv::QtFilePanels panels;
  kiv::services.filePanels = &panels;
  kiv::QtOpener opener;
  kiv::services.opener = &opener;
  // An X server beside another kind of desktop would only give us the keys of its own windows. Such a desktop has none
  // for us until the port is filled through its portal for global short cuts, too.
  std::unique_ptr<kiv::X11HotKeys> hotKeys;
  if (QApplication::platformName() == "xcb") hotKeys = std::make_unique<kiv::X11HotKeys>();
  kiv::services.hotKeys = hotKeys.get();

  MainDialog* shown = nullptr;
  const auto bringToFront = [&shown] {
    if (shown != nullptr) shown->BringToFront();
  };
  kiv::QtApplicationBadge badge(kiv::ResourceByName("icons", "com.oskmera.Kiv"), bringToFront);
  kiv::services.badge = &badge;
  {
    MainDialog dialog;
    shown = &dialog;
    instance.Listen(bringToFront);
    dialog.Run();
    shown = nullptr;
  }
  kiv::services.badge = nullptr;
  kiv::services.hotKeys = nullptr;
  kiv::services.opener = nullptr;
  kiv::services.filePanels = nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  // Calls are nobody else's business: what the program makes, only its user may read.
  const mode_t usersMask = umask(077);
  // A file-size limit is to be a failed write, like a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  // Nor does a call end when nobody reads any more what the toolkit says.
  std::signal(SIGPIPE, SIG_IGN);

  int exitStatus = 0;
  const std::optional<kiv::Options> options = kiv::ReadOptions(argc, argv, exitStatus);
  if (!options) return exitStatus;
  if (!MayHaveDisplay()) {
    std::fputs("kiv-recorder: there is no display here\n", stderr);
    return kFailed;
  }
  kiv::SetCopyMask(usersMask);

  kiv::PosixFolders folders;
  kiv::services.folders = &folders;
  kiv::PosixClock clock;
  kiv::services.clock = &clock;
  gSettings.Load();

  kiv::SingleInstance instance(gSettings.dataFolder);
  if (!instance.Claim()) {
    const auto told = instance.TellTheOther();
    if (told == kiv::SingleInstance::Told::NoAnswer) {
      std::fputs("kiv-recorder: is running already and does not answer\n", stderr);
    }
    if (told != kiv::SingleInstance::Told::Gone) return 0;
  }
  kiv::QtPreferenceStore preferences;
  kiv::services.preferences = &preferences;
  kiv::SoundSystem sound;
  if (!sound.Open(*options)) return kFailed;
  // A copy whose folder is empty goes here, and no other folder is kept busy. The options' paths have been opened.
  if (chdir(gSettings.dataFolder) != 0) std::perror(gSettings.dataFolder);
  if (!folders.Resources()) std::fputs("kiv-recorder: its own files (interface, icons, prompts) are missing\n", stderr);

  RunOnDesktop(argc, argv, instance);
  preferences.Synchronize();
  // What ends after this has the system's clock and no desktop.
  kiv::services = {};
  return 0;
}
