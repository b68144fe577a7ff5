// Makes a fault in a handler that the toolkit calls, for a sanitizer to report: what is left out of the libraries below
// us must not hide what is ours.
//
//   kiv-planted-fault timer|paint none|word|copy|freed|past|name|leak
//
//   none         no fault; the other thread has ended before the handler runs
//   word         this thread and another change a word
//   copy         both copy a text into the same place
//   freed        the other reads a block that this one gives back
//   past         a read past the end of a block
//   name         a text without an end, for a function of the system
//   leak         blocks that nobody gives back

#include <QApplication>
#include <QWidget>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "ui/timers.h"

namespace {

// What two threads meet at. The order of the two is left open: `met` says that the other has been there, but, being
// relaxed, orders nothing.
struct Meeting {
  std::atomic<bool> met{false};
  int word = 0;
  std::string text = "a text too long to be copied without a call of the library's function for it";
  char copy[100] = {};
  std::unique_ptr<char[]> block = std::make_unique<char[]>(100);
  char* const inBlock = block.get();
  int sum = 0;
};

char* volatile lastBlock = nullptr;

void Visit(Meeting& meeting) {
  ++meeting.word;
  std::memcpy(meeting.copy, meeting.text.c_str(), meeting.text.size());
  meeting.sum += meeting.inBlock[0];
  meeting.met.store(true, std::memory_order_relaxed);
}

class Handler : public LTimers {
 public:
  Handler(Meeting& meeting, std::string fault) : meeting_(meeting), fault_(std::move(fault)) {}
  void EvTimer(int) override { MakeFault(); }
  [[gnu::noinline]] void MakeFault();

 private:
  Meeting& meeting_;
  std::string fault_;
};

void Handler::MakeFault() {
  while (!meeting_.met.load(std::memory_order_relaxed)) std::this_thread::yield();
  const bool all = fault_ == "none";
  if (all || fault_ == "word") ++meeting_.word;
  if (all || fault_ == "copy") std::memcpy(meeting_.copy, meeting_.text.c_str(), meeting_.text.size());
  if (all || fault_ == "freed") meeting_.block.reset();
  if (fault_ == "past") std::printf("%d\n", meeting_.inBlock[100]);
  if (fault_ == "name") {
    std::memset(meeting_.inBlock, 'a', 100);
    char* const copy = strndup(meeting_.inBlock, 200);
    std::printf("%s\n", copy);
    std::free(copy);
  }
  if (fault_ == "leak") {
    // More than one, since the address of the last may still lie about.
    for (int i = 0; i < 10; ++i) lastBlock = new char[100];
    lastBlock = nullptr;
  }
  std::printf("handled\n");
  QApplication::quit();
}

class Canvas : public QWidget {
 public:
  explicit Canvas(Handler& handler) : handler_(handler) {}

 protected:
  void paintEvent(QPaintEvent*) override {
    if (!std::exchange(painted_, true)) handler_.MakeFault();
  }

 private:
  Handler& handler_;
  bool painted_ = false;
};

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  const std::string_view caller = argc == 3 ? argv[1] : "";
  if (caller != "timer" && caller != "paint") return 2;
  const std::string fault = argv[2];
  Meeting meeting;
  Handler handler(meeting, fault);
  Canvas canvas(handler);
  std::thread other(Visit, std::ref(meeting));
  if (fault == "none") other.join();
  if (caller == "timer") {
    handler.TimerSet(1, 0);
  } else {
    canvas.show();
  }
  QApplication::exec();
  if (other.joinable()) other.join();
  return 0;
}
