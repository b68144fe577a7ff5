#include "audio/wave_header.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace kiv {
namespace {

constexpr std::uint16_t kFormatPcm = 1;
constexpr std::uint32_t kMaxRateHz = 196000;
constexpr std::uint16_t kMaxChannels = 255;
constexpr std::uint32_t kMinFormatBytes = 16;
constexpr std::uint32_t kMaxFormatBytes = 8192;
// Far above any real file. Keeps a large (perhaps sparse) file of empty chunks from being walked for hours.
constexpr int kMaxChunks = 100000;

std::uint16_t Little16(const std::uint8_t* bytes) noexcept {
  return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}
std::uint32_t Little32(const std::uint8_t* bytes) noexcept {
  return Little16(bytes) | std::uint32_t{Little16(bytes + 2)} << 16;
}

bool IsCode(const std::uint8_t* bytes, const char* code) noexcept {
  return std::memcmp(bytes, code, 4) == 0;
}

// In 64 bits, so that the largest size does not become 0.
std::int64_t RoundUpToEven(std::uint32_t size) noexcept {
  return (std::int64_t{size} + 1) & ~std::int64_t{1};
}

// The way through the chunks of one file. Every step answers whether it could be made in full.
class ChunkReader {
 public:
  explicit ChunkReader(int descriptor) noexcept : descriptor_(descriptor) {}

  bool Read(std::uint8_t* bytes, std::size_t size) noexcept {
    while (size > 0) {
      const ssize_t got = read(descriptor_, bytes, size);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return false;
      bytes += got;
      size -= static_cast<std::size_t>(got);
    }
    return true;
  }

  bool Skip(std::int64_t bytes) noexcept {
    if (++chunks_ > kMaxChunks) return false;
    return bytes == 0 || lseek(descriptor_, bytes, SEEK_CUR) >= 0;
  }

  // Whatever chunk stands before the RIFF header is passed over.
  bool FindRiff() noexcept {
    std::uint8_t head[12];
    while (Read(head, sizeof head)) {
      if (IsCode(head, "RIFF") && IsCode(head + 8, "WAVE")) return true;
      const std::int64_t size = RoundUpToEven(Little32(head + 4));
      if (size <= 4 || !Skip(size - 4)) return false;  // 4 bytes of the chunk's content were in head.
    }
    return false;
  }

  // Stands behind the header of the next chunk of that name. Its size is given as it is in the file.
  bool FindChunk(const char* code, std::uint32_t& size) noexcept {
    std::uint8_t head[8];
    while (Read(head, sizeof head)) {
      size = Little32(head + 4);
      if (IsCode(head, code)) return true;
      const std::int64_t step = RoundUpToEven(size);
      if (step > INT32_MAX || !Skip(step)) return false;
    }
    return false;
  }

 private:
  int descriptor_;
  int chunks_ = 0;
};

void PutLittle16(std::uint8_t* bytes, std::uint32_t value) noexcept {
  bytes[0] = static_cast<std::uint8_t>(value);
  bytes[1] = static_cast<std::uint8_t>(value >> 8);
}
void PutLittle32(std::uint8_t* bytes, std::uint32_t value) noexcept {
  PutLittle16(bytes, value);
  PutLittle16(bytes + 2, value >> 16);
}
void PutCode(std::uint8_t* bytes, const char* code) noexcept {
  std::memcpy(bytes, code, 4);
}
std::uint32_t SizeField(std::uint64_t size) noexcept {
  return size < kWaveSizeUnknown ? static_cast<std::uint32_t>(size) : kWaveSizeUnknown;
}

}  // namespace

SourceError ReadWaveHeader(int descriptor, WaveFormat& format) noexcept {
  ChunkReader reader(descriptor);
  std::uint32_t size = 0;
  if (!reader.FindRiff() || !reader.FindChunk("fmt ", size)) return kSourceInvalid;
  if (size < kMinFormatBytes || size > kMaxFormatBytes) return kSourceInvalid;
  std::uint8_t bytes[kMaxFormatBytes];
  // An odd size is not followed by a pad byte here, unlike that of the chunks that are skipped.
  if (!reader.Read(bytes, size)) return kSourceInvalid;
  if (!reader.FindChunk("data", format.dataBytes)) return kSourceInvalid;

  const std::uint16_t tag = Little16(bytes);
  format.channels = Little16(bytes + 2);
  format.rateHz = Little32(bytes + 4);
  format.bitsPerSample = Little16(bytes + 14);
  if (format.channels < 1 || format.channels > kMaxChannels) return kSourceInvalid;
  if (format.rateHz < 1 || format.rateHz > kMaxRateHz) return kSourceInvalid;
  if (tag != kFormatPcm || format.bitsPerSample > 16) return kSourceNotSupported;
  return kSourceGood;
}

std::array<std::uint8_t, kWaveHeaderBytes> MakeWaveHeader(std::int32_t rateHz, std::uint8_t channels,
                                                          std::uint32_t bytesPerSample,
                                                          std::uint64_t dataBytes) noexcept {
  const auto rate = static_cast<std::uint32_t>(rateHz);
  const std::uint32_t frameBytes = bytesPerSample * channels;
  std::array<std::uint8_t, kWaveHeaderBytes> header{};
  std::uint8_t* const h = header.data();
  PutCode(h, "RIFF");
  PutLittle32(h + 4, dataBytes < kWaveSizeUnknown ? SizeField(dataBytes + kWaveHeaderBytes - 8) : kWaveSizeUnknown);
  PutCode(h + 8, "WAVE");
  PutCode(h + 12, "fmt ");
  PutLittle32(h + 16, 18);  // format chunk size
  PutLittle16(h + 20, kFormatPcm);
  PutLittle16(h + 22, channels);
  PutLittle32(h + 24, rate);
  PutLittle32(h + 28, rate * frameBytes);
  PutLittle16(h + 32, frameBytes);
  PutLittle16(h + 34, bytesPerSample * 8);
  PutLittle16(h + 36, 0);  // no extra format bytes
  PutCode(h + 38, "data");
  PutLittle32(h + 42, SizeField(dataBytes));
  return header;
}

}  // namespace kiv
