#include "ui/progress_dialog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>

#include "foundation/event_queue.h"
#include "tests/ui/ui_environment.h"
#include "ui/application_loop.h"
#include "ui/toolkit_window.h"
#include "ui/window.h"

// A process as the recorder's are: any object, and a Process function for it over a progress type.
struct TestProcess {
  std::function<int(LProgressDialog&)> work;
};

template <typename Progress>
int Process(Progress& dialog, TestProcess& process) {
  return process.work(dialog);
}

namespace {

using kiv::test::ClickCloseBox;
using kiv::test::ClickCommand;
using kiv::test::Desktop;
using kiv::test::WhenLoopRuns;

class ProgressTest : public testing::Test {
 protected:
  // What Open gives; result_ holds what the process gave.
  int Run(std::function<int(LProgressDialog&)> work) {
    TestProcess process{std::move(work)};
    LProcessDialog<TestProcess> dialog("Process Audio", &process);
    EXPECT_EQ(dialog.processResult, 2);
    const int opened = dialog.Open(nullptr);
    result_ = dialog.processResult;
    return opened;
  }
  Desktop desktop_;
  int result_ = -1;
};

TEST_F(ProgressTest, RunsTheWorkUnderAModalWindow) {
  EXPECT_EQ(Run([](LProgressDialog& dialog) {
              EXPECT_TRUE(kiv::IsWindowShown(dialog.Window()));
              EXPECT_EQ(kiv::WindowTitle(dialog.Window()), "Process Audio");
              EXPECT_EQ(QApplication::activeModalWidget(), kiv::WidgetOf(dialog.Window()));
              return 7;
            }),
            1);
  EXPECT_EQ(result_, 7);
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

TEST_F(ProgressTest, WithoutAWindowTheWorkIsNotRun) {
  desktop_.folders.resources.reset();
  bool ran = false;
  EXPECT_EQ(Run([&ran](LProgressDialog&) {
              ran = true;
              return 0;
            }),
            0);
  EXPECT_FALSE(ran);
  EXPECT_EQ(result_, 2);
}

TEST_F(ProgressTest, CancelAsksToStopAndTheWindowStays) {
  Run([](LProgressDialog& dialog) {
    EXPECT_FALSE(dialog.IsToStop());
    WhenLoopRuns([&dialog] { ClickCommand(dialog.Window(), "not!"); });
    EXPECT_TRUE(dialog.IsToStop());
    WhenLoopRuns([&dialog] { ClickCommand(dialog.Window(), "not!"); });
    EXPECT_TRUE(dialog.IsToStop());
    EXPECT_TRUE(kiv::IsWindowShown(dialog.Window()));
    return 1;
  });
}

TEST_F(ProgressTest, CloseBoxAsksToStopToo) {
  Run([](LProgressDialog& dialog) {
    WhenLoopRuns([&dialog] { ClickCloseBox(dialog.Window()); });
    EXPECT_TRUE(dialog.IsToStop());
    EXPECT_TRUE(kiv::IsWindowShown(dialog.Window()));
    return 1;
  });
}

TEST_F(ProgressTest, WorkThatNeverAsksLeavesTheWindowUnpaintedAndCancelDead) {
  class Paints : public QObject {
   public:
    int count = 0;
    bool eventFilter(QObject*, QEvent* event) override {
      count += event->type() == QEvent::Paint;
      return false;
    }
  } paints;
  bool clicked = false;
  Run([&](LProgressDialog& dialog) {
    QWidget* window = kiv::WidgetOf(dialog.Window());
    window->installEventFilter(&paints);
    WhenLoopRuns([&] {
      clicked = true;
      ClickCommand(dialog.Window(), "not!");
    });
    for (int i = 0; i <= 100; ++i) {
      dialog.SetStatus("Working", 0);
      dialog.SetProgress(i / 100.0);
    }
    EXPECT_EQ(paints.count, 0);
    EXPECT_FALSE(clicked);
    // What has waited comes with the first question.
    EXPECT_TRUE(dialog.IsToStop());
    EXPECT_TRUE(clicked);
    EXPECT_GT(paints.count, 0);
    window->removeEventFilter(&paints);
    return 1;
  });
}

TEST_F(ProgressTest, AnEarlierStopIsForgottenAtTheNextOpen) {
  TestProcess process{[](LProgressDialog& dialog) {
    dialog.Close();
    return 1;
  }};
  LProcessDialog<TestProcess> dialog("Title", &process);
  dialog.Open(nullptr);
  process.work = [](LProgressDialog& again) { return again.IsToStop() ? 1 : 0; };
  dialog.Open(nullptr);
  EXPECT_EQ(dialog.processResult, 0);
}

TEST_F(ProgressTest, StatusGoesToItsLine) {
  Run([](LProgressDialog& dialog) {
    dialog.SetStatus("first", 0);
    dialog.SetStatus("second", 1);
    dialog.SetStatus("third", 2);
    dialog.SetStatus("minus", -1);
    EXPECT_EQ(kiv::ControlText(dialog.GetControl(101)), "first");
    EXPECT_EQ(kiv::ControlText(dialog.GetControl(102)), "second");
    return 1;
  });
}

TEST_F(ProgressTest, ProgressIsTruncated) {
  Run([](LProgressDialog& dialog) {
    const auto shown = [&dialog](double fraction) {
      dialog.SetProgress(fraction);
      return dialog.GetValue(103);
    };
    EXPECT_EQ(shown(0.0), 0);
    EXPECT_EQ(shown(0.999), 99);
    EXPECT_EQ(shown(1.0), 100);
    EXPECT_EQ(shown(0.005), 0);
    EXPECT_EQ(shown(0.5), 50);
    return 1;
  });
}

TEST_F(ProgressTest, OddFractionsChangeNothingWorse) {
  Run([](LProgressDialog& dialog) {
    for (const double fraction : {-1.0, 1e300, -1e300, 655.36, 327.68}) {
      dialog.SetProgress(fraction);
      EXPECT_GE(dialog.GetValue(103), 0);
      EXPECT_LE(dialog.GetValue(103), 100);
    }
    return 1;
  });
}

TEST_F(ProgressTest, MainQueueIsHandedOutInIsToStop) {
  constexpr std::uint32_t kClass = kiv::FourCC("Test");
  int seen = 0;
  const auto handler = kiv::EventQueue::Main().Install(kClass, 1, [&seen](const kiv::Event&) {
    ++seen;
    return true;
  });
  Run([&seen](LProgressDialog& dialog) {
    for (int i = 0; i < 5; ++i) kiv::EventQueue::Main().Post({kClass, 1});
    EXPECT_EQ(seen, 0);
    EXPECT_FALSE(dialog.IsToStop());
    EXPECT_EQ(seen, 5);
    return 1;
  });
  kiv::EventQueue::Main().Remove(handler);
}

TEST_F(ProgressTest, AHandlerThatAlwaysPostsDoesNotHoldTheWork) {
  constexpr std::uint32_t kClass = kiv::FourCC("Test");
  bool going = true;
  const auto handler = kiv::EventQueue::Main().Install(kClass, 1, [&going](const kiv::Event&) {
    if (going) kiv::EventQueue::Main().Post({kClass, 1});
    return true;
  });
  Run([](LProgressDialog& dialog) {
    kiv::EventQueue::Main().Post({kClass, 1});
    EXPECT_FALSE(dialog.IsToStop());
    return 1;
  });
  going = false;
  while (!kiv::EventQueue::Main().IsEmpty()) kiv::EventQueue::Main().Drain();
  kiv::EventQueue::Main().Remove(handler);
}

}  // namespace
