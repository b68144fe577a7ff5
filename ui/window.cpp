#include "ui/window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDialogButtonBox>
#include <QKeyEvent>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QWindow>
#include <memory>

#include "ui/application_loop.h"
#include "ui/command_id.h"
#include "ui/interface_file.h"
#include "ui/key_codes.h"
#include "ui/toolkit_window.h"

namespace kiv {
namespace {

// A resize is complete when the size has stood still for this long.
constexpr int kResizeRestMs = 100;

Event WindowClose() {
  return {kEventClassWindow, kEventWindowClose};
}

}  // namespace

QString TextOf(const std::string& bytes) {
  // A character that a 259-byte limit has cut shows as nothing rather than as a replacement mark.
  std::size_t length = bytes.size();
  std::size_t tail = 0;
  while (tail < 3 && tail < length && (static_cast<unsigned char>(bytes[length - 1 - tail]) & 0xC0) == 0x80) ++tail;
  if (tail < length) {
    const auto lead = static_cast<unsigned char>(bytes[length - 1 - tail]);
    const std::size_t wanted = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
    if (wanted > tail) length -= tail + 1;
  }
  return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(length));
}

std::string BytesOf(const QString& text) {
  return text.toStdString();
}

QString WithoutMnemonics(const QString& text) {
  QString escaped = text;
  return escaped.replace('&', "&&");
}

void KeepThemeIconOnly(QAbstractButton& button) {
  if (button.icon().name().isEmpty()) button.setIcon(QIcon());
}

ToolkitWindow* ToolkitWindowOf(WindowRef window) {
  return dynamic_cast<ToolkitWindow*>(WidgetOf(window));
}

QWidget* FrontWindow() {
  if (QWidget* modal = QApplication::activeModalWidget()) return modal;
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (dynamic_cast<MainFrame*>(widget) != nullptr && widget->isVisible()) return widget;
  }
  return nullptr;
}

MainFrame::MainFrame(QWidget* parent) : QMainWindow(parent) {
  resizeCompleted_.setSingleShot(true);
  resizeCompleted_.setInterval(kResizeRestMs);
  connect(&resizeCompleted_, &QTimer::timeout, this, [this] {
    SendEvent(WindowRefOf(this), {kEventClassWindow, kEventWindowResizeCompleted});
  });
}

void MainFrame::closeEvent(QCloseEvent* event) {
  event->ignore();
  SendEvent(WindowRefOf(this), WindowClose());
}

void MainFrame::resizeEvent(QResizeEvent* event) {
  QMainWindow::resizeEvent(event);
  if (isVisible()) resizeCompleted_.start();
}

bool MainFrame::event(QEvent* event) {
  if (event->type() == QEvent::KeyPress && keyHandler != nullptr) {
    auto* press = static_cast<QKeyEvent*>(event);
    const int code = FunctionKeyCode(press->key());
    const bool plain = (press->modifiers() & ~(Qt::KeypadModifier | Qt::GroupSwitchModifier)) == Qt::NoModifier;
    if (code >= 0 && plain && !press->isAutoRepeat()) {
      if (keyHandler(code << 16 | kFunctionKeyCharacter, keyHandlerData)) return true;
    }
  }
  return QMainWindow::event(event);
}

void DialogWindow::accept() {
  SendCommand(WindowRefOf(this), kCommandOk);
}

void DialogWindow::reject() {
  const auto* box = findChild<QDialogButtonBox*>();
  if (box != nullptr) {
    for (QAbstractButton* button : box->buttons()) {
      if (box->buttonRole(button) == QDialogButtonBox::RejectRole) {
        button->click();
        return;
      }
    }
  }
  SendEvent(WindowRefOf(this), WindowClose());
}

void DialogWindow::closeEvent(QCloseEvent* event) {
  event->ignore();
  SendEvent(WindowRefOf(this), WindowClose());
}

WindowRef CreateWindowFromInterface(const std::string& name) {
  return WindowRefOf(LoadInterfaceWindow(name));
}

bool SetMenuBarFromInterface(WindowRef window, const std::string& name) {
  auto* frame = dynamic_cast<MainFrame*>(WidgetOf(window));
  if (frame == nullptr) return false;
  const std::unique_ptr<QWidget> holder(LoadInterfaceWindow(name));
  auto* menuHolder = dynamic_cast<MainFrame*>(holder.get());
  if (menuHolder == nullptr) return false;
  QMenuBar* bar = menuHolder->menuBar();
  for (QAction* action : holder->findChildren<QAction*>()) {
    if (action->parent() == menuHolder) action->setParent(frame);
    const QString code = action->property("command").toString();
    if (code.isEmpty()) continue;
    const std::uint32_t command = CommandFromText(code);
    frame->menuItems.emplace(TranslateCommand(command), action);
    QObject::connect(action, &QAction::triggered, frame,
                     [frame, command] { SendCommand(WindowRefOf(frame), command); });
  }
  frame->setMenuBar(bar);  // Takes the bar away from the window that it was loaded with.
  for (QMenu* menu : bar->findChildren<QMenu*>()) {
    QObject::connect(menu, &QMenu::aboutToShow, frame, [frame] {
      SendEvent(WindowRefOf(frame), {kEventClassMenu, kEventMenuEnableItems});
    });
  }
  return true;
}

void DisposeWindow(WindowRef window) {
  if (window == nullptr) return;
  RemoveWindowHandler(window);
  // Whoever disposes of a window has left its loop, so none of its controls is still at work.
  delete WidgetOf(window);
}

void InstallWindowHandler(WindowRef window, UiEventHandler handler, void* userData,
                          std::initializer_list<EventTypeSpec> specs) {
  ToolkitWindow* target = ToolkitWindowOf(window);
  if (target == nullptr) return;
  target->handler = handler;
  target->handlerData = userData;
  target->specs = specs;
}

void RemoveWindowHandler(WindowRef window) {
  ToolkitWindow* target = ToolkitWindowOf(window);
  if (target == nullptr) return;
  target->handler = nullptr;
  target->keyHandler = nullptr;
}

OSStatus SendEvent(WindowRef window, const Event& event) {
  const ToolkitWindow* target = ToolkitWindowOf(window);
  if (target != nullptr && target->handler != nullptr && IsOneOf(event, target->specs)) {
    if (target->handler(event, target->handlerData) != eventNotHandledErr) return noErr;
  }
  return SendToApplication(event);
}

void InstallKeyHandler(WindowRef window, KeyHandler handler, void* userData) {
  ToolkitWindow* target = ToolkitWindowOf(window);
  if (target == nullptr) return;
  target->keyHandler = handler;
  target->keyHandlerData = userData;
}

void ShowWindow(WindowRef window) {
  if (window == nullptr) return;
  QWidget* widget = WidgetOf(window);
  QWidget* front = FrontWindow();
  // The window manager keeps a dialog in front of the window that it belongs to, and centres it there.
  if (dynamic_cast<DialogWindow*>(widget) != nullptr && front != nullptr && front != widget) {
    widget->winId();
    front->winId();
    widget->windowHandle()->setTransientParent(front->windowHandle());
    widget->adjustSize();
    const QPoint centre = front->frameGeometry().center();
    widget->move(centre - QPoint(widget->width() / 2, widget->height() / 2));
  }
  widget->show();
}

void HideWindow(WindowRef window) {
  if (window != nullptr) WidgetOf(window)->hide();
}

bool IsWindowShown(WindowRef window) {
  return window != nullptr && WidgetOf(window)->isVisible();
}

void ActivateWindow(WindowRef window) {
  if (window == nullptr) return;
  WidgetOf(window)->raise();
  WidgetOf(window)->activateWindow();
}

void BringToFront(WindowRef window) {
  if (!IsWindowShown(window)) return;
  QWidget* widget = WidgetOf(window);
  widget->setWindowState(widget->windowState() & ~Qt::WindowMinimized);
  ActivateWindow(window);
  QWidget* front = FrontWindow();
  if (front != nullptr && front != widget) ActivateWindow(WindowRefOf(front));
}

void SetWindowTitle(WindowRef window, const std::string& title) {
  if (window != nullptr) WidgetOf(window)->setWindowTitle(TextOf(title));
}

std::string WindowTitle(WindowRef window) {
  return window == nullptr ? std::string() : BytesOf(WidgetOf(window)->windowTitle());
}

void AdvanceKeyboardFocus(WindowRef window) {
  if (window == nullptr) return;
  QWidget* top = WidgetOf(window);
  // A hidden window gives no focus yet; it remembers the wish for when it is shown.
  for (QWidget* widget = top->nextInFocusChain(); widget != nullptr && widget != top;
       widget = widget->nextInFocusChain()) {
    const bool reachable = (widget->focusPolicy() & Qt::TabFocus) != 0 && widget->isEnabledTo(top) &&
                           widget->isVisibleTo(top) && widget->focusProxy() == nullptr;
    if (!reachable) continue;
    widget->setFocus(Qt::TabFocusReason);
    return;
  }
}

void ClearKeyboardFocus(WindowRef window) {
  if (window == nullptr) return;
  if (QWidget* focused = WidgetOf(window)->focusWidget()) focused->clearFocus();
}

void SetApplicationModal(WindowRef window) {
  if (window != nullptr) WidgetOf(window)->setWindowModality(Qt::ApplicationModal);
}

void EnableMenuCommand(WindowRef window, std::uint32_t commandId, bool enable) {
  ToolkitWindow* target = ToolkitWindowOf(window);
  if (target == nullptr) return;
  const auto [first, last] = target->menuItems.equal_range(TranslateCommand(commandId));
  for (auto item = first; item != last; ++item) item->second->setEnabled(enable);
}

bool IsMenuCommandEnabled(WindowRef window, std::uint32_t commandId) {
  const ToolkitWindow* target = ToolkitWindowOf(window);
  if (target == nullptr) return false;
  const auto item = target->menuItems.find(TranslateCommand(commandId));
  return item != target->menuItems.end() && item->second->isEnabled();
}

void SetMenuItemKeyName(WindowRef window, std::uint32_t commandId, const std::string& key) {
  ToolkitWindow* target = ToolkitWindowOf(window);
  if (target == nullptr) return;
  const auto [first, last] = target->menuItems.equal_range(TranslateCommand(commandId));
  for (auto item = first; item != last; ++item) {
    // After a tab the menu shows a key name; the short cut stays empty, so the key does nothing by it.
    const QString text = item->second->text().section('\t', 0, 0);
    item->second->setText(key.empty() ? text : text + '\t' + TextOf(key));
  }
}

void AppendMenuItem(WindowRef window, const std::string& menuTitle, const std::string& text, std::uint32_t commandId) {
  auto* frame = dynamic_cast<MainFrame*>(WidgetOf(window));
  if (frame == nullptr) return;
  for (QAction* entry : frame->menuBar()->actions()) {
    QString title = entry->text();
    if (entry->menu() == nullptr || title.remove('&') != TextOf(menuTitle)) continue;
    if (commandId == 0) {
      entry->menu()->addSeparator();
      return;
    }
    QAction* action = entry->menu()->addAction(TextOf(text));
    frame->menuItems.emplace(TranslateCommand(commandId), action);
    QObject::connect(action, &QAction::triggered, frame,
                     [frame, commandId] { SendCommand(WindowRefOf(frame), commandId); });
    return;
  }
}

}  // namespace kiv
