#pragma once

// One program for each data folder: two would spend the start counter of the queue and overwrite each other's settings.
//
// A lock on a file in the folder tells who is there, and goes with its process however that ends. A socket beside it
// takes the wish of a second start to see the first one's window; one that a killed program has left is replaced.
//   Threads  main.
//   Errors   where the file system has no locks, or the folder cannot be written, every start counts as the only one;
//            without a socket a second start still ends, and nothing comes to the front.

#include <QSocketNotifier>
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

  // False when another process has the folder. The first call decides.
  bool Claim();
  // Asks the process that has the folder to show its window; waits for it up to that long. False when it could not be
  // told.
  bool TellTheOther(int limitMs = kTellLimitMs) const;
  // With a claim and an application object: called on main whenever a second start has asked.
  void Listen(std::function<void()> asked);

 private:
  std::string PathOf(const char* name) const;

  std::string folder_;
  OwnedDescriptor folderDescriptor_;
  LReadWriteFile lock_;
  OwnedDescriptor socket_;
  std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace kiv
