#include "ui/application_loop.h"

#include <sys/socket.h>
#include <unistd.h>

#include <QApplication>
#include <QDialog>
#include <QEvent>
#include <QEventLoop>
#include <QSessionManager>
#include <QSocketNotifier>
#include <csignal>
#include <memory>
#include <vector>

#include "platform/hot_keys.h"
#include "platform/services.h"
#include "ui/command_id.h"
#include "ui/toolkit_window.h"
#include "ui/window.h"

namespace kiv {
namespace {

struct ApplicationHandler {
  UiEventHandler handler;
  void* userData;
  std::vector<EventTypeSpec> specs;
};

struct ModalLoop {
  WindowRef window;
  QEventLoop* loop;
};

struct LoopState {
  std::vector<ApplicationHandler> handlers;  // Newest last.
  std::vector<WindowRef> modalWindows;       // Innermost last.
  std::vector<ModalLoop> modalLoops;
  QEventLoop* applicationLoop = nullptr;
  bool quitting = false;
  int sourceUsers = 0;
  std::unique_ptr<QSocketNotifier> queueNotifier;
  std::unique_ptr<QSocketNotifier> hotKeyNotifier;
};

LoopState& State() {
  static LoopState state;
  return state;
}

// Signal handlers may do little more than write; the loop turns the byte into the command.
int signalSockets[2] = {-1, -1};

extern "C" void WriteSignalByte(int) {
  const int savedErrno = errno;
  const char byte = 1;
  [[maybe_unused]] const ssize_t written = write(signalSockets[0], &byte, 1);
  errno = savedErrno;
}

constexpr int kQuitSignals[] = {SIGTERM, SIGINT, SIGHUP};

void Quit() {
  SendToApplication(CommandEvent(kCommandQuit));
}

class QuitSignals {
 public:
  QuitSignals() {
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, signalSockets) != 0) return;
    notifier_ = std::make_unique<QSocketNotifier>(signalSockets[1], QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [] {
      char bytes[64];
      while (read(signalSockets[1], bytes, sizeof(bytes)) > 0) {
      }
      Quit();
    });
    struct sigaction action = {};
    action.sa_handler = WriteSignalByte;
    action.sa_flags = SA_RESTART;
    for (std::size_t i = 0; i < std::size(kQuitSignals); ++i) sigaction(kQuitSignals[i], &action, &before_[i]);
  }
  ~QuitSignals() {
    if (!notifier_) return;
    for (std::size_t i = 0; i < std::size(kQuitSignals); ++i) sigaction(kQuitSignals[i], &before_[i], nullptr);
    notifier_.reset();
    close(signalSockets[0]);
    close(signalSockets[1]);
  }
  QuitSignals(const QuitSignals&) = delete;
  QuitSignals& operator=(const QuitSignals&) = delete;

 private:
  std::unique_ptr<QSocketNotifier> notifier_;
  struct sigaction before_[std::size(kQuitSignals)] = {};
};

// The end of the desktop's session. Its manager first asks every program to save itself, and once all have agreed it
// tells them to end. It asks the same when it only notes which programs are running, and any program may still call the
// end off, so a recording goes on through the question.
class SessionEnd : public QObject {
 public:
  SessionEnd() {
    connect(qApp, &QGuiApplication::commitDataRequest, this, [](QSessionManager& manager) {
      if (SendToApplication(Event(kEventClassApplication, kEventAppMayQuit)) == noErr) manager.cancel();
    });
    qApp->installEventFilter(this);
  }
  // Told to end, nobody is asked again: the desktop goes away with or without us.
  bool eventFilter(QObject* object, QEvent* event) override {
    if (object != qApp || event->type() != QEvent::Quit) return false;
    QuitApplicationEventLoop();
    return true;
  }
};

}  // namespace

void InstallApplicationHandler(UiEventHandler handler, void* userData, std::initializer_list<EventTypeSpec> specs) {
  State().handlers.push_back({handler, userData, specs});
}

void RemoveApplicationHandler(UiEventHandler handler, void* userData) {
  std::erase_if(State().handlers, [&](const ApplicationHandler& installed) {
    return installed.handler == handler && installed.userData == userData;
  });
}

OSStatus SendToApplication(const Event& event) {
  // A copy: handlers may install and remove handlers.
  const std::vector<ApplicationHandler> handlers = State().handlers;
  for (auto handler = handlers.rbegin(); handler != handlers.rend(); ++handler) {
    if (!IsOneOf(event, handler->specs)) continue;
    if (handler->handler(event, handler->userData) != eventNotHandledErr) return noErr;
  }
  return eventNotHandledErr;
}

EventSources::EventSources() {
  LoopState& state = State();
  if (state.sourceUsers++ > 0) return;
  state.queueNotifier = std::make_unique<QSocketNotifier>(EventQueue::Main().WakeDescriptor(), QSocketNotifier::Read);
  QObject::connect(state.queueNotifier.get(), &QSocketNotifier::activated, [] { EventQueue::Main().Drain(); });
  HotKeys* hotKeys = services.hotKeys;
  if (hotKeys == nullptr || hotKeys->Descriptor() < 0) return;
  state.hotKeyNotifier = std::make_unique<QSocketNotifier>(hotKeys->Descriptor(), QSocketNotifier::Read);
  QObject::connect(state.hotKeyNotifier.get(), &QSocketNotifier::activated, [hotKeys] { hotKeys->Dispatch(); });
}

EventSources::~EventSources() {
  LoopState& state = State();
  if (--state.sourceUsers > 0) return;
  state.queueNotifier.reset();
  state.hotKeyNotifier.reset();
}

void RunApplicationEventLoop() {
  LoopState& state = State();
  const EventSources sources;
  const QuitSignals signals;
  const SessionEnd sessionEnd;
  QEventLoop loop;
  state.applicationLoop = &loop;
  if (!state.quitting) loop.exec();
  state.applicationLoop = nullptr;
  state.quitting = false;
}

void QuitApplicationEventLoop() {
  LoopState& state = State();
  state.quitting = true;
  const std::vector<WindowRef> windows = state.modalWindows;
  for (auto window = windows.rbegin(); window != windows.rend(); ++window) {
    SendEvent(*window, Event(kEventClassWindow, kEventWindowClose));
  }
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    auto* dialog = qobject_cast<QDialog*>(widget);
    const bool ours = dynamic_cast<ToolkitWindow*>(widget) != nullptr;
    if (dialog != nullptr && !ours && dialog->isVisible()) dialog->reject();
  }
  if (state.applicationLoop != nullptr) state.applicationLoop->quit();
}

bool IsQuitting() {
  return State().quitting;
}

void RunAppModalLoopForWindow(WindowRef window) {
  // What a window does while it opens may have ended the program, which closed the windows that were open by then.
  if (window == nullptr || State().quitting) return;
  const EventSources sources;
  QEventLoop loop;
  BeginModalWindow(window);
  State().modalLoops.push_back({window, &loop});
  loop.exec();
  std::erase_if(State().modalLoops, [&loop](const ModalLoop& modal) { return modal.loop == &loop; });
  EndModalWindow(window);
}

void QuitAppModalLoopForWindow(WindowRef window) {
  for (const ModalLoop& modal : State().modalLoops) {
    if (modal.window == window) modal.loop->quit();
  }
}

void BeginModalWindow(WindowRef window) {
  State().modalWindows.push_back(window);
}

void EndModalWindow(WindowRef window) {
  std::erase(State().modalWindows, window);
}

void DispatchWaitingEvents() {
  // The limits keep a handler that always posts another event, or a timer that is always due, from holding the caller.
  constexpr int kMaxRounds = 100;
  constexpr int kMaxMilliseconds = 20;
  EventQueue& queue = EventQueue::Main();
  for (int round = 0; round < kMaxRounds && !queue.IsEmpty(); ++round) queue.Drain();
  QCoreApplication::processEvents(QEventLoop::AllEvents, kMaxMilliseconds);
  for (int round = 0; round < kMaxRounds && !queue.IsEmpty(); ++round) queue.Drain();
}

}  // namespace kiv
