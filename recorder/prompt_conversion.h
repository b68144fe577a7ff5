#pragma once

// A sound in one format becomes a file in another, piece by piece, under a progress display. This is how the prompts
// that ship with the program reach the user's folder and how a file of the user's replaces one.
//
//   Progress  any type with SetStatus(text, line), SetProgress(0.0 to 1.0) and IsToStop(). The progress window of the
//             user interface is one, a console another. IsToStop is asked before every piece and may do anything
//             meanwhile.
//   Results   kConverted, kStopped, kConversionFailed. A stop leaves what has been written so far.
//   Units     frames; at most kiv::kMaxPieceFrames in a piece.
//   Threads   main.

#include <cstdint>
#include <vector>

#include "audio/sound_sink.h"
#include "audio/sound_source.h"

namespace kiv {

enum ConversionResult : int { kConverted = 0, kStopped = 1, kConversionFailed = 2 };

}  // namespace kiv

// One conversion; the caller owns the record and what status points to.
struct LPRSourceToSink {
  char const* status = "";  // the first line of the progress display
  LSoundSource source;
  LSoundSink sink;  // may be empty: then the conversion fails
};

// One system prompt; the texts are the caller's.
struct LFileExtractorProcess {
  LFileExtractorProcess(const char* destination, const char* source) noexcept
      : sourcePath(source), destinationPath(destination) {}

  char const* sourcePath;       // an MP3 file
  char const* destinationPath;  // the WAV file to write
};

namespace kiv {

// The format of every prompt.
inline constexpr std::int32_t kPromptRateHz = 8000;
inline constexpr std::uint8_t kPromptChannels = 1;
inline constexpr std::uint16_t kPromptBits = 16;

// A sink on a prompt's file, which it empties.
LSoundSink OpenPromptSink(char const* path);

// The source with the wanted channels and rate, and no sample beyond 16 bits. In error when the source is, and when it
// cannot be brought there: more than two channels, or rates that are too far apart.
LSoundSource OpenConverted(LSoundSource& source, std::uint8_t channels, std::int32_t rateHz);

// A conversion at work. Holds references of its own to both ends.
class SoundConversion {
 public:
  explicit SoundConversion(LPRSourceToSink& job);

  // Moves one piece; false at the end, which the last piece is trimmed to, and after a failure.
  bool MovePiece();
  // From the start when there is nothing that can be read or written; later when the sink takes no more.
  bool Failed() const noexcept { return failed_; }
  // How much of the source has been moved, 0.0 to 1.0, as far as its length was known at the beginning.
  double Progress() const noexcept { return progress_; }

 private:
  bool Write(std::int64_t frames);

  LSoundSource chain_;
  LSoundSink sink_;
  std::vector<std::int32_t> piece_;
  double total_ = 1.0;
  double progress_ = 0.0;
  bool failed_ = true;
};

// The conversion that a system prompt needs: its source is in error, and nothing has been written, when the MP3 file
// cannot be read.
LPRSourceToSink OpenSystemPrompt(const LFileExtractorProcess& job);

}  // namespace kiv

// Writes the job's source to its sink in the sink's format.
template <typename Progress>
int Process(Progress& dlg, LPRSourceToSink& job) {
  dlg.SetStatus(job.status, 0);
  dlg.SetStatus("Please wait...", 1);
  dlg.SetProgress(0.0);
  kiv::SoundConversion conversion(job);
  if (conversion.Failed()) return kiv::kConversionFailed;
  while (!dlg.IsToStop()) {
    if (!conversion.MovePiece()) return conversion.Failed() ? kiv::kConversionFailed : kiv::kConverted;
    dlg.SetProgress(conversion.Progress());
  }
  return kiv::kStopped;
}

// Writes a system prompt's WAV file from its MP3 file, 6 dB louder. An MP3 file that cannot be read counts as done, by
// intent, and nothing is written. A stop is a failure; what has been written stays, a complete WAV file.
template <typename Progress>
int Process(Progress& dlg, LFileExtractorProcess job) {
  LPRSourceToSink conversion = kiv::OpenSystemPrompt(job);
  if (conversion.source->Error() != kSourceGood) return kiv::kConverted;
  return Process(dlg, conversion) == kiv::kConverted ? kiv::kConverted : kiv::kConversionFailed;
}
