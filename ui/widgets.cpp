#include "ui/widgets.h"

#include <QAccessible>
#include <QEvent>
#include <QPainter>
#include <QStyle>
#include <algorithm>
#include <cmath>

#include "ui/meter_geometry.h"

namespace kiv {
namespace {

constexpr double kTimeSize = 2.75;
constexpr double kWordsSize = 1.35;
constexpr int kLogLines = 7;

QFont Larger(QFont font, double factor) {
  if (font.pointSizeF() > 0) {
    font.setPointSizeF(font.pointSizeF() * factor);
  } else {
    font.setPixelSize(qRound(font.pixelSize() * factor));
  }
  return font;
}

bool ChangesSize(const QEvent& event) {
  return event.type() == QEvent::FontChange || event.type() == QEvent::StyleChange;
}

const char* const kStateWords[StateDisplay::kStates] = {"Idle", "Recording", "On hold"};
const char* const kStateDrawings[StateDisplay::kStates] = {"state-idle", "state-recording", "state-hold"};

}  // namespace

double SurfaceScale(const QWidget& widget) {
  const double ratio = widget.devicePixelRatioF();
  return ratio == std::floor(ratio) ? 1.0 : ratio;
}

ElapsedTime::ElapsedTime(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QFont ElapsedTime::LargeFont() const {
  return Larger(font(), kTimeSize);
}

QSize ElapsedTime::minimumSizeHint() const {
  const QFontMetrics metrics(LargeFont());
  return {metrics.horizontalAdvance("00:00:00"), metrics.height()};
}

void ElapsedTime::changeEvent(QEvent* event) {
  QLabel::changeEvent(event);
  if (ChangesSize(*event)) updateGeometry();
}

void ElapsedTime::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setFont(LargeFont());
  painter.setPen(palette().color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::WindowText));
  // Digit by digit in boxes of one width, whatever the desktop's font does: the digits stand still while they count.
  const QFontMetrics metrics = painter.fontMetrics();
  const int digitWidth = metrics.horizontalAdvance('0');
  const int pointWidth = metrics.horizontalAdvance(':');
  int textWidth = 0;
  for (const QChar c : text()) textWidth += c.isDigit() ? digitWidth : pointWidth;
  int x = layoutDirection() == Qt::RightToLeft ? width() - textWidth : 0;
  const int y = (height() - metrics.height()) / 2 + metrics.ascent();
  for (const QChar c : text()) {
    const int box = c.isDigit() ? digitWidth : pointWidth;
    painter.drawText(x + (box - metrics.horizontalAdvance(c)) / 2, y, QString(c));
    x += box;
  }
}

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);
  setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
}

QSize ElidedLabel::minimumSizeHint() const {
  return {0, fontMetrics().height()};
}

void ElidedLabel::changeEvent(QEvent* event) {
  QLabel::changeEvent(event);
  if (ChangesSize(*event)) updateGeometry();
}

void ElidedLabel::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const QString shown = fontMetrics().elidedText(text(), Qt::ElideRight, width());
  const bool cut = shown != text();
  if (toolTip().isEmpty() == cut) setToolTip(cut ? text().toHtmlEscaped() : QString());
  painter.setPen(palette().color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::WindowText));
  painter.drawText(
      rect(), static_cast<int>(Qt::AlignVCenter | QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft)), shown);
}

StateDisplay::StateDisplay(QWidget* parent) : QWidget(parent) {
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
  setAccessibleName(Words());
}

void StateDisplay::SetState(int state) {
  if (state < 0 || state >= kStates || state == state_) return;
  state_ = state;
  setAccessibleName(Words());
  update();
}

QString StateDisplay::Words() const {
  return kStateWords[state_];
}

QFont StateDisplay::WordsFont() const {
  QFont words = Larger(font(), kWordsSize);
  words.setBold(true);
  return words;
}

int StateDisplay::DrawingSize() const {
  return QFontMetrics(WordsFont()).height() * 5 / 4;
}

QSize StateDisplay::sizeHint() const {
  const QFontMetrics metrics(WordsFont());
  int widest = 0;
  for (const char* words : kStateWords) widest = std::max(widest, metrics.horizontalAdvance(words));
  return {DrawingSize() + DrawingSize() / 3 + widest + 2, std::max(DrawingSize(), metrics.height())};
}

void StateDisplay::changeEvent(QEvent* event) {
  QWidget::changeEvent(event);
  if (ChangesSize(*event)) updateGeometry();
}

void StateDisplay::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const int size = DrawingSize();
  const QRect drawing(0, (height() - size) / 2, size, size);
  const QRect words(size + size / 3, 0, width() - size - size / 3, height());
  icons_.Icon(kStateDrawings[state_]).paint(&painter, QStyle::visualRect(layoutDirection(), rect(), drawing));
  painter.setFont(WordsFont());
  painter.setPen(palette().color(QPalette::Active, QPalette::WindowText));
  painter.drawText(QStyle::visualRect(layoutDirection(), rect(), words),
                   static_cast<int>(Qt::AlignVCenter | QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft)),
                   Words());
}

StatusLog::StatusLog(QWidget* parent) : QPlainTextEdit(parent) {
  setReadOnly(true);
  setTabChangesFocus(true);
  setUndoRedoEnabled(false);
  setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
}

void StatusLog::ShowText(const QString& text) {
  setPlainText(text);
  ShowEnd();
}

QSize StatusLog::sizeHint() const {
  return {QPlainTextEdit::sizeHint().width(), fontMetrics().lineSpacing() * kLogLines + 2 * frameWidth() + 8};
}

void StatusLog::resizeEvent(QResizeEvent* event) {
  QPlainTextEdit::resizeEvent(event);
  ShowEnd();
}

void StatusLog::showEvent(QShowEvent* event) {
  QPlainTextEdit::showEvent(event);
  ShowEnd();
}

void StatusLog::ShowEnd() {
  moveCursor(QTextCursor::End);
  ensureCursorVisible();
}

LevelScale::LevelScale(QWidget* parent) : QWidget(parent) {
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  setAccessibleName("Level scale from -36 to +12 dB");
}

QSize LevelScale::minimumSizeHint() const {
  return {0, fontMetrics().height() + fontMetrics().height() / 3};
}

QSize LevelScale::sizeHint() const {
  return minimumSizeHint();
}

void LevelScale::changeEvent(QEvent* event) {
  QWidget::changeEvent(event);
  if (ChangesSize(*event)) updateGeometry();
}

void LevelScale::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setPen(palette().color(QPalette::Active, QPalette::WindowText));
  const double scale = SurfaceScale(*this);
  const PixelRect bounds{0, 0, static_cast<int>(width() * scale), 0};
  // The bar grows to the right in every language, and signs stand before their numbers.
  painter.setLayoutDirection(Qt::LeftToRight);
  const QFontMetrics metrics = painter.fontMetrics();
  const int tick = metrics.height() / 4;
  for (const int dB : {-36, -24, -12, 0, 12}) {
    // Between the segments, where the lit part ends.
    const int x = static_cast<int>((MeterLevelX(bounds, dB) - 1) / scale);
    painter.fillRect(x, 0, 1, tick, painter.pen().color());
    const QString text = dB > 0 ? "+" + QString::number(dB) : QString::number(dB);
    const int textWidth = metrics.horizontalAdvance(text);
    const int left = std::clamp(x - textWidth / 2, 0, std::max(0, width() - textWidth));
    painter.drawText(left, tick + metrics.ascent() + 1, text);
  }
}

}  // namespace kiv
