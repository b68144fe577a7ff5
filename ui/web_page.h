#pragma once

// Opens a page of the maker's web site in the user's browser. Pages: "kiv/index", "software/index".
//   Errors   nothing happens when the desktop cannot be asked.
void OpenOskWebPage(const char* page);
