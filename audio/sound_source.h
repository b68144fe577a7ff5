#pragma once

// Pulled streams of samples, and the handles that share them.
//
//   Samples  signed 32-bit, interleaved by channel; a 16-bit sample times 16, so 16-bit full scale is -524288 to
//            524272. Stages may exceed that range; only the step to a stored format limits it (by wrapping, see
//            sample_format.h).
//   Units    every count, position and length is in frames (one sample per channel).
//   Threads  an object is made and its handles are copied and released on one thread; a device thread may then
//            call Read and Seek on it. The reference count is a plain number.
//   Errors   data, never exceptions: an object in error still answers every call. Test Error() after
//            opening.

#include <cstdint>

enum SourceError : std::uint8_t {
  kSourceGood = 0,
  kSourceNone = 1,          // an empty or closed handle
  kSourceInput = 2,         // the input of a processing source is in error
  kSourceInvalid = 3,       // invalid parameters, or a file of another structure
  kSourceNotOpened = 4,     // the file could not be opened
  kSourceNotSupported = 5,  // the file's sample format is not supported
};

namespace kiv {

// Declared peaks: what 8-bit and 16-bit material can reach, and four times that for material of unknown or
// raised level.
inline constexpr std::int32_t kPeak16Bit = 0x7FFF0;
inline constexpr std::int32_t kPeakRaised = 0x200000;
// Rate that stands in for an invalid or missing one, Hz.
inline constexpr std::int32_t kFallbackRate = 44100;
// File sources and sinks and the converters move at most this many frames in one piece.
inline constexpr std::int32_t kMaxPieceFrames = 8192;

}  // namespace kiv

class LSoundSourceBase {
 public:
  // A rate below 1 becomes 44100 and no channels become 1, both with kSourceInvalid.
  LSoundSourceBase(std::int32_t rateHz, std::uint8_t channels, std::int32_t peak) noexcept;
  LSoundSourceBase(const LSoundSourceBase&) = delete;
  LSoundSourceBase& operator=(const LSoundSourceBase&) = delete;

  // The order of the virtual operations is part of the interface.
  virtual ~LSoundSourceBase() = default;
  // Fills exactly frames * Channels() samples; what the source does not have is silence. Frames below 1:
  // nothing.
  virtual void Read(std::int32_t* buffer, std::int32_t frames) = 0;
  // Frame index of the next Read.
  virtual std::int32_t GetPositionSample() const = 0;
  // Frames in the stream; 0 where unknown or endless.
  virtual std::int32_t GetEndSample() const = 0;
  // Moves the position. The base does nothing.
  virtual void Seek(std::int32_t frame);

  std::int32_t Rate() const noexcept { return rate_; }
  // The largest absolute sample value the source is designed to deliver.
  std::int32_t Peak() const noexcept { return peak_; }
  std::uint8_t Channels() const noexcept { return channels_; }
  std::uint8_t Error() const noexcept { return error_; }
  // Handles that share the object.
  std::uint16_t ReferenceCount() const noexcept { return references_; }

 protected:
  std::int32_t rate_;
  std::int32_t peak_;
  std::uint8_t channels_;
  std::uint8_t error_ = kSourceGood;

 private:
  friend class LSoundSource;
  std::uint16_t references_ = 0;
};

// The null object: endless silence that carries the reason.
class LSoundSourceError : public LSoundSourceBase {
 public:
  explicit LSoundSourceError(std::uint8_t error) noexcept;
  void Read(std::int32_t* buffer, std::int32_t frames) override;
  std::int32_t GetPositionSample() const override { return 0; }
  std::int32_t GetEndSample() const override { return 0; }
};

// Value handle on a source; never empty.
class LSoundSource {
 public:
  // An LSoundSourceError with kSourceNone.
  LSoundSource();
  // Takes the object, which must come from new, and counts itself.
  explicit LSoundSource(LSoundSourceBase* object) noexcept;
  LSoundSource(LSoundSource const& other) noexcept;
  LSoundSource& operator=(LSoundSource const& other) noexcept;
  ~LSoundSource();

  // Releases the object and holds an LSoundSourceError with kSourceNone.
  void Close();

  LSoundSourceBase* operator->() const noexcept { return object_; }
  LSoundSourceBase& operator*() const noexcept { return *object_; }

 private:
  void Release() noexcept;

  LSoundSourceBase* object_;
};
