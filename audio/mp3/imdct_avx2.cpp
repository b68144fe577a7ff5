#if defined(__x86_64__)

#include "audio/mp3/imdct_kernel.h"

namespace kiv::mp3 {

const ImdctFunctions kImdctAvx2{8, ImdctLong<Lanes8>, ImdctShort<Lanes8>};

}  // namespace kiv::mp3

#endif
