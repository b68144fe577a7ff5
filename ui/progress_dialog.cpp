#include "ui/progress_dialog.h"

#include "foundation/fixed_point.h"
#include "ui/application_loop.h"
#include "ui/window.h"

namespace {

constexpr int kStatusLines[] = {101, 102};
constexpr int kProgress = 103;

}  // namespace

void LProgressDialog::Close() {
  stop_ = 1;
}

int LProgressDialog::Open(WindowRef) {
  if (window_ != nullptr || kiv::IsQuitting()) return 0;
  window_ = kiv::CreateWindowFromInterface("LProgressDialog");
  if (window_ == nullptr) return 0;
  kiv::InstallWindowHandler(window_, _LDEventHandler, this,
                            {{kEventClassWindow, kEventWindowClose}, {kEventClassCommand, kEventCommandProcess}});
  kiv::SetWindowTitle(window_, title_);
  kiv::SetApplicationModal(window_);
  kiv::ShowWindow(window_);
  stop_ = 0;
  const kiv::EventSources sources;
  kiv::BeginModalWindow(window_);
  const int result = MainFunction();
  kiv::EndModalWindow(window_);
  kiv::HideWindow(window_);
  kiv::DisposeWindow(window_);
  window_ = nullptr;
  return result;
}

bool LProgressDialog::IsToStop() {
  kiv::DispatchWaitingEvents();
  return stop_ != 0;
}

void LProgressDialog::SetStatus(const char* text, int line) {
  if (line == 0 || line == 1) SetText(kStatusLines[line], text);
}

void LProgressDialog::SetProgress(double fraction) {
  // Through 16 bits, as the control's value is stored.
  SetValue(kProgress, static_cast<std::int16_t>(kiv::TruncateToI32(fraction * 100.0)));
}
