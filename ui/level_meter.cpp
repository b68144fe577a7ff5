#include "ui/level_meter.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QPainter>
#include <cmath>

#include "ui/interface_file.h"
#include "ui/toolkit_window.h"
#include "ui/widgets.h"

namespace kiv {
namespace {

void (*drawMeter)(ControlRef control) = nullptr;

class LevelMeter : public QWidget {
 public:
  explicit LevelMeter(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAttribute(Qt::WA_OpaquePaintEvent);
  }

  // 3 pixels for each segment with its gap at least.
  QSize minimumSizeHint() const override { return {49 * 3, fontMetrics().height()}; }
  QSize sizeHint() const override { return {49 * 10, fontMetrics().height() * 5 / 4}; }

  PixelRect Bounds() const {
    const double scale = SurfaceScale(*this);
    return {0, 0, static_cast<int>(std::floor(width() * scale)), static_cast<int>(std::floor(height() * scale))};
  }

  void Fill(const std::vector<MeterFill>& fills) {
    if (painter_ == nullptr) return;
    for (const MeterFill& fill : fills) {
      if (fill.width <= 0 || fill.height <= 0) continue;
      const Colour colour = ColourOf(fill.colour);
      painter_->fillRect(fill.x, fill.y, fill.width, fill.height, QColor(colour.red, colour.green, colour.blue));
    }
  }

  void SetText(bool hasLevel, int dB) {
    if (hasLevel == hasLevel_ && dB == dB_) return;
    hasLevel_ = hasLevel;
    dB_ = dB;
    if (!QAccessible::isActive()) return;
    QAccessibleEvent named(this, QAccessible::NameChanged);
    QAccessible::updateAccessibility(&named);
    QAccessibleValueChangeEvent changed(this, dB);
    QAccessible::updateAccessibility(&changed);
  }
  QString Text() const { return hasLevel_ ? QStringLiteral("Level %1 dB").arg(dB_) : QStringLiteral("Level"); }
  int Level() const { return hasLevel_ ? dB_ : -127; }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing, false);
    const double scale = SurfaceScale(*this);
    painter.scale(1.0 / scale, 1.0 / scale);
    // Before a level is attached it looks as when disabled.
    painter_ = &painter;
    Fill({{0, 0, Bounds().right + 1, Bounds().bottom + 1, MeterColour::Grey}});
    if (drawMeter != nullptr) drawMeter(ControlRefOf(this));
    painter_ = nullptr;
  }
  void changeEvent(QEvent* event) override {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::EnabledChange) update();
  }

 private:
  QPainter* painter_ = nullptr;
  bool hasLevel_ = false;
  int dB_ = -127;
};

class AccessibleMeter : public QAccessibleWidget, public QAccessibleValueInterface {
 public:
  explicit AccessibleMeter(LevelMeter* meter) : QAccessibleWidget(meter, QAccessible::Indicator), meter_(meter) {}
  void* interface_cast(QAccessible::InterfaceType type) override {
    if (type == QAccessible::ValueInterface) return static_cast<QAccessibleValueInterface*>(this);
    return QAccessibleWidget::interface_cast(type);
  }
  QString text(QAccessible::Text text) const override {
    if (text == QAccessible::Name || text == QAccessible::Value) return meter_->Text();
    return QAccessibleWidget::text(text);
  }
  QVariant currentValue() const override { return meter_->Level(); }
  void setCurrentValue(const QVariant&) override {}
  QVariant maximumValue() const override { return 127; }
  QVariant minimumValue() const override { return -127; }
  QVariant minimumStepSize() const override { return 1; }

 private:
  LevelMeter* meter_;
};

QAccessibleInterface* MakeAccessible(const QString&, QObject* object) {
  auto* meter = dynamic_cast<LevelMeter*>(object);
  return meter == nullptr ? nullptr : new AccessibleMeter(meter);
}

LevelMeter* MeterOf(ControlRef control) {
  return dynamic_cast<LevelMeter*>(WidgetOf(control));
}

}  // namespace

void RegisterLevelMeter(void (*draw)(ControlRef control)) {
  drawMeter = draw;
  QAccessible::installFactory(MakeAccessible);
  RegisterControlClass("LevelMeter", [](QWidget* parent) -> QWidget* { return new LevelMeter(parent); });
}

PixelRect MeterBounds(ControlRef control) {
  const LevelMeter* meter = MeterOf(control);
  return meter == nullptr ? PixelRect{} : meter->Bounds();
}

void FillMeter(ControlRef control, const std::vector<MeterFill>& fills) {
  if (LevelMeter* meter = MeterOf(control)) meter->Fill(fills);
}

void SetMeterText(ControlRef control, bool hasLevel, LDB level) {
  if (LevelMeter* meter = MeterOf(control)) meter->SetText(hasLevel, level);
}

}  // namespace kiv
