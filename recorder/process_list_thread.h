#pragma once

// A background worker over a list on disk: works off one item after another, oldest first, and takes an item off the
// list only when it is done. What is left when the program ends is resumed at the next start.
//
//   Item     a record of fixed size, copied as bytes, with MakeValid() called before use.
//   Work     Process(thread, item), found by the item's type: 0 done, 1 stopped (the item stays first in the list).
//   Threads  SetListFilePath, Add, Shutdown and the destructor: main. ThreadFunction: the worker.
//   Errors   none: a list that cannot be read is an empty one (see record_list_file.h).

#include <cstdint>

#include "foundation/thread.h"
#include "recorder/record_list_file.h"

// Progress goes to nobody.
class LProcessInterfaceNotifyVoid {
 public:
  void SetProgress(double /*fraction*/) noexcept {}
};

template <typename Item, typename Notify>
class LProcessListThread : public LThread, public Notify {
 public:
  static constexpr int kPriority = 10;
  static constexpr std::uint32_t kRetryMs = 500;

  LProcessListThread() = default;
  ~LProcessListThread() override { Shutdown(); }

  // Called once at start: resumes what an earlier run has left. A list that somebody holds locked is left alone and
  // tried again by the worker until it can be had.
  void SetListFilePath(char const* path) {
    list_.SetPath(path);
    Item::PrepareList(path);
    switch (list_.Resume()) {
      case kiv::RecordListFile::Resumed::Yes:
        Start(kPriority);
        break;
      case kiv::RecordListFile::Resumed::Nothing:
        Item::Removed(path);
        break;
      case kiv::RecordListFile::Resumed::Busy:
        resumeAgain_ = true;
        Start(kPriority);
        break;
    }
  }
  char const* ListFilePath() const noexcept { return list_.Path(); }

  // Appends an item and starts the worker. After Shutdown the item is kept in the list for the next start.
  void Add(Item const& item) {
    list_.Append(&item);
    if (shutDown_) return;
    {
      const StateLock lock(*this);
      pending_ = true;
    }
    Start(kPriority);
  }

  // Ends the worker for good: an item in work is finished up to its current step or given up, and stays in the list.
  void Shutdown() {
    shutDown_ = true;
    StopThreadSoon();
    Join();
  }

  // The list has not been found empty since the last item was added.
  bool IsPending() {
    const StateLock lock(*this);
    return pending_;
  }

 protected:
  void ThreadFunction() override {
    if (!ResumeWhenPossible()) return;
    while (!IsStopRequested()) {
      Item item;
      {
        // Under the state mutex, so that an item added now either is found or starts the worker anew.
        const StateLock lock(*this);
        if (!list_.ReadFirst(&item)) {
          SetNotRunning(lock);
          pending_ = false;
          processed_ = 0;
          break;
        }
      }
      item.MakeValid();
      if (Process(*this, item) == kStopped) break;
      ++processed_;
      list_.RemoveFirst();
      Item::Removed(list_.Path());
    }
    this->SetProgress(1.0);
  }

 private:
  static constexpr int kStopped = 1;

  bool ResumeWhenPossible() {
    while (resumeAgain_) {
      if (list_.Resume() != kiv::RecordListFile::Resumed::Busy) {
        resumeAgain_ = false;
      } else if (!Wait(kRetryMs)) {
        return false;
      }
    }
    return true;
  }

  kiv::RecordListFile list_{sizeof(Item)};
  bool pending_ = true;          // Under the state mutex.
  bool shutDown_ = false;        // Main only.
  bool resumeAgain_ = false;     // Written by main before the worker starts, then by the worker.
  std::uint32_t processed_ = 0;  // Items worked off since the worker started; the worker's.
};
