#pragma once

// A call from a script: engine, folders, settings and a sound system of its own, and the trace of what happens.
//
//   Trace    on standard output, "SECONDS  WHAT  TEXT" a line: what was commanded, logged and posted, each new state,
//            and at the end what the other end of a simulated line has heard, and the recordings.
//   Threads  main. On a line that is not in lock-step the line's own thread tells what has been heard.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "foundation/event_queue.h"
#include "platform/clock.h"
#include "platform/folders.h"
#include "platform/posix/posix_clock.h"
#include "platform/posix/posix_folders.h"
#include "platform/pulse/pulse_input.h"
#include "platform/pulse/pulse_output.h"
#include "platform/simulated/simulated_line.h"
#include "recorder/engine.h"
#include "recorder/status_window.h"
#include "tests/support/memory_preferences.h"
#include "tests/support/watched_output.h"
#include "tests/tools/kiv-call/call_script.h"

namespace kiv {

struct CallOptions {
  std::string scriptPath;  // "-" for standard input.
  std::string home;        // Of the account that the call is made in.
  bool server = false;     // The default sound server.
  double speed = 0;        // Of the simulated line; 0 for lock-step.
  std::string linePath;    // What is on the simulated line; empty for speech that it makes up.
  std::string outputPath;  // What the simulated line's other end has heard, as a WAV file; may be empty.
  bool reports = false;    // Time and level reports are part of the trace.
  bool level = false;      // The queue works the recordings off at the end.
};

class CallSession : private StatusText {
 public:
  explicit CallSession(const CallOptions& options);
  ~CallSession() override;
  CallSession(const CallSession&) = delete;
  CallSession& operator=(const CallSession&) = delete;

  // False, and said why on standard error, when something that the call needs cannot be opened.
  bool Open();
  // False, and said why, when the script has waited for something in vain. Once.
  bool Run(const std::vector<CallCommand>& commands);

 private:
  class Account;
  // A stretch of one channel that the other end has heard, in ns of line time.
  struct Heard {
    int channel;
    std::int64_t from;
    std::int64_t to;
    std::int32_t peak;  // Internal scale.
  };

  bool OpenSoundSystem();
  void MakeMissingPrompts();
  void MakeEngine();
  void ShowStatus(const std::string& log) override;
  bool Handle(const Event& event);

  bool Do(const CallCommand& command);
  void Begin(RequestedMode mode);
  // Lets the call go on until then, or until done; gives done.
  bool GoOn(std::int64_t untilMs, const std::function<bool()>& done);
  bool GoOnInLockStep(std::int64_t untilMs, const std::function<bool()>& done);
  std::int64_t NowMs() const;

  void Say(char const* what, const std::string& text);
  void SayState();
  void NoteHeard(const PlayedSound& sound);
  void SayHeard();
  void SayRecordings();
  // False when it takes too long.
  bool WorkQueueOff();

  const CallOptions options_;
  std::unique_ptr<Account> account_;
  test::MemoryPreferences preferences_;
  PosixClock clock_;
  std::unique_ptr<PulseServer> server_;
  std::unique_ptr<PulseInput> input_;
  std::unique_ptr<PulseOutput> output_;
  std::unique_ptr<SimulatedLine> line_;
  std::unique_ptr<test::WatchedOutput> lineOutput_;
  std::atomic<int> channel_{0};  // Counts those that were opened on the line.
  std::int64_t startNs_ = 0;
  std::unique_ptr<LALCListThread> queue_;
  std::unique_ptr<LKivEngine> engine_;
  std::vector<EventQueue::HandlerId> handlers_;
  std::string shown_;
  SndStateType state_ = SndStateType::Idle;
  std::mutex heardMutex_;  // Guards heard_.
  std::vector<Heard> heard_;
};

}  // namespace kiv
