#pragma once

// The sound system that calls come and go by: the sound server, or a simulated line for people without an adapter.
//   Threads  main. Every device is closed before it goes, which finishes the file of what was played.
//   Errors   a sound server that is not there is no error: the devices say so when they are opened.

#include <memory>

#include "app/options.h"
#include "platform/pulse/pulse_input.h"
#include "platform/pulse/pulse_output.h"
#include "platform/simulated/simulated_line.h"

namespace kiv {

class SoundSystem {
 public:
  SoundSystem() = default;
  SoundSystem(const SoundSystem&) = delete;
  SoundSystem& operator=(const SoundSystem&) = delete;

  // Puts its ports into the services; with a simulated line the wall clock, too. False, and said why, when a file of
  // the options cannot be used.
  bool Open(const Options& options);

 private:
  std::unique_ptr<PulseServer> server_;
  std::unique_ptr<PulseInput> input_;
  std::unique_ptr<PulseOutput> output_;
  std::unique_ptr<SimulatedLine> line_;
};

}  // namespace kiv
