#pragma once

// Pushed streams of samples, and the handles that share them. Samples, units and threads as in sound_source.h.

#include <cstdint>

#include "audio/sound_source.h"

enum SinkError : std::uint8_t {
  kSinkGood = 0,
  kSinkFailed = 1,  // a bit; errors are OR-ed in
};

class LSoundSinkBase {
 public:
  LSoundSinkBase(const LSoundSinkBase&) = delete;
  LSoundSinkBase& operator=(const LSoundSinkBase&) = delete;

  // The order of the virtual operations is part of the interface.
  virtual ~LSoundSinkBase() = default;
  // Takes frames * Channels() samples. Frames below 1: nothing.
  virtual void Write(std::int32_t const* buffer, std::int32_t frames) = 0;
  // Moves the write position. The base does nothing; file sinks go back only, and cut off what was behind.
  virtual void Seek(std::int32_t frame);

  // Frames written so far, which is the write position.
  std::int32_t Position() const noexcept { return position_; }
  std::int32_t Rate() const noexcept { return rate_; }
  std::uint8_t Channels() const noexcept { return channels_; }
  std::uint8_t Error() const noexcept { return error_; }
  // Handles that share the object.
  std::uint16_t ReferenceCount() const noexcept { return references_; }

 protected:
  LSoundSinkBase(std::int32_t rateHz, std::uint8_t channels) noexcept : rate_(rateHz), channels_(channels) {}

  std::int32_t position_ = 0;
  std::int32_t rate_;
  std::uint8_t channels_;
  std::uint8_t error_ = kSinkGood;

 private:
  friend class LSoundSink;
  std::uint16_t references_ = 0;
};

// Value handle on a sink; may be empty, and is when a factory could not make one.
class LSoundSink {
 public:
  LSoundSink() noexcept = default;
  // Takes the object (from new, or null) and counts itself.
  explicit LSoundSink(LSoundSinkBase* object) noexcept;
  LSoundSink(LSoundSink const& other) noexcept;
  LSoundSink& operator=(LSoundSink const& other) noexcept;
  ~LSoundSink();

  void Close() noexcept;

  bool IsEmpty() const noexcept { return object_ == nullptr; }
  LSoundSinkBase* operator->() const noexcept { return object_; }
  LSoundSinkBase& operator*() const noexcept { return *object_; }

 private:
  LSoundSinkBase* object_ = nullptr;
};
