#include "audio/wave_source.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "audio/wave_header.h"
#include "foundation/fixed_point.h"

namespace {

// A count that does not fit is negative, which Read and Seek take as no bound.
std::int32_t EndFromFrames(std::int64_t frames) noexcept {
  return frames > UINT32_MAX ? -1 : kiv::Wrap32(frames);
}

}  // namespace

LSRCPCMFileBase::LSRCPCMFileBase(LReadFile& file, std::int32_t rateHz, std::uint8_t channels, std::int32_t peak,
                                 std::uint32_t bytesPerSample, std::uint32_t dataBytes) noexcept
    : LSoundSourceBase(rateHz, channels, peak), descriptor_(file.Release()), frameBytes_(bytesPerSample * Channels()) {
  if (descriptor_ < 0) error_ = kSourceNotOpened;
  dataStart_ = std::max<off_t>(lseek(descriptor_, 0, SEEK_CUR), 0);
  if (frameBytes_ == 0) {
    error_ = kSourceInvalid;
    frameBytes_ = 2;
  }
  std::int64_t bytes = dataBytes;
  if (dataBytes == kiv::kWaveSizeUnknown) {
    struct stat status {};
    bytes = fstat(descriptor_, &status) == 0 ? status.st_size - dataStart_ : 0;
  }
  end_ = EndFromFrames(bytes / frameBytes_);
}

LSRCPCMFileBase::~LSRCPCMFileBase() {
  if (descriptor_ >= 0) close(descriptor_);
}

void LSRCPCMFileBase::Seek(std::int32_t frame) {
  position_ = frame;
  const std::int32_t bounded = end_ < 0 ? frame : std::min(frame, end_);
  lseek(descriptor_, dataStart_ + std::int64_t{frameBytes_} * std::max(bounded, 0), SEEK_SET);
}

LSRCPCMFileBase::Share LSRCPCMFileBase::Advance(std::int32_t frames) noexcept {
  const std::int32_t from = position_;
  // Wraps after two thousand million frames, and is silent from there on.
  position_ = kiv::WrapAdd32(from, frames);
  if (position_ <= 0) return {frames, 0};
  const std::int32_t silent = from < 0 ? frames - position_ : 0;
  std::int32_t wanted = frames - silent;
  if (end_ >= 0 && position_ > end_) wanted = std::max(wanted - (position_ - end_), 0);
  return {silent, wanted};
}

std::int32_t LSRCPCMFileBase::ReadFrames(void* stored, std::int32_t frames) noexcept {
  if (frames < 1) return 0;
  ssize_t got = 0;
  do {
    got = read(descriptor_, stored, static_cast<std::size_t>(frames) * frameBytes_);
  } while (got < 0 && errno == EINTR);
  return got > 0 ? static_cast<std::int32_t>(got / frameBytes_) : 0;
}

template <typename Format>
LSRCPCMFile<Format>::LSRCPCMFile(LReadFile& file, std::int32_t rateHz, std::uint8_t channels, std::uint32_t dataBytes)
    : LSRCPCMFileBase(file, rateHz, channels, kiv::kPeak16Bit, sizeof(Format), dataBytes),
      stored_(std::make_unique_for_overwrite<Format[]>(std::size_t{kiv::kMaxPieceFrames} * Channels())) {}

template <typename Format>
void LSRCPCMFile<Format>::Read(std::int32_t* buffer, std::int32_t frames) {
  while (frames > 0) {
    const std::int32_t piece = std::min(frames, kiv::kMaxPieceFrames);
    ReadPiece(buffer, piece);
    buffer += std::ptrdiff_t{piece} * Channels();
    frames -= piece;
  }
}

template <typename Format>
void LSRCPCMFile<Format>::ReadPiece(std::int32_t* buffer, std::int32_t frames) {
  const Share share = Advance(frames);
  const std::int32_t delivered = ReadFrames(stored_.get(), share.fileFrames);
  const std::ptrdiff_t channels = Channels();
  buffer = std::fill_n(buffer, share.silentFrames * channels, 0);
  ConvertSamplesIn(buffer, stored_.get(), static_cast<std::int32_t>(delivered * channels));
  std::fill_n(buffer + delivered * channels, (frames - share.silentFrames - delivered) * channels, 0);
}

template class LSRCPCMFile<LSFU8>;
template class LSRCPCMFile<LSFLE16>;
