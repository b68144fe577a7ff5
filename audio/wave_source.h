#pragma once

// PCM sound data in a file, as a source.
//
//   Units    frames; dataBytes in bytes. The end may be negative, when the data is too long for a 32-bit count of
//            frames: then nothing is cut off and reading goes as far as the file does.
//   Errors   Error() after construction; a failed or short read gives silence.
//   Owns     the descriptor, and one buffer of 8192 frames.

#include <sys/types.h>

#include <cstdint>
#include <memory>

#include "audio/sample_format.h"
#include "audio/sound_source.h"
#include "foundation/file_descriptor.h"

class LSRCPCMFileBase : public LSoundSourceBase {
 public:
  // Takes over the descriptor of file, whose offset is at the first sample. A file without one gives
  // kSourceNotOpened, no bytes per sample kSourceInvalid. dataBytes kiv::kWaveSizeUnknown: up to the end that the
  // file has now.
  LSRCPCMFileBase(LReadFile& file, std::int32_t rateHz, std::uint8_t channels, std::int32_t peak,
                  std::uint32_t bytesPerSample, std::uint32_t dataBytes) noexcept;
  ~LSRCPCMFileBase() override;

  // May be negative or beyond the end: silence lies on both sides of the data.
  std::int32_t GetPositionSample() const override { return position_; }
  std::int32_t GetEndSample() const override { return end_; }
  void Seek(std::int32_t frame) override;

 protected:
  // What one Read of frames takes from the file, once the silence on both sides is taken off; moves the position.
  struct Share {
    std::int32_t silentFrames;  // in front
    std::int32_t fileFrames;    // behind that; the rest is silence again
  };
  Share Advance(std::int32_t frames) noexcept;
  // Reads at the file offset in one system call and answers the whole frames that arrived.
  std::int32_t ReadFrames(void* stored, std::int32_t frames) noexcept;

 private:
  int descriptor_;
  off_t dataStart_ = 0;
  std::int32_t position_ = 0;
  std::int32_t end_ = 0;
  std::uint32_t frameBytes_;
};

// Format is LSFU8 or LSFLE16.
template <typename Format>
class LSRCPCMFile : public LSRCPCMFileBase {
 public:
  LSRCPCMFile(LReadFile& file, std::int32_t rateHz, std::uint8_t channels, std::uint32_t dataBytes);

  // One system call for every 8192 frames or part of them.
  void Read(std::int32_t* buffer, std::int32_t frames) override;

 private:
  void ReadPiece(std::int32_t* buffer, std::int32_t frames);

  std::unique_ptr<Format[]> stored_;
};

extern template class LSRCPCMFile<LSFU8>;
extern template class LSRCPCMFile<LSFLE16>;
