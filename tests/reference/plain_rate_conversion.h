#pragma once

// Sample-rate conversion once more, for comparison: frame by frame, in 64-bit numbers, as the formulas read.
// It shares no code with the product and does nothing to be fast.

#include <cstdint>
#include <memory>
#include <vector>

namespace kiv::test {

struct PlainRateFilter {
  PlainRateFilter(double inputRate, double outputRate, int tapCount, bool wideGuard);

  std::int64_t phases = 1;
  std::int64_t step = 0;
  int taps;
  double cutOff = 0.0;
  std::vector<std::vector<std::int64_t>> rows;  // [phase][tap]
};

using PlainFrame = std::vector<std::int64_t>;  // one value per channel

class PlainStream {
 public:
  virtual ~PlainStream() = default;
  virtual PlainFrame Next() = 0;
  virtual void Seek(std::int64_t frame) = 0;
  virtual std::int64_t Position() const = 0;
};

// Samples in memory, silence around them.
class PlainMemory : public PlainStream {
 public:
  PlainMemory(std::vector<std::int32_t> interleaved, int channels);
  PlainFrame Next() override;
  void Seek(std::int64_t frame) override { position_ = frame; }
  std::int64_t Position() const override { return position_; }

 private:
  std::vector<std::int32_t> samples_;
  int channels_;
  std::int64_t position_ = 0;
};

class PlainRateStage : public PlainStream {
 public:
  PlainRateStage(std::shared_ptr<PlainStream> input, int channels, double inputRate, double outputRate, bool wideGuard);
  PlainFrame Next() override;
  void Seek(std::int64_t frame) override;
  std::int64_t Position() const override;

  // Scaling of the block in use.
  int Scaling() const { return scaling_; }

 private:
  void NextBlock();

  std::shared_ptr<PlainStream> input_;
  PlainRateFilter filter_;
  std::vector<PlainFrame> block_;
  std::int64_t position_ = 8224;
  std::int64_t phase_ = 0;
  int scaling_ = 0;
};

// What a converting sink puts out for the whole input, flushed at the end.
std::vector<std::int32_t> PlainSinkConversion(const std::vector<std::int32_t>& interleaved, int channels,
                                              double inputRate, double outputRate);

std::vector<std::int32_t> TakeFrames(PlainStream& stream, std::int64_t frames);

}  // namespace kiv::test
