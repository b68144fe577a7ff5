#pragma once

// What stands behind a WindowRef: the toolkit's window with our handlers, controls by number and menu items by command.
// Only the files of this folder that draw include it.

#include <QAbstractButton>
#include <QAction>
#include <QDialog>
#include <QMainWindow>
#include <QTimer>
#include <QWidget>
#include <map>
#include <vector>

#include "ui/ui_event.h"
#include "ui/window.h"
#include "ui/window_ref.h"

namespace kiv {

inline QWidget* WidgetOf(WindowRef window) {
  return reinterpret_cast<QWidget*>(window);
}
inline WindowRef WindowRefOf(QWidget* widget) {
  return reinterpret_cast<WindowRef>(widget);
}
inline QWidget* WidgetOf(ControlRef control) {
  return reinterpret_cast<QWidget*>(control);
}
inline ControlRef ControlRefOf(QWidget* widget) {
  return reinterpret_cast<ControlRef>(widget);
}

// Bytes that are no UTF-8 become replacement marks; a character cut at the end is left out.
QString TextOf(const std::string& bytes);
std::string BytesOf(const QString& text);
// "&" would mark a mnemonic.
QString WithoutMnemonics(const QString& text);

// A theme's icon stays. The toolkit's own drawings hardly show on dark windows and say no more than the words.
void KeepThemeIconOnly(QAbstractButton& button);

class ToolkitWindow {
 public:
  virtual ~ToolkitWindow() = default;

  std::map<int, QWidget*> controls;
  std::multimap<std::uint32_t, QAction*> menuItems;

  UiEventHandler handler = nullptr;
  void* handlerData = nullptr;
  std::vector<EventTypeSpec> specs;
  KeyHandler keyHandler = nullptr;
  void* keyHandlerData = nullptr;
};

ToolkitWindow* ToolkitWindowOf(WindowRef window);

// The window that a new dialog belongs in front of: the innermost modal one, else the main window; null without any.
QWidget* FrontWindow();

// The main window: closing it asks the handler and never closes by itself.
class MainFrame : public QMainWindow, public ToolkitWindow {
 public:
  explicit MainFrame(QWidget* parent = nullptr);

 protected:
  void closeEvent(QCloseEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  bool event(QEvent* event) override;

 private:
  QTimer resizeCompleted_;
};

// Every other window. Escape presses the Cancel (or Close) button when there is one, Return the default button.
class DialogWindow : public QDialog, public ToolkitWindow {
 public:
  explicit DialogWindow(QWidget* parent = nullptr) : QDialog(parent) {}
  void accept() override;
  void reject() override;

 protected:
  void closeEvent(QCloseEvent* event) override;
};

}  // namespace kiv
