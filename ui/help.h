#pragma once

// Help pages: HTML files by number in <resources>/help/, in a small window with links, Back and the start page.
//   Threads  main.
//   Errors   a page that does not exist shows the start page; without any there is no window.

#include <string>

namespace kiv {

// The page of that name ("3"), in the help window; a second call changes the page of the window that is open.
void ShowHelpPage(const std::string& page);
void ShowHelpStart();
void CloseHelp();

}  // namespace kiv
