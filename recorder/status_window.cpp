#include "recorder/status_window.h"

#include <chrono>
#include <cstring>

#include "foundation/four_cc.h"

LStatusWindow gStatusWindow;

namespace {

constexpr std::uint32_t kStatusClass = kiv::FourCC("LSta");
constexpr std::uint32_t kStatusKind = kiv::FourCC("show");
constexpr std::uint32_t kStatusObject = kiv::FourCC("LSwi");
constexpr std::uint32_t kStatusObjectType = kiv::FourCC("iden");

std::uint32_t MillisecondClock() {
  using std::chrono::microseconds;
  const auto now = std::chrono::duration_cast<microseconds>(std::chrono::system_clock::now().time_since_epoch());
  return static_cast<std::uint32_t>(now.count()) / 1000;
}

}  // namespace

LStatusWindow::~LStatusWindow() {
  // The program's own object goes when the loop has long ended; its control is gone before.
  if (handler_ != 0) kiv::EventQueue::Main().Remove(handler_);
}

void LStatusWindow::SetControl(kiv::StatusText* control) {
  kiv::EventQueue& queue = kiv::EventQueue::Main();
  if (handler_ != 0) queue.Remove(handler_);
  handler_ = 0;
  control_ = control;
  posted_ = 0;
  {
    const std::lock_guard lock(mutex_);
    shownThread_ = control == nullptr ? std::thread::id() : std::this_thread::get_id();
    // A new identity: what was posted for the earlier control reaches nobody.
    identity_ = control == nullptr ? 0 : kiv::EventQueue::NewIdentity();
  }
  if (control == nullptr) return;
  handler_ = queue.Install(kStatusClass, kStatusKind, [this](const kiv::Event& event) {
    if (event.Get<std::uint64_t>(kStatusObject, kStatusObjectType) != identity_) return false;
    posted_ = 0;
    Show();
    return true;
  });
  Show();
}

void LStatusWindow::DisplayStatus(const char* text) {
  std::uint64_t identity = 0;
  bool here = false;
  {
    const std::lock_guard lock(mutex_);
    Append(text);
    identity = identity_;
    here = shownThread_ == std::this_thread::get_id();
  }
  if (identity == 0) return;
  if (here) {
    Show();
    return;
  }
  if (posted_.exchange(identity) == identity) return;
  kiv::Event event(kStatusClass, kStatusKind);
  event.Set(kStatusObject, kStatusObjectType, identity);
  kiv::EventQueue::Main().Post(std::move(event));
}

std::string LStatusWindow::Text() const {
  const std::lock_guard lock(mutex_);
  return {text_, length_};
}

void LStatusWindow::Append(const char* text) {
  // Nothing sets pending_ yet; the age is compared with all 32 bits of the clock and the 8 bits of the stamp.
  if (pending_ != 0 && MillisecondClock() - stamp_ > kPendingLimitMs) pending_ = 0;
  for (const char* c = text;; ++c) {
    // Checked before each character, the terminator too: a log that is just full loses its oldest part already then.
    if (length_ > kTextSize - 1) {
      std::memmove(text_, text_ + kDropped, kTextSize - kDropped);
      length_ = kTextSize - kDropped;
    }
    text_[length_] = *c;
    if (*c == '\0') return;
    ++length_;
  }
}

void LStatusWindow::Show() {
  if (control_ != nullptr) control_->ShowStatus(Text());
}
