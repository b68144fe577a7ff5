#if defined(__x86_64__)

#include "audio/mp3/synth_kernel.h"

namespace kiv::mp3 {

void SynthesizeAvx2(SynthArguments const& a) noexcept {
  SynthesizeSlots<Lanes8>(a);
}

}  // namespace kiv::mp3

#endif
