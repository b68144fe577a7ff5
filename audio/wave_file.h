#pragma once

// RIFF WAVE files of uncompressed PCM, read as sources and written as sinks.
//
//   Formats  8 bit unsigned (LSFU8) and 16 bit signed little-endian (LSFLE16), 1 to 255 channels.
//   Errors   in the object: see the two functions. No lock is taken on the file, so a recording can be read
//            while it is being written.
//   Threads  as every stream (sound_source.h): opened on one thread, read or written by one at a time.

#include <cstdint>

#include "audio/sound_sink.h"
#include "audio/sound_source.h"

class LWaveFile {
 public:
  // A source on the file at path. On failure the handle holds an LSoundSourceError with
  //   kSourceNotOpened     the file could not be opened for reading;
  //   kSourceInvalid       not a WAV file: no RIFF header, no format, no sound data, cut short, a chunk size that
  //                        leads nowhere, channels outside 1 to 255 or a rate outside 1 to 196000 Hz;
  //   kSourceNotSupported  not PCM, or more than 16 bits a sample.
  // Nothing in the file is trusted: sizes are bounds for reading and never for memory.
  static LSoundSource OpenSource(char const* path);

  // A sink that writes the file at path. bits 0 to 8 write 8-bit samples, 9 to 16 write 16-bit samples, more give
  // an empty handle. start is the number of frames of an existing file to keep (0 or less: none); the format of
  // that file is the caller's knowledge. A file that cannot be opened gives a sink with kSinkFailed which
  // swallows what it is given.
  static LSoundSink OpenSinkPCM(char const* path, std::int32_t rateHz, std::uint8_t channels, std::uint16_t bits,
                                std::int32_t start);
};
