#include "tests/audio/mp3/corpus.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <numbers>

#include "tests/support/temporary_folder.h"
#include "tests/support/test_signals.h"

namespace kiv::test {
namespace {

constexpr double kSeconds = 0.7;
constexpr int kSignals = 5;

// 0: chords with slow tremolo, the sides different. 1: clicks and short bursts on silence. 2: a sweep over the
// whole band at full scale. 3: noise in bursts. 4: all of these together.
double Value(int signal, int channel, double t, double rate, double noise) {
  constexpr double kTurn = 2 * std::numbers::pi;
  switch (signal) {
    case 0: {
      double sum = 0;
      for (const double hz : {220.0, 277.2, 329.6, 440.0, 1318.5}) {
        sum += std::sin(kTurn * hz * t * (1 + 0.002 * channel));
      }
      return 0.15 * sum * (1 + 0.5 * std::sin(kTurn * (5 + channel) * t));
    }
    case 1: {
      const double phase = std::fmod(t + 0.031 * channel, 0.113);
      return phase < 0.004 ? 0.9 * std::exp(-phase * 900) * std::sin(kTurn * 3000 * phase) : 0.0;
    }
    case 2:
      return 0.97 * std::sin(kTurn * (50 * t + rate * 0.24 / kSeconds * t * t));
    case 3:
      return std::fmod(t + 0.05 * channel, 0.2) < 0.07 ? 0.6 * noise : 0.003 * noise;
    default:
      return 0.3 * Value(0, channel, t, rate, noise) + 0.3 * Value(1, channel, t, rate, noise) +
             0.2 * Value(2, 0, t, rate, noise) + 0.2 * Value(3, channel, t, rate, noise);
  }
}

std::string Pcm(CorpusFile const& file) {
  const int frames = static_cast<int>(kSeconds * file.rate);
  Random random(static_cast<std::uint64_t>(file.signal + 1));
  std::string bytes;
  for (int i = 0; i < frames; ++i) {
    for (int c = 0; c < file.channels; ++c) {
      const double noise = random.Between(-10000, 10000) / 10000.0;
      const double value = std::clamp(Value(file.signal, c, double(i) / file.rate, file.rate, noise), -1.0, 1.0);
      const auto sample = static_cast<std::int16_t>(std::lround(32767 * value));
      bytes += static_cast<char>(sample & 0xFF);
      bytes += static_cast<char>(sample >> 8 & 0xFF);
    }
  }
  return bytes;
}

}  // namespace

std::vector<CorpusFile> Corpus() {
  std::vector<CorpusFile> files;
  int next = 0;
  const auto add = [&](int rate, const std::string& mode, const std::string& options) {
    const int channels = mode == "m" ? 1 : 2;
    std::string name = std::to_string(rate) + "_" + mode + "_" + options;
    std::replace(name.begin(), name.end(), ' ', '_');
    files.push_back({name, rate, channels, next++ % kSignals, "-m " + mode + " " + options});
  };
  for (const int rate : {44100, 48000, 32000}) {
    for (const char* mode : {"m", "s", "j", "f", "d"}) {
      for (const int kbits : {48, 128, 256}) add(rate, mode, "-b " + std::to_string(kbits));
    }
  }
  for (const int kbits : {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320}) {
    add(44100, "j", "-b " + std::to_string(kbits) + " -q 5");
  }
  for (const int rate : {22050, 24000, 16000, 11025, 12000, 8000}) {
    for (const char* mode : {"m", "s", "j"}) {
      for (const int kbits : {16, 64}) add(rate, mode, "-b " + std::to_string(kbits));
    }
  }
  for (const int kbits : {8, 24, 32, 40, 48, 56, 80, 96, 112, 128, 144, 160}) {
    add(24000, kbits < 100 ? "m" : "j", "-b " + std::to_string(kbits) + " -q 5");
  }
  for (const int rate : {44100, 48000, 22050, 16000}) {
    for (const char* quality : {"-V 0", "-V 2", "-V 5", "-V 9"}) add(rate, rate == 22050 ? "m" : "j", quality);
  }
  for (const int rate : {44100, 32000, 24000}) {
    for (const char* kbits : {"--abr 60", "--abr 110", "--abr 150"}) add(rate, "j", kbits);
  }
  for (const int rate : {44100, 24000, 12000}) {
    add(rate, "m", "-b 64 -t");
    add(rate, "j", "-b 64 -p");
    add(rate, "m", "-b 48 -p -t");
    add(rate, "j", "-b 64 --nores");
    add(rate, "j", "-b 64 -t");
    add(rate, "s", "-b 64 -p");
    add(rate, "s", "-b 64 -k");
  }
#if defined(KIV_SMALL_CORPUS)
  std::vector<CorpusFile> few;
  for (std::size_t i = 0; i < files.size(); i += 10) few.push_back(files[i]);
  return few;
#else
  return files;
#endif
}

std::string Encoded(CorpusFile const& file) {
  namespace fs = std::filesystem;
  const fs::path folder(KIV_CORPUS_FOLDER);
  fs::create_directories(folder);
  const fs::path path = folder / (file.name + ".mp3");
  if (!fs::exists(path)) {
    // Made under a name of its own and renamed, since another test may be at it too.
    const std::string working = path.string() + "." + std::to_string(getpid());
    WriteFile(working + ".pcm", Pcm(file));
    const std::string khz = std::to_string(file.rate / 1000.0);
    const std::string command = "lame --quiet -r --signed --bitwidth 16 --little-endian -s " + khz + " --resample " +
                                khz + " " + file.options + " " + working + ".pcm " + working;
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    fs::remove(working + ".pcm");
    if (fs::exists(working)) fs::rename(working, path);
  }
  return ReadFile(path.string());
}

}  // namespace kiv::test
