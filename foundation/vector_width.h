#pragma once

// Which vector instructions the signal path may use on this processor. Every width gives the same bits; tests
// force each.
//   Threads  Best is constant. Force is for tests and benchmarks, before any other thread runs.

// Marks a function that may use the widest of them, to be called only where BestVectorWidth says so; on processors of
// another family it marks nothing.
#if defined(__x86_64__)
#define KIV_TARGET_AVX2 __attribute__((target("avx2")))
#else
#define KIV_TARGET_AVX2
#endif
// A loop that is compiled anew in each function that calls it, with the instructions which that one may use.
#define KIV_INLINE inline __attribute__((always_inline))

namespace kiv {

enum class VectorWidth { Scalar, Sse2, Avx2 };

// The widest that the processor has, or what Force chose.
VectorWidth BestVectorWidth() noexcept;

// Lets BestVectorWidth answer width (at most what the processor has; a wider wish is cut) until the next call.
void ForceVectorWidth(VectorWidth width) noexcept;
void ForceNoVectorWidth() noexcept;

}  // namespace kiv
