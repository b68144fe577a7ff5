// Lengths, positions and seeking of every file of the corpus against a model that knows only the places of the frames.

#include <algorithm>
#include <cstdio>

#include "audio/mp3/mp3_file.h"
#include "tests/audio/mp3/corpus.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_signals.h"

namespace {

// An encoder's stream: whole frames from the first byte to the last.
struct Frames {
  std::vector<std::int64_t> starts;  // and the end of the last one
  std::vector<int> bitrates;
  int rate = 0;
  int samples = 0;
  bool mpeg1 = false;
  std::int64_t count = 0;  // of the tag
};

std::uint32_t Word(const std::string& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = at; i < at + 4; ++i) value = value << 8 | static_cast<unsigned char>(bytes[i]);
  return value;
}

Frames Scan(const std::string& bytes) {
  static constexpr int kLow[16] = {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0};
  static constexpr int kHigh[16] = {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0};
  static constexpr int kRates[3] = {44100, 48000, 32000};
  Frames frames;
  std::size_t at = 0;
  while (at + 4 <= bytes.size()) {
    const std::uint32_t word = Word(bytes, at);
    if (word >> 21 != 0x7FF) break;
    const int version = static_cast<int>(word >> 19 & 3);
    const int rate = kRates[word >> 10 & 3] / (version == 3 ? 1 : version == 2 ? 2 : 4);
    const int bitrate = 1000 * (version == 3 ? kHigh : kLow)[word >> 12 & 15];
    const auto size =
        static_cast<std::size_t>((version == 3 ? 144 : 72) * bitrate / rate + static_cast<int>(word >> 9 & 1));
    if (frames.starts.empty()) {
      frames.rate = rate;
      frames.samples = version == 3 ? 1152 : 576;
      frames.mpeg1 = version == 3;
      const bool mono = (word >> 6 & 3) == 3;
      const std::size_t tag =
          at + ((word >> 16 & 1) == 0 ? 6U : 4U) + (version == 3 ? (mono ? 17U : 32U) : (mono ? 9U : 17U));
      if (bytes.substr(tag, 4) == "Xing") frames.count = Word(bytes, tag + 8);
    }
    if (at + size > bytes.size()) break;
    frames.starts.push_back(static_cast<std::int64_t>(at));
    frames.bitrates.push_back(bitrate);
    at += size;
  }
  frames.starts.push_back(static_cast<std::int64_t>(at));
  return frames;
}

TEST(MP3Positions, EveryFileOfTheCorpusKeepsToTheFormulas) {
  const kiv::test::TemporaryFolder folder;
  kiv::test::Random random(1);
  int seeks = 0;
  for (const kiv::test::CorpusFile& file : kiv::test::Corpus()) {
    SCOPED_TRACE(file.name);
    const std::string bytes = kiv::test::Encoded(file);
    kiv::test::WriteFile(folder.File("a.mp3"), bytes);
    LSoundSource source = LMP3File::OpenSource(folder.File("a.mp3").c_str());
    const Frames frames = Scan(bytes);
    const std::int64_t data = std::max<std::int64_t>(static_cast<std::int64_t>(bytes.size()) - 128, 0);

    double frameBytes = 0;
    if (frames.count != 0) {
      frameBytes = static_cast<double>(data) / static_cast<double>(frames.count);
    } else {
      double sum = 0;
      const std::size_t n = std::min<std::size_t>(8, frames.bitrates.size());
      for (std::size_t i = 0; i < n; ++i) sum += frames.bitrates[i];
      frameBytes = (frames.mpeg1 ? 144 : 72) * (sum / static_cast<double>(n)) / frames.rate;
    }
    const auto estimate = [&](std::int64_t reached, std::int64_t remaining) {
      return static_cast<std::int32_t>(
          reached + static_cast<std::int64_t>(static_cast<double>(remaining) / frameBytes + 0.9) * frames.samples);
    };
    std::int32_t end = frames.count != 0 ? static_cast<std::int32_t>(frames.count) * frames.samples : estimate(0, data);
    ASSERT_EQ(source->GetEndSample(), end);

    // Reads of random sizes; the model decodes a frame when one is needed.
    std::vector<std::int32_t> buffer(std::size_t{5000} * source->Channels());
    std::int32_t position = 0;
    std::size_t decoded = 0;
    bool cut = false;
    for (int reads = 0; reads < 400; ++reads) {
      const std::int32_t n = random.Between(1, random.Between(0, 3) == 0 ? 5000 : 900);
      source->Read(buffer.data(), n);
      const std::int64_t wanted = std::int64_t{position} + n;
      while (!cut && static_cast<std::int64_t>(decoded) * frames.samples < std::min<std::int64_t>(wanted, end)) {
        if (decoded + 1 < frames.starts.size() && frames.starts[decoded + 1] <= data) {
          ++decoded;
          if (frames.count == 0) {
            end = estimate(static_cast<std::int64_t>(decoded) * frames.samples, data - frames.starts[decoded]);
          }
        } else {
          end = static_cast<std::int32_t>(decoded) * frames.samples;
          cut = true;
        }
      }
      position += n;
      ASSERT_EQ(source->GetPositionSample(), position);
      ASSERT_EQ(source->GetEndSample(), end) << "after " << decoded << " frames";
    }
    EXPECT_TRUE(cut || position >= end);

    for (int i = 0; i < 30; ++i, ++seeks) {
      const std::int32_t before = source->GetEndSample();
      const std::int32_t place = random.Between(-2000, before + 5000);
      source->Seek(place);
      ASSERT_EQ(source->GetPositionSample(), place);
      ASSERT_EQ(source->GetEndSample(), before);
      const std::int32_t n = random.Between(1, 3000);
      source->Read(buffer.data(), n);
      ASSERT_EQ(source->GetPositionSample(), place + n);
    }
    // Whatever happened before, from the start everything is as when fresh.
    LSoundSource fresh = LMP3File::OpenSource(folder.File("a.mp3").c_str());
    source->Seek(0);
    std::vector<std::int32_t> again(buffer.size());
    for (std::int32_t done = 0; done + 5000 < std::min(end, source->GetEndSample()); done += 5000) {
      source->Read(again.data(), 5000);
      fresh->Read(buffer.data(), 5000);
      ASSERT_EQ(again, buffer) << done;
    }
  }
  std::printf("%d seeks\n", seeks);
}

}  // namespace
