#include "ui/status_text.h"

#include <algorithm>

#include "ui/controls.h"

namespace kiv {

void StatusTextControl::ShowStatus(const std::string& log) {
  // The log begins where a byte limit has cut it, which may be inside a character.
  std::size_t start = 0;
  while (start < log.size() && start < 3 && (static_cast<unsigned char>(log[start]) & 0xC0) == 0x80) ++start;
  std::string shown = log.substr(start);
  std::replace(shown.begin(), shown.end(), '\r', '\n');
  // No empty line below the newest.
  if (!shown.empty() && shown.back() == '\n') shown.pop_back();
  SetControlText(control_, shown);
}

}  // namespace kiv
