#pragma once

// The processing stages written a second time, straight from their formulas in 64-bit and double arithmetic, over
// whole signals instead of streams. Shares nothing with the product, so that a mistake would have to be made twice.
//
//   Samples  interleaved; after its end a signal is silent.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kiv::reference {

using Signal = std::vector<std::int32_t>;

// The low 32 bits, as a signed number.
inline std::int64_t Word(std::int64_t v) {
  const std::int64_t low = v & 0xFFFFFFFF;
  return low >= 0x80000000 ? low - 0x100000000 : low;
}

// Division that rounds down, for a positive divisor.
inline std::int64_t FloorDiv(std::int64_t a, std::int64_t b) {
  return a >= 0 ? a / b : -((-a + b - 1) / b);
}

// The split product: x signed, c signed or unsigned, both 32 bits wide.
inline std::int64_t M(std::int64_t x, std::int64_t c) {
  const std::int64_t xHigh = FloorDiv(x, 4096);
  const std::int64_t xLow = x - xHigh * 4096;
  const std::int64_t cHigh = FloorDiv(c, 4096);
  const std::int64_t cLow = c - cHigh * 4096;
  return Word(xHigh * cHigh + FloorDiv(xLow * cHigh, 4096) + FloorDiv(xHigh * cLow, 4096));
}

inline std::int64_t RoundDB(double x) {
  const double rounded = x > 0.0 ? std::floor(x + 0.5) : -std::floor(0.5 - x);
  return static_cast<std::int64_t>(std::clamp(rounded, -127.0, 127.0));
}

inline std::int64_t Amplitude(std::int64_t dB) {
  if (dB <= -127) return 0;
  return static_cast<std::int64_t>(
      std::min(std::floor(std::pow(10.0, static_cast<double>(dB) / 20.0) * 16777216.0 + 0.5), 2147483647.0));
}

// Peak and mean square of the samples first, first + step, ... below end.
inline std::int64_t Peak(const Signal& x, std::size_t first, std::size_t end) {
  std::int64_t peak = 0;
  for (std::size_t i = first; i < end; ++i) peak = std::max(peak, std::abs(std::int64_t{x[i]}));
  return std::min<std::int64_t>(peak, INT32_MAX);
}
inline std::int64_t MeanSquare(const Signal& x, std::size_t first, std::size_t end, std::size_t step) {
  std::int64_t high = 0;
  std::int64_t low = 0;
  std::int64_t n = 0;
  for (std::size_t i = first; i < end; i += step, ++n) {
    const std::int64_t t = FloorDiv(x[i], 32);
    const std::int64_t q = (t * t) & 0xFFFFFFFF;
    high += q / 8192;
    low += q % 8192;
  }
  if (n == 0) return 0;
  const std::int64_t total = ((high & 0xFFFFFFFF) + (low & 0xFFFFFFFF) / 8192) & 0xFFFFFFFF;
  return ((total / n * 8192 & 0xFFFFFFFF) + ((total % n * 8192) & 0xFFFFFFFF) / n) & 0xFFFFFFFF;
}
inline std::int64_t MeanSquareDB(std::int64_t meanSquare) {
  return meanSquare == 0 ? -127 : RoundDB(10.0 * std::log10(static_cast<double>(meanSquare) / 8388626.0));
}

inline std::int64_t OnePole(std::int64_t hz, std::int64_t rate) {
  return static_cast<std::int64_t>(
      std::trunc((1.0 - std::exp(-6.283185307 * static_cast<double>(hz) / static_cast<double>(rate))) * 256.0));
}

inline Signal HighPass(Signal x, std::size_t channels, std::int64_t hz, std::int64_t rate) {
  const std::int64_t k = OnePole(hz, rate);
  for (std::size_t c = 0; c < channels; ++c) {
    std::int64_t s = 0;
    for (std::size_t i = c; i < x.size(); i += channels) {
      const std::int64_t y = Word(x[i] - FloorDiv(s, 256));
      x[i] = static_cast<std::int32_t>(y);
      s = Word(s + y * k);
    }
  }
  return x;
}

inline Signal Gain(Signal x, std::int64_t dB) {
  const std::int64_t factor = Amplitude(dB) / 32768;
  for (std::int32_t& v : x) {
    v = static_cast<std::int32_t>(FloorDiv(Word(v * factor), 512));
  }
  return x;
}

inline Signal Biquad(Signal x, std::size_t channels, std::int64_t c1, std::int64_t c2, std::int64_t c3,
                     std::int64_t c4) {
  for (std::size_t c = 0; c < channels; ++c) {
    std::int64_t x1 = 0;
    std::int64_t x2 = 0;
    std::int64_t y1 = 0;
    std::int64_t y2 = 0;
    for (std::size_t i = c; i < x.size(); i += channels) {
      const std::int64_t y = Word(M(Word(x[i] + x2), c3) + M(x1, c4) - M(y1, c1) - M(y2, c2));
      x2 = x1;
      x1 = x[i];
      y2 = y1;
      y1 = y;
      x[i] = static_cast<std::int32_t>(y);
    }
  }
  return x;
}

inline std::vector<std::int64_t> GainCurve(std::int64_t a, double base, std::int64_t b) {
  std::vector<std::int64_t> table;
  double g = 16777216.0;
  if (a < 0) g = 16777216.0 / std::pow(base, static_cast<double>(-a));
  const auto push = [&] { table.push_back(static_cast<std::int64_t>(std::clamp(g, 0.0, 4294967295.0))); };
  while (static_cast<std::int64_t>(table.size()) < a + 128) push();
  for (; static_cast<std::int64_t>(table.size()) < b + 128; g *= base) push();
  for (; table.size() < 256; g *= 0.8913) push();
  return table;
}

inline std::vector<std::int64_t> DBCurve(std::int64_t a, double slope, std::int64_t b) {
  std::vector<std::int64_t> table;
  double x = static_cast<double>(a) * slope;
  while (static_cast<std::int64_t>(table.size()) < a + 128) table.push_back(RoundDB(x));
  for (; static_cast<std::int64_t>(table.size()) < b + 128; x += slope) table.push_back(RoundDB(x));
  for (; table.size() < 256; x -= 1.0) table.push_back(RoundDB(x));
  return table;
}

// frames frames of output.
inline Signal Compress(Signal x, std::size_t channels, std::int64_t rate, std::size_t frames, std::int64_t a,
                       double base, std::int64_t ms, std::int64_t b) {
  const auto block = static_cast<std::size_t>(std::clamp<std::int64_t>(ms * rate / 1000, 128, 8192));
  const auto blockSize = static_cast<std::int64_t>(block);
  const std::size_t blocks = frames / block + 3;
  x.resize(blocks * block * channels);
  const auto curve = GainCurve(a, base, b);
  std::vector<std::int64_t> gains;
  for (std::size_t k = 0; k < blocks; ++k) {
    const std::int64_t m = MeanSquare(x, k * block * channels, (k + 1) * block * channels, 1);
    gains.push_back(curve[static_cast<std::size_t>(MeanSquareDB(m) + 128)]);
  }
  Signal y;
  std::int64_t gain = gains[0];
  for (std::size_t k = 0; k + 1 < blocks; ++k) {
    const std::int64_t next = gains[k + 1];
    const std::int64_t increment = next < gain ? Word(next - gain) / (blockSize + blockSize / 4)
                                               : Word(((next + gains[k]) & 0xFFFFFFFF) / 2 - gain) / (2 * blockSize);
    for (std::size_t i = 0; i < block; ++i) {
      for (std::size_t c = 0; c < channels; ++c) {
        y.push_back(static_cast<std::int32_t>(M(x[(k * block + i) * channels + c], gain)));
      }
      gain = (gain + increment) & 0xFFFFFFFF;
    }
  }
  y.resize(frames * channels);
  return y;
}

inline Signal PeakLimit(Signal x, std::size_t channels, std::int64_t rate, std::size_t frames, std::int64_t limit) {
  limit = std::min<std::int64_t>(limit, 0x3FFFFF);
  const auto block = static_cast<std::size_t>(std::clamp<std::int64_t>(rate / 35, 20, 8192));
  const auto blockSize = static_cast<std::int64_t>(block);
  const std::size_t blocks = frames / block + 4;
  x.resize(blocks * block * channels);
  std::vector<std::int64_t> gains;
  for (std::size_t k = 0; k < blocks; ++k) {
    const std::int64_t p = Peak(x, k * block * channels, (k + 1) * block * channels);
    gains.push_back(p > limit ? limit * 512 / ((p + 64) / 64) * 512 : 16777216);
  }
  Signal y;
  std::int64_t gain = gains[0];
  for (std::size_t k = 0; k + 2 < blocks; ++k) {
    const std::int64_t previous = gains[k == 0 ? 0 : k - 1];
    const std::int64_t mean = (previous + gains[k] + gains[k + 1] + gains[k + 2]) / 4;
    const std::int64_t delta = std::min(mean, std::min(gains[k], gains[k + 1])) - gain;
    const std::int64_t increment = delta / blockSize;
    gain += delta - increment * blockSize;
    for (std::size_t i = 0; i < block; ++i) {
      for (std::size_t c = 0; c < channels; ++c) {
        y.push_back(static_cast<std::int32_t>(M(x[(k * block + i) * channels + c], gain)));
      }
      gain += increment;
    }
  }
  y.resize(frames * channels);
  return y;
}

// FNV-1a over the samples as 32-bit little-endian words, for pinning long outputs.
inline std::uint64_t Checksum(const Signal& x) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const std::int32_t v : x) {
    for (int byte = 0; byte < 4; ++byte) {
      hash ^= static_cast<std::uint32_t>(v) >> (8 * byte) & 0xFF;
      hash *= 0x100000001B3;
    }
  }
  return hash;
}

}  // namespace kiv::reference
