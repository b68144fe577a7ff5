// The prompts that ship with the program, as the first start makes them.

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numbers>

#include "audio/mp3/frame_check.h"
#include "audio/mp3/mp3_file.h"
#include "audio/wave_file.h"
#include "recorder/prompt_files.h"
#include "tests/support/recorded_progress.h"
#include "tests/support/recorder_fixture.h"
#include "tests/support/test_signals.h"
#include "tests/support/wave_bytes.h"

namespace {

using kiv::test::ReadFile;
using kiv::test::RecordedProgress;

constexpr double kFullScale = 524288.0;
constexpr std::int32_t kMp3Frame = 576;

double RmsDb(const std::vector<std::int32_t>& samples) {
  double sum = 0.0;
  for (const std::int32_t sample : samples) sum += static_cast<double>(sample) * sample;
  return 10.0 * std::log10(sum / static_cast<double>(samples.size()) / (kFullScale * kFullScale));
}
double PeakDb(const std::vector<std::int32_t>& samples) {
  std::int32_t peak = 1;
  for (const std::int32_t sample : samples) peak = std::max(peak, std::abs(sample));
  return 20.0 * std::log10(peak / kFullScale);
}
std::vector<std::int32_t> Stretch(const std::vector<std::int32_t>& samples, std::size_t first, std::size_t count) {
  return {samples.begin() + static_cast<std::ptrdiff_t>(first),
          samples.begin() + static_cast<std::ptrdiff_t>(first + count)};
}
// Share of the power that a sine of that frequency makes up.
double ShareOfTone(const std::vector<std::int32_t>& samples, double hz) {
  double cosine = 0.0;
  double sine = 0.0;
  double power = 0.0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double angle = 2.0 * std::numbers::pi * hz * static_cast<double>(i) / 8000.0;
    cosine += samples[i] * std::cos(angle);
    sine += samples[i] * std::sin(angle);
    power += static_cast<double>(samples[i]) * samples[i];
  }
  return 2.0 * (cosine * cosine + sine * sine) / static_cast<double>(samples.size()) / power;
}

class SystemPrompts : public kiv::test::RecorderFixture {
 protected:
  SystemPrompts() { SetResources(KIV_RESOURCES_FOLDER); }

  static std::string Resource(const std::string& name) {
    char path[kiv::kTextSize];
    kiv::PathOfPromptResource(path, name.c_str());
    return path;
  }
  // The samples of the prompt's WAV file, made as at the first start, and checked to be in the format of prompts.
  std::vector<std::int32_t> Extracted(const std::string& name) {
    RecordedProgress progress;
    const std::string mp3 = Resource(name);
    const std::string wav = DataPath(name + ".wav");
    EXPECT_EQ(Process(progress, LFileExtractorProcess(wav.c_str(), mp3.c_str())), kiv::kConverted);
    LSoundSource source = LWaveFile::OpenSource(wav.c_str());
    EXPECT_EQ(source->Error(), kSourceGood) << name;
    EXPECT_EQ(source->Rate(), 8000);
    EXPECT_EQ(source->Channels(), 1);
    EXPECT_EQ(ReadFile(wav).substr(34, 2), kiv::test::Little16(16));
    std::vector<std::int32_t> samples(static_cast<std::size_t>(source->GetEndSample()));
    for (std::size_t i = 0; i < samples.size(); i += kiv::kMaxPieceFrames) {
      const std::size_t count = std::min<std::size_t>(samples.size() - i, kiv::kMaxPieceFrames);
      source->Read(samples.data() + i, static_cast<std::int32_t>(count));
    }
    return samples;
  }
};

TEST_F(SystemPrompts, EachIsAnMp3FileOf16KHzMonoToItsLastFrame) {
  for (char const* const name : kiv::kSystemPrompts) {
    const std::string path = Resource(name);
    LSoundSource source = LMP3File::OpenSource(path.c_str());
    EXPECT_EQ(source->Error(), kSourceGood) << name;
    EXPECT_EQ(source->Rate(), 16000) << name;
    EXPECT_EQ(source->Channels(), 1) << name;
    EXPECT_TRUE(kiv::HoldsMp3Frames(path.c_str())) << name;
    const std::int32_t end = source->GetEndSample();
    EXPECT_GT(end, 0) << name;
    // What the file says at the beginning is what is there.
    std::vector<std::int32_t> samples(static_cast<std::size_t>(end));
    source->Read(samples.data(), end);
    EXPECT_EQ(source->GetEndSample(), end) << name;
    EXPECT_EQ(end / kMp3Frame * 144 + 128, static_cast<std::int32_t>(ReadFile(path).size())) << name;
  }
}

TEST_F(SystemPrompts, EachIsExtractedWithItsLengthAndAtTheLevelOfSpeech) {
  for (char const* const name : kiv::kSystemPrompts) {
    const std::vector<std::int32_t> samples = Extracted(name);
    const std::int32_t end = LMP3File::OpenSource(Resource(name).c_str())->GetEndSample();
    EXPECT_NEAR(static_cast<double>(samples.size()), end / 2.0, 1.0) << name;
    EXPECT_NEAR(RmsDb(samples), -22.0, 1.0) << name;
    EXPECT_LT(PeakDb(samples), -3.0) << name;
  }
}

TEST_F(SystemPrompts, SentencesTakeAShortBreath) {
  for (char const* const name : {"Start Prompt", "End Prompt"}) {
    const std::vector<std::int32_t> samples = Extracted(name);
    EXPECT_GT(samples.size(), 8000U) << name;
    EXPECT_LT(samples.size(), 24000U) << name;
    EXPECT_LT(PeakDb(Stretch(samples, 0, 400)), -50.0) << name;
    EXPECT_LT(PeakDb(Stretch(samples, samples.size() - 100, 100)), -50.0) << name;
  }
}

TEST_F(SystemPrompts, RecordToneIsHalfASecondOf1400Hz) {
  const std::vector<std::int32_t> samples = Extracted("Record Tone");
  std::size_t first = 0;
  std::size_t last = samples.size();
  const std::int32_t half = *std::max_element(samples.begin(), samples.end()) / 2;
  const auto loud = [&](std::size_t i) { return std::abs(samples[i]) > half; };
  while (!loud(first)) ++first;
  while (!loud(last - 1)) --last;
  EXPECT_NEAR(static_cast<double>(last - first) / 8.0, 495.0, 3.0);  // ms, half-way up the ramps.
  const std::vector<std::int32_t> tone = Stretch(samples, first + 40, last - first - 80);
  EXPECT_GT(ShareOfTone(tone, 1400.0), 0.99);
  // Ramps of 5 ms: the tone grows and goes step by step. (Coding spreads a little of it to the front.)
  EXPECT_LT(PeakDb(Stretch(samples, first - 48, 24)), PeakDb(tone) - 10.0);
  EXPECT_LT(PeakDb(Stretch(samples, first, 8)), PeakDb(tone) - 1.0);
  EXPECT_LT(PeakDb(Stretch(samples, last - 8, 8)), PeakDb(tone) - 1.0);
  EXPECT_LT(PeakDb(Stretch(samples, last + 24, 24)), PeakDb(tone) - 15.0);
}

TEST_F(SystemPrompts, OnHoldMusicIsThreeDifferentPiecesThatFollowOneAnother) {
  constexpr std::size_t kBeat = 5760;
  std::vector<std::vector<std::int32_t>> pieces;
  for (char const* const name : {"On-Hold 1", "On-Hold 2", "On-Hold 3"}) {
    pieces.push_back(Extracted(name));
    const std::vector<std::int32_t>& piece = pieces.back();
    EXPECT_GE(piece.size(), 60U * 8000U) << name;
    EXPECT_LE(piece.size(), 120U * 8000U) << name;
    // Whole bars, so that the beat goes on; but for the frame by which the position of a rate conversion lags.
    EXPECT_LE(piece.size() % (4 * kBeat), 1U) << name;
    // No click where one meets another, and no pause in which a caller would take the line for dead.
    EXPECT_LT(PeakDb(Stretch(piece, 0, 80)), -40.0) << name;
    EXPECT_LT(PeakDb(Stretch(piece, piece.size() - 80, 80)), -40.0) << name;
    for (std::size_t i = 0; i + 8000 <= piece.size(); i += 4000) {
      EXPECT_GT(RmsDb(Stretch(piece, i, 8000)), -40.0) << name << " at " << i / 8000 << " s";
      EXPECT_LT(RmsDb(Stretch(piece, i, 8000)), -15.0) << name << " at " << i / 8000 << " s";
    }
  }
  for (std::size_t a = 0; a < 3; ++a) {
    for (std::size_t b = 0; b < a; ++b) {
      const std::size_t count = std::min(pieces[a].size(), pieces[b].size());
      double product = 0.0;
      double powerA = 0.0;
      double powerB = 0.0;
      for (std::size_t i = 0; i < count; ++i) {
        product += static_cast<double>(pieces[a][i]) * pieces[b][i];
        powerA += static_cast<double>(pieces[a][i]) * pieces[a][i];
        powerB += static_cast<double>(pieces[b][i]) * pieces[b][i];
      }
      EXPECT_LT(std::fabs(product) / std::sqrt(powerA * powerB), 0.2);
    }
  }
}

TEST_F(SystemPrompts, AllTogetherStaySmall) {
  std::uintmax_t bytes = 0;
  for (char const* const name : kiv::kSystemPrompts) bytes += std::filesystem::file_size(Resource(name));
  EXPECT_LT(bytes, 1'500'000U);
}

}  // namespace
