// Random walks over WAV files against a model in memory, bit for bit.

#include <algorithm>
#include <string>

#include "audio/wave_file.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_signals.h"

namespace {

using kiv::test::Noise;
using kiv::test::Random;

constexpr std::int32_t kPieces[] = {1, 7, 800, 8192, 20000};

struct Shape {
  int channels;
  int bits;
};

// What a sample is after it has been stored and read: rounded half up, the low bits kept.
std::int32_t Stored(std::int32_t sample, int bits) {
  const std::int64_t unit = bits == 8 ? 4096 : 16;
  const std::int64_t range = bits == 8 ? 256 : 65536;
  std::int64_t value = (std::int64_t{sample} + unit / 2) / unit;
  if ((std::int64_t{sample} + unit / 2) % unit < 0) --value;
  value = ((value % range) + range) % range;
  if (value >= range / 2) value -= range;
  return static_cast<std::int32_t>(value * unit);
}

class WaveRoundTrip : public testing::TestWithParam<Shape> {
 protected:
  // Many channels take their time, and are no different once a request is above 8192 frames.
  std::int32_t Piece(std::int32_t frames) const { return Channels() > 100 ? std::min(frames, 8500) : frames; }
  std::int32_t AnyPiece(Random& random) const {
    const std::int32_t choice = random.Between(0, 5);
    return Piece(choice < 5 ? kPieces[choice] : random.Between(1, 3000));
  }
  std::uint8_t Channels() const { return static_cast<std::uint8_t>(GetParam().channels); }
  std::size_t SamplesOf(std::int32_t frames) const { return static_cast<std::size_t>(frames) * Channels(); }

  LSoundSink OpenSink(std::int32_t start) const {
    return LWaveFile::OpenSinkPCM(Path().c_str(), 8000, Channels(), static_cast<std::uint16_t>(GetParam().bits), start);
  }
  std::int32_t ModelFrames() const { return static_cast<std::int32_t>(model_.size() / Channels()); }

  void Write(LSoundSink& sink, std::int32_t frames) {
    // Full scale and beyond, so that wrapping is part of the walk.
    const std::vector<std::int32_t> noise = Noise(++seed_, frames, Channels(), 700000);
    sink->Write(noise.data(), frames);
    for (const std::int32_t sample : noise) model_.push_back(Stored(sample, GetParam().bits));
    ASSERT_EQ(sink->Error(), kSinkGood);
    ASSERT_EQ(sink->Position(), ModelFrames());
  }
  void Cut(std::int32_t frames) { model_.resize(SamplesOf(std::max(frames, 0))); }

  // Reads in pieces from random places, some of them outside of the data.
  void Compare(Random& random, int reads) {
    LSoundSource source = LWaveFile::OpenSource(Path().c_str());
    ASSERT_EQ(source->Error(), kSourceGood);
    ASSERT_EQ(source->Channels(), Channels());
    const std::int32_t end = ModelFrames();
    ASSERT_EQ(source->GetEndSample(), end);
    std::int32_t position = 0;
    std::vector<std::int32_t> samples;
    for (int i = 0; i < reads; ++i) {
      if (random.Between(0, 2) == 0) {
        position = random.Between(-9000, end + 9000);
        source->Seek(position);
      }
      const std::int32_t frames = AnyPiece(random);
      samples.assign(SamplesOf(frames) + 1, 0x5A5A5A5A);
      source->Read(samples.data(), frames);
      std::vector<std::int32_t> expected(samples.size(), 0);
      expected.back() = 0x5A5A5A5A;  // Nothing is written beyond the buffer.
      const std::int32_t first = std::clamp(position, 0, end);
      const std::int32_t last = std::clamp(position + frames, 0, end);
      std::copy(model_.begin() + static_cast<std::ptrdiff_t>(SamplesOf(first)),
                model_.begin() + static_cast<std::ptrdiff_t>(SamplesOf(last)),
                expected.begin() + static_cast<std::ptrdiff_t>(first < last ? SamplesOf(first - position) : 0));
      const auto wrong = std::mismatch(samples.begin(), samples.end(), expected.begin());
      ASSERT_EQ(wrong.first, samples.end())
          << "frames " << position << " to " << position + frames << ", sample " << wrong.first - samples.begin()
          << ": " << *wrong.first << " for " << *wrong.second;
      position += frames;
      ASSERT_EQ(source->GetPositionSample(), position);
    }
  }

  std::string Path() const { return folder_.File("a.wav"); }

 private:
  kiv::test::TemporaryFolder folder_;
  std::vector<std::int32_t> model_;
  std::uint64_t seed_ = 0;
};

TEST_P(WaveRoundTrip, PiecesOfEverySizeComeBackInPiecesOfEverySize) {
  for (const std::int32_t pieceSize : kPieces) {
    const std::int32_t piece = Piece(pieceSize);
    LSoundSink sink = OpenSink(0);
    Cut(0);
    const std::int32_t count = std::min(1 + 20000 / piece, Channels() > 100 ? 2 : 60);
    for (std::int32_t i = 0; i < count; ++i) Write(sink, piece);
    Random random(static_cast<std::uint64_t>(piece));
    Compare(random, Channels() > 100 ? 3 : 6);
    sink.Close();
    Compare(random, Channels() > 100 ? 3 : 6);
  }
}

// Writing, cutting, closing and going on, with readers on the file while it is open.
TEST_P(WaveRoundTrip, RandomWalk) {
  Random random(static_cast<std::uint64_t>(GetParam().channels * 100 + GetParam().bits));
  const std::int32_t longest = Channels() > 100 ? 9000 : 200000;
  LSoundSink sink = OpenSink(0);
  for (int step = 0; step < (Channels() > 100 ? 60 : 600); ++step) {
    const std::int32_t frames = ModelFrames();
    switch (random.Between(0, 7)) {
      case 0: {
        const std::int32_t target = random.Between(-5, frames);
        sink->Seek(target);
        Cut(target);
        break;
      }
      case 1:
        sink->Seek(frames + random.Between(1, 100));
        break;
      case 2: {
        const std::int32_t kept = random.Between(0, frames);
        sink.Close();
        sink = OpenSink(kept);
        Cut(kept);
        break;
      }
      case 3:
        Compare(random, 2);
        break;
      default:
        if (frames < longest) Write(sink, AnyPiece(random));
        break;
    }
    if (HasFatalFailure()) return;
  }
  Compare(random, Channels() > 100 ? 5 : 20);
  sink.Close();
  Compare(random, Channels() > 100 ? 5 : 20);
}

// One reader stays on the file while it grows: its end is the one that the file had when it was opened.
TEST_P(WaveRoundTrip, ReaderKeepsTheEndThatItFound) {
  LSoundSink sink = OpenSink(0);
  Write(sink, 100);
  LSoundSource source = LWaveFile::OpenSource(Path().c_str());
  Write(sink, 100);
  EXPECT_EQ(source->GetEndSample(), 100);
  std::vector<std::int32_t> samples(SamplesOf(150), 1);
  source->Read(samples.data(), 150);
  EXPECT_TRUE(std::all_of(samples.begin() + static_cast<std::ptrdiff_t>(SamplesOf(100)), samples.end(),
                          [](std::int32_t sample) { return sample == 0; }));
  Random random(1);
  Compare(random, 5);
}

INSTANTIATE_TEST_SUITE_P(Shapes, WaveRoundTrip,
                         testing::Values(Shape{1, 8}, Shape{1, 16}, Shape{2, 8}, Shape{2, 16}, Shape{3, 16},
                                         Shape{255, 8}, Shape{255, 16}),
                         [](const auto& shape) {
                           return "Channels" + std::to_string(shape.param.channels) + "Bits" +
                                  std::to_string(shape.param.bits);
                         });

}  // namespace
