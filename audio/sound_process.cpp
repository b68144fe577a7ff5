#include "audio/sound_process.h"

LSoundProcessBase::LSoundProcessBase(LSoundSource& input) noexcept
    : LSoundSourceBase(input->Rate(), input->Channels(), input->Peak()), input_(input) {
  if (input->Error() != kSourceGood) error_ = kSourceInput;
}

std::int32_t LSoundProcessBase::GetPositionSample() const {
  return input_->GetPositionSample();
}
std::int32_t LSoundProcessBase::GetEndSample() const {
  return input_->GetEndSample();
}
void LSoundProcessBase::Seek(std::int32_t frame) {
  input_->Seek(frame);
}
