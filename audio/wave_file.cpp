#include "audio/wave_file.h"

#include "audio/wave_header.h"
#include "audio/wave_sink.h"
#include "audio/wave_source.h"

LSoundSource LWaveFile::OpenSource(char const* path) {
  LReadFile file = LReadFile::Open(path);
  if (!file.IsOpen()) return LSoundSource(new LSoundSourceError(kSourceNotOpened));
  kiv::WaveFormat format;
  const SourceError error = kiv::ReadWaveHeader(file.Descriptor(), format);
  if (error != kSourceGood) return LSoundSource(new LSoundSourceError(error));
  const auto rateHz = static_cast<std::int32_t>(format.rateHz);
  const auto channels = static_cast<std::uint8_t>(format.channels);
  if (format.bitsPerSample > 8) {
    return LSoundSource(new LSRCPCMFile<LSFLE16>(file, rateHz, channels, format.dataBytes));
  }
  // 0 bits a sample are read as 8: some writers leave the field empty.
  return LSoundSource(new LSRCPCMFile<LSFU8>(file, rateHz, channels, format.dataBytes));
}

LSoundSink LWaveFile::OpenSinkPCM(char const* path, std::int32_t rateHz, std::uint8_t channels, std::uint16_t bits,
                                  std::int32_t start) {
  if (bits > 16) return LSoundSink();
  if (bits > 8) return LSoundSink(new LSNKPCMFile<LSFLE16>(path, rateHz, channels, start));
  return LSoundSink(new LSNKPCMFile<LSFU8>(path, rateHz, channels, start));
}
