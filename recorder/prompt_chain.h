#pragma once

// Prompts as the line hears them: where their files are, and the stages that the settings put around them. The engine
// plays calls through this chain and the preferences their previews.
//
//   Order    file, high-pass, compressor, gain; each stage only where its setting asks for it, as stored at that
//            moment.
//   Text     a path is at most 259 bytes and a terminator.
//   Threads  as every source: opened on one thread, read on one.
//   Errors   a file that cannot be opened is logged, and the handle is in error.

#include "audio/sound_source.h"
#include "foundation/text.h"

namespace kiv {

// The file of the prompt of that name: "Start Prompt" is "Start Prompt.wav" in the data folder.
void PathOfPrompt(char (&path)[kTextSize], char const* name);

// The prompt at path with its stages around it.
LSoundSource OpenPrompt(char const* path);

}  // namespace kiv
