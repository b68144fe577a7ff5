#include "ui/level_display.h"

#include "ui/controls.h"
#include "ui/level_meter.h"
#include "ui/meter_geometry.h"

namespace {

constexpr std::uint32_t kSignature = kiv::FourCC("oskm");
constexpr std::uint32_t kThisTag = kiv::FourCC("tHis");
constexpr std::uint32_t kTypeControlRef = kiv::FourCC("ctrl");

}  // namespace

bool LDBDisplay::bClassRegistered = false;

void LDBDisplay::GlobalInit() {
  if (bClassRegistered) return;
  kiv::RegisterLevelMeter([](ControlRef control) {
    kiv::Event draw(kEventClassControl, kEventControlDraw);
    draw.Set(kEventParamDirectObject, kTypeControlRef, control);
    LDBDisplay::DBDEventHandler(draw, nullptr);
  });
  bClassRegistered = true;
}

void LDBDisplay::Attach(ControlRef meter) {
  control_ = meter;
  kiv::SetControlProperty(meter, kSignature, kThisTag, this);
}

void LDBDisplay::Detach(ControlRef meter) {
  kiv::SetControlProperty(meter, kSignature, kThisTag, nullptr);
}

OSStatus LDBDisplay::DBDEventHandler(const kiv::Event& event, void*) {
  const auto control = event.Get<ControlRef>(kEventParamDirectObject, kTypeControlRef);
  if (!control) return noErr;
  auto* display = static_cast<LDBDisplay*>(kiv::GetControlProperty(*control, kSignature, kThisTag));
  if (display == nullptr) return noErr;
  display->control_ = *control;
  display->EvControlDraw(kiv::IsControlEnabled(*control));
  return noErr;
}

void LDBDisplay::EvControlDraw(bool enabled) {
  kiv::FillMeter(control_, kiv::MeterFills(level, kiv::MeterBounds(control_), enabled));
  kiv::SetMeterText(control_, enabled && level.channels > 0, level.Overall());
}
