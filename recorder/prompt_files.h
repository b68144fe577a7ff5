#pragma once

// The prompts as files: those that ship with the program, and what replaces one.
//
//   Paths    a prompt is "<data folder>/<name>.wav"; a system prompt ships as "<resources>/prompts/<name>.mp3".
//   Safety   while a prompt is being replaced, the old one lies beside it under a hidden name. What the conversion
//            wrote stays when it came to its end and when the user stopped it; the old prompt comes back after a
//            failure, at once, and after a crash, at the next start.
//   Threads  main.
//   Errors   silent, but for the results: a file that nobody can read changes nothing.

#include <array>
#include <functional>

#include "foundation/text.h"
#include "recorder/prompt_chain.h"
#include "recorder/prompt_conversion.h"

namespace kiv {

// The system prompts, in the order in which they are converted.
inline constexpr std::array<char const*, 6> kSystemPrompts = {"Start Prompt", "End Prompt", "On-Hold 1",
                                                              "On-Hold 2",    "On-Hold 3",  "Record Tone"};

// Path of a system prompt's MP3 file; empty without a resources folder. Whether it exists is not asked.
void PathOfPromptResource(char (&path)[kTextSize], char const* name);

// A sound file of any kind that prompts are made of: WAV or else MP3. In error when it is neither, holds no MP3 frames,
// or cannot be converted to the format of prompts (more than two channels, an absurd rate or length). Nothing is
// written. The source is in the format of prompts.
LSoundSource OpenForPrompt(char const* soundPath);

// For each system prompt whose WAV file is missing when its turn comes: convert is to run it under a progress window.
// Its result tells nothing. Prompts that a crash left half replaced are put back first.
//
//   kiv::ExtractMissingPrompts([this](LFileExtractorProcess& job) {
//     LProcessDialog<LFileExtractorProcess> dialog("Extracting Files", &job);
//     dialog.Open(window_);
//   });
void ExtractMissingPrompts(const std::function<void(LFileExtractorProcess&)>& convert);

enum class PromptImport {
  NotReadable,  // convert was not called and nothing was touched
  Converted,
  Stopped,  // the prompt is as far as it came
  Failed,   // the old prompt is back
};

// Replaces the prompt at promptPath by the sound file, whose status line is "Process Audio". convert is to run the job
// under a progress window and to answer its result; kConversionFailed when there was no window. The sound file may be
// the prompt itself.
//
//   kiv::ImportPrompt(chosen, path, [this](LPRSourceToSink& job) {
//     LProcessDialog<LPRSourceToSink> dialog("Loading Audio File", &job);
//     dialog.Open(window_);
//     return dialog.processResult;
//   });
PromptImport ImportPrompt(char const* soundPath, char const* promptPath,
                          const std::function<int(LPRSourceToSink&)>& convert);

// Puts back the prompts of the data folder whose replacement a crash has interrupted.
void PutBackKeptPrompts();

}  // namespace kiv
