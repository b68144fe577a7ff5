#include "audio/processing/one_pole.h"

#include "foundation/vector_width.h"
#include "tests/audio/processing/chain_checks.h"
#include "tests/reference/processing_reference.h"

namespace {

using kiv::HighPassFilter;
using kiv::SpeechFilter;
using kiv::reference::FloorDiv;
using kiv::reference::Signal;
using kiv::reference::Word;
using kiv::test::LivelyNoise;
using kiv::test::Noise;
using kiv::test::Random;

// Forgets a forced width at the end.
struct Width {
  explicit Width(kiv::VectorWidth width) { kiv::ForceVectorWidth(width); }
  ~Width() { kiv::ForceNoVectorWidth(); }
  Width(const Width&) = delete;
  Width& operator=(const Width&) = delete;
};

constexpr kiv::VectorWidth kWidths[] = {kiv::VectorWidth::Scalar, kiv::VectorWidth::Sse2, kiv::VectorWidth::Avx2};

void ExpectHighPass(const Signal& samples, std::int64_t k, std::int32_t state, std::int64_t stride = 1) {
  Signal expected = samples;
  std::int64_t s = state;
  for (std::size_t i = 0; i < expected.size(); i += static_cast<std::size_t>(stride)) {
    const std::int64_t y = Word(expected[i] - FloorDiv(s, 256));
    s = Word(s + y * k);
    expected[i] = static_cast<std::int32_t>(y);
  }
  const HighPassFilter filter(static_cast<std::int32_t>(k));
  for (const kiv::VectorWidth width : kWidths) {
    const Width forced(width);
    Signal out = samples;
    const auto count = static_cast<std::int64_t>(samples.size()) / stride;
    ASSERT_EQ(filter.Run(out.data(), count, stride, state), s) << "k " << k;
    ASSERT_EQ(out, expected) << "k " << k;
  }
}

void ExpectSpeech(const Signal& samples, std::int64_t k1, std::int64_t k2, SpeechFilter::State state) {
  Signal expected;
  std::int64_t s1 = state.s1;
  std::int64_t s2 = state.s2;
  for (const std::int32_t x : samples) {
    const std::int64_t high = Word(x - FloorDiv(s1, 256));
    const std::int64_t low2 = FloorDiv(s2, 256);
    expected.push_back(static_cast<std::int32_t>(Word(2 * high - low2)));
    s1 = Word(s1 + high * k1);
    s2 = Word(s2 + (high - low2) * k2);
  }
  const SpeechFilter filter(static_cast<std::int32_t>(k1), static_cast<std::int32_t>(k2));
  for (const kiv::VectorWidth width : kWidths) {
    const Width forced(width);
    Signal out(samples.size(), 77);
    SpeechFilter::State end = state;
    filter.Run(out.data(), samples.data(), static_cast<std::int64_t>(samples.size()), 1, end);
    ASSERT_EQ(end.s1, s1) << k1 << ' ' << k2;
    ASSERT_EQ(end.s2, s2) << k1 << ' ' << k2;
    ASSERT_EQ(out, expected) << k1 << ' ' << k2;
  }
}

// Signals that make the runs side by side meet late or never: pauses after sound, where a state stands still, steps,
// full-scale words whose states wrap, and a hum slower than any segment.
std::vector<Signal> HardSignals(std::int32_t length) {
  std::vector<Signal> signals = {LivelyNoise(1, length, 1), Noise(2, length, 1, INT32_MAX), Noise(3, length, 1, 30),
                                 Signal(static_cast<std::size_t>(length), 0),
                                 Signal(static_cast<std::size_t>(length), 524272)};
  Signal pause = Noise(4, length, 1, 500000);
  std::fill(pause.begin() + length / 3, pause.end(), 0);
  signals.push_back(pause);
  Signal steps;
  for (std::int32_t i = 0; i < length; ++i) steps.push_back(i / 700 % 2 == 0 ? 400000 : -300000);
  signals.push_back(steps);
  signals.push_back(kiv::test::Sine(2, 500000, 8000, length, 1));
  return signals;
}

TEST(HighPassFilter, EveryCoefficientGivesTheSerialBits) {
  const auto signals = HardSignals(20000);
  Random random(5);
  for (std::int32_t k = 0; k <= 257; k += k < 8 ? 1 : 7) {
    for (const Signal& signal : signals) {
      ExpectHighPass(signal, k, 0);
      ExpectHighPass(signal, k, random.Between(INT32_MIN, INT32_MAX));
    }
  }
  ExpectHighPass(signals[0], -20, 12345);
  ExpectHighPass(signals[0], INT32_MIN, 12345);
}

TEST(HighPassFilter, EveryLengthGivesTheSerialBits) {
  const Signal noise = LivelyNoise(6, 1500, 1);
  for (std::size_t length = 0; length <= 1500; length += length < 40 ? 1 : 37) {
    ExpectHighPass(Signal(noise.begin(), noise.begin() + static_cast<std::ptrdiff_t>(length)), 53, 4240);
  }
}

TEST(HighPassFilter, LeavesOtherChannelsAlone) {
  ExpectHighPass(LivelyNoise(7, 6000, 1), 53, 0, 2);
  ExpectHighPass(LivelyNoise(8, 6000, 1), 53, 0, 3);
}

TEST(SpeechFilter, EveryCoefficientGivesTheSerialBits) {
  const auto signals = HardSignals(6000);
  Random random(9);
  for (const std::int32_t k1 : {0, 1, 5, 17, 76, 200, 255, 256}) {
    for (const std::int32_t k2 : {0, 3, 53, 210, 255}) {
      for (const Signal& signal : signals) {
        ExpectSpeech(signal, k1, k2, {});
        ExpectSpeech(signal, k1, k2, {random.Between(INT32_MIN, INT32_MAX), random.Between(INT32_MIN, INT32_MAX)});
      }
    }
  }
}

TEST(SpeechFilter, EveryLengthGivesTheSerialBits) {
  const Signal noise = LivelyNoise(10, 1500, 1);
  for (std::size_t length = 0; length <= 1500; length += 41) {
    ExpectSpeech(Signal(noise.begin(), noise.begin() + static_cast<std::ptrdiff_t>(length)), 76, 210, {7, -9});
  }
}

}  // namespace
