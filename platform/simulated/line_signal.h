#pragma once

// What sounds on the simulated line: a function of line time, so that every recording of the same stretch is
// the same and two recordings in a row join without a seam.
//
//   Units    firstFrame counts frames of rateHz since line time 0; 16-bit samples, interleaved; levels in dB of 16-bit
//            full scale.
//   Threads  Render is called by one thread at a time.

#include <cstdint>
#include <functional>
#include <memory>

#include "audio/sound_source.h"

namespace kiv {

class LineSignal {
 public:
  virtual ~LineSignal() = default;
  virtual void Render(std::int64_t firstFrame, std::int32_t frames, std::int32_t rateHz, std::int32_t channels,
                      std::int16_t* out) = 0;
};

std::unique_ptr<LineSignal> MakeSilence();
// A sine on every channel.
std::unique_ptr<LineSignal> MakeTone(std::int32_t hz, double levelDB);
// Two speakers in turn, the second 12 dB below the first, over faint line noise: bursts of harmonics with the
// rhythm of syllables and pauses between. The same seed gives the same call.
std::unique_ptr<LineSignal> MakeSpeechBursts(std::uint32_t seed, double levelDB);
// Any function of frame and channel, for tests that look for a certain frame.
std::unique_ptr<LineSignal> MakeFunction(
    std::function<std::int16_t(std::int64_t frame, std::int32_t channel)> function);
// What a source holds, from line time 0 on, at the line's rate and channel count; then silence, or from its start
// again. A source in error is silence. The signal keeps the only handle on the source: the caller lets go of his.
std::unique_ptr<LineSignal> MakeSourceSignal(const LSoundSource& source, bool repeat);

}  // namespace kiv
