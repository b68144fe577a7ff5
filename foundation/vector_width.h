#pragma once

// Which vector instructions the signal path may use on this processor. Every width gives the same bits; tests
// force each.
//   Threads  Best is constant. Force is for tests and benchmarks, before any other thread runs.

namespace kiv {

enum class VectorWidth { Scalar, Sse2, Avx2 };

// The widest that the processor has, or what Force chose.
VectorWidth BestVectorWidth() noexcept;

// Lets BestVectorWidth answer width (at most what the processor has; a wider wish is cut) until the next call.
void ForceVectorWidth(VectorWidth width) noexcept;
void ForceNoVectorWidth() noexcept;

}  // namespace kiv
