#include "ui/controls.h"

#include <QAbstractButton>
#include <QAbstractSlider>
#include <QFontDatabase>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QSignalBlocker>
#include <QTabWidget>
#include <QVariant>

#include "ui/toolkit_window.h"
#include "ui/widgets.h"

namespace kiv {
namespace {

QByteArray PropertyName(std::uint32_t signature, std::uint32_t tag) {
  return "pointer_" + QByteArray::number(signature, 16) + "_" + QByteArray::number(tag, 16);
}

}  // namespace

ControlRef GetControlByID(WindowRef window, int id) {
  const ToolkitWindow* target = ToolkitWindowOf(window);
  if (target == nullptr) return nullptr;
  const auto control = target->controls.find(id);
  return control == target->controls.end() ? nullptr : ControlRefOf(control->second);
}

void SetControlText(ControlRef control, const std::string& bytes) {
  QWidget* widget = WidgetOf(control);
  const QString text = TextOf(bytes);
  if (auto* label = qobject_cast<QLabel*>(widget)) {
    // Never read as markup, whatever a user typed.
    label->setTextFormat(Qt::PlainText);
    label->setText(label->buddy() != nullptr ? WithoutMnemonics(text) : text);
  } else if (auto* edit = qobject_cast<QLineEdit*>(widget)) {
    edit->setText(text);
  } else if (auto* log = dynamic_cast<StatusLog*>(widget)) {
    log->ShowText(text);
  } else if (auto* plain = qobject_cast<QPlainTextEdit*>(widget)) {
    plain->setPlainText(text);
  } else if (auto* button = qobject_cast<QAbstractButton*>(widget)) {
    button->setText(WithoutMnemonics(text));
  }
}

std::string ControlText(ControlRef control) {
  QWidget* widget = WidgetOf(control);
  if (auto* label = qobject_cast<QLabel*>(widget)) {
    QString text = label->text();
    return BytesOf(label->buddy() != nullptr ? text.replace("&&", "&") : text);
  }
  if (auto* edit = qobject_cast<QLineEdit*>(widget)) return BytesOf(edit->text());
  if (auto* plain = qobject_cast<QPlainTextEdit*>(widget)) return BytesOf(plain->toPlainText());
  if (auto* button = qobject_cast<QAbstractButton*>(widget)) {
    QString text = button->text();
    return BytesOf(text.replace("&&", "&"));
  }
  return {};
}

void SelectControlText(ControlRef control, int start, int end) {
  QWidget* widget = WidgetOf(control);
  if (auto* edit = qobject_cast<QLineEdit*>(widget)) {
    edit->setSelection(start, end - start);
  } else if (auto* plain = qobject_cast<QPlainTextEdit*>(widget)) {
    QTextCursor cursor = plain->textCursor();
    const int length = static_cast<int>(plain->toPlainText().size());
    cursor.setPosition(std::min(start, length));
    cursor.setPosition(std::min(end, length), QTextCursor::KeepAnchor);
    plain->setTextCursor(cursor);
  }
}

int ControlValue(ControlRef control) {
  QWidget* widget = WidgetOf(control);
  if (const auto* button = qobject_cast<QAbstractButton*>(widget)) return button->isChecked() ? 1 : 0;
  if (const auto* slider = qobject_cast<QAbstractSlider*>(widget)) return slider->value();
  if (const auto* progress = qobject_cast<QProgressBar*>(widget)) return progress->value();
  if (const auto* tabs = qobject_cast<QTabWidget*>(widget)) return tabs->currentIndex() + 1;
  if (const auto* state = dynamic_cast<StateDisplay*>(widget)) return state->State();
  return 0;
}

void SetControlValue(ControlRef control, int value) {
  QWidget* widget = WidgetOf(control);
  if (auto* tabs = qobject_cast<QTabWidget*>(widget)) {
    tabs->setCurrentIndex(value - 1);
    return;
  }
  // Only what the user does sends commands.
  const QSignalBlocker blocker(widget);
  if (auto* button = qobject_cast<QAbstractButton*>(widget)) {
    button->setChecked(value != 0);
  } else if (auto* slider = qobject_cast<QAbstractSlider*>(widget)) {
    slider->setValue(value);
  } else if (auto* progress = qobject_cast<QProgressBar*>(widget)) {
    progress->setValue(value);
  } else if (auto* state = dynamic_cast<StateDisplay*>(widget)) {
    state->SetState(value);
  }
}

void EnableControl(ControlRef control, bool enable) {
  if (control != nullptr) WidgetOf(control)->setEnabled(enable);
}

bool IsControlEnabled(ControlRef control) {
  return control != nullptr && WidgetOf(control)->isEnabled();
}

void ShowControl(ControlRef control, bool show) {
  if (control != nullptr) WidgetOf(control)->setVisible(show);
}

bool IsControlShown(ControlRef control) {
  return control != nullptr && !WidgetOf(control)->isHidden();
}

void RedrawControl(ControlRef control) {
  if (control != nullptr) WidgetOf(control)->update();
}

void FocusControl(ControlRef control) {
  if (control != nullptr) WidgetOf(control)->setFocus(Qt::OtherFocusReason);
}

void SetControlProperty(ControlRef control, std::uint32_t signature, std::uint32_t tag, void* value) {
  if (control == nullptr) return;
  WidgetOf(control)->setProperty(PropertyName(signature, tag).constData(),
                                 value == nullptr ? QVariant() : QVariant::fromValue(value));
}

void* GetControlProperty(ControlRef control, std::uint32_t signature, std::uint32_t tag) {
  if (control == nullptr) return nullptr;
  return WidgetOf(control)->property(PropertyName(signature, tag).constData()).value<void*>();
}

namespace {

QString WatcherName(const void* userData) {
  return "valueHandler_" + QString::number(reinterpret_cast<quintptr>(userData), 16);
}

}  // namespace

void InstallValueHandler(ControlRef control, ValueHandler handler, void* userData) {
  auto* tabs = qobject_cast<QTabWidget*>(WidgetOf(control));
  if (tabs == nullptr) return;
  RemoveValueHandler(control, userData);
  // The connections live as long as this child.
  auto* watcher = new QObject(tabs);
  watcher->setObjectName(WatcherName(userData));
  QObject::connect(tabs, &QTabWidget::currentChanged, watcher, [=] { handler(control, userData); });
  QObject::connect(watcher, &QObject::destroyed, [=] { handler(nullptr, userData); });
}

void RemoveValueHandler(ControlRef control, void* userData) {
  if (control == nullptr) return;
  QObject* watcher = WidgetOf(control)->findChild<QObject*>(WatcherName(userData), Qt::FindDirectChildrenOnly);
  if (watcher == nullptr) return;
  watcher->disconnect();  // It would report its own end.
  delete watcher;
}

void SetControlFontStyle(ControlRef control, FontStyle style) {
  if (control == nullptr) return;
  QWidget* widget = WidgetOf(control);
  if (style == FontStyle::Normal) {
    widget->setFont(QFont());
    return;
  }
  QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  if (widget->font().pointSizeF() > 0) font.setPointSizeF(widget->font().pointSizeF());
  widget->setFont(font);
}

}  // namespace kiv
