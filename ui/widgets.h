#pragma once

// Controls of our own, as interface files name their classes. They take their colours from the palette, so they follow
// the desktop's light and dark looks; the meter and the state drawings alone have colours of their own.

#include <QLabel>
#include <QPlainTextEdit>
#include <QWidget>

#include "ui/icon_set.h"

namespace kiv {

// How many pixels of the surface the meter and its scale count for one of the toolkit's. Whole scales draw in the
// toolkit's pixels, so that 200 % is the picture of 100 % twice as large; other scales draw in the surface's own, since
// half pixels would blur.
double SurfaceScale(const QWidget& widget);

// The elapsed time in large digits. As wide as the longest time, so that nothing beside it moves.
class ElapsedTime : public QLabel {
 public:
  explicit ElapsedTime(QWidget* parent = nullptr);
  QSize minimumSizeHint() const override;
  QSize sizeHint() const override { return minimumSizeHint(); }

 protected:
  void changeEvent(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  QFont LargeFont() const;
};

// One line that is cut with dots where it does not fit; the whole of it is in the tool tip.
class ElidedLabel : public QLabel {
 public:
  explicit ElidedLabel(QWidget* parent = nullptr);
  QSize minimumSizeHint() const override;

 protected:
  void changeEvent(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
};

// What the call is doing, in words and as a drawing: idle (0), recording (1), on hold (2). As wide as its longest
// words.
class StateDisplay : public QWidget {
 public:
  static constexpr int kStates = 3;
  explicit StateDisplay(QWidget* parent = nullptr);
  int State() const { return state_; }
  void SetState(int state);
  QString Words() const;
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
  void changeEvent(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  QFont WordsFont() const;
  int DrawingSize() const;
  int state_ = 0;
  IconSet icons_;
};

// Text that is only read: its last line stays in view, whatever size it has.
class StatusLog : public QPlainTextEdit {
 public:
  explicit StatusLog(QWidget* parent = nullptr);
  // The caret goes to the end, so the newest line is seen.
  void ShowText(const QString& text);
  QSize sizeHint() const override;

 protected:
  void resizeEvent(QResizeEvent* event) override;
  void showEvent(QShowEvent* event) override;

 private:
  void ShowEnd();
};

// Decibel marks under a level meter of the same width.
class LevelScale : public QWidget {
 public:
  explicit LevelScale(QWidget* parent = nullptr);
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void changeEvent(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
};

}  // namespace kiv
