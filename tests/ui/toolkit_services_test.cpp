// The toolkit's choose panels and the badge on the application's icon, without a display.

#include <gtest/gtest.h>

#include <QApplication>
#include <QFileDialog>
#include <QIcon>
#include <QLineEdit>

#include "platform/qt/application_badge.h"
#include "platform/qt/file_panels.h"
#include "tests/support/temporary_folder.h"
#include "tests/ui/ui_environment.h"
#include "ui/resources.h"

namespace {

using kiv::test::WhenLoopRuns;

class PanelsTest : public testing::Test {
 protected:
  PanelsTest() { kiv::test::WriteFile(folder_.File("prompt.wav"), "RIFF"); }

  // Answers the panel that opens next: types the name and accepts; an empty name cancels.
  void Answer(const std::string& name) {
    WhenLoopRuns([this, name] {
      auto* panel = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
      ASSERT_NE(panel, nullptr);
      title_ = panel->windowTitle().toStdString();
      start_ = panel->directory().absolutePath().toStdString();
      if (name.empty()) {
        panel->reject();
        return;
      }
      panel->findChild<QLineEdit*>("fileNameEdit")->setText(QString::fromStdString(name));
      static_cast<QDialog*>(panel)->accept();
    });
  }

  kiv::test::TemporaryFolder folder_;
  kiv::QtFilePanels panels_{false};
  std::string title_;
  std::string start_;
};

TEST_F(PanelsTest, ChosenFileComesBackAsItsPath) {
  Answer(folder_.File("prompt.wav"));
  EXPECT_EQ(panels_.ChooseFile(nullptr, "Load Recording", folder_.Path()), folder_.File("prompt.wav"));
  EXPECT_EQ(title_, "Load Recording");
  EXPECT_EQ(start_, folder_.Path());
}

TEST_F(PanelsTest, AFileAsStartingPlaceMeansItsFolder) {
  Answer("");
  EXPECT_FALSE(panels_.ChooseFile(nullptr, "Load Recording", folder_.File("prompt.wav")).has_value());
  EXPECT_EQ(start_, folder_.Path());
  Answer("");
  EXPECT_FALSE(panels_.ChooseFile(nullptr, "Load Recording", folder_.File("gone.mp3")).has_value());
  EXPECT_EQ(start_, folder_.Path());
}

TEST_F(PanelsTest, ChosenFolderComesBackAsItsPath) {
  Answer(folder_.Path());
  EXPECT_EQ(panels_.ChooseFolder(nullptr, "Locate folder to copy files to", ""), folder_.Path());
  EXPECT_EQ(title_, "Locate folder to copy files to");
}

TEST_F(PanelsTest, CancelGivesNothing) {
  Answer("");
  EXPECT_FALSE(panels_.ChooseFolder(nullptr, "Title", folder_.Path()).has_value());
}

TEST_F(PanelsTest, AStartingPlaceThatIsNowhereIsLeftToThePanel) {
  Answer("");
  EXPECT_FALSE(panels_.ChooseFolder(nullptr, "Title", "/no/such/place/at all").has_value());
  EXPECT_FALSE(start_.empty());
}

class BadgeTest : public testing::Test {
 protected:
  static QImage Icon(int size) { return QApplication::windowIcon().pixmap(size, size).toImage(); }
  kiv::test::Desktop desktop_;
  kiv::QtApplicationBadge badge_{kiv::ResourceByName("icons", "com.oskmera.Kiv")};
};

TEST_F(BadgeTest, OverlayCoversTheLowerRightCornerAndRestoreTakesItOff) {
  const QImage plain = Icon(64);
  badge_.Overlay(kiv::ResourceByName("icons", "iconrec"));
  const QImage marked = Icon(64);
  EXPECT_NE(plain, marked);
  EXPECT_EQ(plain.pixel(10, 10), marked.pixel(10, 10));
  EXPECT_NE(plain.pixel(50, 52), marked.pixel(50, 52));
  badge_.Restore();
  EXPECT_EQ(Icon(64), plain);
  EXPECT_TRUE(badge_.OverlayPath().empty());
}

TEST_F(BadgeTest, BadgesDifferAtEverySize) {
  for (const int size : {16, 22, 24, 32, 48, 64, 128, 256}) {
    const QImage plain = Icon(size);
    badge_.Overlay(kiv::ResourceByName("icons", "iconrec"));
    const QImage recording = Icon(size);
    badge_.Restore();
    badge_.Overlay(kiv::ResourceByName("icons", "iconhold"));
    const QImage onHold = Icon(size);
    badge_.Restore();
    EXPECT_EQ(recording.size(), QSize(size, size));
    EXPECT_NE(plain, recording) << size;
    EXPECT_NE(recording, onHold) << size;
  }
}

TEST_F(BadgeTest, SecondBadgeAfterARestoreStandsAlone) {
  badge_.Overlay(kiv::ResourceByName("icons", "iconhold"));
  const QImage hold = Icon(64);
  badge_.Restore();
  badge_.Overlay(kiv::ResourceByName("icons", "iconrec"));
  badge_.Restore();
  badge_.Overlay(kiv::ResourceByName("icons", "iconhold"));
  EXPECT_EQ(Icon(64), hold);
}

TEST_F(BadgeTest, TheSameBadgeAgainIsTheSamePicture) {
  const std::string recording = kiv::ResourceByName("icons", "iconrec");
  badge_.Overlay(recording);
  const qint64 first = QApplication::windowIcon().cacheKey();
  badge_.Restore();
  badge_.Overlay(kiv::ResourceByName("icons", "iconhold"));
  EXPECT_NE(QApplication::windowIcon().cacheKey(), first);
  badge_.Restore();
  badge_.Overlay(recording);
  EXPECT_EQ(QApplication::windowIcon().cacheKey(), first);
}

TEST_F(BadgeTest, APictureThatCannotBeReadLeavesTheIcon) {
  const QImage plain = Icon(64);
  badge_.Overlay("/no/such/picture.png");
  EXPECT_EQ(Icon(64), plain);
  EXPECT_TRUE(badge_.OverlayPath().empty());
}

TEST_F(BadgeTest, WithoutATrayThereIsOnlyTheIcon) {
  EXPECT_FALSE(badge_.InTray());
}

TEST(Resources, PicturesAreFoundByNameWhateverTheirFormat) {
  kiv::test::Desktop desktop;
  const kiv::test::TemporaryFolder folder;
  ASSERT_TRUE(QDir(QString::fromStdString(folder.Path())).mkpath("icons"));
  desktop.folders.resources = folder.Path();
  QImage picture(4, 4, QImage::Format_RGB32);
  picture.fill(Qt::red);
  ASSERT_TRUE(picture.save(QString::fromStdString(folder.File("icons/mark.one.png"))));
  EXPECT_EQ(kiv::ResourceByName("icons", "mark.one"), folder.File("icons/mark.one.png"));
  EXPECT_EQ(kiv::ResourceByName("icons", "mark"), "");
  EXPECT_EQ(kiv::ResourceByName("icons", ""), "");
  EXPECT_EQ(kiv::ResourceByName("icons", "../icons/mark.one"), "");
  kiv::test::WriteFile(folder.File("icons/mark.one.svg"), "<svg/>");
  EXPECT_EQ(kiv::ResourceByName("icons", "mark.one"), folder.File("icons/mark.one.svg"));
  desktop.folders.resources.reset();
  EXPECT_EQ(kiv::ResourceByName("icons", "mark.one"), "");
}

TEST(Icons, EveryIconOfTheProgramIsThereAndSharp) {
  kiv::test::Desktop desktop;
  for (const char* name :
       {"kivon", "kivoff", "kivgreen", "find", "preferences", "iconrec", "iconhold", "state-idle", "state-recording",
        "state-hold", "alert-stop", "alert-note", "alert-caution", "com.oskmera.Kiv"}) {
    const std::string path = kiv::ResourceByName("icons", name);
    ASSERT_FALSE(path.empty()) << name;
    const QIcon icon(QString::fromStdString(path));
    for (const int size : {16, 24, 32, 48, 64, 128, 256}) {
      EXPECT_EQ(icon.pixmap(size, size).size(), QSize(size, size)) << name;
    }
  }
}

}  // namespace
