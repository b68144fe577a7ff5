#include "audio/sound_source.h"

#include <algorithm>

LSoundSourceBase::LSoundSourceBase(std::int32_t rateHz, std::uint8_t channels, std::int32_t peak) noexcept
    : rate_(rateHz), peak_(peak), channels_(channels) {
  if (rate_ < 1) {
    rate_ = kiv::kFallbackRate;
    error_ = kSourceInvalid;
  }
  if (channels_ == 0) {
    channels_ = 1;
    error_ = kSourceInvalid;
  }
}

void LSoundSourceBase::Seek(std::int32_t /*frame*/) {}

LSoundSourceError::LSoundSourceError(std::uint8_t error) noexcept : LSoundSourceBase(11025, 1, kiv::kPeakRaised) {
  error_ = error;
}

void LSoundSourceError::Read(std::int32_t* buffer, std::int32_t frames) {
  std::fill_n(buffer, std::max(frames, 0), 0);
}

LSoundSource::LSoundSource() : LSoundSource(new LSoundSourceError(kSourceNone)) {}

LSoundSource::LSoundSource(LSoundSourceBase* object) noexcept : object_(object) {
  ++object_->references_;
}

LSoundSource::LSoundSource(LSoundSource const& other) noexcept : object_(other.object_) {
  ++object_->references_;
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
LSoundSource& LSoundSource::operator=(LSoundSource const& other) noexcept {
  ++other.object_->references_;  // Before the release, which makes self-assignment safe.
  LSoundSourceBase* const object = other.object_;
  Release();
  object_ = object;
  return *this;
}

LSoundSource::~LSoundSource() {
  Release();
}

void LSoundSource::Close() {
  Release();
  object_ = new LSoundSourceError(kSourceNone);
  ++object_->references_;
}

void LSoundSource::Release() noexcept {
  if (--object_->references_ == 0) delete object_;
}
