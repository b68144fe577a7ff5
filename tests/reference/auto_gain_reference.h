#pragma once

// The level control of a whole recording, a second time: plain 64-bit and double arithmetic over the whole signal,
// quartile and median by sorting. Shares nothing with the product.

#include <array>

#include "tests/reference/processing_reference.h"

namespace kiv::reference {

struct AutoGainOptions {
  std::int64_t f1 = 450;
  std::int64_t f2 = 2200;
  std::int64_t a = 2;
  std::int64_t b = -8;
  std::int64_t c = -9;
  double slope = -0.5;
  std::int64_t d = 2;
  bool trim = false;
};

inline std::int64_t ClampDB(std::int64_t dB) {
  return std::clamp<std::int64_t>(dB, -127, 127);
}

inline std::int64_t SpeechLevel(std::vector<std::int64_t> levels) {
  const auto countFrom = [&](std::int64_t level) {
    return std::count_if(levels.begin(), levels.end(), [=](std::int64_t l) { return l >= level; });
  };
  const auto total = static_cast<std::int64_t>(levels.size());
  std::int64_t top = -127;
  while (countFrom(top) > (total + 8) / 8) ++top;
  const std::int64_t bottom = std::max<std::int64_t>(-127, top - 15);
  const std::int64_t half = (countFrom(bottom) + 2) / 2;
  std::int64_t level = bottom;
  if (countFrom(bottom) <= half) return ClampDB(level);
  while (countFrom(level + 1) > half) ++level;
  return ClampDB(level);
}

inline std::vector<std::int64_t> BlockLevels(Signal x, std::size_t channels, std::size_t channel, std::size_t block,
                                             std::int64_t k1, std::int64_t k2) {
  std::int64_t s1 = 0;
  std::int64_t s2 = 0;
  for (std::size_t i = channel; i < x.size(); i += channels) {
    const std::int64_t high = Word(x[i] - FloorDiv(s1, 256));
    const std::int64_t low2 = FloorDiv(s2, 256);
    x[i] = static_cast<std::int32_t>(Word(2 * high - low2));
    s1 = Word(s1 + high * k1);
    s2 = Word(s2 + (high - low2) * k2);
  }
  std::vector<std::int64_t> levels;
  for (std::size_t start = 0; start < x.size(); start += block * channels) {
    levels.push_back(MeanSquareDB(MeanSquare(x, start + channel, start + block * channels, channels)));
  }
  return levels;
}

// The level that follows the speech, looking one window ahead.
struct Tracker {
  explicit Tracker(std::int64_t a, std::int64_t b) : low(-a), high(-b) {}

  void Add(std::int64_t level) {
    ring[index] = level;
    index = (index + 1) % ring.size();
    std::array<std::int64_t, 50> sorted = ring;
    std::sort(sorted.begin(), sorted.end(), std::greater<>());
    quartile = sorted[12];
    Move();
  }
  void AddFinal() {
    index = (index + 1) % ring.size();
    Move();
  }
  void Move() {
    const std::int64_t y = ring[index];
    const auto p = static_cast<double>(quartile);
    if (y > tracked && quartile > tracked && tracked < high) {
      smooth += (p - smooth) / 12;
      tracked = static_cast<std::int64_t>(smooth);
    }
    if (y < tracked && quartile < tracked && tracked > low) {
      smooth += (p - smooth) / 50;
      tracked = static_cast<std::int64_t>(smooth);
    }
  }

  std::int64_t low;
  std::int64_t high;
  std::array<std::int64_t, 50> ring{};
  std::size_t index = 0;
  std::int64_t quartile = 0;
  std::int64_t tracked = 0;
  double smooth = -2.0;
};

// What the gain pass delivers; reading is by frame into a buffer that keeps what it had behind the end.
struct GainPass {
  GainPass(const Signal& samples, const std::vector<std::vector<std::int64_t>>& blockLevels, std::size_t channelCount,
           std::int64_t blockFrames, const AutoGainOptions& options)
      : x(samples),
        levels(blockLevels),
        channels(channelCount),
        block(blockFrames),
        tracker(options.a, options.b),
        curve(DBCurve(options.c, options.slope, options.d)) {
    for (std::size_t c = 0; c < channels; ++c) offsets.push_back(ClampDB(-SpeechLevel(levels[c])));
    blocks = static_cast<std::int64_t>(levels[0].size());
    if (options.trim) Trim();
    for (std::int64_t i = 0; i < 51; ++i) {
      if (i < blocks) {
        tracker.Add(Level(nextLevel++, true));
      } else {
        tracker.AddFinal();
      }
    }
    for (std::size_t c = 0; c < channels; ++c) gain.push_back(options.trim ? 0 : Target(c));
    step.resize(channels);
    frames = blocks * block;
  }

  std::int64_t Level(std::size_t index, bool withOffset) const {
    std::int64_t level = -1000;
    for (std::size_t c = 0; c < std::min<std::size_t>(channels, 2); ++c) {
      level = std::max(level, ClampDB(levels[c][index] + (withOffset ? offsets[c] : 0)));
    }
    return level;
  }

  void Trim() {
    std::int64_t loudest = -1000;
    for (std::size_t c = 0; c < std::min<std::size_t>(channels, 2); ++c) {
      loudest = std::max(loudest, SpeechLevel(levels[c]));
    }
    const std::int64_t threshold = std::max<std::int64_t>(-127, loudest - 23);
    while (blocks > 2 && Level(static_cast<std::size_t>(blocks - 2), false) <= threshold) --blocks;
    std::size_t skipped = 0;
    while (blocks > 0 && skipped < levels[0].size() &&
           Level(skipped, false) <= std::min<std::int64_t>(127, threshold + 8)) {
      ++skipped;
      --blocks;
    }
    if (skipped > 0) {
      --skipped;
      ++blocks;
    }
    nextLevel = skipped;
    nextSample = skipped * static_cast<std::size_t>(block) * channels;
  }

  std::int64_t Target(std::size_t channel) const {
    const std::int64_t g = ClampDB(-tracker.tracked);
    const std::int64_t base = ClampDB(offsets[channel] + g);
    const std::int64_t level = ClampDB(tracker.ring[tracker.index] + g);
    return Amplitude(ClampDB(base + curve[static_cast<std::size_t>(level + 128)]));
  }

  void ReadFrame(std::int32_t* out) {
    if (left == 0) {
      for (std::size_t c = 0; c < channels; ++c) {
        step[c] = blocks < 2 ? -gain[c] / block : (Target(c) - gain[c]) / (block + block / 2);
      }
      --blocks;
      if (blocks <= 50) {
        tracker.AddFinal();
      } else {
        tracker.Add(Level(nextLevel++, true));
      }
      left = block;
    }
    for (std::size_t c = 0; c < channels; ++c) {
      if (nextSample < x.size()) out[c] = x[nextSample++];
      out[c] = static_cast<std::int32_t>(M(out[c], gain[c]));
      gain[c] += step[c];
    }
    --left;
  }

  const Signal& x;
  const std::vector<std::vector<std::int64_t>>& levels;
  std::size_t channels;
  std::int64_t block;
  Tracker tracker;
  std::vector<std::int64_t> curve;
  std::vector<std::int64_t> offsets;
  std::vector<std::int64_t> gain;
  std::vector<std::int64_t> step;
  std::int64_t blocks = 0;
  std::int64_t frames = 0;
  std::int64_t left = 0;
  std::size_t nextLevel = 0;
  std::size_t nextSample = 0;
};

// The levelled recording: the gain pass and behind it the limiter at 524272.
inline Signal AutoGain(Signal x, std::size_t channels, std::int64_t rate, const AutoGainOptions& options) {
  const std::int64_t block = std::clamp<std::int64_t>(rate / 50, 20, 8192);
  const std::size_t blockSamples = static_cast<std::size_t>(block) * channels;
  x.resize(std::max<std::size_t>((x.size() + blockSamples - 1) / blockSamples, 1) * blockSamples);
  std::vector<std::vector<std::int64_t>> levels;
  for (std::size_t c = 0; c < channels; ++c) {
    levels.push_back(BlockLevels(x, channels, c, static_cast<std::size_t>(block), OnePole(options.f1, rate),
                                 OnePole(options.f2, rate)));
  }
  GainPass pass(x, levels, channels, block, options);

  constexpr std::int64_t kLimit = 524272;
  const std::int64_t piece = std::clamp<std::int64_t>(rate / 35, 20, 8192);
  const std::size_t pieceSamples = static_cast<std::size_t>(piece) * channels;
  // Three buffers in turn: behind the end of the recording each still holds what it had.
  std::array<Signal, 3> buffers = {Signal(pieceSamples), Signal(pieceSamples), Signal(pieceSamples)};
  std::vector<std::int64_t> gains;
  const auto readPiece = [&](std::size_t k) {
    Signal& buffer = buffers[k % 3];
    for (std::size_t i = 0; i < pieceSamples; i += channels) pass.ReadFrame(&buffer[i]);
    const std::int64_t p = Peak(buffer, 0, pieceSamples);
    gains.push_back(p > kLimit ? kLimit * 512 / ((p + 64) / 64) * 512 : 16777216);
  };
  Signal y;
  readPiece(0);
  readPiece(1);
  std::int64_t gain = gains[0];
  for (std::size_t k = 0; y.size() < static_cast<std::size_t>(pass.frames) * channels; ++k) {
    readPiece(k + 2);
    const std::int64_t previous = gains[k == 0 ? 0 : k - 1];
    const std::int64_t mean = (previous + gains[k] + gains[k + 1] + gains[k + 2]) / 4;
    const std::int64_t delta = std::min(mean, std::min(gains[k], gains[k + 1])) - gain;
    const std::int64_t increment = delta / piece;
    gain += delta - increment * piece;
    for (std::size_t i = 0; i < pieceSamples; ++i) {
      y.push_back(static_cast<std::int32_t>(M(buffers[k % 3][i], gain)));
      if (i % channels == channels - 1) gain += increment;
    }
  }
  y.resize(static_cast<std::size_t>(pass.frames) * channels);
  return y;
}

}  // namespace kiv::reference
