#include "platform/file_panels.h"

#include "foundation/file.h"
#include "foundation/text.h"
#include "tests/support/services_override.h"

namespace {

class ScriptedPanels : public kiv::FilePanels {
 public:
  std::optional<std::string> ChooseFolder(kiv::NativeWindow* parent, const std::string& title,
                                          const std::string& startPlace) override {
    asked = "folder|" + title + "|" + startPlace;
    parentAsked = parent;
    return answer;
  }
  std::optional<std::string> ChooseFile(kiv::NativeWindow* parent, const std::string& title,
                                        const std::string& startPlace) override {
    asked = "file|" + title + "|" + startPlace;
    parentAsked = parent;
    return answer;
  }

  std::optional<std::string> answer;
  std::string asked;
  WindowRef parentAsked = nullptr;
};

class Panels : public testing::Test {
 protected:
  Panels() { kiv::services.filePanels = &panels_; }
  kiv::test::ServicesOverride services_;
  ScriptedPanels panels_;
  char out_[kiv::kTextSize] = "before";
};

TEST_F(Panels, ChosenPathsComeBack) {
  panels_.answer = "/music/on hold";
  int window = 0;
  const auto parent = reinterpret_cast<WindowRef>(&window);
  EXPECT_TRUE(LFile::BrowseFolder(parent, out_, "Locate", "/start"));
  EXPECT_STREQ(out_, "/music/on hold");
  EXPECT_EQ(panels_.asked, "folder|Locate|/start");
  EXPECT_EQ(panels_.parentAsked, parent);
  EXPECT_TRUE(LFile::BrowseReadFilePath(nullptr, out_, "Load"));
  EXPECT_EQ(panels_.asked, "file|Load|");
}
TEST_F(Panels, CancelEmptiesTheText) {
  EXPECT_FALSE(LFile::BrowseFolder(nullptr, out_, "Locate"));
  EXPECT_STREQ(out_, "");
}
TEST_F(Panels, PathThatDoesNotFitCountsAsCancelled) {
  panels_.answer = std::string(259, 'f');
  EXPECT_TRUE(LFile::BrowseFolder(nullptr, out_, ""));
  EXPECT_EQ(std::string(out_), *panels_.answer);
  EXPECT_FALSE(LFile::BrowseReadFilePath(nullptr, out_, ""));
  EXPECT_STREQ(out_, "");
  panels_.answer = std::string(255, 'f');
  EXPECT_TRUE(LFile::BrowseReadFilePath(nullptr, out_, ""));
  panels_.answer = std::string(256, 'f');
  EXPECT_FALSE(LFile::BrowseReadFilePath(nullptr, out_, ""));
  panels_.answer = std::string(260, 'f');
  EXPECT_FALSE(LFile::BrowseFolder(nullptr, out_, ""));
}
TEST_F(Panels, NoneInstalledCountsAsCancelled) {
  kiv::services.filePanels = nullptr;
  EXPECT_FALSE(LFile::BrowseFolder(nullptr, out_, "Locate"));
  EXPECT_STREQ(out_, "");
  EXPECT_FALSE(LFile::BrowseReadFilePath(nullptr, out_, "Load"));
}

}  // namespace
