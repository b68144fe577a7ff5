#include "ui/web_page.h"

#include <cstdio>

#include "foundation/text.h"
#include "platform/opener.h"
#include "platform/services.h"

void OpenOskWebPage(const char* page) {
  char address[kiv::kTextSize];
  std::snprintf(address, sizeof(address), "%s/%s.html", KIV_WEB_BASE, page);
  if (kiv::services.opener != nullptr) kiv::services.opener->OpenPage(address);
}
