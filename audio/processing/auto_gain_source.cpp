#include "audio/processing/auto_gain_source.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <utility>

#include "audio/processing/sample_loops.h"
#include "foundation/fixed_point.h"

using kiv::AsSigned;
using kiv::AsUnsigned;

namespace {

// One second of blocks.
constexpr std::uint32_t kWindowBlocks = 50;

constexpr LDBMC kNoOffsets;

}  // namespace

LDPSRCAutoGain::LDPSRCAutoGain(std::int32_t rateHz, std::uint8_t channels, LDBMC const& speechLevels,
                               std::int32_t blocks, LReadWriteFile& sampleFile, LReadWriteFile& levelFile,
                               std::int32_t blockFrames, bool trim, LDB a, LDB b, LDB c, double slope, LDB d)
    : LSoundSourceBase(rateHz, channels, kiv::kPeakRaised),
      control_(kWindowBlocks, a, b),
      curve_(c, slope, d),
      sampleFile_(std::move(sampleFile)),
      levelFile_(std::move(levelFile)),
      samples_(sampleFile_.Descriptor()),
      levels_(levelFile_.Descriptor()),
      blocksLeft_(blocks),
      blockFrames_(std::max(blockFrames, 1)),
      ramps_(Channels()) {
  offsets_.channels = Channels();
  const int known = std::min(int{speechLevels.channels}, int{Channels()});
  for (int i = 0; i < known; ++i) offsets_.level[i] = -speechLevels.level[i];
  if (trim) Trim(speechLevels);

  for (std::int32_t i = 0; i <= AsSigned(kWindowBlocks); ++i) {
    if (i < blocksLeft_) {
      LookAhead();
    } else {
      control_.AddFinal();
    }
  }
  // Trimmed, the block that was kept as lead-in fades in.
  for (int i = 0; i < Channels() && !trim; ++i) ramps_[static_cast<std::size_t>(i)].gain = TargetGain(i);
  end_ = kiv::WrapMul32(blocksLeft_, blockFrames_);
}

void LDPSRCAutoGain::Trim(LDBMC const& speechLevels) {
  const std::size_t recordBytes = Channels();
  const LDB quietAtEnd = speechLevels.Overall() - 23;
  while (blocksLeft_ > 2) {
    // Backwards, where reading ahead would not help.
    const std::int64_t offset = (std::int64_t{blocksLeft_} - 2) * static_cast<std::int64_t>(recordBytes);
    LevelRecord record;
    const ssize_t size = pread(levelFile_.Descriptor(), record.data(), recordBytes, offset);
    if (size != static_cast<ssize_t>(recordBytes) || BlockLevel(record, kNoOffsets) > quietAtEnd) break;
    --blocksLeft_;
  }

  const LDB quietAtStart = quietAtEnd + 8;
  std::int32_t skipped = 0;
  LDB level;
  while (blocksLeft_ > 0 && ReadBlockLevel(kNoOffsets, level) && level <= quietAtStart) {
    ++skipped;
    --blocksLeft_;
  }
  if (skipped > 0) {
    --skipped;
    ++blocksLeft_;
  }
  const std::int64_t skippedRecords = std::int64_t{skipped} * static_cast<std::int64_t>(recordBytes);
  levels_.Seek(skippedRecords);
  samples_.Seek(skippedRecords * blockFrames_ * static_cast<std::int64_t>(sizeof(std::int32_t)));
}

bool LDPSRCAutoGain::ReadBlockLevel(LDBMC const& offsets, LDB& level) {
  LevelRecord record;  // Not zeroed: this runs for every block, and only what was read is used.
  if (levels_.Read(record.data(), Channels()) != Channels()) return false;
  level = BlockLevel(record, offsets);
  return true;
}

LDB LDPSRCAutoGain::BlockLevel(const LevelRecord& record, LDBMC const& offsets) const noexcept {
  const LDB first = record[0] + offsets.level[0];
  if (Channels() == 1) return first;
  const LDB second = record[1] + offsets.level[1];
  return std::max(int{first}, int{second});
}

void LDPSRCAutoGain::LookAhead() {
  LDB level;
  if (ReadBlockLevel(offsets_, level)) {
    control_.Add(level);
  } else {
    failed_ = true;
    control_.AddFinal();
  }
}

std::int32_t LDPSRCAutoGain::TargetGain(int channel) const noexcept {
  const LDB gain = -control_.TrackedLevel();
  const LDB base = offsets_.level[channel] + gain;
  const LDB level = control_.BlockLevel() + gain;
  const LDB total = base + curve_.Gain(level);
  return AsSigned(LDB::tab.Amplitude(total));
}

void LDPSRCAutoGain::StartBlock() noexcept {
  for (int i = 0; i < Channels(); ++i) {
    Ramp& ramp = ramps_[static_cast<std::size_t>(i)];
    if (blocksLeft_ < 2) {
      ramp.increment = -ramp.gain / blockFrames_;
    } else {
      ramp.increment = (TargetGain(i) - ramp.gain) / (blockFrames_ + blockFrames_ / 2);
    }
  }
  if (blocksLeft_ > INT32_MIN) --blocksLeft_;
  if (blocksLeft_ <= AsSigned(kWindowBlocks)) {
    control_.AddFinal();
  } else {
    LookAhead();
  }
  framesLeft_ = blockFrames_;
}

void LDPSRCAutoGain::Apply(std::int32_t* samples, std::int32_t frames) noexcept {
  const std::size_t stride = Channels();
  if (stride == 1) {
    Ramp& ramp = ramps_[0];
    ramp.gain = AsSigned(kiv::ScaleRampQ24(samples, samples, frames, 1, AsUnsigned(ramp.gain), ramp.increment));
    return;
  }
  const std::size_t count = static_cast<std::size_t>(frames) * stride;
  for (std::size_t c = 0; c < stride; ++c) {
    Ramp& ramp = ramps_[c];
    for (std::size_t i = c; i < count; i += stride) {
      samples[i] = kiv::MulGainQ24(samples[i], AsUnsigned(ramp.gain));
      ramp.gain += ramp.increment;
    }
  }
}

void LDPSRCAutoGain::Read(std::int32_t* buffer, std::int32_t frames) {
  if (frames < 1) return;
  const std::size_t channels = Channels();
  const std::size_t count = static_cast<std::size_t>(frames) * channels;
  const std::int64_t framesToEnd = std::max(std::int64_t{end_} - position_, std::int64_t{0});
  position_ = kiv::WrapAdd32(position_, frames);
  if (Error() != kSourceGood) {
    std::fill_n(buffer, count, 0);
    return;
  }
  const std::size_t stored = samples_.Read(buffer, count * sizeof(std::int32_t)) / (channels * sizeof(std::int32_t));
  if (stored < static_cast<std::size_t>(std::min(framesToEnd, std::int64_t{frames}))) failed_ = true;

  while (frames > 0) {
    if (framesLeft_ == 0) StartBlock();
    const std::int32_t n = std::min(framesLeft_, frames);
    Apply(buffer, n);
    buffer += static_cast<std::size_t>(n) * channels;
    framesLeft_ -= n;
    frames -= n;
  }
}
