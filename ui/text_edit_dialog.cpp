#include "ui/text_edit_dialog.h"

#include "ui/window.h"

namespace {

constexpr int kEntry = 100;
constexpr int kPrompt = 101;

}  // namespace

void LTextEditDlg::InitDialog() {
  kiv::SetWindowTitle(window_, prompt_);
  SetText(kPrompt, prompt_);
  SetText(kEntry, text_);
  // All of it, so that typing replaces the previous entry.
  kiv::SelectControlText(GetControl(kEntry), 0, 32767);
}

bool LTextEditDlg::CmOk() {
  GetText(kEntry, text_);
  return true;
}
