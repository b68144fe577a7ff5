#include "audio/wave_sink.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

#include "audio/wave_header.h"
#include "foundation/descriptor_io.h"
#include "foundation/fixed_point.h"

namespace {

// A file-size limit is to be a failed write like a full disk, not the end of the program.
void IgnoreFileSizeSignal() noexcept {
  struct sigaction action {};
  if (sigaction(SIGXFSZ, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) return;
  action.sa_handler = SIG_IGN;
  sigaction(SIGXFSZ, &action, nullptr);
}

}  // namespace

LSNKPCMFileBase::LSNKPCMFileBase(char const* path, std::int32_t rateHz, std::uint8_t channels,
                                 std::uint32_t bytesPerSample, std::int32_t start) noexcept
    : LSoundSinkBase(rateHz, channels),
      bytesPerSample_(bytesPerSample),
      frameBytes_(0),
      descriptor_(open(path, O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY, 0777)) {
  IgnoreFileSizeSignal();
  if (channels_ == 0) {
    channels_ = 1;
    error_ |= kSinkFailed;
  }
  frameBytes_ = bytesPerSample_ * channels_;
  position_ = std::max(start, 0);
  if (descriptor_ < 0) {
    error_ |= kSinkFailed;
    return;
  }
  WriteRIFF(false);
  struct stat status {};
  if (position_ > 0 && fstat(descriptor_, &status) == 0) {
    lseek(descriptor_, std::min<off_t>(OffsetOf(position_), status.st_size), SEEK_SET);
  }
  const off_t offset = lseek(descriptor_, 0, SEEK_CUR);
  if (offset >= 0) static_cast<void>(ftruncate(descriptor_, offset) == 0);
}

LSNKPCMFileBase::~LSNKPCMFileBase() {
  if (descriptor_ < 0) return;
  // Where the file cannot be rewound (a pipe), the header must not land behind the sound.
  if (lseek(descriptor_, 0, SEEK_SET) == 0) WriteRIFF(true);
  close(descriptor_);
}

void LSNKPCMFileBase::Seek(std::int32_t frame) {
  if (frame > position_) return;
  position_ = std::max(frame, 0);
  const std::int64_t offset = OffsetOf(position_);
  if (lseek(descriptor_, offset, SEEK_SET) == offset) static_cast<void>(ftruncate(descriptor_, offset) == 0);
}

void LSNKPCMFileBase::WriteRIFF(bool final) noexcept {
  const std::uint64_t dataBytes =
      final ? std::uint64_t{kiv::AsUnsigned(position_)} * frameBytes_ : std::uint64_t{kiv::kWaveSizeUnknown};
  const auto header = kiv::MakeWaveHeader(rate_, channels_, bytesPerSample_, dataBytes);
  WriteBytes(header.data(), header.size());
}

void LSNKPCMFileBase::SyncToDisk() noexcept {
  if (descriptor_ >= 0 && !kiv::SyncData(descriptor_)) error_ |= kSinkFailed;
}

void LSNKPCMFileBase::WriteBytes(void const* bytes, std::size_t size) noexcept {
  ssize_t written = 0;
  do {
    written = write(descriptor_, bytes, size);
  } while (written < 0 && errno == EINTR);
  if (written < 0 || static_cast<std::size_t>(written) < size) error_ |= kSinkFailed;
}

std::int64_t LSNKPCMFileBase::OffsetOf(std::int32_t frame) const noexcept {
  return kiv::kWaveHeaderBytes + std::int64_t{frame} * frameBytes_;
}

template <typename Format>
LSNKPCMFile<Format>::LSNKPCMFile(char const* path, std::int32_t rateHz, std::uint8_t channels, std::int32_t start)
    : LSNKPCMFileBase(path, rateHz, channels, sizeof(Format), start),
      stored_(std::make_unique_for_overwrite<Format[]>(std::size_t{kiv::kMaxPieceFrames} * Channels())) {}

template <typename Format>
void LSNKPCMFile<Format>::Write(std::int32_t const* buffer, std::int32_t frames) {
  while (frames > 0) {
    const std::int32_t piece = std::min(frames, kiv::kMaxPieceFrames);
    const std::int32_t samples = piece * Channels();
    position_ = kiv::WrapAdd32(position_, piece);
    ConvertSamplesOut(stored_.get(), buffer, samples);
    WriteBytes(stored_.get(), static_cast<std::size_t>(samples) * sizeof(Format));
    buffer += samples;
    frames -= piece;
  }
}

void kiv::SyncSinkToDisk(const LSoundSink& sink) noexcept {
  auto* const wave = sink.IsEmpty() ? nullptr : dynamic_cast<LSNKPCMFileBase*>(&*sink);
  if (wave != nullptr) wave->SyncToDisk();
}

template class LSNKPCMFile<LSFU8>;
template class LSNKPCMFile<LSFLE16>;
