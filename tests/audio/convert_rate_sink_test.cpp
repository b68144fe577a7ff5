#include "audio/convert_rate_sink.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "tests/reference/plain_rate_conversion.h"
#include "tests/support/every_vector_width.h"
#include "tests/support/test_signals.h"

namespace {

using kiv::test::MemorySink;
using kiv::test::Noise;
using kiv::test::PlainSinkConversion;
using kiv::test::Sine;

using Samples = std::vector<std::int32_t>;

constexpr std::int32_t kRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000, 96000};

// Keeps what it is given, and in what pieces.
class Witness : public MemorySink {
 public:
  using MemorySink::MemorySink;
  void Write(std::int32_t const* buffer, std::int32_t frames) override {
    pieces.push_back(frames);
    MemorySink::Write(buffer, frames);
  }
  std::vector<std::int32_t> pieces;
};

// An output, a handle on it and a converting sink over it.
struct Chain {
  Chain(std::int32_t from, std::int32_t to, std::uint8_t channels)
      : output(new Witness(to, channels)), handle(output), sink(new LSinkConvertRateBase(handle, from)) {}
  void Write(const Samples& samples, std::int32_t pieceFrames) {
    const std::ptrdiff_t channels = output->Channels();
    const auto frames = static_cast<std::int32_t>(static_cast<std::ptrdiff_t>(samples.size()) / channels);
    for (std::int32_t done = 0; done < frames; done += pieceFrames) {
      sink->Write(samples.data() + done * channels, std::min(pieceFrames, frames - done));
    }
  }
  Witness* output;
  LSoundSink handle;
  LSoundSink sink;
};

TEST(LSinkConvertRate, TheSameRateIsTheOutputItself) {
  LSoundSink output(new MemorySink(8000, 1));
  EXPECT_EQ(&*LSinkConvertRate(8000).OpenSink(output), &*output);
  LSoundSink converted = LSinkConvertRate(44100).OpenSink(output);
  EXPECT_NE(&*converted, &*output);
  EXPECT_EQ(converted->Rate(), 44100);
  EXPECT_EQ(converted->Channels(), 1);
  EXPECT_EQ(converted->Error(), kSinkGood);
  EXPECT_EQ(output->ReferenceCount(), 2);
  converted.Close();
  EXPECT_EQ(output->ReferenceCount(), 1);
}

TEST(LSinkConvertRate, NoOutputCountsAs44100Mono) {
  LSoundSink none;
  EXPECT_TRUE(LSinkConvertRate(44100).OpenSink(none).IsEmpty());
  LSoundSink sink = LSinkConvertRate(8000).OpenSink(none);
  ASSERT_FALSE(sink.IsEmpty());
  EXPECT_EQ(sink->Channels(), 1);
  EXPECT_EQ(sink->Error(), kSinkGood);
  const Samples noise = Noise(1, 20000, 1, 500000);
  sink->Write(noise.data(), 20000);
  EXPECT_EQ(sink->Position(), 20000);
  sink->Seek(500);
  EXPECT_EQ(sink->Position(), 0);
}

TEST(LSinkConvertRateBase, AnOutputWithoutChannelsIsMonoAndFailed) {
  LSoundSink output(new MemorySink(8000, 0));
  LSinkConvertRateBase sink(output, 16000);
  EXPECT_EQ(sink.Channels(), 1);
  EXPECT_EQ(sink.Error(), kSinkFailed);
}

TEST(LSinkConvertRateBase, RatesWithoutAStepFailAndDrop) {
  const std::pair<std::int32_t, std::int32_t> pairs[] = {
      {1, 2000000000}, {0, 8000}, {-5, 8000}, {INT32_MAX, 1}, {8000, 0}};
  for (const auto& [from, to] : pairs) {
    Chain chain(from, to, 1);
    EXPECT_EQ(chain.sink->Error(), kSinkFailed);
    chain.Write(Samples(30000, 5000), 9000);
    EXPECT_EQ(chain.sink->Position(), 30000);
    chain.sink->Seek(0);
    chain.sink.Close();
    EXPECT_TRUE(chain.output->Samples().empty());
  }
}

TEST(LSinkConvertRateBase, MoreThanTwoChannelsAreCountedAndDropped) {
  Chain chain(8000, 16000, 3);
  EXPECT_EQ(chain.sink->Error(), kSinkGood);
  chain.Write(Samples(90000, 5000), 9000);
  EXPECT_EQ(chain.sink->Position(), 30000);
  chain.sink.Close();
  EXPECT_TRUE(chain.output->Samples().empty());
}

TEST(LSinkConvertRateBase, NoFramesAreNothing) {
  Chain chain(8000, 16000, 1);
  const std::int32_t sample = 1000;
  for (const std::int32_t frames : {0, -1, INT32_MIN}) chain.sink->Write(&sample, frames);
  EXPECT_EQ(chain.sink->Position(), 0);
  chain.sink.Close();
  EXPECT_TRUE(chain.output->Samples().empty());
}

TEST(LSinkConvertRateBase, TheLastReleaseWritesWhatIsPending) {
  Chain chain(8000, 16000, 1);
  chain.Write(Samples(100, 16000), 100);
  // The filter looks ahead, and runs only when a further frame is there.
  EXPECT_EQ(chain.output->Samples().size(), 2U * 92);
  chain.sink.Close();
  EXPECT_EQ(chain.output->Samples().size(), 2U * 100);
}

TEST(LSinkConvertRateBase, FlushPutsOutTheRestOnce) {
  Chain chain(8000, 16000, 1);
  const Samples noise = Noise(2, 100, 1, 500000);
  chain.Write(noise, 100);
  auto* sink = dynamic_cast<LSinkConvertRateBase*>(&*chain.sink);
  ASSERT_NE(sink, nullptr);
  sink->_Flush();
  EXPECT_EQ(chain.output->Samples(), PlainSinkConversion(noise, 1, 8000, 16000));
  sink->_Init();
  chain.sink.Close();
  EXPECT_EQ(chain.output->Samples().size(), 200U);
}

TEST(LSinkConvertRateBase, SeekFlushesMovesTheOutputAndStartsAfresh) {
  Chain chain(16000, 8000, 1);
  const Samples noise = Noise(3, 1000, 1, 500000);
  const Samples expected = PlainSinkConversion(noise, 1, 16000, 8000);
  ASSERT_EQ(expected.size(), 500U);
  chain.Write(noise, 1000);
  chain.sink->Seek(200);  // A frame of the output.
  EXPECT_EQ(chain.output->Position(), 200);
  EXPECT_EQ(chain.sink->Position(), 200);
  EXPECT_EQ(chain.output->Samples(), Samples(expected.begin(), expected.begin() + 200));
  chain.Write(noise, 1000);
  EXPECT_EQ(chain.sink->Position(), 1200);
  chain.sink->Seek(100000);  // Refused by the output: both stand where the output stands.
  EXPECT_EQ(chain.output->Position(), 700);
  EXPECT_EQ(chain.sink->Position(), 700);
  EXPECT_EQ(Samples(chain.output->Samples().begin() + 200, chain.output->Samples().end()), expected);
}

// Each write ends at another place of a step of 96 frames, some of which are still to be passed over.
TEST(LSinkConvertRateBase, SeekForgetsFramesThatWereToBePassedOver) {
  const Samples noise = Noise(3, 2000, 1, 500000);
  const Samples expected = PlainSinkConversion(noise, 1, 96000, 1000);
  for (std::int32_t before = 1; before <= 200; ++before) {
    Chain chain(96000, 1000, 1);
    chain.Write(Samples(noise.begin(), noise.begin() + before), before);
    chain.sink->Seek(0);
    chain.Write(noise, 2000);
    chain.sink.Close();
    ASSERT_EQ(chain.output->Samples(), expected) << before;
  }
}

TEST(LSinkConvertRateBase, TheOutputIsWrittenInPiecesOfAtMost8192Frames) {
  Chain chain(8000, 96000, 2);
  chain.Write(Noise(4, 30000, 2, 500000), 30000);
  chain.sink.Close();
  EXPECT_EQ(*std::max_element(chain.output->pieces.begin(), chain.output->pieces.end()), 8192);
  EXPECT_EQ(chain.output->Position(), 360000);
}

TEST(LSinkConvertRateBase, PositionCountsTheFramesWritten) {
  Chain chain(44100, 8000, 2);
  chain.Write(Samples(2000, 5), 300);
  EXPECT_EQ(chain.sink->Position(), 1000);
}

class LSinkConvertRateBits : public kiv::test::EveryVectorWidth {};
INSTANTIATE_TEST_SUITE_P(EveryWidth, LSinkConvertRateBits, kiv::test::kVectorWidths, kiv::test::VectorWidthName);

TEST_P(LSinkConvertRateBits, EveryPairMatchesThePlainModel) {
  for (const std::int32_t from : kRates) {
    const Samples noise = Noise(static_cast<std::uint64_t>(from), 12000, 1, 524272);
    for (const std::int32_t to : kRates) {
      Chain chain(from, to, 1);
      chain.Write(noise, 800);
      chain.sink.Close();
      ASSERT_EQ(chain.output->Samples(), PlainSinkConversion(noise, 1, from, to)) << from << " to " << to;
    }
  }
}

TEST_P(LSinkConvertRateBits, EveryLoudnessMatchesThePlainModel) {
  const std::pair<std::int32_t, std::int32_t> pairs[] = {{44100, 8000}, {8000, 44100}, {8000, 16000}, {48000, 44100},
                                                         {8000, 8000},  {96000, 1000}, {8192, 1},     {300000, 70}};
  // 524288 is the first that does not fit 16 bits any more.
  for (const std::int32_t peak : {100, 524287, 524288, 2097152, INT32_MAX}) {
    for (const int channels : {1, 2}) {
      Samples noise = Noise(static_cast<std::uint64_t>(peak), 20000, channels, peak);
      noise[500] = peak;
      noise[5001] = -peak;
      // A quiet stretch, so that loudness comes and goes within a stream.
      std::fill(noise.begin() + 9000, noise.begin() + 20000 * channels - 4000, 1234);
      for (const auto& [from, to] : pairs) {
        Chain chain(from, to, static_cast<std::uint8_t>(channels));
        chain.Write(noise, 777);
        chain.sink.Close();
        ASSERT_EQ(chain.output->Samples(), PlainSinkConversion(noise, channels, from, to))
            << peak << ' ' << channels << " channels " << from << " to " << to;
      }
    }
  }
}

TEST_P(LSinkConvertRateBits, SquareWavesMatchThePlainModel) {
  for (const std::int32_t level : {524272, INT32_MAX}) {
    for (const int half : {1, 2, 3, 7, 8, 100}) {
      Samples square;
      for (int i = 0; i < 5000; ++i) square.push_back(i / half % 2 == 0 ? level : -level - 1);
      for (const std::int32_t to : {8000, 44100, 48000, 96000}) {
        Chain chain(48000, to, 1);
        chain.Write(square, 5000);
        chain.sink.Close();
        ASSERT_EQ(chain.output->Samples(), PlainSinkConversion(square, 1, 48000, to));
      }
    }
  }
}

TEST_P(LSinkConvertRateBits, SplittingTheWritesChangesNothing) {
  const std::pair<std::int32_t, std::int32_t> pairs[] = {{44100, 8000}, {8000, 44100}, {8000, 16000}, {96000, 1000}};
  for (const auto& [from, to] : pairs) {
    for (const int channels : {1, 2}) {
      const Samples noise = Noise(5, 20000, channels, 524287);
      const Samples expected = PlainSinkConversion(noise, channels, from, to);
      for (const std::int32_t piece : {1, 2, 7, 8, 15, 16, 800, 8191, 8192, 8193, 8200, 20000}) {
        Chain chain(from, to, static_cast<std::uint8_t>(channels));
        chain.Write(noise, piece);
        chain.sink.Close();
        ASSERT_EQ(chain.output->Samples(), expected) << from << " to " << to << " pieces of " << piece;
      }
    }
  }
}

TEST_P(LSinkConvertRateBits, StereoIsTwoMonos) {
  const Samples left = Noise(6, 9000, 1, 524287);
  const Samples right = Noise(7, 9000, 1, 300000);
  Samples both;
  for (std::size_t i = 0; i < left.size(); ++i) both.insert(both.end(), {left[i], right[i]});
  const Samples l = PlainSinkConversion(left, 1, 44100, 32000);
  const Samples r = PlainSinkConversion(right, 1, 44100, 32000);
  Samples expected;
  for (std::size_t i = 0; i < l.size(); ++i) expected.insert(expected.end(), {l[i], r[i]});
  Chain chain(44100, 32000, 2);
  chain.Write(both, 500);
  chain.sink.Close();
  EXPECT_EQ(chain.output->Samples(), expected);
}

TEST(LSinkConvertRateBase, AOneKilohertzToneStaysAsLoudAndAsHigh) {
  for (const std::int32_t from : kRates) {
    const Samples tone = Sine(1000.0, 262144.0, from, from / 2, 1);
    for (const std::int32_t to : kRates) {
      Chain chain(from, to, 1);
      chain.Write(tone, 800);
      chain.sink.Close();
      const Samples& out = chain.output->Samples();
      // Zero crossings tell the pitch; 15 taps are too few for a clean gain where the reduction is large.
      int crossings = 0;
      for (std::size_t i = 1; i < out.size(); ++i) crossings += (out[i - 1] < 0) != (out[i] < 0) ? 1 : 0;
      const double seconds = static_cast<double>(out.size()) / to;
      const double ratio = static_cast<double>(from) / to;
      EXPECT_NEAR(crossings / 2.0 / seconds, 1000.0, 1000.0 * 0.001 / ratio + 5.0) << from << " to " << to;
    }
  }
}

}  // namespace
