#pragma once

// Interface files: one Qt Designer file per window, loaded at run time.
//   Numbers   property controlId of a control; commands: property command, four characters.
//   Boxes     an empty button box names its buttons by their commands in its property commands ("ok  ,not!").
//   Errors    a file that cannot be loaded gives null. What is wrong inside a file (an unknown class of control, a bad
//             command, a number used twice) is printed and kept for TakeInterfaceProblems.

#include <QString>
#include <QStringList>
#include <QWidget>
#include <string>

namespace kiv {

// Owned by the caller; a MainFrame or a DialogWindow.
QWidget* LoadInterfaceWindow(const std::string& name);

// Makes a class of control known to the loader under the name that interface files use.
using ControlFactory = QWidget* (*)(QWidget* parent);
void RegisterControlClass(const QString& className, ControlFactory factory);

// Everything found wrong since the last call; for the tests.
QStringList TakeInterfaceProblems();

// Four Latin-1 characters as one word; 0 when the text has another length.
std::uint32_t CommandFromText(const QString& text);

}  // namespace kiv
