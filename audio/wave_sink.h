#pragma once

// PCM sound data written into a WAV file.
//
// The file is complete at every moment: from construction on it has a header whose sizes say "unknown", which
// readers take as up to the end of the file. The true sizes are written when the last handle goes, so a recording
// can be played while it is made and after a crash.
//
//   Units    frames; Position() counts the frames in the file.
//   Errors   kSinkFailed when the file could not be opened, when channels was 0, and after a write that failed or
//            fell short (full disk, file-size limit) or that the disk has not kept. The position counts on all the
//            same, and nothing is tried again; what was written before stays as it is.
//   Signals  making a sink ignores SIGXFSZ where it had its default action, which is to end the program.
//   Owns     the descriptor, and one buffer of 8192 frames.

#include <cstdint>
#include <memory>

#include "audio/sample_format.h"
#include "audio/sound_sink.h"

class LSNKPCMFileBase : public LSoundSinkBase {
 public:
  // Opens or creates the file, writes the provisional header, keeps the first start frames of what was there and
  // cuts the rest off. A start beyond the file keeps the whole file, and counts as the position all the same.
  LSNKPCMFileBase(char const* path, std::int32_t rateHz, std::uint8_t channels, std::uint32_t bytesPerSample,
                  std::int32_t start) noexcept;
  // Writes the final header.
  ~LSNKPCMFileBase() override;

  // Backwards only: everything from frame on is cut off. Forwards does nothing.
  void Seek(std::int32_t frame) override;

  // Writes the header at the file offset: with the true sizes, or with unknown ones.
  void WriteRIFF(bool final) noexcept;

  // Returns when the samples written so far would survive a power cut. May take as long as the disk pleases.
  void SyncToDisk() noexcept;

 protected:
  // Writes at the file offset in one system call.
  void WriteBytes(void const* bytes, std::size_t size) noexcept;

 private:
  std::int64_t OffsetOf(std::int32_t frame) const noexcept;

  std::uint32_t bytesPerSample_;
  std::uint32_t frameBytes_;
  int descriptor_;
};

// Format is LSFU8 or LSFLE16.
template <typename Format>
class LSNKPCMFile : public LSNKPCMFileBase {
 public:
  LSNKPCMFile(char const* path, std::int32_t rateHz, std::uint8_t channels, std::int32_t start);

  // One system call for every 8192 frames or part of them.
  void Write(std::int32_t const* buffer, std::int32_t frames) override;

 private:
  std::unique_ptr<Format[]> stored_;
};

namespace kiv {

// SyncToDisk of a sink that is a WAV file; nothing for any other, and for none. By the descriptor that has written it:
// once that is closed, the disk has nobody left to tell of a failure.
void SyncSinkToDisk(const LSoundSink& sink) noexcept;

}  // namespace kiv

extern template class LSNKPCMFile<LSFU8>;
extern template class LSNKPCMFile<LSFLE16>;
