#include "audio/processing/read_ahead.h"

#include "tests/audio/processing/chain_checks.h"

namespace {

using kiv::test::MemorySource;
using kiv::test::Noise;
using kiv::test::ReadInPieces;

LSoundSource Open(LSoundSource& input) {
  return LSoundSource(new kiv::LSRCReadAhead(input));
}

// Counts how often it is read, and how much at once.
class CountingSource : public MemorySource {
 public:
  using MemorySource::MemorySource;
  void Read(std::int32_t* buffer, std::int32_t frames) override {
    ++reads;
    MemorySource::Read(buffer, frames);
  }
  int reads = 0;
};

TEST(LSRCReadAhead, PassesSamplesAndPositions) {
  for (const std::uint8_t channels : std::vector<std::uint8_t>{1, 2, 7}) {
    const auto samples = Noise(1, 150000, channels, INT32_MAX);
    EXPECT_EQ(kiv::test::RunStage(Open, samples, 8000, channels, 150000, {160}), samples);
    kiv::test::ExpectSplittingChangesNothing(Open, samples, 8000, channels);
    kiv::test::ExpectSeekStartsFresh(Open, samples, 8000, channels);
    kiv::test::ExpectPositionCountsFrames(Open, samples, 8000, channels);
  }
}

TEST(LSRCReadAhead, ReadsInLargePiecesUntilNearTheEnd) {
  auto* object = new CountingSource(Noise(1, 1000000, 1, 1000), 8000, 1);
  LSoundSource input(object);
  LSoundSource ahead = Open(input);
  ReadInPieces(ahead, 900000, {160});
  EXPECT_EQ(object->reads, (900000 + 16383) / 16384);
  EXPECT_EQ(ahead->GetPositionSample(), 900000);
  ReadInPieces(ahead, 99999, {160});
  EXPECT_EQ(ahead->GetPositionSample(), 999999);
  EXPECT_EQ(input->GetPositionSample(), 999999);  // The input's own position there.
}

TEST(LSRCReadAhead, InputInErrorGivesErrorTwoAndSilence) {
  LSoundSource none;
  LSoundSource ahead = Open(none);
  EXPECT_EQ(ahead->Error(), kSourceInput);
  EXPECT_THAT(ReadInPieces(ahead, 5, {5}), testing::Each(0));
}

}  // namespace
