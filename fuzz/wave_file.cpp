// Any bytes as a WAV file: opened, sought and read in every way, with what must hold of every source checked. The last
// byte chooses the seeks.

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "audio/wave_file.h"
#include "foundation/fixed_point.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

constexpr std::int32_t kUntouched = 0x5A5A5A5A;

// Reads frames and requires that exactly so many samples are written, in the range of what a file can hold, and that
// the position moves by as much.
void ReadAndCheck(LSoundSource& source, std::int32_t frames) {
  const std::size_t count = static_cast<std::size_t>(frames) * source->Channels();
  std::vector<std::int32_t> samples(count + 1, kUntouched);
  const std::int32_t before = source->GetPositionSample();
  source->Read(samples.data(), frames);
  Require(source->Error() != kSourceGood || source->GetPositionSample() == kiv::WrapAdd32(before, frames));
  for (std::size_t i = 0; i < count; ++i) Require(samples[i] >= -524288 && samples[i] <= 524272);
  Require(samples[count] == kUntouched);
}

void Exercise(LSoundSource& source, std::uint8_t choice) {
  const std::int32_t end = source->GetEndSample();
  ReadAndCheck(source, 1);
  ReadAndCheck(source, 30);
  const std::int32_t places[] = {0, -1, -50, end, kiv::WrapSub32(end, 10), INT32_MAX, INT32_MIN, choice, choice * -3};
  for (const std::int32_t place : places) {
    source->Seek(place);
    Require(source->Error() != kSourceGood || source->GetPositionSample() == place);
    ReadAndCheck(source, 20);
    ReadAndCheck(source, 0);
  }
  // Across the step into pieces, from a negative place; not each time, since it costs more than all the rest.
  if (source->Channels() <= 2 && choice % 8 == 0) {
    source->Seek(-choice);
    ReadAndCheck(source, 8193 + choice);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const int descriptor = memfd_create("wave", MFD_CLOEXEC);
  Require(descriptor >= 0 && ftruncate(descriptor, 0) == 0);
  Require(pwrite(descriptor, data, size, 0) == static_cast<ssize_t>(size));
  char path[64];
  std::snprintf(path, sizeof path, "/proc/self/fd/%d", descriptor);
  const std::uint8_t choice = size > 0 ? data[size - 1] : std::uint8_t{0};

  LSoundSource source = LWaveFile::OpenSource(path);
  const std::uint8_t error = source->Error();
  Require(error == kSourceGood || error == kSourceInvalid || error == kSourceNotSupported);
  Require(source->Rate() >= 1 && source->Rate() <= 196000 && source->Channels() >= 1);
  Exercise(source, choice);

  // The same file continued, and cut, by a sink.
  if (error == kSourceGood) {
    const std::int32_t samples[512] = {16, -16, 524280};
    const auto frames = static_cast<std::int32_t>(512 / source->Channels());
    LSoundSink sink = LWaveFile::OpenSinkPCM(path, source->Rate(), source->Channels(), choice % 17,
                                             std::min(source->GetEndSample(), 1 << 20));
    Require(!sink.IsEmpty() && sink->Error() == kSinkGood);
    sink->Write(samples, frames);
    LSoundSource again = LWaveFile::OpenSource(path);
    Require(again->Error() == kSourceGood && again->GetEndSample() >= frames);
    sink->Seek(choice);
    sink.Close();
    again = LWaveFile::OpenSource(path);
    Require(again->Error() == kSourceGood && again->Channels() == source->Channels());
    Exercise(again, choice);
  }
  return 0;
}
