#include "foundation/vector_width.h"

#include <algorithm>
#include <atomic>

namespace kiv {
namespace {

VectorWidth ProcessorWidth() noexcept {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2") != 0) return VectorWidth::Avx2;
  return VectorWidth::Sse2;  // Part of every 64-bit processor of this family.
#else
  return VectorWidth::Scalar;
#endif
}

constexpr int kNotForced = -1;
std::atomic<int> forcedWidth{kNotForced};

}  // namespace

VectorWidth BestVectorWidth() noexcept {
  static const VectorWidth processorWidth = ProcessorWidth();
  const int forced = forcedWidth.load(std::memory_order_relaxed);
  return forced == kNotForced ? processorWidth : std::min(static_cast<VectorWidth>(forced), processorWidth);
}

void ForceVectorWidth(VectorWidth width) noexcept {
  forcedWidth = static_cast<int>(width);
}
void ForceNoVectorWidth() noexcept {
  forcedWidth = kNotForced;
}

}  // namespace kiv
