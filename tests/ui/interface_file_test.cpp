#include "ui/interface_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAction>
#include <QCheckBox>
#include <QCoreApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QSlider>
#include <QTabWidget>
#include <memory>
#include <set>

#include "tests/support/temporary_folder.h"
#include "tests/ui/ui_environment.h"
#include "ui/command_id.h"
#include "ui/controls.h"
#include "ui/toolkit_window.h"

namespace {

using kiv::test::Desktop;
using testing::ElementsAre;
using testing::IsEmpty;

std::set<int> Range(int first, int last) {
  std::set<int> numbers;
  for (int i = first; i <= last; ++i) numbers.insert(i);
  return numbers;
}

std::set<int> Joined(std::initializer_list<std::set<int>> sets) {
  std::set<int> all;
  for (const std::set<int>& set : sets) all.insert(set.begin(), set.end());
  return all;
}

// Every window and exactly the numbers that its controller asks for.
const std::map<std::string, std::set<int>> kWindows = {
    {"MainWindow", {103, 107, 108, 109, 110}},
    {"MenuBar", {}},
    {"LTextEditDlg", {100, 101}},
    {"LProgressDialog", {101, 102, 103}},
    {"Preferences", Joined({{80},
                            Range(81, 85),
                            {190, 191, 192},
                            {1101, 1102, 1104, 1107, 1108, 1109, 1110},
                            Range(2101, 2111),
                            Range(3101, 3106),
                            {3108, 3109, 3110}})},
};

class InterfaceFiles : public testing::TestWithParam<std::string> {
 protected:
  InterfaceFiles() {
    kiv::test::TakeToolkitWarnings();
    kiv::TakeInterfaceProblems();
    window_.reset(kiv::LoadInterfaceWindow(GetParam()));
  }
  Desktop desktop_;
  std::unique_ptr<QWidget> window_;
};

TEST_P(InterfaceFiles, LoadsWithoutAWarning) {
  ASSERT_NE(window_, nullptr);
  EXPECT_THAT(kiv::test::TakeToolkitWarnings(), IsEmpty());
  EXPECT_TRUE(kiv::TakeInterfaceProblems().isEmpty());
}

TEST_P(InterfaceFiles, HasExactlyTheNumbersOfItsController) {
  ASSERT_NE(window_, nullptr);
  const auto found = kWindows.find(GetParam());
  ASSERT_NE(found, kWindows.end()) << "a window that this test does not know";
  std::set<int> numbers;
  for (const auto& [number, control] : dynamic_cast<kiv::ToolkitWindow&>(*window_).controls) numbers.insert(number);
  EXPECT_EQ(numbers, found->second);
}

// By a name of its own, by its text or by the label before it.
TEST_P(InterfaceFiles, NamesEveryControl) {
  ASSERT_NE(window_, nullptr);
  std::set<const QWidget*> labelled;
  for (const QLabel* label : window_->findChildren<QLabel*>()) {
    if (!label->text().isEmpty()) labelled.insert(label->buddy());
  }
  for (const QWidget* control : window_->findChildren<QWidget*>()) {
    if (control->focusPolicy() == Qt::NoFocus || control->objectName().startsWith("qt_")) continue;
    const auto* button = qobject_cast<const QAbstractButton*>(control);
    const bool named = !control->accessibleName().isEmpty() || (button != nullptr && !button->text().isEmpty()) ||
                       labelled.count(control) == 1;
    EXPECT_TRUE(named) << control->objectName().toStdString() << " (" << control->metaObject()->className() << ")";
  }
}

// A letter or digit with Alt for whatever takes the keyboard: its own or that of the label before it. OK, Cancel and
// Close have Return and Escape.
TEST_P(InterfaceFiles, GivesEveryControlAMnemonic) {
  ASSERT_NE(window_, nullptr);
  std::set<const QWidget*> buddies;
  for (const QLabel* label : window_->findChildren<QLabel*>()) {
    if (label->text().contains('&') || label->property("controlId") == 101) buddies.insert(label->buddy());
  }
  for (const QWidget* control : window_->findChildren<QWidget*>()) {
    const auto* button = qobject_cast<const QAbstractButton*>(control);
    const bool inBox = qobject_cast<const QDialogButtonBox*>(control->parentWidget()) != nullptr;
    const bool field = qobject_cast<const QLineEdit*>(control) != nullptr ||
                       qobject_cast<const QSlider*>(control) != nullptr || control->objectName() == "statusLog";
    if (button != nullptr && !inBox && !button->text().isEmpty()) {
      EXPECT_TRUE(button->text().contains('&') || buddies.count(control) == 1) << control->objectName().toStdString();
    } else if (field && !control->objectName().startsWith("qt_")) {
      EXPECT_EQ(buddies.count(control), 1U) << control->objectName().toStdString();
    }
  }
}

// The letter behind the mark, in lower case; null without one.
QChar MnemonicOf(const QString& text) {
  const qsizetype mark = text.indexOf('&');
  return mark < 0 || mark + 1 >= text.size() ? QChar() : text[mark + 1].toLower();
}

// No two controls that are seen together share a mnemonic. Tabs are seen beside every page, and so is Close, which some
// desktops give the letter C.
TEST_P(InterfaceFiles, MnemonicsOfAPageDiffer) {
  ASSERT_NE(window_, nullptr);
  std::set<QChar> everywhere;
  for (const auto* tabs : window_->findChildren<QTabWidget*>()) {
    everywhere.insert('c');
    for (int tab = 0; tab < tabs->count(); ++tab) {
      const QChar letter = MnemonicOf(tabs->tabText(tab));
      EXPECT_FALSE(letter.isNull()) << tabs->tabText(tab).toStdString();
      EXPECT_TRUE(everywhere.insert(letter).second) << tabs->tabText(tab).toStdString();
    }
  }
  std::map<const QWidget*, std::set<QChar>> seen;
  for (const QWidget* control : window_->findChildren<QWidget*>()) {
    QString text;
    if (const auto* button = qobject_cast<const QAbstractButton*>(control)) text = button->text();
    if (const auto* label = qobject_cast<const QLabel*>(control)) text = label->text();
    const QChar letter = MnemonicOf(text);
    if (letter.isNull() || qobject_cast<const QDialogButtonBox*>(control->parentWidget()) != nullptr) continue;
    EXPECT_TRUE(seen[control->parentWidget()].insert(letter).second) << text.toStdString();
    EXPECT_EQ(everywhere.count(letter), 0U) << text.toStdString();
  }
}

// Files hold structure alone, so that every desktop's look, size and font fit.
TEST_P(InterfaceFiles, HoldsNoGeometryFontsOrColours) {
  const std::string text = kiv::test::ReadFile(*desktop_.folders.resources + "/interface/main/" + GetParam() + ".ui");
  for (const char* word : {"geometry", "styleSheet", "<font", "<palette", "<color", "margin", "\"spacing\"",
                           "minimumSize", "maximumSize"}) {
    EXPECT_EQ(text.find(word), std::string::npos) << word;
  }
}

std::vector<std::string> FileNames() {
  std::vector<std::string> names;
  const QDir folder(QString(KIV_RESOURCES_FOLDER) + "/interface/main");
  for (const QFileInfo& file : folder.entryInfoList({"*.ui"}, QDir::Files)) {
    names.push_back(file.completeBaseName().toStdString());
  }
  return names;
}

INSTANTIATE_TEST_SUITE_P(Windows, InterfaceFiles, testing::ValuesIn(FileNames()),
                         [](const auto& window) { return window.param; });

TEST(InterfaceFile, EveryWindowHasItsFile) {
  std::set<std::string> expected;
  for (const auto& [name, numbers] : kWindows) expected.insert(name);
  const std::vector<std::string> names = FileNames();
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()), expected);
}

TEST(InterfaceFile, MainWindowShowsTheIdleState) {
  Desktop desktop;
  const std::unique_ptr<QWidget> window(kiv::LoadInterfaceWindow("MainWindow"));
  ASSERT_NE(window, nullptr);
  const WindowRef ref = kiv::WindowRefOf(window.get());
  EXPECT_FALSE(kiv::IsControlEnabled(kiv::GetControlByID(ref, 103)));
  EXPECT_FALSE(kiv::IsControlEnabled(kiv::GetControlByID(ref, 107)));
  EXPECT_EQ(kiv::ControlText(kiv::GetControlByID(ref, 107)), "0:00:00");
  EXPECT_EQ(kiv::ControlValue(kiv::GetControlByID(ref, 110)), 0);
  ASSERT_TRUE(kiv::SetMenuBarFromInterface(ref, "MenuBar"));
  EXPECT_TRUE(kiv::IsMenuCommandEnabled(ref, 2001));
  EXPECT_TRUE(kiv::IsMenuCommandEnabled(ref, 2002));
  EXPECT_FALSE(kiv::IsMenuCommandEnabled(ref, 2003));
}

TEST(InterfaceFile, MenusHoldEveryCommand) {
  Desktop desktop;
  const std::unique_ptr<QWidget> window(kiv::LoadInterfaceWindow("MainWindow"));
  const WindowRef ref = kiv::WindowRefOf(window.get());
  ASSERT_TRUE(kiv::SetMenuBarFromInterface(ref, "MenuBar"));
  std::set<std::uint32_t> commands;
  for (const auto& [command, action] : kiv::ToolkitWindowOf(ref)->menuItems) {
    commands.insert(command);
    EXPECT_TRUE(action->text().contains('&')) << action->text().toStdString();
    EXPECT_TRUE(action->shortcut().isEmpty());
  }
  EXPECT_EQ(commands, (std::set<std::uint32_t>{2001, 2002, 2003, 1001, 1002, kiv::FourCC("pref"), kiv::FourCC("quit"),
                                               kiv::FourCC("abou"), kiv::FourCC("ahlp")}));
}

TEST(InterfaceFile, LoadingBringsNoPluginOfTheFormDesigner) {
  const Desktop desktop;
  const std::unique_ptr<QWidget> window(kiv::LoadInterfaceWindow("LTextEditDlg"));
  ASSERT_NE(window, nullptr);
  QFile maps("/proc/self/maps");
  ASSERT_TRUE(maps.open(QIODevice::ReadOnly));
  const QByteArray loaded = maps.readAll();
  EXPECT_TRUE(loaded.contains("libQt6UiTools"));
  EXPECT_FALSE(loaded.contains("/designer/"));
  EXPECT_FALSE(QCoreApplication::libraryPaths().isEmpty());
}

TEST(InterfaceFile, EachKindOfProblemIsFound) {
  const kiv::test::TemporaryFolder folder;
  Desktop desktop;
  desktop.folders.resources = folder.Path();
  ASSERT_TRUE(QDir(QString::fromStdString(folder.Path())).mkpath("interface/main"));
  const auto write = [&](const std::string& body) {
    kiv::test::WriteFile(folder.File("interface/main/Broken.ui"),
                         "<ui version=\"4.0\"><class>Broken</class>" + body + "</ui>");
  };
  const auto problems = [] {
    kiv::TakeInterfaceProblems();
    const std::unique_ptr<QWidget> window(kiv::LoadInterfaceWindow("Broken"));
    return kiv::TakeInterfaceProblems().join('\n').toStdString();
  };
  const std::string number = "<property name=\"controlId\" stdset=\"0\"><number>5</number></property>";
  const auto button = [](const std::string& name, const std::string& inside) {
    return "<widget class=\"QPushButton\" name=\"" + name + "\">" + inside + "</widget>";
  };
  write("<widget class=\"QDialog\" name=\"Broken\">" + button("a", number) + button("b", number) + "</widget>");
  EXPECT_EQ(problems(), "number used twice: 5");
  write("<widget class=\"QDialog\" name=\"Broken\"><widget class=\"Nonsense\" name=\"a\"/></widget>");
  EXPECT_EQ(problems(), "unknown class of control Nonsense");
  write("<widget class=\"QDialog\" name=\"Broken\">" +
        button("a", "<property name=\"command\" stdset=\"0\"><string>toolong</string></property>") + "</widget>");
  EXPECT_EQ(problems(), "bad command toolong");
  write("<widget class=\"QLabel\" name=\"Broken\"/>");
  EXPECT_NE(problems().find("is no window"), std::string::npos);
  kiv::test::WriteFile(folder.File("interface/main/Broken.ui"), "<ui");
  EXPECT_NE(problems().find("is no window"), std::string::npos);
}

TEST(InterfaceFile, MissingFileGivesNoWindowAndNoProblem) {
  Desktop desktop;
  kiv::TakeInterfaceProblems();
  EXPECT_EQ(kiv::LoadInterfaceWindow("NoSuchWindow"), nullptr);
  EXPECT_TRUE(kiv::TakeInterfaceProblems().isEmpty());
}

TEST(InterfaceFile, ButtonBoxIsFilledFromItsCommands) {
  Desktop desktop;
  const auto commands = [](const char* name) {
    const std::unique_ptr<QWidget> window(kiv::LoadInterfaceWindow(name));
    std::set<std::string> found;
    for (const auto* box : window->findChildren<QDialogButtonBox*>()) {
      for (const QAbstractButton* button : box->buttons())
        found.insert(button->property("command").toString().toStdString());
    }
    return found;
  };
  EXPECT_EQ(commands("LTextEditDlg"), (std::set<std::string>{"ok  ", "not!"}));
  EXPECT_EQ(commands("LProgressDialog"), (std::set<std::string>{"not!"}));
  EXPECT_EQ(commands("Preferences"), (std::set<std::string>{"ok  "}));
}

TEST(InterfaceFile, CommandTextIsFourCharacters) {
  EXPECT_EQ(kiv::CommandFromText("1203"), kiv::FourCC("1203"));
  EXPECT_EQ(kiv::CommandFromText("ok  "), kiv::kCommandOk);
  EXPECT_EQ(kiv::CommandFromText("ok"), 0U);
  EXPECT_EQ(kiv::CommandFromText(""), 0U);
}

}  // namespace
