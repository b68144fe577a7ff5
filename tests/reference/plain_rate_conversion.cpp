#include "tests/reference/plain_rate_conversion.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace kiv::test {
namespace {

constexpr double kPi = 3.14159265358979323846;

std::int64_t Floor(std::int64_t a, std::int64_t b) {
  std::int64_t q = a / b;
  while (q * b > a) --q;
  return q;
}

std::int64_t PowerOfTwo(int exponent) {
  std::int64_t power = 1;
  for (int i = 0; i < exponent; ++i) power *= 2;
  return power;
}

// The value that 32 bits hold.
std::int64_t Low32(std::int64_t value) {
  const std::int64_t word = PowerOfTwo(32);
  const std::int64_t rest = value - Floor(value, word) * word;
  return rest >= word / 2 ? rest - word : rest;
}

double I0(double x) {
  const double factorialSquares[] = {1.0, 4.0, 36.0, 576.0, 14400.0, 518400.0};
  double sum = 1.0;
  for (int k = 1; k <= 6; ++k) sum += std::pow(x / 2.0, 2 * k) / factorialSquares[k - 1];
  return sum;
}

std::int64_t AwayFromZero(double x) {
  return static_cast<std::int64_t>(std::round(x));
}

// Coefficients from tap `from` to before tap `to`, on frames beginning at `at`.
std::int64_t HalfSum(const std::vector<std::int64_t>& row, const std::vector<PlainFrame>& frames, std::int64_t at,
                     std::size_t channel, int from, int to) {
  std::int64_t sum = 0;
  for (int k = from; k < to; ++k) {
    sum += row[static_cast<std::size_t>(k)] * frames[static_cast<std::size_t>(at + k)][channel];
  }
  return sum;
}

}  // namespace

PlainRateFilter::PlainRateFilter(double inputRate, double outputRate, int tapCount, bool wideGuard) : taps(tapCount) {
  const double r = inputRate / outputRate;
  double bestError = r;
  for (int i = 1; i <= 255; ++i) {
    const double error = std::abs(r - std::floor(r * i + 0.5) / i);
    if (!(error < bestError)) continue;
    phases = i;
    bestError = error;
    if (error < 0.001) break;
  }
  step = static_cast<std::int64_t>(r * static_cast<double>(phases) + 0.5);

  double beta = 4.538;
  if (outputRate > inputRate) {
    beta = 2.12;
    cutOff = 0.975;
  } else {
    cutOff = outputRate / inputRate - (wideGuard ? 0.09375 : 0.046875);
  }
  const double g = cutOff * 65536.0 / I0(beta);
  const int half = taps / 2;
  const double h = std::pow(half + 1.0, 2.0);
  for (std::int64_t p = 0; p < phases; ++p) {
    const double d = static_cast<double>(p) / static_cast<double>(phases);
    std::vector<std::int64_t> row;
    for (int k = 0; k < taps; ++k) {
      const double t = (k - half) - d;
      if (k == half && p == 0) {
        row.push_back(static_cast<std::int64_t>(cutOff * 65536.0 + 0.5));
        continue;
      }
      const double x = kPi * cutOff * t;
      row.push_back(AwayFromZero(g * std::sin(x) / x * I0(beta * std::sqrt(1.0 - t * t / h))));
    }
    rows.push_back(row);
  }
}

PlainMemory::PlainMemory(std::vector<std::int32_t> interleaved, int channels)
    : samples_(std::move(interleaved)), channels_(channels) {}

PlainFrame PlainMemory::Next() {
  PlainFrame frame;
  for (int c = 0; c < channels_; ++c) {
    const std::int64_t at = position_ * channels_ + c;
    const bool inside = at >= 0 && at < static_cast<std::int64_t>(samples_.size());
    frame.push_back(inside ? samples_[static_cast<std::size_t>(at)] : 0);
  }
  ++position_;
  return frame;
}

PlainRateStage::PlainRateStage(std::shared_ptr<PlainStream> input, int channels, double inputRate, double outputRate,
                               bool wideGuard)
    : input_(std::move(input)),
      filter_(inputRate, outputRate, 63, wideGuard),
      block_(8255, PlainFrame(static_cast<std::size_t>(channels), 0)) {}

void PlainRateStage::NextBlock() {
  for (std::size_t i = 0; i < 63; ++i) {
    block_[i] = block_[8192 + i];
    for (std::int64_t& sample : block_[i]) sample = Low32(sample * PowerOfTwo(scaling_));
  }
  for (std::size_t i = 0; i < 8192; ++i) block_[63 + i] = input_->Next();

  std::int64_t peak = 0;
  for (const PlainFrame& frame : block_) {
    for (const std::int64_t sample : frame) peak = std::max(peak, std::abs(sample));
  }
  peak = std::min(peak, PowerOfTwo(31) - 1);
  scaling_ = 0;
  while (peak / PowerOfTwo(scaling_) > 32767) ++scaling_;
  if (scaling_ > 0) {
    const std::int64_t unit = PowerOfTwo(scaling_);
    for (PlainFrame& frame : block_) {
      for (std::int64_t& sample : frame) sample = Floor(sample + unit / 2, unit);
    }
  }
  position_ -= 8192;
}

PlainFrame PlainRateStage::Next() {
  const std::int64_t q = phase_ / filter_.phases;
  position_ += q;
  phase_ -= q * filter_.phases;
  if (position_ > 8191) NextBlock();
  const std::vector<std::int64_t>& row = filter_.rows[static_cast<std::size_t>(phase_)];
  PlainFrame out;
  for (std::size_t c = 0; c < block_[0].size(); ++c) {
    const std::int64_t a = HalfSum(row, block_, position_, c, 0, 32);
    const std::int64_t b = HalfSum(row, block_, position_, c, 32, 63);
    const std::int64_t sum = Floor(a, 2) + Floor(b, 2);
    if (scaling_ <= 15) {
      const std::int64_t unit = PowerOfTwo(15 - scaling_);
      out.push_back(Low32(Floor(sum + unit / 2, unit)));
    } else {
      out.push_back(Low32(sum * PowerOfTwo(scaling_ - 15)));
    }
  }
  phase_ += filter_.step;
  return out;
}

void PlainRateStage::Seek(std::int64_t frame) {
  const std::int64_t q = Floor(frame, filter_.phases);
  const std::int64_t rest = frame - q * filter_.phases;
  input_->Seek(q * filter_.step + rest * filter_.step / filter_.phases - 31);
  position_ = 8192;
  phase_ = rest * filter_.step % filter_.phases;
  for (std::size_t i = 0; i < 63; ++i) block_[8192 + i] = input_->Next();
  scaling_ = 0;
}

std::int64_t PlainRateStage::Position() const {
  const std::int64_t n = input_->Position() + position_ - 8224;
  return n / filter_.step * filter_.phases + n % filter_.step * filter_.phases / filter_.step;
}

std::vector<std::int32_t> PlainSinkConversion(const std::vector<std::int32_t>& interleaved, int channels,
                                              double inputRate, double outputRate) {
  const PlainRateFilter filter(inputRate, outputRate, 15, false);
  const auto width = static_cast<std::size_t>(channels);
  std::vector<PlainFrame> frames(7, PlainFrame(width, 0));
  for (std::size_t at = 0; at + width <= interleaved.size(); at += width) {
    PlainFrame frame;
    for (std::size_t c = 0; c < width; ++c) frame.push_back(Floor(interleaved[at + c], 16));
    frames.push_back(frame);
  }
  frames.insert(frames.end(), 8, PlainFrame(width, 0));

  std::vector<std::int32_t> out;
  std::int64_t i = 0;
  std::int64_t phase = 0;
  while (i < static_cast<std::int64_t>(frames.size()) - 15) {
    const std::vector<std::int64_t>& row = filter.rows[static_cast<std::size_t>(phase)];
    for (std::size_t c = 0; c < width; ++c) {
      const std::int64_t a = HalfSum(row, frames, i, c, 0, 8);
      const std::int64_t b = HalfSum(row, frames, i, c, 8, 15);
      out.push_back(static_cast<std::int32_t>(Low32(Floor(Floor(a, 2) + Floor(b, 2) + 1024, 2048))));
    }
    phase += filter.step;
    i += phase / filter.phases;
    phase %= filter.phases;
  }
  return out;
}

std::vector<std::int32_t> TakeFrames(PlainStream& stream, std::int64_t frames) {
  std::vector<std::int32_t> samples;
  for (std::int64_t i = 0; i < frames; ++i) {
    for (const std::int64_t sample : stream.Next()) samples.push_back(static_cast<std::int32_t>(sample));
  }
  return samples;
}

}  // namespace kiv::test
