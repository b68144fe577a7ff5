#include "audio/rate_filter.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "audio/buffer_level.h"
#include "audio/convert_rate.h"
#include "foundation/fixed_point.h"

#if defined(__x86_64__)
#include "audio/rate_filter_loop.h"
#define KIV_HAS_NARROW_LOOPS 1
#else
#define KIV_HAS_NARROW_LOOPS 0
#endif

namespace kiv {
namespace {

// Exact sum of coefficient * sample.
std::int64_t Sum(std::int32_t const* coefficients, std::int32_t const* samples, std::int32_t taps,
                 std::ptrdiff_t stride) {
  std::int64_t sum = 0;
  for (std::int32_t k = 0; k < taps; ++k) sum += std::int64_t{coefficients[k]} * samples[k * stride];
  return sum;
}

}  // namespace

std::int64_t CountBefore(LConvertRateBase const& filter, std::int32_t phase, std::int64_t limit) noexcept {
  if (limit <= 0) return 0;
  return (limit * filter.Phases() - phase + filter.Step() - 1) / filter.Step();
}

void ConvertPlain(LConvertRateBase const& filter, RateRun run, std::int32_t const* samples, int channels,
                  std::int32_t* out) noexcept {
  const std::ptrdiff_t stride = channels;
  const std::int32_t firstTaps = (filter.Taps() + 1) / 2;
  const std::int32_t lastTaps = filter.Taps() - firstTaps;
  const std::int64_t rounding = run.shift > 0 ? std::int64_t{1} << (run.shift - 1) : 0;
  for (std::int32_t i = 0; i < run.count; ++i) {
    std::int32_t const* const row = filter.Row(run.phase);
    for (std::ptrdiff_t c = 0; c < stride; ++c) {
      const std::int64_t a = Sum(row, samples + c, firstTaps, stride);
      const std::int64_t b = Sum(row + firstTaps, samples + firstTaps * stride + c, lastTaps, stride);
      const std::int64_t sum = (a >> 1) + (b >> 1) + rounding;
      *out++ = Wrap32(run.shift >= 0 ? sum >> run.shift : sum * 2);
    }
    run.phase += filter.Step();
    samples += run.phase / filter.Phases() * stride;
    run.phase %= filter.Phases();
  }
}

// Products of 16-bit pairs, and where they can leave their range.
//
// A coefficient of a middle tap may need 17 bits (65536 is 1.0). It is split into m * 2^15 + e with e in 16 bits; the
// e of either half are summed in 32 bits. The m * 2^15 * sample are even, so they pass through the halving untouched
// and can be added after the shift, where they need no more room than the result:
//
//   A' and B' are the sums of e * sample, C the sum of m * sample of the two middle taps; the result is
//   ((A' >> 1) + (B' >> 1) + rounding + C * 2^14) >> shift. With first = min(shift, 14) that is
//   (((A' >> 1) + (B' >> 1) + rounding) >> first) + C * 2^(14 - first), shifted right by the one bit that is left when
//   shift is 15.
//
// The sums of single lanes may wrap on the way; what counts is that A', B' and the sum of their halves fit 32 bits.
// They do when the absolute values of the coefficients of either half add up to at most (2^31 - 1) / x, where x is the
// largest sample, and those of both to at most (2^31 - 1 - 2^14) * 2 / x.
//
// Without the split the loop has less to do. Its sums grow larger, so that it often is safe for most blocks but not for
// the loudest; both forms are tabled where neither serves alone.
namespace {
constexpr std::int32_t kMaxLargest = 1 << 15;
constexpr std::int32_t kMiddleUnit = 1 << 15;
// Shorter cycles of phases are tabled several times: the loop that shares rows runs over one period.
constexpr std::ptrdiff_t kMinPeriod = 16;
}  // namespace

NarrowFilter::NarrowFilter(LConvertRateBase const& filter) {
  if (KIV_HAS_NARROW_LOOPS == 0) return;
  if (!filter.IsUsable() || (filter.Taps() != 63 && filter.Taps() != 15)) return;
  // Phases in the order in which they follow one another.
  std::vector<std::int32_t> order;
  std::int32_t phase = 0;
  do {
    places_[static_cast<std::size_t>(phase)] = static_cast<std::uint8_t>(order.size());
    order.push_back(phase);
    phase = (phase + filter.Step()) % filter.Phases();
  } while (phase != 0);
  const auto cycle = static_cast<std::ptrdiff_t>(order.size());
  period_ = cycle * ((kMinPeriod + cycle - 1) / cycle);
  const auto startOf = [&](std::ptrdiff_t place) {
    return static_cast<std::int32_t>(std::int64_t{place} * filter.Step() / filter.Phases());
  };
  periodFrames_ = startOf(period_);

  for (std::ptrdiff_t i = 0; i < period_ + kNarrowTogether - 1; ++i) starts_.push_back(startOf(i));

  const auto tabled = [&](bool split) {
    Rows rows;
    rows.largest = kMaxLargest;
    for (std::ptrdiff_t i = 0; i < period_ + kNarrowTogether - 1; ++i) {
      if (!AddRow(filter.Row(order[static_cast<std::size_t>(i % cycle)]), filter.Taps(), split, rows)) return Rows{};
    }
    return rows;
  };
  whole_ = tabled(false);
  split_ = tabled(true);
}

// A row and a zero behind it, so that either half fills whole vectors.
bool NarrowFilter::AddRow(std::int32_t const* row, std::int32_t taps, bool split, Rows& rows) {
  const std::int32_t middle = taps / 2;
  std::array<std::int16_t, 64> narrow{};
  std::array<std::int16_t, 2> multiples{};
  std::array<std::int64_t, 2> halfSums{1, 1};  // Above 0, for the quotients below.
  for (std::int32_t k = 0; k < taps; ++k) {
    std::int32_t rest = row[k];
    if (split && (k == middle || k == middle + 1)) {
      const std::int32_t multiple = ShiftRight(rest + kMiddleUnit / 2, 15);
      if (std::abs(multiple) > 2) return false;
      multiples[static_cast<std::size_t>(k - middle)] = static_cast<std::int16_t>(multiple);
      rest -= multiple * kMiddleUnit;
    }
    if (rest > INT16_MAX || rest < INT16_MIN) return false;
    narrow[static_cast<std::size_t>(k)] = static_cast<std::int16_t>(rest);
    halfSums[k <= middle ? 0 : 1] += std::abs(rest);
  }
  const std::int64_t halfLimit = INT32_MAX / std::max(halfSums[0], halfSums[1]);
  const std::int64_t wholeLimit = (INT32_MAX - std::int64_t{1 << 14}) * 2 / (halfSums[0] + halfSums[1]);
  rows.largest = static_cast<std::int32_t>(std::min({std::int64_t{rows.largest}, halfLimit, wholeLimit}));
  for (std::int32_t at = 0; at < taps; at += 16) {
    std::copy_n(narrow.begin() + at, 16, rows.pieces.emplace_back().coefficients.begin());
  }
  std::int32_t both = 0;
  std::memcpy(&both, multiples.data(), sizeof both);
  rows.middles.push_back(both);
  return true;
}

void NarrowFilter::Convert([[maybe_unused]] VectorWidth width, [[maybe_unused]] RateRun run,
                           [[maybe_unused]] std::int16_t const* plane, [[maybe_unused]] std::int32_t* out,
                           [[maybe_unused]] std::ptrdiff_t stride) const noexcept {
#if KIV_HAS_NARROW_LOOPS
  const bool split = run.largest > whole_.largest;
  const Rows& rows = split ? split_ : whole_;
  const NarrowTables tables{rows.pieces[0].coefficients.data(), rows.middles.data(), starts_.data(), period_,
                            periodFrames_};
  const NarrowTask task{places_[static_cast<std::size_t>(run.phase)], run.count, run.shift, plane, out, stride};
  const int taps = static_cast<int>(rows.pieces.size() / rows.middles.size()) * 16;
  if (width == VectorWidth::Avx2 && taps == 64) {
    LoopAvx2(split, tables, task);
  } else {
    LoopSse2(taps, split, tables, task);
  }
#endif
}

std::int32_t PackNarrow([[maybe_unused]] VectorWidth width, std::int32_t const* samples, std::int32_t frames,
                        int channels, [[maybe_unused]] int scaling, [[maybe_unused]] std::int16_t* planes) noexcept {
#if KIV_HAS_NARROW_LOOPS
  if (width == VectorWidth::Avx2) return PackAvx2(samples, frames, channels, scaling, planes);
  PackSse2(samples, frames, channels, scaling, planes);
#endif
  return GetBufferPeak(samples, frames, static_cast<std::uint8_t>(channels));
}

}  // namespace kiv
