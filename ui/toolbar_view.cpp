// Shows a tool bar: icon over label, every button as wide as the widest label, so that nothing moves when one changes.

#include <QEvent>
#include <QFontMetrics>
#include <QMenuBar>
#include <QPointer>
#include <QStyle>
#include <QToolBar>
#include <QToolButton>
#include <algorithm>
#include <set>

#include "ui/icon_set.h"
#include "ui/toolbar.h"
#include "ui/toolkit_window.h"

namespace kiv {
namespace {

constexpr int kIconSize = 32;

class ToolBarView : public QToolBar {
 public:
  ToolBarView(MainFrame* frame, ToolBar& model) : QToolBar(frame), frame_(frame), model_(model) {
    setObjectName("toolBar");
    setWindowTitle("Tool bar");
    setMovable(false);
    setContextMenuPolicy(Qt::PreventContextMenu);
    setIconSize({kIconSize, kIconSize});
    if (frame_->menuBar() != nullptr) {
      for (const QAction* menu : frame_->menuBar()->actions()) {
        const qsizetype mark = menu->text().indexOf('&');
        if (mark >= 0 && mark + 1 < menu->text().size()) taken_.insert(menu->text()[mark + 1].toLower());
      }
    }
    for (std::size_t i = 0; i < model_.Items().size(); ++i) AddItem(i);
    Widen();
  }

  void Update(std::size_t index) {
    if (index >= buttons_.size() || buttons_[index].button == nullptr) return;
    Entry& entry = buttons_[index];
    const ToolBarItem& item = model_.Items()[index];
    const QString label = TextOf(item.label);
    entry.button->setText(Marked(label, entry.mnemonic));
    entry.button->setAccessibleName(label.trimmed());
    if (entry.iconName != item.iconName) {
      entry.iconName = item.iconName;
      entry.button->setIcon(icons_.Icon(item.iconName));
    }
    Widen();
  }

 protected:
  void changeEvent(QEvent* event) override {
    QToolBar::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
      widest_ = 0;
      Widen();
    }
  }

 private:
  struct Entry {
    QToolButton* button = nullptr;
    QChar mnemonic;
    std::string iconName;
  };

  void AddItem(std::size_t index) {
    const ToolBarItem& item = model_.Items()[index];
    Entry entry;
    if (item.identifier == kToolBarSeparator) {
      addSeparator();
    } else if (item.identifier == kToolBarSpace || item.identifier == kToolBarFlexibleSpace) {
      auto* space = new QWidget(this);
      const bool flexible = item.identifier == kToolBarFlexibleSpace;
      space->setSizePolicy(flexible ? QSizePolicy::Expanding : QSizePolicy::Fixed, QSizePolicy::Preferred);
      space->setFixedWidth(kIconSize);
      addWidget(space);
    } else {
      entry.button = new QToolButton(this);
      entry.button->setAutoRaise(true);
      entry.button->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
      entry.button->setIconSize(iconSize());
      entry.button->setFocusPolicy(Qt::TabFocus);
      entry.button->setToolTip(TextOf(item.helpText));
      entry.mnemonic = ChooseMnemonic(TextOf(item.label));
      const std::uint32_t command = item.command;
      connect(entry.button, &QToolButton::clicked, frame_,
              [frame = frame_, command] { SendCommand(WindowRefOf(frame), command); });
      addWidget(entry.button);
    }
    buttons_.push_back(entry);
    Update(index);
  }

  // The first letter that neither a menu nor another button answers to.
  QChar ChooseMnemonic(const QString& label) {
    for (const QChar c : label) {
      if (c.isLetter() && taken_.insert(c.toLower()).second) return c.toLower();
    }
    return {};
  }

  static QString Marked(const QString& label, QChar mnemonic) {
    QString text;
    bool marked = mnemonic.isNull();
    for (const QChar c : label) {
      if (!marked && c.toLower() == mnemonic) {
        text += '&';
        marked = true;
      }
      if (c == '&') text += '&';
      text += c;
    }
    return text;
  }

  void Widen() {
    for (const Entry& entry : buttons_) {
      if (entry.button == nullptr) continue;
      entry.button->setMinimumWidth(0);
      widest_ = std::max(widest_, entry.button->sizeHint().width());
    }
    for (const Entry& entry : buttons_) {
      if (entry.button != nullptr) entry.button->setMinimumWidth(widest_);
    }
    // Never so narrow that a button would hide behind an arrow.
    setMinimumWidth(sizeHint().width());
  }

  MainFrame* frame_;
  ToolBar& model_;
  std::vector<Entry> buttons_;
  std::set<QChar> taken_;
  IconSet icons_;
  int widest_ = 0;
};

}  // namespace

void AttachToolBar(WindowRef window, ToolBar& toolBar) {
  auto* frame = dynamic_cast<MainFrame*>(WidgetOf(window));
  if (frame == nullptr) return;
  auto* view = new ToolBarView(frame, toolBar);
  frame->addToolBar(Qt::TopToolBarArea, view);
  const QPointer<QToolBar> guard(view);
  toolBar.SetObserver([guard, view](std::size_t index) {
    if (guard) view->Update(index);
  });
}

}  // namespace kiv
