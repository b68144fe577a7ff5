#pragma once

// Automatic level control of a finished recording, in two passes over the whole of it.
//
// The first pass spools samples and block levels into two temporary files and finds each channel's speech level;
// the second (LDPSRCAutoGain, behind it a peak limiter) writes the levelled recording, rounded up to whole blocks
// of 20 ms. Work is done in slices, so that the caller can stop between any two.
//
//   Units    frequencies in Hz, levels in dB.
//   Output   of fewer channels or a lower rate than the input: analysis already runs there. Of more channels or a
//            higher rate: conversion comes before the limiter. It is written in large pieces and is whole when a
//            slice has answered false; what a stopped run had ready is written by the destructor.
//   Input    mono and stereo of any rate go into one another. More channels need an output of the same channel
//            count and rate. An input that goes on well beyond its end is given up.
//   State    finished from the start when the input is in error, there is no usable output, its channel count
//            or rate cannot be reached, or there is no room for temporary files.
//   Threads  one at a time. SetTemporaryFolder: any.
//   Errors   Failed(), at any time: the result, if there is one, is not the whole levelled recording. Work goes on
//            all the same where it can.
//   Owns     a reference to input and output, both temporary files (removed by the destructor).

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "audio/processing/auto_level_control.h"
#include "audio/processing/one_pole.h"
#include "audio/processing/spool_file.h"
#include "audio/sound_sink.h"
#include "audio/sound_source.h"
#include "foundation/file_descriptor.h"
#include "foundation/level.h"

class LDPSRCAutoGain;

class LDPAutoGain {
 public:
  // trim: leave out what is much quieter than speech at both ends. f1, f2: the level is measured above f1, with
  // 6 dB more weight above f2. a, b: the tracked level stays between -a and -b. c, slope, d: the compression curve,
  // see LCompressorTableDB.
  LDPAutoGain(LSoundSource& input, LSoundSink& output, bool trim, std::int32_t f1, std::int32_t f2, LDB a, LDB b, LDB c,
              double slope, LDB d);
  ~LDPAutoGain();
  LDPAutoGain(const LDPAutoGain&) = delete;
  LDPAutoGain& operator=(const LDPAutoGain&) = delete;

  // One block of work. False when there is no more to do.
  bool TimeSlice();

  bool Failed() const noexcept;
  // 0 to 1 over both passes.
  double Progress() const noexcept;

  // Where objects made from now on put their temporary files; best the folder of the result. At first, and after an
  // empty text, the program's data folder, where the next start looks for leftovers; without one the system's folder
  // for temporary files. They are hidden and never match "*.wav".
  static void SetTemporaryFolder(const std::string& folder);
  // Removes temporary files that a crash left in the folder, and answers how many. Those in use stay.
  static int RemoveLeftovers(const std::string& folder);

 private:
  enum class State { Finished = 0, Analysing = 1, ApplyingGain = 2 };

  struct ChannelState {
    kiv::SpeechFilter::State filter;
    LAutoLevelControl levels;
  };

  void EnterPass(State pass);
  // Fits the input to the output; false when it cannot be.
  bool FitInput();
  bool OpenFiles();
  // One block; several together where the end is far, for the slices to come.
  void Analyse();
  void AnalyseBlocks(std::int32_t count);
  // Puts the gain pass in the place of the input; false when it cannot be.
  bool StartGain();
  // One block.
  void ApplyGain();
  void Finish();
  // Passes what has collected to the output.
  void WriteResult();

  State state_ = State::Finished;
  LSoundSource input_;
  LSoundSink output_;
  bool trim_;
  LDB a_;
  LDB b_;
  LDB c_;
  LDB d_;
  double slope_;
  std::string samplePath_;
  std::string levelPath_;
  LReadWriteFile sampleFile_;
  LReadWriteFile levelFile_;
  // Until the files have gone to the gain pass.
  std::optional<kiv::SpoolWriter> sampleWriter_;
  std::optional<kiv::SpoolWriter> levelWriter_;
  std::int32_t blockFrames_ = 0;
  std::int32_t groupBlocks_ = 0;
  std::int32_t blocksAhead_ = 0;  // Analysed for slices to come.
  std::vector<std::int32_t> samples_;
  std::vector<std::int32_t> weighted_;
  kiv::SpeechFilter filter_{0, 0};
  std::vector<ChannelState> channels_;
  std::int32_t blocks_ = 0;
  // In this pass; below 0 the input never ends.
  std::int64_t framesAllowed_ = 0;
  // Lives as long as input_ holds the chain behind it.
  LDPSRCAutoGain* gainSource_ = nullptr;
  std::vector<std::int32_t> result_;
  std::int32_t resultFrames_ = 0;
  bool failed_ = false;
};
