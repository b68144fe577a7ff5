#include "ui/tab_view.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDir>
#include <QWidget>
#include <functional>

#include "tests/support/temporary_folder.h"
#include "tests/ui/ui_environment.h"
#include "ui/toolkit_window.h"
#include "ui/window.h"

namespace {

using kiv::test::ClickCloseBox;
using kiv::test::Desktop;
using kiv::test::WhenLoopRuns;
using testing::ElementsAre;

class TabDialog : public LDialog {
 public:
  LTabView tabs;
  std::function<void()> inLoop;
  void InitDialog() override {
    tabs.Install(Window(), GetControl(80));
    WhenLoopRuns(inLoop);
  }
};

std::vector<int> ShownPanes(LDialog& dialog) {
  std::vector<int> shown;
  for (int pane = 81; pane <= 89; ++pane) {
    if (kiv::IsControlShown(dialog.GetControl(pane))) shown.push_back(pane);
  }
  return shown;
}

TEST(TabView, ChoosingATabShowsItsPaneAlone) {
  Desktop desktop;
  TabDialog dialog;
  dialog.inLoop = [&] {
    for (const int tab : {3, 5, 1, 2}) {
      dialog.SetValue(80, tab);
      EXPECT_THAT(ShownPanes(dialog), ElementsAre(80 + tab));
      EXPECT_EQ(dialog.tabs.CurrentTab(), tab);
      EXPECT_TRUE(kiv::WidgetOf(dialog.GetControl(80 + tab))->isVisible());
    }
    ClickCloseBox(dialog.Window());
  };
  dialog.Open(nullptr, "Preferences");
}

TEST(TabView, TheSameTabAgainIsNotHandled) {
  Desktop desktop;
  TabDialog dialog;
  dialog.inLoop = [&] {
    dialog.SetValue(80, 3);
    EXPECT_EQ(LTabView::_TabViewEventHandler({kEventClassControl, kEventControlValueFieldChanged}, &dialog.tabs),
              eventNotHandledErr);
    ClickCloseBox(dialog.Window());
  };
  dialog.Open(nullptr, "Preferences");
}

TEST(TabView, SwitchingClearsTheFocus) {
  Desktop desktop;
  TabDialog dialog;
  dialog.inLoop = [&] {
    kiv::FocusControl(dialog.GetControl(1102));
    dialog.SetValue(80, 4);
    const QWidget* focused = kiv::WidgetOf(dialog.Window())->focusWidget();
    EXPECT_TRUE(focused == nullptr || !focused->hasFocus());
    ClickCloseBox(dialog.Window());
  };
  dialog.Open(nullptr, "Preferences");
}

TEST(TabView, GoesBeforeOrAfterItsWindow) {
  Desktop desktop;
  const WindowRef window = kiv::CreateWindowFromInterface("Preferences");
  {
    LTabView early;
    early.Install(window, kiv::GetControlByID(window, 80));
  }
  kiv::SetControlValue(kiv::GetControlByID(window, 80), 2);
  LTabView late;
  late.Install(window, kiv::GetControlByID(window, 80));
  kiv::DisposeWindow(window);
}

// Panes that are counted end at the first number that is missing.
TEST(TabView, PanesPastAMissingOneStayAsTheyAre) {
  Desktop desktop;
  const kiv::test::TemporaryFolder folder;
  ASSERT_TRUE(QDir(QString::fromStdString(folder.Path())).mkpath("interface/main"));
  std::string file = "<ui version=\"4.0\"><class>Tabs</class><widget class=\"QDialog\" name=\"Tabs\">";
  const auto control = [&file](const std::string& type, int number, const std::string& inside) {
    file += "<widget class=\"" + type + "\" name=\"c" + std::to_string(number) +
            "\"><property name=\"controlId\" stdset=\"0\"><number>" + std::to_string(number) + "</number></property>" +
            inside + "</widget>";
  };
  const std::string page = "<widget class=\"QWidget\"/>";
  control("QTabWidget", 80, page + page + page + page);
  for (const int pane : {81, 82, 84}) control("QLabel", pane, "");
  kiv::test::WriteFile(folder.File("interface/main/Tabs.ui"), file + "</widget></ui>");
  desktop.folders.resources = folder.Path();

  TabDialog dialog;
  dialog.inLoop = [&dialog] {
    dialog.SetValue(80, 2);
    EXPECT_THAT(ShownPanes(dialog), ElementsAre(82, 84));
    dialog.SetValue(80, 4);
    EXPECT_THAT(ShownPanes(dialog), ElementsAre(84));
    EXPECT_EQ(dialog.tabs.CurrentTab(), 4);
    dialog.SetValue(80, 1);
    EXPECT_THAT(ShownPanes(dialog), ElementsAre(81, 84));
    ClickCloseBox(dialog.Window());
  };
  dialog.Open(nullptr, "Tabs");
}

}  // namespace
