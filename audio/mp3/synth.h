#pragma once

// Polyphase synthesis filter bank of one channel.
//   Units    in: 32 subband values of one time slot, 1.0 is full scale. out: 32 samples in the internal scale,
//            truncated toward zero; what leaves 32 bits is clamped, nothing else is.
//   Threads  one at a time for an object.

#include <cstdint>

#include "audio/mp3/imdct.h"

class MP3PolyphaseSynth {
 public:
  // As after a long silence.
  void Reset() noexcept;

  // One time slot. The samples are written side by side or, for a buffer that interleaves two channels, to
  // every second place.
  void Synthesize(float const* subbands, std::int32_t* out, bool interleaved) noexcept;
  // A whole granule, side by side, with the same samples.
  void SynthesizeGranule(float const (*subbands)[kMp3Subbands], std::int32_t* out) noexcept;

 private:
  // The newest kHistory slots are needed; the window of them moves toward the front until it has to be taken
  // back to the end.
  static constexpr int kHistory = 16;
  static constexpr int kSlots = kHistory - 1 + 2 * kMp3Slots;
  static constexpr int kValues = 64;

  void MakeRoom(int slots) noexcept;

  int newest_ = kSlots - kHistory + 1;  // Slots before this one are free.
  alignas(32) float values_[kSlots][kValues] = {};
};

namespace kiv::mp3 {

// Slots of `values` are counted downward in time: slot `newest` - 1 is made next. Writes count times 32 samples.
struct SynthArguments {
  float const (*subbands)[kMp3Subbands];
  int count;
  float (*values)[64];
  int newest;
  std::int32_t* out;
};
using SynthFunction = void (*)(SynthArguments const&) noexcept;
void SynthesizeScalar(SynthArguments const& a) noexcept;
void SynthesizeSse2(SynthArguments const& a) noexcept;
void SynthesizeAvx2(SynthArguments const& a) noexcept;

}  // namespace kiv::mp3
