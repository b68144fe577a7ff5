#include "recorder/prompt_conversion.h"

#include <algorithm>

#include "audio/convert_channels.h"
#include "audio/convert_rate.h"
#include "audio/mp3/mp3_file.h"
#include "audio/processing/gain.h"
#include "audio/processing/peak_limit.h"
#include "audio/wave_file.h"

namespace kiv {
namespace {

// The prompts ship at a level that is safe for an encoder and are raised to that of speech on the line.
constexpr LDB kSystemPromptGain = 6;

// Reads, and answers the position after it. Beyond the last number of 32 bits a position starts again at the smallest;
// here it goes on, so that a source of any length has an end.
std::int64_t ReadPiece(const LSoundSource& source, std::int32_t* piece) {
  const std::int64_t before = source->GetPositionSample();
  source->Read(piece, kMaxPieceFrames);
  const std::int64_t after = source->GetPositionSample();
  return after < before ? after + (std::int64_t{1} << 32) : after;
}

}  // namespace

LSoundSink OpenPromptSink(char const* path) {
  return LWaveFile::OpenSinkPCM(path, kPromptRateHz, kPromptChannels, kPromptBits, 0);
}

LSoundSource OpenConverted(LSoundSource& source, std::uint8_t channels, std::int32_t rateHz) {
  if (source->Error() != kSourceGood) return source;
  LSoundSource inChannels = LSPConvChannels(channels).OpenSource(source);
  // No pair of counts but 1 and 2 is converted; the rate converter would deliver nothing, or the sink take the samples
  // of several channels for those of one.
  if (inChannels->Channels() != channels) return LSoundSource(new LSoundSourceError(kSourceNotSupported));
  LSoundSource inRate = LSPConvertRate(rateHz).OpenSource(inChannels);
  if (inRate->Error() != kSourceGood) return inRate;
  // The step to 16 bits wraps, and decoders and converters deliver more than 16 bits where the material does.
  return LSPPeakLimit(kPeak16Bit).OpenSource(inRate);
}

SoundConversion::SoundConversion(LPRSourceToSink& job) : sink_(job.sink) {
  if (job.source->Error() != kSourceGood || sink_.IsEmpty() || sink_->Error() != kSinkGood) return;
  chain_ = OpenConverted(job.source, sink_->Channels(), sink_->Rate());
  if (chain_->Error() != kSourceGood) return;
  const std::int32_t end = chain_->GetEndSample();
  total_ = end == 0 ? 1.0 : end;
  piece_.resize(std::size_t{kMaxPieceFrames} * chain_->Channels());
  failed_ = false;
}

bool SoundConversion::MovePiece() {
  const std::int64_t position = ReadPiece(chain_, piece_.data());
  // Asked every time: that of an MP3 file without a frame count is an estimate until it has been decoded.
  const std::int64_t end = chain_->GetEndSample();
  if (position >= end) {
    const std::int64_t overshoot = position - end;
    if (overshoot < kMaxPieceFrames) Write(kMaxPieceFrames - overshoot);
    return false;
  }
  if (!Write(kMaxPieceFrames)) return false;
  progress_ = std::clamp(static_cast<double>(position) / total_, 0.0, 1.0);
  return true;
}

bool SoundConversion::Write(std::int64_t frames) {
  sink_->Write(piece_.data(), static_cast<std::int32_t>(frames));
  failed_ = sink_->Error() != kSinkGood;
  return !failed_;
}

LPRSourceToSink OpenSystemPrompt(const LFileExtractorProcess& job) {
  LPRSourceToSink conversion;
  LSoundSource mp3 = LMP3File::OpenSource(job.sourcePath);
  // Without a frame there is no error but no length either; an existing prompt must not pay for that.
  if (mp3->Error() != kSourceGood || mp3->GetEndSample() == 0) return conversion;
  conversion.status = "Uncompress System Prompts";
  conversion.source = LSPGain(kSystemPromptGain).OpenSource(mp3);
  conversion.sink = OpenPromptSink(job.destinationPath);
  return conversion;
}

}  // namespace kiv
