// Any bytes as an MP3 file: opened, read in pieces and sought, with what must hold of every source checked. The last
// bytes choose the pieces and the places.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "audio/mp3/mp3_file.h"
#include "foundation/fixed_point.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

constexpr std::int32_t kUntouched = 0x5A5A5A5A;
// Enough for every frame of a small input; a false frame count makes longer streams of silence.
constexpr std::int32_t kMostFrames = 20000;

void ReadAndCheck(LSoundSource& source, std::int32_t frames) {
  const std::size_t count = static_cast<std::size_t>(frames) * source->Channels();
  std::vector<std::int32_t> samples(count + 1, kUntouched);
  const std::int32_t before = source->GetPositionSample();
  source->Read(samples.data(), frames);
  Require(source->GetPositionSample() == kiv::WrapAdd32(before, frames));
  Require(samples[count] == kUntouched);
  Require(source->GetEndSample() >= 0);
  // Silence outside the stream.
  const std::int64_t end = source->GetEndSample();
  for (std::int64_t i = 0; i < frames; ++i) {
    if (before + i >= 0 && before + i < end) continue;
    for (std::size_t c = 0; c < source->Channels(); ++c) {
      Require(samples[static_cast<std::size_t>(i) * source->Channels() + c] == 0);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const int descriptor = memfd_create("mp3", MFD_CLOEXEC);
  Require(descriptor >= 0 && ftruncate(descriptor, 0) == 0);
  // The bytes that are never decoded are added here, so that an input is all data.
  static const char kTail[128] = {};
  Require(pwrite(descriptor, data, size, 0) == static_cast<ssize_t>(size));
  Require(pwrite(descriptor, kTail, sizeof kTail, static_cast<off_t>(size)) == sizeof kTail);
  char path[64];
  std::snprintf(path, sizeof path, "/proc/self/fd/%d", descriptor);
  const auto choice = [&](std::size_t i) { return i < size ? std::int32_t{data[size - 1 - i]} : 0; };

  LSoundSource source = LMP3File::OpenSource(path);
  Require(source->Error() == kSourceGood && source->Channels() >= 1 && source->Channels() <= 2);
  Require(source->Rate() >= 8000 && source->Rate() <= 48000);
  const std::int32_t piece = choice(0) * 17;
  if (piece > 0 && source->GetEndSample() > 0) {
    while (source->GetPositionSample() < std::min(source->GetEndSample(), kMostFrames)) ReadAndCheck(source, piece);
  } else {
    ReadAndCheck(source, kMostFrames);
  }
  const std::int32_t end = source->GetEndSample();
  const std::int32_t places[] = {0, choice(1) * 300, -choice(2), kiv::WrapSub32(end, choice(3)), INT32_MAX};
  for (const std::int32_t place : places) {
    source->Seek(place);
    Require(source->GetPositionSample() == place && source->GetEndSample() == end);
    if (place <= end) ReadAndCheck(source, 20 + choice(4));
    if (source->GetEndSample() != end) break;
  }
  return 0;
}
