#include "audio/sound_sink.h"

void LSoundSinkBase::Seek(std::int32_t /*frame*/) {}

LSoundSink::LSoundSink(LSoundSinkBase* object) noexcept : object_(object) {
  if (object_ != nullptr) ++object_->references_;
}

LSoundSink::LSoundSink(LSoundSink const& other) noexcept : LSoundSink(other.object_) {}

LSoundSink& LSoundSink::operator=(LSoundSink const& other) noexcept {  // NOLINT(bugprone-unhandled-self-assignment)
  LSoundSinkBase* const object = other.object_;
  if (object != nullptr) ++object->references_;  // Before the release, which makes self-assignment safe.
  Close();
  object_ = object;
  return *this;
}

LSoundSink::~LSoundSink() {
  Close();
}

void LSoundSink::Close() noexcept {
  if (object_ != nullptr && --object_->references_ == 0) delete object_;
  object_ = nullptr;
}
