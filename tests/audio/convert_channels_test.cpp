#include "audio/convert_channels.h"

#include "tests/support/test_signals.h"

namespace {

using kiv::test::MemorySink;
using kiv::test::MemorySource;
using kiv::test::Noise;
using kiv::test::OpenMemory;
using kiv::test::ReadInPieces;
using testing::ElementsAre;

TEST(LSPConvChannels, StereoToMonoTakesTheFirstChannel) {
  LSoundSource stereo = OpenMemory({100, 7, -5, 9}, 16000, 2, 99);
  LSoundSource mono = LSPConvChannels(1).OpenSource(stereo);
  EXPECT_EQ(mono->Channels(), 1);
  EXPECT_EQ(mono->Rate(), 16000);
  EXPECT_EQ(mono->Peak(), 99);
  EXPECT_EQ(mono->Error(), kSourceGood);
  EXPECT_EQ(mono->GetEndSample(), 2);
  EXPECT_THAT(ReadInPieces(mono, 3, {3}), ElementsAre(100, -5, 0));
  EXPECT_EQ(mono->GetPositionSample(), 3);
  mono->Seek(1);
  EXPECT_THAT(ReadInPieces(mono, 1, {1}), ElementsAre(-5));
}

TEST(LSPConvChannels, MonoToStereoDoublesEachSample) {
  LSoundSource mono = OpenMemory({100, -7}, 8000, 1);
  LSoundSource stereo = LSPConvChannels(2).OpenSource(mono);
  EXPECT_EQ(stereo->Channels(), 2);
  EXPECT_EQ(stereo->GetEndSample(), 2);
  EXPECT_THAT(ReadInPieces(stereo, 2, {1}), ElementsAre(100, 100, -7, -7));
}

TEST(LSPConvChannels, EqualCountsGiveTheSameObject) {
  LSoundSource stereo = OpenMemory({1, 2}, 8000, 2);
  LSoundSource same = LSPConvChannels(2).OpenSource(stereo);
  EXPECT_EQ(&*same, &*stereo);
  EXPECT_EQ(stereo->ReferenceCount(), 2);
}

TEST(LSPConvChannels, OtherPairsAndErrorsGiveTheInput) {
  LSoundSource stereo = OpenMemory({1, 2}, 8000, 2);
  for (const std::uint16_t wanted : std::vector<std::uint16_t>{0, 3, 6, 258, 65535}) {
    LSoundSource same = LSPConvChannels(wanted).OpenSource(stereo);
    EXPECT_EQ(&*same, &*stereo) << wanted;
  }
  LSoundSource six = OpenMemory({1, 2, 3, 4, 5, 6}, 8000, 6);
  EXPECT_EQ(&*LSPConvChannels(2).OpenSource(six), &*six);
  EXPECT_EQ(&*LSPConvChannels(1).OpenSource(six), &*six);
  LSoundSource broken;
  EXPECT_EQ(&*LSPConvChannels(2).OpenSource(broken), &*broken);
}

TEST(LSPConvChannels, LongRequestsAreReadInPieces) {
  const auto samples = Noise(1, 20000, 2, 524272);
  LSoundSource stereo = OpenMemory(samples, 8000, 2);
  LSoundSource mono = LSPConvChannels(1).OpenSource(stereo);
  const auto whole = ReadInPieces(mono, 20000, {20000});
  for (std::size_t i = 0; i < whole.size(); ++i) ASSERT_EQ(whole[i], samples[2 * i]) << i;
  mono->Seek(0);
  EXPECT_EQ(ReadInPieces(mono, 20000, {1, 8192, 8193, 0, 77}), whole);

  LSoundSource back = LSPConvChannels(2).OpenSource(mono);
  back->Seek(0);
  const auto doubled = ReadInPieces(back, 20000, {20000});
  for (std::size_t i = 0; i < doubled.size(); ++i) ASSERT_EQ(doubled[i], whole[i / 2]) << i;
}

TEST(LSPConvChannels, RequestsBelowOneFrameReadNothing) {
  LSoundSource stereo = OpenMemory({1, 2}, 8000, 2);
  LSoundSource mono = LSPConvChannels(1).OpenSource(stereo);
  std::int32_t sample = 5;
  mono->Read(&sample, 0);
  mono->Read(&sample, -3);
  EXPECT_EQ(sample, 5);
  EXPECT_EQ(mono->GetPositionSample(), 0);
}

struct OpenedSink {
  MemorySink* memory;
  LSoundSink handle;
};
OpenedSink OpenMemorySink(std::int32_t rateHz, std::uint8_t channels) {
  auto* memory = new MemorySink(rateHz, channels);
  return {memory, LSoundSink(memory)};
}

TEST(LSinkConvertChannels, StereoIntoMonoIsTheAverageRoundedDown) {
  OpenedSink output = OpenMemorySink(8000, 1);
  LSoundSink sink = LSinkConvertChannels::OpenSink(output.handle, 2);
  ASSERT_FALSE(sink.IsEmpty());
  EXPECT_EQ(sink->Channels(), 2);
  EXPECT_EQ(sink->Rate(), 8000);
  EXPECT_EQ(sink->Position(), 0);
  const std::int32_t frames[] = {3, -4, -3, 0, INT32_MAX, INT32_MAX, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MAX};
  sink->Write(frames, 5);
  EXPECT_EQ(sink->Position(), 5);
  EXPECT_THAT(output.memory->Samples(), ElementsAre(-1, -2, INT32_MAX, INT32_MIN, -1));
}

TEST(LSinkConvertChannels, MonoIntoStereoDoublesEachSample) {
  OpenedSink output = OpenMemorySink(8000, 2);
  LSoundSink sink = LSinkConvertChannels::OpenSink(output.handle, 1);
  EXPECT_EQ(sink->Channels(), 1);
  const std::int32_t frames[] = {3, -4};
  sink->Write(frames, 2);
  EXPECT_EQ(sink->Position(), 2);
  EXPECT_THAT(output.memory->Samples(), ElementsAre(3, 3, -4, -4));
}

TEST(LSinkConvertChannels, EqualCountsGiveTheOutputItself) {
  OpenedSink output = OpenMemorySink(8000, 6);
  LSoundSink sink = LSinkConvertChannels::OpenSink(output.handle, 6);
  EXPECT_EQ(&*sink, output.memory);
  EXPECT_EQ(output.memory->ReferenceCount(), 2);
}

TEST(LSinkConvertChannels, OtherPairsGiveAnEmptySink) {
  OpenedSink stereo = OpenMemorySink(8000, 2);
  EXPECT_TRUE(LSinkConvertChannels::OpenSink(stereo.handle, 6).IsEmpty());
  EXPECT_TRUE(LSinkConvertChannels::OpenSink(stereo.handle, 0).IsEmpty());
  OpenedSink six = OpenMemorySink(8000, 6);
  EXPECT_TRUE(LSinkConvertChannels::OpenSink(six.handle, 2).IsEmpty());
}

TEST(LSinkConvertChannels, WithoutOutputFramesAreCountedAndDropped) {
  LSoundSink none;
  EXPECT_TRUE(LSinkConvertChannels::OpenSink(none, 1).IsEmpty());  // Equal counts: the empty handle itself.
  LSoundSink sink = LSinkConvertChannels::OpenSink(none, 2);
  ASSERT_FALSE(sink.IsEmpty());
  EXPECT_EQ(sink->Rate(), 44100);
  EXPECT_EQ(sink->Error(), kSinkGood);
  const std::vector<std::int32_t> frames(2 * 9000);
  sink->Write(frames.data(), 9000);
  EXPECT_EQ(sink->Position(), 9000);
  sink->Seek(100);
  EXPECT_EQ(sink->Position(), 0);

  LSoundSink doubling(new LSinkConvertStereoToMono(none));
  doubling->Write(frames.data(), 9000);
  EXPECT_EQ(doubling->Position(), 9000);
}

TEST(LSinkConvertChannels, SeekTakesTheOutputsPosition) {
  for (const std::uint8_t channels : std::vector<std::uint8_t>{1, 2}) {
    OpenedSink output = OpenMemorySink(8000, static_cast<std::uint8_t>(3 - channels));
    LSoundSink sink = LSinkConvertChannels::OpenSink(output.handle, channels);
    const std::vector<std::int32_t> frames(200);
    sink->Write(frames.data(), 100);
    sink->Seek(10);
    EXPECT_EQ(sink->Position(), 10);
    EXPECT_EQ(output.memory->Position(), 10);
    sink->Seek(50);  // Forward is refused by the output.
    EXPECT_EQ(sink->Position(), 10);
    sink->Seek(-1);
    EXPECT_EQ(sink->Position(), 0);
  }
}

TEST(LSinkConvertChannels, LongRequestsAreWrittenInPieces) {
  const auto samples = Noise(2, 20000, 2, INT32_MAX);
  OpenedSink mono = OpenMemorySink(8000, 1);
  LSoundSink average = LSinkConvertChannels::OpenSink(mono.handle, 2);
  average->Write(samples.data(), 20000);
  EXPECT_EQ(average->Position(), 20000);
  ASSERT_EQ(mono.memory->Samples().size(), 20000U);
  for (std::size_t i = 0; i < 20000; ++i) {
    const std::int64_t sum = std::int64_t{samples[2 * i]} + samples[2 * i + 1];
    ASSERT_EQ(mono.memory->Samples()[i], sum >> 1) << i;
  }
  OpenedSink stereo = OpenMemorySink(8000, 2);
  LSoundSink doubling = LSinkConvertChannels::OpenSink(stereo.handle, 1);
  doubling->Write(samples.data(), 20000);
  doubling->Write(samples.data(), 0);
  doubling->Write(samples.data(), -1);
  EXPECT_EQ(doubling->Position(), 20000);
  ASSERT_EQ(stereo.memory->Samples().size(), 40000U);
  for (std::size_t i = 0; i < 40000; ++i) ASSERT_EQ(stereo.memory->Samples()[i], samples[i / 2]) << i;
}

}  // namespace
