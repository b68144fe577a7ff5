#pragma once

// WAV files as bytes, put together chunk by chunk, so that tests can make every kind of broken one.

#include <cstdint>
#include <string>

namespace kiv::test {

std::string Little16(std::uint32_t value);
std::string Little32(std::uint32_t value);

// Name, size and content; an odd content is followed by a pad byte.
std::string Chunk(const std::string& code, const std::string& content);
// The same with a size of its own choice and no pad byte.
std::string ChunkOfSize(const std::string& code, std::uint32_t size, const std::string& content);

struct FormatFields {
  std::uint32_t tag = 1;
  std::uint32_t channels = 1;
  std::uint32_t rateHz = 8000;
  std::uint32_t bits = 16;
};
// The 16 bytes of a format chunk's content.
std::string FormatBytes(const FormatFields& fields);

// "RIFF", size and "WAVE" in front of the chunks.
std::string Riff(const std::string& chunks);
// A usual file: format and data chunk.
std::string WaveBytes(const FormatFields& fields, const std::string& data);

}  // namespace kiv::test
