#include "app/sound_system.h"

#include <cstdio>
#include <utility>

#include "audio/wave_file.h"
#include "platform/clock.h"
#include "platform/services.h"

namespace kiv {
namespace {

constexpr std::int32_t kPlayedRateHz = 8000;  // Every prompt has it.

bool Refuse(const std::string& path, const char* reason) {
  std::fprintf(stderr, "kiv-recorder: %s: %s\n", path.c_str(), reason);
  return false;
}

}  // namespace

bool SoundSystem::Open(const Options& options) {
  if (options.linePath.empty()) {
    server_ = std::make_unique<PulseServer>();
    {
      // The server answers while the toolkit starts; the engine will ask for the sound input before the window shows.
      const PulseServer::Lock lock(*server_);
      server_->Prepare();
    }
    input_ = std::make_unique<PulseInput>(*server_);
    output_ = std::make_unique<PulseOutput>(*server_);
    services.soundInput = input_.get();
    services.soundOutput = output_.get();
    return true;
  }
  LSoundSource source = LWaveFile::OpenSource(options.linePath.c_str());
  if (source->Error() != kSourceGood) return Refuse(options.linePath, "is not a WAV file that can be played");
  SimulatedLine::Options line;
  line.speed = options.lineSpeed;
  if (services.clock != nullptr) line.startUnixMs = services.clock->UnixMilliseconds();
  auto signal = MakeSourceSignal(source, true);
  source = LSoundSource();  // The signal reads it on a thread of the line's.
  line_ = std::make_unique<SimulatedLine>(line, std::move(signal));
  if (!options.lineOutPath.empty()) {
    const LSoundSink sink = LWaveFile::OpenSinkPCM(options.lineOutPath.c_str(), kPlayedRateHz, 1, 16, 0);
    if (sink.IsEmpty() || sink->Error() != kSinkGood) return Refuse(options.lineOutPath, "cannot be written");
    line_->WriteOutputTo(sink);
  }
  services.soundInput = &line_->Input();
  services.soundOutput = &line_->Output();
  // On a fast line an hour's call is an hour for the names of recordings and the log as well.
  services.clock = &line_->WallClock();
  return true;
}

}  // namespace kiv
