#include "tests/audio/mp3/comparison.h"

#include <algorithm>
#include <cmath>

#include "audio/mp3/mp3_file.h"
#include "tests/audio/mp3/mp3_writer.h"
#include "tests/support/temporary_folder.h"

namespace kiv::test {

Difference Compare(const std::vector<std::int32_t>& ours, const ReferenceSound& reference) {
  Difference difference;
  difference.count = std::min(ours.size(), reference.samples.size());
  double squares = 0;
  double toward = 0;
  for (std::size_t i = 0; i < difference.count; ++i) {
    const double value = reference.samples[i];
    const double error = ours[i] / 524288.0 - value;
    squares += error * error;
    toward += value > 0 ? error : -error;
    difference.maximum = std::max(difference.maximum, std::abs(error));
  }
  const auto n = static_cast<double>(std::max<std::size_t>(difference.count, 1));
  difference.rms = std::sqrt(squares / n);
  difference.towardZero = toward / n * 524288;
  return difference;
}

OurSound DecodeWithOurs(const std::string& bytes) {
  const TemporaryFolder folder;
  // With room for the block that is never decoded.
  WriteFile(folder.File("a.mp3"), bytes + TrailingTag());
  LSoundSource source = LMP3File::OpenSource(folder.File("a.mp3").c_str());
  OurSound sound{source->Rate(), source->Channels(), {}};
  std::vector<std::int32_t> piece(std::size_t{8192} * source->Channels());
  while (source->GetPositionSample() < source->GetEndSample()) {
    const std::int32_t from = source->GetPositionSample();
    source->Read(piece.data(), 8192);
    const std::int32_t valid = std::min(source->GetEndSample() - from, 8192);
    sound.samples.insert(sound.samples.end(), piece.begin(),
                         piece.begin() + std::ptrdiff_t{valid} * source->Channels());
  }
  return sound;
}

}  // namespace kiv::test
