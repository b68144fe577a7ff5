#include "recorder/status_window.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "foundation/event_queue.h"

namespace {

class RecordingText : public kiv::StatusText {
 public:
  void ShowStatus(const std::string& log) override {
    shown.push_back(log);
    thread = std::this_thread::get_id();
  }
  std::vector<std::string> shown;
  std::thread::id thread;
};

void FromAnotherThread(LStatusWindow& window, const std::string& text) {
  std::thread([&] { window.DisplayStatus(text.c_str()); }).join();
}

TEST(StatusWindow, KeepsLinesWithoutAControl) {
  LStatusWindow window;
  window.DisplayStatus("09:05:03 Recording started\r");
  window.DisplayStatus("09:05:04 Stopped\r");
  EXPECT_EQ(window.Text(), "09:05:03 Recording started\r09:05:04 Stopped\r");
}

TEST(StatusWindow, ShowsTheWholeLogAtOnceOnTheMainThread) {
  LStatusWindow window;
  RecordingText control;
  window.SetControl(&control);
  window.DisplayStatus("one\r");
  window.DisplayStatus("two\r");
  EXPECT_EQ(control.shown, (std::vector<std::string>{"", "one\r", "one\rtwo\r"}));
}

TEST(StatusWindow, ShowsEarlierLinesWhenTheControlComes) {
  LStatusWindow window;
  window.DisplayStatus("early\r");
  RecordingText control;
  window.SetControl(&control);
  EXPECT_EQ(control.shown, (std::vector<std::string>{"early\r"}));
}

TEST(StatusWindow, LinesOfAnotherThreadAreShownByTheMainThread) {
  LStatusWindow window;
  RecordingText control;
  window.SetControl(&control);
  control.shown.clear();
  FromAnotherThread(window, "a\r");
  FromAnotherThread(window, "b\r");
  EXPECT_TRUE(control.shown.empty());
  kiv::EventQueue::Main().Drain();
  ASSERT_FALSE(control.shown.empty());
  EXPECT_EQ(control.shown.back(), "a\rb\r");
  EXPECT_EQ(control.thread, std::this_thread::get_id());
}

TEST(StatusWindow, ManyLinesOfAThreadNeedOnePost) {
  LStatusWindow window;
  RecordingText control;
  window.SetControl(&control);
  for (int i = 0; i < 100; ++i) FromAnotherThread(window, "x");
  EXPECT_EQ(kiv::EventQueue::Main().Drain(), 1U);
  FromAnotherThread(window, "y");
  EXPECT_EQ(kiv::EventQueue::Main().Drain(), 1U);
  EXPECT_EQ(control.shown.back(), std::string(100, 'x') + "y");
}

TEST(StatusWindow, NothingHappensAfterTheControlIsGone) {
  LStatusWindow window;
  {
    RecordingText control;
    window.SetControl(&control);
    FromAnotherThread(window, "late\r");
    window.SetControl(nullptr);
  }
  kiv::EventQueue::Main().Drain();
  window.DisplayStatus("later\r");
  EXPECT_EQ(window.Text(), "late\rlater\r");
}

TEST(StatusWindow, APostForAnEarlierControlDoesNotReachTheNext) {
  LStatusWindow window;
  RecordingText first;
  RecordingText second;
  window.SetControl(&first);
  FromAnotherThread(window, "a");
  window.SetControl(nullptr);
  window.SetControl(&second);
  const std::size_t before = second.shown.size();
  kiv::EventQueue::Main().Drain();
  EXPECT_EQ(second.shown.size(), before);
  FromAnotherThread(window, "b");
  kiv::EventQueue::Main().Drain();
  EXPECT_EQ(second.shown.back(), "ab");
}

TEST(StatusWindow, FiveThousandCharactersLeaveTheLatest) {
  LStatusWindow window;
  std::string text;
  for (int i = 0; i < 5000; ++i) text += static_cast<char>('a' + i % 26);
  window.DisplayStatus(text.c_str());
  const std::string kept = window.Text();
  EXPECT_GE(kept.size(), 3072U);
  EXPECT_LE(kept.size(), 4096U);
  EXPECT_EQ(kept, text.substr(text.size() - kept.size()));
  EXPECT_EQ(kept.size(), 3072U + (5000 - 4096));
}

TEST(StatusWindow, TheTerminatorAfterTheLastPlaceDropsTheOldestPart) {
  LStatusWindow window;
  window.DisplayStatus(std::string(4095, 'x').c_str());
  EXPECT_EQ(window.Text().size(), 4095U);
  window.DisplayStatus("y");
  EXPECT_EQ(window.Text(), std::string(3071, 'x') + "y");
}

TEST(StatusWindow, TextsOfManyThreadsStayWhole) {
  LStatusWindow window;
  RecordingText control;
  window.SetControl(&control);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&window, t] {
      const std::string line(9, static_cast<char>('a' + t));
      for (int i = 0; i < 100; ++i) window.DisplayStatus((line + "\r").c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();
  kiv::EventQueue::Main().Drain();
  const std::string text = window.Text();
  EXPECT_EQ(control.shown.back(), text);
  ASSERT_EQ(text.size(), 4000U);
  for (std::size_t line = 0; line < text.size(); line += 10) {
    EXPECT_EQ(text.substr(line, 10), std::string(9, text[line]) + "\r");
  }
}

}  // namespace
