// kiv-rate-responses [FROM TO]: measures the sample-rate conversions as they are, with tones, from one rate to another
// or between all usual rates; scripts/draw-responses makes docs/rate-conversion.* of it. Prints comma-separated lines:
//
//   pair,SIDE,FROM,TO,STAGES,GAIN_DB,PASS_HZ,REJECTION_DB,SNR_DB,PITCH_PERCENT
//   curve,SIDE,FROM,TO,TONE_HZ,LEVEL_DB
//
// SIDE is source or sink. A curve is the level of all that comes out for a tone that goes in: above half of the output
// rate all of it is alias. PASS_HZ is the highest tone that comes out within 3 dB, 0 where not even 200 Hz do.
// REJECTION_DB is, for a reduction, how far the loudest alias of any tone above half of the output rate is down; else
// how far everything is down that is not the tone, for tones up to 0.85 of half the input rate. SNR_DB is that of a 1
// kHz tone 6 dB below full scale, with 16-bit rounding of the input. PITCH_PERCENT is by how much the rational step
// shifts the pitch.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <vector>

#include "audio/convert_rate.h"
#include "audio/convert_rate_sink.h"
#include "tests/support/test_signals.h"

namespace {

constexpr std::int32_t kRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000, 96000};
constexpr double kAmplitude = 262144.0;   // 6 dB below full scale.
constexpr std::int32_t kMeasured = 4000;  // Output frames.
constexpr std::int32_t kSkipped = 300;    // Before them, while the filters fill.
constexpr int kCurvePoints = 240;

struct Conversion {
  bool sink;
  std::int32_t from;
  std::int32_t to;

  int Stages() const { return !sink && std::int64_t{4} * to < from ? 2 : 1; }
  // Output frames per input frame as the steps have it.
  double Ratio() const {
    if (from == to) return 1.0;
    if (sink) return One(from, to, 15);
    return Stages() == 2 ? One(from, 2 * to, 63) * One(2 * to, to, 63) : One(from, to, 63);
  }
  static double One(std::int32_t from, std::int32_t to, std::int32_t taps) {
    const LConvertRateBase filter(from, to, taps, false);
    return static_cast<double>(filter.Phases()) / filter.Step();
  }
};

// What comes out for a tone on the 16-bit grid.
std::vector<std::int32_t> Through(const Conversion& conversion, double hz) {
  const std::int32_t wanted = kSkipped + kMeasured;
  const auto needed = static_cast<std::int32_t>(std::int64_t{wanted + 200} * conversion.from / conversion.to) + 200;
  std::vector<std::int32_t> tone = kiv::test::Sine(hz, kAmplitude / 16.0, conversion.from, needed, 1);
  for (std::int32_t& sample : tone) sample *= 16;
  std::vector<std::int32_t> out;
  if (conversion.sink) {
    auto* const output = new kiv::test::MemorySink(conversion.to, 1);
    LSoundSink handle(output);
    LSoundSink sink = LSinkConvertRate(conversion.from).OpenSink(handle);
    sink->Write(tone.data(), needed);
    out.assign(output->Samples().begin() + kSkipped, output->Samples().begin() + wanted);
  } else {
    LSoundSource input = kiv::test::OpenMemory(std::move(tone), conversion.from, 1);
    LSoundSource source = LSPConvertRate(conversion.to).OpenSource(input);
    out = kiv::test::ReadInPieces(source, wanted, {wanted});
    out.erase(out.begin(), out.begin() + kSkipped);
  }
  return out;
}

double Decibels(double power) {
  return 10.0 * std::log10(std::max(power, 1e-20));
}

double Power(const std::vector<std::int32_t>& samples) {
  double sum = 0.0;
  for (const double sample : samples) sum += sample * sample;
  return sum / static_cast<double>(samples.size());
}

// Level of all that comes out, relative to the tone.
double Level(const Conversion& conversion, double hz) {
  return Decibels(Power(Through(conversion, hz)) / (kAmplitude * kAmplitude / 2.0));
}

struct Fit {
  double tone;  // Power.
  double rest;
};

// Least squares of a sine of that frequency (radians per frame).
Fit FitTone(const std::vector<std::int32_t>& samples, double step) {
  double cc = 0.0;
  double ss = 0.0;
  double cs = 0.0;
  double xc = 0.0;
  double xs = 0.0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double c = std::cos(step * static_cast<double>(i));
    const double s = std::sin(step * static_cast<double>(i));
    cc += c * c;
    ss += s * s;
    cs += c * s;
    xc += c * samples[i];
    xs += s * samples[i];
  }
  const double determinant = cc * ss - cs * cs;
  const double a = (xc * ss - xs * cs) / determinant;
  const double b = (xs * cc - xc * cs) / determinant;
  Fit fit{0.0, 0.0};
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double tone = a * std::cos(step * static_cast<double>(i)) + b * std::sin(step * static_cast<double>(i));
    fit.tone += tone * tone;
    fit.rest += (samples[i] - tone) * (samples[i] - tone);
  }
  return fit;
}

Fit FitThrough(const Conversion& conversion, double hz) {
  const double step = 2.0 * std::numbers::pi * hz / conversion.from / conversion.Ratio();
  return FitTone(Through(conversion, hz), step);
}

double PassBand(const Conversion& conversion) {
  double low = 200.0;
  double high = std::min(conversion.from, conversion.to) / 2.0;
  if (Level(conversion, low) <= -3.0) return 0.0;
  if (Level(conversion, high - 1.0) > -3.0) return high;
  while (high - low > 1.0) {
    const double middle = (low + high) / 2.0;
    (Level(conversion, middle) > -3.0 ? low : high) = middle;
  }
  return low;
}

double Rejection(const Conversion& conversion) {
  double worst = -200.0;
  if (conversion.to < conversion.from) {
    const double from = conversion.to / 2.0;
    const double to = conversion.from / 2.0;
    for (int i = 0; i < kCurvePoints; ++i) {
      worst = std::max(worst, Level(conversion, from + (to - from) * (i + 0.5) / kCurvePoints));
    }
  } else {
    for (int i = 1; i <= 40; ++i) {
      const Fit fit = FitThrough(conversion, 0.85 * conversion.from / 2.0 * i / 40.0);
      worst = std::max(worst, Decibels(fit.rest / fit.tone));
    }
  }
  return -worst;
}

void Measure(const Conversion& conversion) {
  const char* const side = conversion.sink ? "sink" : "source";
  const Fit tone = FitThrough(conversion, 1000.0);
  const double nominal = static_cast<double>(conversion.to) / conversion.from;
  std::printf("pair,%s,%d,%d,%d,%.2f,%.0f,%.1f,%.1f,%.3f\n", side, conversion.from, conversion.to, conversion.Stages(),
              Decibels(tone.tone / kMeasured / (kAmplitude * kAmplitude / 2.0)), PassBand(conversion),
              Rejection(conversion), Decibels(tone.tone / tone.rest), 100.0 * (nominal / conversion.Ratio() - 1.0));
  for (int i = 0; i < kCurvePoints; ++i) {
    const double hz = conversion.from / 2.0 * (i + 0.5) / kCurvePoints;
    std::printf("curve,%s,%d,%d,%.1f,%.2f\n", side, conversion.from, conversion.to, hz, Level(conversion, hz));
  }
}

void MeasureBothSides(std::int32_t from, std::int32_t to) {
  for (const bool sink : {false, true}) Measure({sink, from, to});
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::atoi(argv[1]) > 0 && std::atoi(argv[2]) > 0) {
    MeasureBothSides(std::atoi(argv[1]), std::atoi(argv[2]));
  } else if (argc == 1) {
    for (const std::int32_t from : kRates) {
      for (const std::int32_t to : kRates) {
        if (from != to) MeasureBothSides(from, to);
      }
    }
  } else {
    std::fprintf(stderr, "usage: kiv-rate-responses [FROM TO]\n");
    return 2;
  }
  return 0;
}
