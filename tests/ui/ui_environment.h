#pragma once

// A toolkit without a display for the tests of windows, and the desktop's services as the tests want them.

#include <functional>
#include <string>
#include <vector>

#include "platform/application_badge.h"
#include "platform/folders.h"
#include "platform/opener.h"
#include "platform/services.h"
#include "tests/support/hot_key_model.h"
#include "tests/support/temporary_folder.h"
#include "ui/window_ref.h"

namespace kiv::test {

class TestFolders : public Folders {
 public:
  std::optional<std::string> home;
  std::optional<std::string> resources = KIV_RESOURCES_FOLDER;
  std::optional<std::string> Home() override { return home; }
  std::optional<std::string> Resources() override { return resources; }
};

class RecordedOpener : public Opener {
 public:
  std::vector<std::string> opened;
  bool OpenFolder(const std::string& path) override {
    opened.push_back("folder " + path);
    return true;
  }
  bool OpenPage(const std::string& address) override {
    opened.push_back("page " + address);
    return true;
  }
};

class RecordedBadge : public ApplicationBadge {
 public:
  std::vector<std::string> calls;
  void Restore() override { calls.emplace_back("restore"); }
  void Overlay(const std::string& imagePath) override {
    calls.push_back("overlay " + imagePath.substr(imagePath.rfind('/') + 1));
  }
};

// The services of one test, in place while it lives.
class Desktop {
 public:
  Desktop();
  ~Desktop();
  Desktop(const Desktop&) = delete;
  Desktop& operator=(const Desktop&) = delete;

  TestFolders folders;
  RecordedOpener opener;
  RecordedBadge badge;
  HotKeyModel hotKeys;

 private:
  TemporaryFolder logs_;
  Services before_;
};

// What the toolkit has complained about since the last call.
std::vector<std::string> TakeToolkitWarnings();

// Runs the action as soon as the toolkit's loop, modal or not, runs next; several in the order of the calls.
void WhenLoopRuns(std::function<void()> action);

// A click on a button of a window, by its command or by the number of the control.
void ClickCommand(WindowRef window, const char* command);
void ClickControl(WindowRef window, int id);
// The close box.
void ClickCloseBox(WindowRef window);
void PressKey(WindowRef window, int toolkitKey);

}  // namespace kiv::test
