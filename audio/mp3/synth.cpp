#include "audio/mp3/synth.h"

#include <cstring>

#include "audio/mp3/synth_kernel.h"
#include "foundation/vector_width.h"

namespace kiv::mp3 {

void SynthesizeScalar(SynthArguments const& a) noexcept {
  SynthesizeSlots<float>(a);
}

namespace {

SynthFunction Function() noexcept {
#if defined(__x86_64__)
  switch (BestVectorWidth()) {
    case VectorWidth::Avx2:
      return SynthesizeAvx2;
    case VectorWidth::Sse2:
      return SynthesizeSse2;
    case VectorWidth::Scalar:
      break;
  }
#endif
  return SynthesizeScalar;
}

}  // namespace
}  // namespace kiv::mp3

void MP3PolyphaseSynth::Reset() noexcept {
  newest_ = kSlots - kHistory + 1;
  std::memset(values_, 0, sizeof values_);
}

void MP3PolyphaseSynth::MakeRoom(int slots) noexcept {
  if (newest_ >= slots) return;
  std::memmove(values_[kSlots - kHistory + 1], values_[newest_], sizeof(values_[0]) * (kHistory - 1));
  newest_ = kSlots - kHistory + 1;
}

void MP3PolyphaseSynth::Synthesize(float const* subbands, std::int32_t* out, bool interleaved) noexcept {
  alignas(32) float slot[1][kMp3Subbands];
  std::memcpy(slot[0], subbands, sizeof slot);
  MakeRoom(1);
  std::int32_t samples[kMp3Subbands];
  kiv::mp3::Function()({slot, 1, values_, newest_, samples});
  --newest_;
  for (int i = 0; i < kMp3Subbands; ++i) out[interleaved ? 2 * i : i] = samples[i];
}

void MP3PolyphaseSynth::SynthesizeGranule(float const (*subbands)[kMp3Subbands], std::int32_t* out) noexcept {
  MakeRoom(kMp3Slots);
  kiv::mp3::Function()({subbands, kMp3Slots, values_, newest_, out});
  newest_ -= kMp3Slots;
}
