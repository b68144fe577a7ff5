#include "recorder/prompt_chain.h"

#include "audio/processing/compressor.h"
#include "audio/processing/gain.h"
#include "audio/processing/high_pass.h"
#include "audio/wave_file.h"
#include "foundation/file.h"
#include "recorder/activity_log.h"
#include "recorder/setting_keys.h"
#include "recorder/settings.h"

namespace kiv {
namespace {

// 2/3 dB less for each dB above the threshold, per 50 ms, at any level above it.
constexpr double kCompressorBase = 0.9261187281287935;
constexpr LSoundTime kCompressorBlock = 50;
constexpr LDB kCompressorKnee = 127;

}  // namespace

void PathOfPrompt(char (&path)[kTextSize], char const* name) {
  tstrmcpy(path, gSettings.dataFolder);
  LFile::_FilePathCat(path, name, ".wav");
}

LSoundSource OpenPrompt(char const* path) {
  LSoundSource source = LWaveFile::OpenSource(path);
  if (source->Error() != kSourceGood) {
    LogFile("Error: File Missing: ", path);
    return source;
  }
  const std::int32_t cutOffHz = GetSetting(kAudioHighPass);
  if (cutOffHz > 20) source = LSPHighPass(cutOffHz).OpenSource(source);
  const LDB threshold = GetSetting(kAudioCompressorThreshold);
  if (threshold < -2) {
    source = LSPCompressor(threshold, kCompressorBase, kCompressorBlock, kCompressorKnee).OpenSource(source);
  }
  const LDB gain = GetSetting(kAudioGain);
  if (gain < -1 || gain > 1) source = LSPGain(gain).OpenSource(source);
  return source;
}

}  // namespace kiv
