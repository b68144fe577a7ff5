#pragma once

// A window that shows how a long piece of work goes and lets the user stop it. The work runs on the main thread and
// keeps the window alive by asking IsToStop between its pieces.
//
//   Units    progress from 0.0 to 1.0.
//   Threads  main. IsToStop hands out what waits - timers, hot keys, the main queue, clicks - so all of that may happen
//            in the middle of the work.
//   Errors   Open is 0 without having run the work when there is no window.

#include <cstdint>

#include "ui/dialog.h"

class LProgressDialog : public LDialog {
 public:
  // The title must live until Open returns.
  explicit LProgressDialog(const char* title) : title_(title) {}

  // Does not close anything: asks the work to stop.
  void Close() override;
  // The work; its result is Open's.
  virtual int MainFunction() = 0;

  using LDialog::Open;
  int Open(WindowRef parent);

  // To be asked several times a second; true once the user wants the work to end.
  bool IsToStop();
  // Line 0 or 1; others change nothing.
  void SetStatus(const char* text, int line);
  void SetProgress(double fraction);

 private:
  const char* title_;
  std::int32_t stop_ = 0;
};

// Runs Process(dialog, process) for a process of type T under the window.
template <typename T>
class LProcessDialog : public LProgressDialog {
 public:
  static constexpr int kNotRun = 2;

  // The process is not owned.
  LProcessDialog(const char* title, T* process) : LProgressDialog(title), process_(process) {}

  int MainFunction() override {
    processResult = Process<LProgressDialog>(*this, *process_);
    return 1;
  }

  // What the process gave; the code of failure until it has.
  int processResult = kNotRun;

 private:
  T* process_;
};
