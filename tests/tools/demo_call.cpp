// What the demo call (scripts/demo) needs of sound: the telephone call that it records, and what has become of it.
//
//   kiv-demo-call make FILE                  writes the call: two speakers in turns, the far one 12 dB fainter
//   kiv-demo-call recording BEFORE AFTER     length and levels of a recording before and after it was levelled
//   kiv-demo-call heard LINE COUNT PROMPT... when each prompt was heard in what was played to the line; COUNT times or
//                                            oftener is good
//
// Exit status: 0 done, 1 failed, 2 wrong arguments. Levels are in dB below full scale.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <numbers>
#include <optional>
#include <string>
#include <vector>

#include "audio/wave_file.h"
#include "tests/support/test_signals.h"

namespace {

constexpr std::int32_t kRateHz = 8000;
constexpr double kFullScale = 524288;

// --- The call

struct Speaker {
  double pitchHz;
  double formantsHz[2];
  double amplitude;  // of full scale
};
constexpr Speaker kNear = {118, {620, 1250}, 0.36};
constexpr Speaker kFar = {205, {740, 1900}, 0.09};

// The harmonics of a voice, strong near its formants, in syllables of which no two are the same.
void Speak(const Speaker& speaker, double seconds, kiv::test::Random& random, std::vector<std::int32_t>& call) {
  const auto end = call.size() + static_cast<std::size_t>(seconds * kRateHz);
  double phase = 0;
  while (call.size() < end) {
    const double length = 0.14 + random.Between(0, 120) / 1000.0;
    const double loudness = 0.55 + random.Between(0, 45) / 100.0;
    const double pitch = speaker.pitchHz * (0.92 + random.Between(0, 16) / 100.0);
    const double shift = 0.85 + random.Between(0, 30) / 100.0;
    const auto frames = static_cast<std::int32_t>(length * kRateHz);
    for (std::int32_t i = 0; i < frames && call.size() < end; ++i) {
      const double place = static_cast<double>(i) / frames;
      phase += pitch * (1.03 - 0.06 * place) / kRateHz;
      double sum = 0;
      for (int harmonic = 1; harmonic * pitch < 3400; ++harmonic) {
        double weight = 0.02;
        for (const double formant : speaker.formantsHz) {
          const double distance = (harmonic * pitch - formant * shift) / 160;
          weight += 1 / (1 + distance * distance);
        }
        sum += weight * std::sin(2 * std::numbers::pi * harmonic * phase);
      }
      const double envelope = std::pow(std::sin(std::numbers::pi * place), 0.7) * loudness;
      call.push_back(static_cast<std::int32_t>(kFullScale * speaker.amplitude * 0.28 * envelope * sum));
    }
    call.insert(call.end(), static_cast<std::size_t>(random.Between(100, 500)), 0);
  }
}

bool Make(const char* path) {
  kiv::test::Random random(1);
  std::vector<std::int32_t> call;
  for (int turn = 0; turn < 12; ++turn) {
    Speak(turn % 2 == 0 ? kNear : kFar, 2.0 + random.Between(0, 20) / 10.0, random, call);
    call.insert(call.end(), kRateHz * 2 / 5, 0);
  }
  for (std::int32_t& sample : call) sample = std::clamp(sample + random.Between(-300, 300), -524288, 524272);
  LSoundSink sink = LWaveFile::OpenSinkPCM(path, kRateHz, 1, 16, 0);
  sink->Write(call.data(), static_cast<std::int32_t>(call.size()));
  if (sink->Error() == kSinkGood) return true;
  std::fprintf(stderr, "kiv-demo-call: cannot write %s\n", path);
  return false;
}

// --- What has become of it

std::optional<std::vector<std::int32_t>> SamplesOf(const char* path) {
  LSoundSource source = LWaveFile::OpenSource(path);
  if (source->Error() != kSourceGood || source->Rate() != kRateHz || source->Channels() != 1) {
    std::fprintf(stderr, "kiv-demo-call: %s is not a mono WAV file of %d Hz\n", path, kRateHz);
    return std::nullopt;
  }
  return kiv::test::ReadInPieces(source, source->GetEndSample(), {8192});
}

double Decibels(double power) {
  return power > 0 ? 10 * std::log10(power / (kFullScale * kFullScale)) : -127;
}

double MeanPower(const std::int32_t* samples, std::size_t frames) {
  double sum = 0;
  for (std::size_t i = 0; i < frames; ++i) sum += static_cast<double>(samples[i]) * samples[i];
  return frames > 0 ? sum / static_cast<double>(frames) : 0;
}

struct Levels {
  double rms;
  double peak;
  double loud;   // The second that is louder than nine tenths of those in which somebody speaks,
  double faint;  // and the one that is fainter.
};

Levels LevelsOf(const std::vector<std::int32_t>& samples) {
  constexpr double kSpeechDb = -45;
  std::vector<double> seconds;
  for (std::size_t at = 0; at + kRateHz <= samples.size(); at += kRateHz) {
    const double level = Decibels(MeanPower(samples.data() + at, kRateHz));
    if (level > kSpeechDb) seconds.push_back(level);
  }
  std::sort(seconds.begin(), seconds.end());
  double peak = 0;
  for (const std::int32_t sample : samples) peak = std::max(peak, std::abs(static_cast<double>(sample)));
  const double nobody = -127;
  return {.rms = Decibels(MeanPower(samples.data(), samples.size())),
          .peak = Decibels(peak * peak),
          .loud = seconds.empty() ? nobody : seconds[seconds.size() - 1 - seconds.size() / 10],
          .faint = seconds.empty() ? nobody : seconds[seconds.size() / 10]};
}

bool ShowRecording(const char* beforePath, const char* afterPath) {
  const auto before = SamplesOf(beforePath);
  const auto after = SamplesOf(afterPath);
  if (!before || !after) return false;
  std::printf("  %s: %.1f s\n", std::filesystem::path(afterPath).filename().c_str(),
              static_cast<double>(after->size()) / kRateHz);
  std::printf("    %-18s %10s %10s %14s %15s\n", "", "RMS", "peak", "loud speaker", "faint speaker");
  for (const auto& [name, samples] : {std::pair("as it was recorded", &*before), std::pair("levelled", &*after)}) {
    const Levels levels = LevelsOf(*samples);
    std::printf("    %-18s %7.1f dB %7.1f dB %11.1f dB %12.1f dB\n", name, levels.rms, levels.peak, levels.loud,
                levels.faint);
  }
  if (before->size() == after->size() && !before->empty() && *before != *after) return true;
  std::fprintf(stderr, "kiv-demo-call: %s has not been levelled\n", afterPath);
  return false;
}

// Where the prompt is found in the line again, as the times at which it began: a tenth of a second of it, the loudest
// of its first seconds, as on-hold music is not heard to its end.
std::vector<double> TimesHeard(const std::vector<std::int32_t>& line, const std::vector<std::int32_t>& prompt) {
  constexpr std::size_t kWindow = kRateHz / 10;
  constexpr std::size_t kFirst = 4 * kRateHz;
  constexpr double kAlike = 0.98;
  std::vector<double> times;
  if (prompt.size() < kWindow || line.size() < kWindow) return times;
  std::size_t loudest = 0;
  double power = 0;
  for (std::size_t at = 0; at + kWindow <= std::min(prompt.size(), kFirst); at += kWindow / 2) {
    const double here = MeanPower(prompt.data() + at, kWindow);
    if (here > power) {
      power = here;
      loudest = at;
    }
  }
  if (power <= 0) return times;
  // Whole numbers, so that the running sum stays exact.
  const auto square = [&line](std::size_t i) { return std::int64_t{line[i]} * line[i]; };
  std::int64_t sum = 0;
  for (std::size_t i = 0; i < kWindow - 1; ++i) sum += square(i);
  std::size_t first = 0;  // A sound that repeats itself is like itself at more than one place: the best one counts.
  double best = 0;
  for (std::size_t at = 0; at + kWindow <= line.size(); ++at) {
    sum += square(at + kWindow - 1) - (at > 0 ? square(at - 1) : 0);
    const double there = static_cast<double>(sum) / kWindow;
    // As loud as the prompt, within 2 dB.
    if (there < power * 0.63 || there > power * 1.58) continue;
    double product = 0;
    for (std::size_t i = 0; i < kWindow; ++i) product += static_cast<double>(line[at + i]) * prompt[loudest + i];
    const double alike = product / kWindow / std::sqrt(there * power);
    if (alike < kAlike) continue;
    const double time = (static_cast<double>(at) - static_cast<double>(loudest)) / kRateHz;
    if (times.empty() || at >= first + prompt.size()) {
      first = at;
      best = alike;
      times.push_back(time);
    } else if (alike > best) {
      best = alike;
      times.back() = time;
    }
  }
  return times;
}

// Counts and paths of prompts in turn.
bool ShowHeard(const char* linePath, const std::vector<const char*>& wanted) {
  const auto line = SamplesOf(linePath);
  if (!line) return false;
  std::printf("  %s: %.1f s\n", std::filesystem::path(linePath).filename().c_str(),
              static_cast<double>(line->size()) / kRateHz);
  bool all = true;
  for (std::size_t i = 0; i + 1 < wanted.size(); i += 2) {
    const auto prompt = SamplesOf(wanted[i + 1]);
    if (!prompt) return false;
    const auto times = TimesHeard(*line, *prompt);
    const bool enough = times.size() >= std::strtoul(wanted[i], nullptr, 10);
    std::printf("    %-18s", std::filesystem::path(wanted[i + 1]).stem().c_str());
    for (const double time : times) std::printf(" %7.1f s", time);
    std::printf("%s\n", enough ? "" : "  too few");
    all = all && enough;
  }
  if (!all) std::fprintf(stderr, "kiv-demo-call: a prompt was not heard on the line\n");
  return all;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<const char*> arguments(argv + 1, argv + argc);
  const std::string command = arguments.empty() ? "" : arguments[0];
  if (command == "make" && argc == 3) return Make(argv[2]) ? 0 : 1;
  if (command == "recording" && argc == 4) return ShowRecording(argv[2], argv[3]) ? 0 : 1;
  if (command == "heard" && argc >= 5 && argc % 2 == 1) {
    return ShowHeard(argv[2], {arguments.begin() + 2, arguments.end()}) ? 0 : 1;
  }
  std::fprintf(stderr, "usage: kiv-demo-call make FILE | recording BEFORE AFTER | heard LINE COUNT PROMPT...\n");
  return 2;
}
