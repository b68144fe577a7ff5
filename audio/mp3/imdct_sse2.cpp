#if defined(__x86_64__)

#include "audio/mp3/imdct_kernel.h"

namespace kiv::mp3 {

const ImdctFunctions kImdctSse2{4, ImdctLong<Lanes4>, ImdctShort<Lanes4>};

}  // namespace kiv::mp3

#endif
