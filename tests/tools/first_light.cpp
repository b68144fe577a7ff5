// What can be seen of the sound before there is a program with windows.
//
//   kiv-first-light FILE                    writes seven seconds of a speech-like signal into a WAV file and, after
//   every
//                                           second, opens that file while it is still being written, reads back what is
//                                           there and measures its level. Exit status 1 when a frame is missing or a
//                                           sample is not the one that was written.
//   kiv-first-light --compare BEFORE AFTER  the levels of two mono 8 kHz files side by side, second by second

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <numbers>
#include <string>
#include <vector>

#include "audio/buffer_level.h"
#include "audio/wave_file.h"
#include "foundation/level.h"

namespace {

constexpr std::int32_t kRateHz = 8000;
constexpr std::int32_t kBlockFrames = kRateHz / 10;
constexpr std::int32_t kHeaderBytes = 46;

struct Passage {
  const char* name;
  double amplitude;  // of 16-bit full scale
};
constexpr std::array<Passage, 7> kPassages{{{"silence", 0.0},
                                            {"far voice", 0.02},
                                            {"voice", 0.15},
                                            {"voice", 0.15},
                                            {"pause", 0.0},
                                            {"near voice", 0.6},
                                            {"silence", 0.0}}};

// Four syllables a second of two tones a voice could have; whole 16-bit steps, so that the file holds every sample
// exactly.
std::int32_t SpeechLike(std::int64_t frame, double amplitude) {
  const double t = static_cast<double>(frame) / kRateHz;
  const double syllable = std::sin(std::numbers::pi * std::fmod(4.0 * t, 1.0));
  const double tones = 0.6 * std::sin(2 * std::numbers::pi * 220 * t) + 0.4 * std::sin(2 * std::numbers::pi * 1400 * t);
  return static_cast<std::int32_t>(std::lround(32767.0 * amplitude * syllable * syllable * tones)) * 16;
}

std::string SizeText(const unsigned char* littleEndian) {
  const std::uint32_t size =
      static_cast<std::uint32_t>(littleEndian[0]) | static_cast<std::uint32_t>(littleEndian[1]) << 8 |
      static_cast<std::uint32_t>(littleEndian[2]) << 16 | static_cast<std::uint32_t>(littleEndian[3]) << 24;
  return size == UINT32_MAX ? "still growing" : std::to_string(size) + " bytes";
}

bool PrintHeader(const char* when, const std::string& path) {
  std::array<unsigned char, kHeaderBytes> header{};
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return false;
  const std::size_t got = std::fread(header.data(), 1, header.size(), file);
  std::fclose(file);
  if (got != header.size()) return false;
  std::printf("Header %-8s RIFF size %-14s sound data %-14s file %ju bytes\n", when, SizeText(&header[4]).c_str(),
              SizeText(&header[42]).c_str(), static_cast<std::uintmax_t>(std::filesystem::file_size(path)));
  return true;
}

// One column for every 3 dB from -36 to +12.
std::string Bar(int dB) {
  std::string bar(17, '.');
  for (int column = 0; column < 17 && -36 + 3 * column <= dB; ++column) bar[static_cast<std::size_t>(column)] = '#';
  return bar;
}

int Run(const std::string& path) {
  std::filesystem::remove(path);
  LSoundSink sink = LWaveFile::OpenSinkPCM(path.c_str(), kRateHz, 1, 16, 0);
  if (sink.IsEmpty() || sink->Error() != kSinkGood) {
    std::fprintf(stderr, "kiv-first-light: cannot write %s\n", path.c_str());
    return 1;
  }
  std::printf("Writing %s: %d Hz, mono, 16 bit, in blocks of 100 ms;\nafter every second another reader opens it.\n\n",
              path.c_str(), kRateHz);
  if (!PrintHeader("at first", path)) return 1;
  std::printf("\n second  signal       written  readable  peak dB  mean dB  -36..+12 dB        samples\n");

  std::vector<std::int32_t> written;
  bool good = true;
  for (std::size_t second = 0; second < kPassages.size(); ++second) {
    for (std::int32_t block = 0; block < kRateHz / kBlockFrames; ++block) {
      const std::size_t start = written.size();
      for (std::int32_t i = 0; i < kBlockFrames; ++i) {
        written.push_back(SpeechLike(static_cast<std::int64_t>(written.size()), kPassages[second].amplitude));
      }
      sink->Write(written.data() + start, kBlockFrames);
    }

    LSoundSource source = LWaveFile::OpenSource(path.c_str());
    std::vector<std::int32_t> read(written.size());
    for (std::size_t at = 0; at < read.size(); at += kBlockFrames) source->Read(read.data() + at, kBlockFrames);
    const bool same = source->Error() == kSourceGood && read == written &&
                      source->GetEndSample() == static_cast<std::int32_t>(written.size());
    good = good && same;

    const std::int32_t* last = read.data() + read.size() - kRateHz;
    const int peak = DBFromPeak(GetBufferPeak(last, kRateHz, 1));
    const int mean = DBFromMeanSquare(GetBufferMeanSquare(last, kRateHz, 1));
    std::printf("%7zu  %-11s  %7zu  %8d  %7d  %7d  %s  %s\n", second + 1, kPassages[second].name, written.size(),
                source->GetEndSample(), peak, mean, Bar(mean).c_str(), same ? "all the same" : "DIFFERENT");
  }
  std::printf("(0 dB is 12 dB below full scale; -127 is silence)\n\n");
  if (!PrintHeader("before", path)) return 1;
  good = good && sink->Error() == kSinkGood;
  sink.Close();
  if (!PrintHeader("after", path)) return 1;
  const std::uintmax_t expected = kHeaderBytes + 2 * written.size();
  good = good && std::filesystem::file_size(path) == expected;
  std::printf("\n%s\n", good ? "Every frame was readable as soon as it was written." : "FAILED: see above.");
  return good ? 0 : 1;
}

// Mean level of the source's next second.
int NextSecondLevel(LSoundSource& source) {
  std::vector<std::int32_t> samples(kRateHz);
  for (std::int32_t at = 0; at < kRateHz; at += kBlockFrames) source->Read(samples.data() + at, kBlockFrames);
  return DBFromMeanSquare(GetBufferMeanSquare(samples.data(), kRateHz, 1));
}

int Compare(const char* beforePath, const char* afterPath) {
  LSoundSource before = LWaveFile::OpenSource(beforePath);
  LSoundSource after = LWaveFile::OpenSource(afterPath);
  for (const LSoundSource* source : {&before, &after}) {
    if ((*source)->Error() != kSourceGood || (*source)->Rate() != kRateHz || (*source)->Channels() != 1) {
      std::fprintf(stderr, "kiv-first-light: not two mono 8 kHz WAV files\n");
      return 1;
    }
  }
  std::printf(" second  before dB  -36..+12 dB        after dB  -36..+12 dB\n");
  for (std::int32_t second = 1; second <= before->GetEndSample() / kRateHz; ++second) {
    const int levelBefore = NextSecondLevel(before);
    const int levelAfter = NextSecondLevel(after);
    std::printf("%7d  %9d  %s  %8d  %s\n", second, levelBefore, Bar(levelBefore).c_str(), levelAfter,
                Bar(levelAfter).c_str());
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2) return Run(argv[1]);
  if (argc == 4 && std::strcmp(argv[1], "--compare") == 0) return Compare(argv[2], argv[3]);
  std::fprintf(stderr, "usage: kiv-first-light FILE | kiv-first-light --compare BEFORE AFTER\n");
  return 2;
}
