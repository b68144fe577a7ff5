#include "audio/mp3/mp3_file.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "audio/mp3/alias.h"
#include "audio/mp3/huffman.h"
#include "audio/mp3/lookup_tables.h"
#include "audio/mp3/requantize.h"
#include "audio/mp3/stereo.h"
#include "foundation/fixed_point.h"

namespace {

constexpr std::int32_t kLargest = std::numeric_limits<std::int32_t>::max();
constexpr int kGranuleSamples = kMp3Slots * kMp3Subbands;

std::uint32_t BigEndian(std::uint8_t const* bytes) noexcept {
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 | bytes[3];
}

}  // namespace

LSoundSource LMP3File::OpenSource(char const* path) {
  return LSoundSource(new LMP3Source(path));
}

// The file delivers more than 16-bit full scale where its encoder did, hence the raised peak.
LMP3Source::LMP3Source(char const* path) noexcept
    : LSoundSourceBase(kiv::kFallbackRate, 1, kiv::kPeakRaised), file_(path) {
  MP3LookupTables::InitTables();
  DecodeInitialHeader();
}

bool LMP3Source::DecodeInitialHeader() noexcept {
  if (!header_.ReadHeader(file_)) return false;
  const MP3Header first = header_;
  rate_ = first.SampleRate();
  channels_ = static_cast<std::uint8_t>(first.Channels());
  samplesPerFrame_ = delivered_ = first.Samples();

  frameCount_ = ReadFrameCount();
  // A count that leads past the last possible position says nothing.
  if (frameCount_ > static_cast<std::uint32_t>(kLargest / samplesPerFrame_)) frameCount_ = 0;
  const auto dataBytes = static_cast<double>(file_.DataBytes());
  if (frameCount_ != 0) {
    end_ = static_cast<std::int32_t>(frameCount_) * samplesPerFrame_;
    bytesPerFrame_ = dataBytes / frameCount_;
  } else {
    file_.SeekTo(0);
    bytesPerFrame_ = (first.IsMpeg1() ? 144 : 72) * MeanBitrate() / rate_;
  }
  file_.SeekTo(0);
  if (frameCount_ == 0) end_ = EstimateEnd(0);
  return true;
}

// The count in a tag frame: one without side information, in whose place for main data "Xing" or "VBRI" stands.
// 0 when there is none.
std::uint32_t LMP3Source::ReadFrameCount() noexcept {
  std::uint8_t bytes[MP3SideInfo::kMaxBytes + 4];
  const auto sideBytes = static_cast<std::size_t>(header_.SideInfoBytes());
  if (file_.Read(bytes, sideBytes + 4) != sideBytes + 4) return 0;
  if (std::any_of(bytes, bytes + sideBytes, [](std::uint8_t b) { return b != 0; })) return 0;
  std::uint8_t const* const name = bytes + sideBytes;
  std::uint8_t field[8];
  if (std::memcmp(name, "Xing", 4) == 0) {
    if (file_.Read(field, 8) != 8 || (field[3] & 1) == 0) return 0;
    return BigEndian(field + 4);
  }
  if (std::memcmp(name, "VBRI", 4) == 0) {
    file_.Skip(10);
    return file_.Read(field, 4) == 4 ? BigEndian(field) : 0;
  }
  return 0;
}

// Of the first frames, from the current place on, in bit/s.
double LMP3Source::MeanBitrate() noexcept {
  double sum = 0.0;
  int found = 0;
  MP3Header header;
  while (found < kHeadersForMean && header.ReadHeader(file_)) {
    sum += header.Bitrate();
    ++found;
    file_.Skip(header.BodyBytes());
  }
  return sum / found;  // The caller has seen a header, so there is one.
}

std::int32_t LMP3Source::EstimateEnd(std::int64_t reached) const noexcept {
  const double frames = static_cast<double>(file_.Remaining()) / bytesPerFrame_ + 0.9;
  // Files for which this is too much exist only as holes in a disk or as streams of half a day.
  if (frames >= kLargest) return kLargest;
  const std::int64_t end = reached + static_cast<std::int64_t>(frames) * samplesPerFrame_;
  return static_cast<std::int32_t>(std::min<std::int64_t>(end, kLargest));
}

void LMP3Source::Read(std::int32_t* buffer, std::int32_t frames) {
  const auto silence = [&](std::int32_t count) {
    std::fill_n(buffer, static_cast<std::size_t>(count) * channels_, 0);
    buffer += static_cast<std::size_t>(count) * channels_;
    frames -= count;
    position_ = kiv::WrapAdd32(position_, count);
  };
  if (frames < 1) return;
  if (position_ < 0) silence(static_cast<std::int32_t>(std::min<std::int64_t>(frames, -std::int64_t{position_})));

  while (frames > 0 && position_ < end_) {
    std::int32_t count = std::min(frames, end_ - position_);
    if (delivered_ < samplesPerFrame_) {
      count = std::min(count, samplesPerFrame_ - delivered_);
      std::copy_n(frame_ + std::ptrdiff_t{delivered_} * channels_, std::ptrdiff_t{count} * channels_, buffer);
      delivered_ += count;
    } else {
      const bool whole = count >= samplesPerFrame_;
      if (!DecodeFrame(whole ? buffer : frame_)) {
        end_ = position_;
        break;
      }
      if (frameCount_ == 0) end_ = EstimateEnd(std::int64_t{position_} + samplesPerFrame_);
      if (!whole) {
        delivered_ = 0;
        continue;
      }
      count = samplesPerFrame_;
    }
    buffer += std::ptrdiff_t{count} * channels_;
    frames -= count;
    position_ += count;
  }
  silence(frames);
}

void LMP3Source::Seek(std::int32_t frame) {
  position_ = frame;
  if (bytesPerFrame_ <= 0.0) return;  // Nothing was found at opening.
  const std::int32_t target = std::clamp(frame, 0, end_);
  const std::int32_t index = target / samplesPerFrame_;
  const std::int32_t start = std::max(index - kWarmUpFrames, 0);
  file_.SeekTo(static_cast<std::int64_t>(start * bytesPerFrame_));
  reservoir_.Clear();
  for (int ch = 0; ch < 2; ++ch) {
    overlap_[ch] = {};
    synth_[ch].Reset();
  }
  for (std::int32_t i = start; i < index; ++i) DecodeFrame(frame_);
  delivered_ = DecodeFrame(frame_) ? target % samplesPerFrame_ : samplesPerFrame_;
}

bool LMP3Source::DecodeSideInformation() noexcept {
  std::uint8_t bytes[MP3SideInfo::kMaxBytes];
  const int count = header_.SideInfoBytes();
  if (file_.Read(bytes, static_cast<std::size_t>(count)) != static_cast<std::size_t>(count)) return false;
  MP3SIBitStream bits(bytes, count);
  sideInfo_.DecodeSideInformation(bits, header_);
  return true;
}

bool LMP3Source::DecodeFrame(std::int32_t* out) noexcept {
  if (!DecodeHeader() || !DecodeSideInformation()) return false;
  if (!reservoir_.Append(file_, header_.BodyBytes() - header_.SideInfoBytes())) return false;

  int bit = reservoir_.BitOfFrame(sideInfo_.mainDataBegin);
  int done = 0;
  for (int gr = 0; gr < header_.Granules(); ++gr) {
    const bool whole = DecodeGranule(gr, bit);
    // A frame may have more granules than this stream's frames hold.
    if (done == samplesPerFrame_) break;
    if (!whole) {
      std::memset(spectrum_, 0, sizeof spectrum_);
      lines_[0] = lines_[1] = 0;
    } else if (header_.Channels() == 2) {
      float* const spectra[2] = {spectrum_[0], spectrum_[1]};
      JointStereoProcessing(header_, sideInfo_.granule[gr][1], scaleFactors_[1], spectra, lines_);
    }
    SynthesizeGranule(gr, out + std::ptrdiff_t{done} * channels_);
    done += kGranuleSamples;
  }
  // Or fewer.
  std::fill_n(out + std::ptrdiff_t{done} * channels_, std::ptrdiff_t{samplesPerFrame_ - done} * channels_, 0);
  return true;
}

bool LMP3Source::DecodeGranule(int gr, int& bit) noexcept {
  const int start = bit;
  const int channels = header_.Channels();
  for (int ch = 0; ch < channels; ++ch) bit += sideInfo_.granule[gr][ch].mainDataBits;
  bool shares = false;
  if (gr == 0) {
    lostScaleFactors_ = false;
  } else {
    shares = (sideInfo_.sharedScaleFactors[0] | sideInfo_.sharedScaleFactors[1]) != 0;
  }
  // Without its beginning, or without the scale factors that it shares with the first granule, a granule is lost.
  if (start < 0 || bit > reservoir_.EndBit() || (shares && lostScaleFactors_)) {
    if (gr == 0) lostScaleFactors_ = true;
    return false;
  }

  int channelStart = start;
  for (int ch = 0; ch < channels; ++ch) {
    MP3SideInfoGranule const& granule = sideInfo_.granule[gr][ch];
    const int channelEnd = channelStart + granule.mainDataBits;
    const bool positions = ch == 1 && header_.UsesIntensity();
    kiv::mp3::BitReader bits(reservoir_.Data(), channelStart);
    DecodeScaleFactors(bits, header_, granule, gr == 0 ? std::uint8_t{0} : sideInfo_.sharedScaleFactors[ch], positions,
                       scaleFactors_[ch]);
    const int lines = DecodeHuffmanData(bits, channelEnd, header_, granule, spectrum_[ch]);
    lines_[ch] = RequantizeSpectrum(header_, granule, scaleFactors_[ch],
                                    HighFrequencyBoost(header_, granule, positions), lines, spectrum_[ch]);
    channelStart = channelEnd;
  }
  return true;
}

void LMP3Source::SynthesizeGranule(int gr, std::int32_t* out) noexcept {
  alignas(32) float slots[kMp3Slots][kMp3Subbands];
  alignas(32) std::int32_t samples[2][kGranuleSamples];
  const int coded = header_.Channels();
  for (int ch = 0; ch < coded; ++ch) {
    MP3SideInfoGranule const& granule = sideInfo_.granule[gr][ch];
    const int lines = AliasReduction(granule, lines_[ch], spectrum_[ch]);
    IMDCTSynthesize(granule, lines, spectrum_[ch], overlap_[ch], slots);
    synth_[ch].SynthesizeGranule(slots, samples[ch]);
  }
  if (channels_ == 1) {
    // Two channels in a stream that began with one: their mean.
    for (int i = 0; i < kGranuleSamples; ++i) {
      out[i] =
          coded == 1 ? samples[0][i] : static_cast<std::int32_t>((std::int64_t{samples[0][i]} + samples[1][i]) / 2);
    }
  } else {
    std::int32_t const* const second = samples[coded - 1];
    for (int i = 0; i < kGranuleSamples; ++i) {
      out[2 * i] = samples[0][i];
      out[2 * i + 1] = second[i];
    }
  }
}
