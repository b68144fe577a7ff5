#include "tests/recorder/engine_fixture.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "tests/support/queued_recordings.h"

namespace kiv::test {

EngineFixture::EngineFixture(const SimulatedLine::Options& options) : line(MakeFunction(NoiseAt), options) {
  setenv("TZ", "UTC0", 1);
  tzset();
  services.soundInput = &input;
  services.clock = &line.line.WallClock();
  queue.SetListFilePath(DataPath("bgalc.dat").c_str());
  queue.Shutdown();
  for (const Prompt& prompt : kPrompts) MakePrompt(prompt.name, prompt.sample == kPrompts[2].sample ? 0.5 : 1.0);
  const EventQueue::Handler note = [this](const Event& event) {
    if (event.Kind() == kEngineDisconnected) ++disconnects;
    if (event.Kind() == kEngineTime) {
      times.push_back(event.Get<LSoundTime>(kEngineTimeParameter, kEngineTimeParameter).value());
    }
    if (event.Kind() == kEngineLevel) {
      levels.push_back(event.Get<std::int32_t>(kEngineLevelParameter, kEngineLevelParameter).value());
    }
    return true;
  };
  for (const std::uint32_t kind : {kEngineTime, kEngineLevel, kEngineDisconnected}) {
    handlers_.push_back(EventQueue::Main().Install(kEngineClass, kind, note));
  }
  line.line.OnPlayed([this](const PlayedSound& sound) { played.push_back(sound); });
  gStatusWindow.SetControl(this);
  MakeEngine();
}

EngineFixture::~EngineFixture() {
  if (engine != nullptr) engine->SndStop();
  engine.reset();
  line.line.Settle();
  gStatusWindow.SetControl(nullptr);
  for (const auto handler : handlers_) EventQueue::Main().Remove(handler);
}

void EngineFixture::MakeEngine() {
  engine.reset();
  engine = std::make_unique<LKivEngine>(queue);
  engine->SetEventQueue(&EventQueue::Main());
}

void EngineFixture::MakePrompt(const std::string& name, double seconds) {
  std::int32_t sample = 0;
  for (const Prompt& prompt : kPrompts) {
    if (name == prompt.name) sample = prompt.sample * 16;
  }
  const std::vector<std::int32_t> samples(static_cast<std::size_t>(seconds * kRate), sample);
  LSoundSink sink = LWaveFile::OpenSinkPCM(DataPath(name + ".wav").c_str(), kRate, 1, 16, 0);
  sink->Write(samples.data(), static_cast<std::int32_t>(samples.size()));
}

std::vector<std::string> EngineFixture::Queued() const {
  return QueuedRecordings(DataPath("bgalc.dat"));
}

std::vector<std::string> EngineFixture::QueuedNames() const {
  std::vector<std::string> names;
  for (const std::string& path : Queued()) names.push_back(std::filesystem::path(path).stem());
  return names;
}

std::int32_t EngineFixture::FramesOf(const std::string& path) {
  const LSoundSource source = LWaveFile::OpenSource(path.c_str());
  EXPECT_EQ(source->Error(), kSourceGood) << path;
  return source->GetEndSample();
}

bool EngineFixture::IsFinished(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  char header[46];
  return file.read(header, sizeof header) && std::string(header + 42, 4) != "\xff\xff\xff\xff";
}

void EngineFixture::ShowStatus(const std::string& /*log*/) {
  for (const std::string& path : Queued()) {
    if (!std::filesystem::exists(path)) continue;  // The test has removed it.
    EXPECT_TRUE(IsFinished(path)) << path << " was handed over too early";
  }
}

std::vector<std::string> EngineFixture::Heard() const {
  struct Run {
    std::int64_t from;
    std::int64_t frames;
    std::int16_t sample;
  };
  std::vector<Run> runs;
  for (const PlayedSound& sound : played) {
    if (sound.samples.empty()) continue;
    const std::int64_t from = FramesFromNs(sound.startNs, kRate);
    EXPECT_EQ(NsFromFrames(from, kRate), sound.startNs) << "not at a frame of the line";
    EXPECT_EQ(sound.rateHz, kRate);
    for (const std::int16_t sample : sound.samples) EXPECT_EQ(sample, sound.samples.front());
    const auto frames = static_cast<std::int64_t>(sound.samples.size());
    if (!runs.empty() && runs.back().sample == sound.samples.front() && runs.back().from + runs.back().frames == from) {
      runs.back().frames += frames;
    } else {
      runs.push_back({from, frames, sound.samples.front()});
    }
  }
  std::vector<std::string> heard;
  for (const Run& run : runs) {
    std::string text = "sample " + std::to_string(run.sample);
    for (const Prompt& prompt : kPrompts) {
      if (run.sample == prompt.sample) text = prompt.name;
    }
    text.append(" ")
        .append(std::to_string(run.from / 8))
        .append("-")
        .append(std::to_string((run.from + run.frames) / 8));
    heard.push_back(text);
  }
  return heard;
}

void EngineFixture::ExpectHoldsTheLine(const std::string& path, const Captured& capture,
                                       const std::vector<LineCore::Stretch>& stalls) const {
  ASSERT_TRUE(capture.ended) << path;
  const std::int64_t first = FramesFromNs(capture.from, kRate);
  std::int64_t to = capture.to;
  // What a stall hides is there, as silence, only when it is over.
  for (const LineCore::Stretch& stall : stalls) {
    if (to >= stall.from && to < stall.to) to = std::max(capture.from, stall.from);
  }
  std::int64_t frames = FramesFromNs(to - capture.from, kRate) / kBlock * kBlock;
  // The recorder counts its time from the second block on, and cuts off what is more than 50 ms beyond it.
  if (frames == kBlock) frames = kBlock / 2;
  LSoundSource source = LWaveFile::OpenSource(path.c_str());
  ASSERT_EQ(source->Error(), kSourceGood) << path;
  ASSERT_EQ(source->GetEndSample(), frames) << path;

  std::int64_t mean = 0;
  std::int64_t different = -1;
  std::vector<std::int32_t> samples(kBlock);
  for (std::int64_t at = 0; at < frames && different < 0; at += kBlock) {
    const auto piece = static_cast<std::size_t>(std::min<std::int64_t>(kBlock, frames - at));
    std::vector<std::int16_t> onLine(kBlock);
    for (std::int64_t i = 0; i < kBlock; ++i) onLine[static_cast<std::size_t>(i)] = NoiseAt(first + at + i, 0);
    for (const LineCore::Stretch& stall : stalls) {
      const std::int64_t from = std::max(FramesFromNs(stall.from, kRate) - first - at, std::int64_t{0});
      const std::int64_t end = std::min(FramesFromNs(stall.to, kRate) - first - at, std::int64_t{kBlock});
      for (std::int64_t i = from; i < end; ++i) onLine[static_cast<std::size_t>(i)] = 0;
    }
    const std::vector<std::int32_t> expected = WithoutOffset(onLine, 1, kRate, &mean);
    source->Read(samples.data(), static_cast<std::int32_t>(piece));
    for (std::size_t i = 0; i < piece && different < 0; ++i) {
      // As a 16-bit file keeps it: rounded to the nearest of its steps, a half up.
      if ((expected[i] + 8) / 16 * 16 - ((expected[i] + 8) % 16 < 0 ? 16 : 0) == samples[i]) continue;
      different = at + static_cast<std::int64_t>(i);
    }
  }
  EXPECT_EQ(different, -1) << path << " is not what was on the line, from this frame on";
}

}  // namespace kiv::test
