#include "platform/simulated/line_signal.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>
#include <vector>

#include "audio/convert_channels.h"
#include "audio/convert_rate.h"
#include "audio/sound_source.h"
#include "foundation/fixed_point.h"

namespace kiv {
namespace {

constexpr double kFullScale = 32767.0;

double Amplitude(double levelDB) {
  return kFullScale * std::pow(10.0, levelDB / 20.0);
}

std::int16_t ToSample(double value) {
  return static_cast<std::int16_t>(RoundToI32(std::clamp(value, -32768.0, kFullScale)));
}

// A number that depends on all of its inputs' bits.
std::uint32_t Scramble(std::uint32_t seed, std::uint64_t index) {
  std::uint64_t z = index + 0x9E3779B97F4A7C15U * (seed + 1U);
  z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9U;
  z = (z ^ z >> 27) * 0x94D049BB133111EBU;
  return static_cast<std::uint32_t>((z ^ z >> 31) >> 32);
}

// Signals that are the same on every channel.
class MonoSignal : public LineSignal {
 public:
  void Render(std::int64_t firstFrame, std::int32_t frames, std::int32_t rateHz, std::int32_t channels,
              std::int16_t* out) final {
    for (std::int32_t i = 0; i < frames; ++i) {
      const std::int16_t sample = At(firstFrame + i, rateHz);
      out = std::fill_n(out, channels, sample);
    }
  }

 private:
  virtual std::int16_t At(std::int64_t frame, std::int32_t rateHz) = 0;
};

class Silence : public MonoSignal {
  std::int16_t At(std::int64_t /*frame*/, std::int32_t /*rateHz*/) override { return 0; }
};

class Tone : public MonoSignal {
 public:
  Tone(std::int32_t hz, double levelDB) : hz_(hz), amplitude_(Amplitude(levelDB)) {}

 private:
  std::int16_t At(std::int64_t frame, std::int32_t rateHz) override {
    // The phase in whole steps keeps it exact however long the line runs.
    const auto step = static_cast<double>(frame % rateHz * hz_ % rateHz);
    return ToSample(amplitude_ * std::sin(2.0 * std::numbers::pi * step / rateHz));
  }
  std::int32_t hz_;
  double amplitude_;
};

class SpeechBursts : public MonoSignal {
 public:
  SpeechBursts(std::uint32_t seed, double levelDB) : seed_(seed), amplitude_(Amplitude(levelDB)) {}

 private:
  static constexpr std::int64_t kTurnSeconds = 3;
  static constexpr int kHarmonics = 12;

  std::int16_t At(std::int64_t frame, std::int32_t rateHz) override {
    const double noise = 4.0 * (Scramble(seed_, static_cast<std::uint64_t>(frame)) / 4294967296.0 - 0.5);
    const std::int64_t turnFrames = kTurnSeconds * rateHz;
    const std::int64_t turn = frame / turnFrames;
    const double seconds = static_cast<double>(frame % turnFrames) / rateHz;
    const std::uint32_t dice = Scramble(seed_, ~static_cast<std::uint64_t>(turn));
    const double length = 1.2 + (dice & 0xFF) / 255.0 * 1.5;
    if (seconds >= length) return ToSample(noise);
    const bool second = turn % 2 != 0;
    const double pitchHz = (second ? 190.0 : 115.0) + (dice >> 8 & 0xF);
    const double syllable = std::sin(std::numbers::pi * 4.0 * seconds);
    const double ends = std::min({1.0, seconds / 0.03, (length - seconds) / 0.08});
    double voice = 0.0;
    for (int k = 1; k <= kHarmonics && pitchHz * k < rateHz / 2.0; ++k)
      voice += std::sin(2.0 * std::numbers::pi * pitchHz * k * seconds + k * k) / k;
    const double speaker = second ? 0.25 : 1.0;
    return ToSample(noise + amplitude_ * speaker * ends * (0.1 + 0.9 * syllable * syllable) * voice / 2.0);
  }
  std::uint32_t seed_;
  double amplitude_;
};

class Function : public LineSignal {
 public:
  explicit Function(std::function<std::int16_t(std::int64_t, std::int32_t)> function)
      : function_(std::move(function)) {}
  void Render(std::int64_t firstFrame, std::int32_t frames, std::int32_t /*rateHz*/, std::int32_t channels,
              std::int16_t* out) override {
    for (std::int32_t i = 0; i < frames; ++i) {
      for (std::int32_t c = 0; c < channels; ++c) *out++ = function_(firstFrame + i, c);
    }
  }

 private:
  std::function<std::int16_t(std::int64_t, std::int32_t)> function_;
};

class SourceSignal : public LineSignal {
 public:
  SourceSignal(const LSoundSource& source, bool repeat) : source_(source), repeat_(repeat) {}

  void Render(std::int64_t firstFrame, std::int32_t frames, std::int32_t rateHz, std::int32_t channels,
              std::int16_t* out) override {
    if (rateHz != rateHz_ || channels != channels_) Convert(rateHz, channels);
    const std::int64_t length = std::max(converted_->GetEndSample(), 0);
    while (frames > 0) {
      const std::int64_t from = repeat_ && length > 0 ? firstFrame % length : firstFrame;
      std::int64_t count = std::min(frames, kMaxPieceFrames);
      if (from < length) {
        count = std::min(count, length - from);
        Read(static_cast<std::int32_t>(from), static_cast<std::int32_t>(count), out);
      } else {
        std::fill_n(out, count * channels, std::int16_t{0});
      }
      out += count * channels;
      firstFrame += count;
      frames -= static_cast<std::int32_t>(count);
    }
  }

 private:
  void Convert(std::int32_t rateHz, std::int32_t channels) {
    rateHz_ = rateHz;
    channels_ = channels;
    converted_ = LSPConvChannels(static_cast<std::uint16_t>(channels)).OpenSource(source_);
    converted_ = LSPConvertRate(rateHz).OpenSource(converted_);
    next_ = -1;
    // A pair of formats that nothing converts.
    if (converted_->Rate() != rateHz || converted_->Channels() != channels) converted_.Close();
  }

  void Read(std::int32_t frame, std::int32_t frames, std::int16_t* out) {
    if (frame != next_) converted_->Seek(frame);
    next_ = frame + frames;
    samples_.resize(static_cast<std::size_t>(frames) * static_cast<std::size_t>(channels_));
    converted_->Read(samples_.data(), frames);
    for (const std::int32_t sample : samples_)
      *out++ = static_cast<std::int16_t>(std::clamp((sample + 8) >> 4, -32768, 32767));
  }

  LSoundSource source_;
  const bool repeat_;
  LSoundSource converted_;
  std::int32_t rateHz_ = 0;
  std::int32_t channels_ = 0;
  std::int32_t next_ = -1;
  std::vector<std::int32_t> samples_;
};

}  // namespace

std::unique_ptr<LineSignal> MakeSilence() {
  return std::make_unique<Silence>();
}

std::unique_ptr<LineSignal> MakeTone(std::int32_t hz, double levelDB) {
  return std::make_unique<Tone>(hz, levelDB);
}

std::unique_ptr<LineSignal> MakeSpeechBursts(std::uint32_t seed, double levelDB) {
  return std::make_unique<SpeechBursts>(seed, levelDB);
}

std::unique_ptr<LineSignal> MakeFunction(
    std::function<std::int16_t(std::int64_t frame, std::int32_t channel)> function) {
  return std::make_unique<Function>(std::move(function));
}

std::unique_ptr<LineSignal> MakeSourceSignal(const LSoundSource& source, bool repeat) {
  return std::make_unique<SourceSignal>(source, repeat);
}

}  // namespace kiv
