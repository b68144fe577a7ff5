#include "audio/processing/auto_gain.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <filesystem>
#include <mutex>

#include "audio/buffer_level.h"
#include "audio/convert_channels.h"
#include "audio/convert_rate.h"
#include "audio/processing/auto_gain_source.h"
#include "audio/processing/one_pole.h"
#include "audio/processing/peak_limit.h"
#include "audio/processing/read_ahead.h"
#include "foundation/file.h"
#include "foundation/fixed_point.h"
#include "foundation/text.h"

using kiv::WrapAdd32;

namespace {

// The result goes to the output in pieces of at least this many samples.
constexpr std::int32_t kResultSamples = 16 * 1024;
// The first pass takes up to this many blocks together, as far as they are not long, since filters run faster over
// more.
constexpr std::int32_t kGroupBlocks = 8;
constexpr std::int32_t kGroupSamples = 16 * 1024;
// A source may deliver this much more than its end promises before it counts as one that never ends.
constexpr std::int32_t kSpareFrames = 64 * 1024;

struct TemporaryPlace {
  std::mutex mutex;
  std::string folder;  // Empty: the default.
};

TemporaryPlace& Place() {
  static TemporaryPlace place;
  return place;
}

std::string TemporaryFolder() {
  TemporaryPlace& place = Place();
  const std::scoped_lock lock(place.mutex);
  if (!place.folder.empty()) return place.folder;
  char dataFolder[kiv::kTextSize];
  LFile::GetUserDataFolderApp(dataFolder);
  if (access(dataFolder, W_OK | X_OK) == 0) return dataFolder;
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
  return error ? "/tmp" : folder.string();
}

}  // namespace

void LDPAutoGain::SetTemporaryFolder(const std::string& folder) {
  TemporaryPlace& place = Place();
  const std::scoped_lock lock(place.mutex);
  place.folder = folder;
}

int LDPAutoGain::RemoveLeftovers(const std::string& folder) {
  return kiv::RemoveStaleSpoolFiles(folder);
}

LDPAutoGain::LDPAutoGain(LSoundSource& input, LSoundSink& output, bool trim, std::int32_t f1, std::int32_t f2, LDB a,
                         LDB b, LDB c, double slope, LDB d)
    : input_(input), output_(output), trim_(trim), a_(a), b_(b), c_(c), d_(d), slope_(slope) {
  if (!FitInput() || !OpenFiles()) {
    failed_ = true;
    return;
  }
  blockFrames_ = std::clamp(input_->Rate() / 50, 20, kiv::kMaxPieceFrames);
  filter_ =
      kiv::SpeechFilter(kiv::OnePoleCoefficientQ8(f1, input_->Rate()), kiv::OnePoleCoefficientQ8(f2, input_->Rate()));
  channels_.resize(input_->Channels());
  const std::int32_t blockSamples = blockFrames_ * input_->Channels();
  groupBlocks_ = std::clamp(kGroupSamples / blockSamples, 1, kGroupBlocks);
  samples_.resize(static_cast<std::size_t>(groupBlocks_) * static_cast<std::size_t>(blockSamples));
  weighted_.resize(samples_.size());
  EnterPass(State::Analysing);
}

LDPAutoGain::~LDPAutoGain() {
  WriteResult();
  if (!samplePath_.empty()) unlink(samplePath_.c_str());
  if (!levelPath_.empty()) unlink(levelPath_.c_str());
}

bool LDPAutoGain::FitInput() {
  if (input_->Error() != kSourceGood || output_.IsEmpty() || output_->Error() != kSinkGood) return false;
  const std::uint8_t channels = output_->Channels();
  const std::int32_t rateHz = output_->Rate();
  // Only mono and stereo become one another, and only they change their rate.
  const bool asItIs = input_->Channels() == channels && input_->Rate() == rateHz;
  if (!asItIs && std::max(input_->Channels(), channels) > 2) return false;
  input_ = LSoundSource(new kiv::LSRCReadAhead(input_));
  if (input_->Channels() > channels) input_ = LSPConvChannels(channels).OpenSource(input_);
  if (input_->Rate() > rateHz) input_ = LSPConvertRate(rateHz).OpenSource(input_);
  return input_->Error() == kSourceGood;
}

bool LDPAutoGain::OpenFiles() {
  const std::string folder = TemporaryFolder();
  sampleFile_ = kiv::CreateSpoolFile(folder, samplePath_);
  levelFile_ = kiv::CreateSpoolFile(folder, levelPath_);
  if (!sampleFile_.IsOpen() || !levelFile_.IsOpen()) return false;
  sampleWriter_.emplace(sampleFile_.Descriptor());
  levelWriter_.emplace(levelFile_.Descriptor());
  return true;
}

bool LDPAutoGain::Failed() const noexcept {
  return failed_ || (gainSource_ != nullptr && gainSource_->Failed()) ||
         (!output_.IsEmpty() && output_->Error() != kSinkGood);
}

double LDPAutoGain::Progress() const noexcept {
  if (state_ == State::Finished) return 1.0;
  const double end = input_->GetEndSample();
  const double done = end > 0.0 ? std::clamp(input_->GetPositionSample() / end, 0.0, 1.0) : 0.0;
  return state_ == State::Analysing ? done / 2 : 0.5 + done / 2;
}

void LDPAutoGain::EnterPass(State pass) {
  state_ = pass;
  const std::int64_t promised = std::int64_t{input_->GetEndSample()} - input_->GetPositionSample();
  framesAllowed_ = std::max(promised, std::int64_t{0}) + kSpareFrames + blockFrames_;
}

bool LDPAutoGain::TimeSlice() {
  if (state_ == State::Finished) return false;
  if (state_ == State::Analysing) {
    Analyse();
  } else {
    ApplyGain();
  }
  framesAllowed_ -= blockFrames_;
  if (blocksAhead_ == 0 && input_->GetPositionSample() >= input_->GetEndSample()) {
    if (state_ == State::Analysing && StartGain()) {
      EnterPass(State::ApplyingGain);
      return true;
    }
    Finish();
  } else if (framesAllowed_ < 0) {
    // Its position stands still: it would fill the disk.
    failed_ = true;
    Finish();
  }
  return state_ != State::Finished;
}

void LDPAutoGain::Finish() {
  WriteResult();
  state_ = State::Finished;
}

void LDPAutoGain::Analyse() {
  if (blocksAhead_ == 0) {
    // Near the end block by block, so that the input's position tells after each whether it was the last.
    const std::int64_t toEnd = std::int64_t{input_->GetEndSample()} - input_->GetPositionSample();
    blocksAhead_ = toEnd > kSpareFrames + groupBlocks_ * std::int64_t{blockFrames_} ? groupBlocks_ : 1;
    AnalyseBlocks(blocksAhead_);
  }
  --blocksAhead_;
}

void LDPAutoGain::AnalyseBlocks(std::int32_t count) {
  const std::size_t channels = channels_.size();
  const std::size_t blockSamples = static_cast<std::size_t>(blockFrames_) * channels;
  const std::int32_t frames = count * blockFrames_;
  input_->Read(samples_.data(), frames);
  sampleWriter_->Write(samples_.data(), static_cast<std::size_t>(count) * blockSamples * sizeof(samples_[0]));
  for (std::size_t c = 0; c < channels; ++c) {
    filter_.Run(weighted_.data() + c, samples_.data() + c, frames, static_cast<std::int64_t>(channels),
                channels_[c].filter);
  }
  for (std::size_t block = 0; block < static_cast<std::size_t>(count); ++block) {
    std::array<std::int8_t, LDBMC::kMaxChannels> record;  // Of which only the channels' bytes are set and used.
    for (std::size_t c = 0; c < channels; ++c) {
      const LDB level = DBFromMeanSquare(GetBufferMeanSquareChan(static_cast<std::uint8_t>(c),
                                                                 weighted_.data() + block * blockSamples, blockFrames_,
                                                                 static_cast<std::uint8_t>(channels)));
      channels_[c].levels.Add(level);
      record[c] = static_cast<std::int8_t>(int{level});
    }
    levelWriter_->Write(record.data(), channels);
  }
  blocks_ = WrapAdd32(blocks_, count);
}

bool LDPAutoGain::StartGain() {
  // A file cut short by a full disk is levelled as far as it goes, and Failed tells.
  if (!sampleWriter_->Flush() || !levelWriter_->Flush()) failed_ = true;
  sampleWriter_.reset();
  levelWriter_.reset();
  LDBMC speechLevels;
  speechLevels.channels = input_->Channels();
  for (std::size_t c = 0; c < channels_.size(); ++c) speechLevels.level[c] = channels_[c].levels.GetLevelPreLimit();

  gainSource_ = new LDPSRCAutoGain(input_->Rate(), input_->Channels(), speechLevels, blocks_, sampleFile_, levelFile_,
                                   blockFrames_, trim_, a_, b_, c_, slope_, d_);
  input_ = LSoundSource(gainSource_);
  if (input_->Rate() != output_->Rate()) input_ = LSPConvertRate(output_->Rate()).OpenSource(input_);
  if (input_->Channels() != output_->Channels()) input_ = LSPConvChannels(output_->Channels()).OpenSource(input_);
  if (input_->Peak() > kiv::kPeak16Bit) input_ = LSPPeakLimit(kiv::kPeak16Bit).OpenSource(input_);
  if (input_->Error() != kSourceGood) {
    failed_ = true;
    return false;
  }
  const std::size_t channels = output_->Channels();
  result_.resize(std::max(std::size_t{kResultSamples}, static_cast<std::size_t>(blockFrames_) * channels));
  return true;
}

void LDPAutoGain::ApplyGain() {
  const std::size_t channels = output_->Channels();
  const std::size_t used = static_cast<std::size_t>(resultFrames_) * channels;
  input_->Read(result_.data() + used, blockFrames_);
  resultFrames_ += blockFrames_;
  if (static_cast<std::size_t>(resultFrames_ + blockFrames_) * channels > result_.size()) WriteResult();
}

void LDPAutoGain::WriteResult() {
  if (resultFrames_ > 0) output_->Write(result_.data(), resultFrames_);
  resultFrames_ = 0;
}
