#pragma once

// One program for each data folder: two would spend the start counter of the queue and overwrite each other's settings.
//
// A lock on a file in the folder tells who is there, and goes with its process however that ends: what is still written
// after main is written under it, too. A socket beside it takes the wish of a second start to see the first one's
// window; one that a killed program has left is replaced.
//   Threads  main.
//   Errors   where the file system has no locks, or the folder cannot be written, every start counts as the only one;
//            without a socket a second start still ends, and nothing comes to the front.

#include <QSocketNotifier>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "foundation/file_descriptor.h"

namespace kiv {

class SingleInstance {
 public:
  // Long enough for a machine that stands still for a while.
  static constexpr int kTellLimitMs = 15000;

  explicit SingleInstance(std::string dataFolder);
  ~SingleInstance();
  SingleInstance(const SingleInstance&) = delete;
  SingleInstance& operator=(const SingleInstance&) = delete;

  // False when another process has the folder.
  bool Claim();
  enum class Told {
    Shown,     // the other has heard it
    Gone,      // the other was on its way out; the folder is ours now
    NoAnswer,  // the time is up
  };
  // After a refused claim: asks the process that has the folder to show its window; waits for it up to that long.
  Told TellTheOther(int limitMs = kTellLimitMs);
  // With a claim and an application object: called on main whenever a second start has asked.
  void Listen(std::function<void()> asked);

 private:
  std::string PathOf(const char* name) const;
  // Whether whoever listens there has said that it was done, before that moment.
  bool AskOnce(std::chrono::steady_clock::time_point limit) const;

  std::string folder_;
  OwnedDescriptor folderDescriptor_;
  LReadWriteFile lock_;
  OwnedDescriptor socket_;
  std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace kiv
