#include "tests/support/wave_bytes.h"

namespace kiv::test {

std::string Little16(std::uint32_t value) {
  return {static_cast<char>(value & 255), static_cast<char>(value >> 8 & 255)};
}
std::string Little32(std::uint32_t value) {
  return Little16(value & 65535) + Little16(value >> 16);
}

std::string Chunk(const std::string& code, const std::string& content) {
  return ChunkOfSize(code, static_cast<std::uint32_t>(content.size()), content) + std::string(content.size() % 2, '\0');
}
std::string ChunkOfSize(const std::string& code, std::uint32_t size, const std::string& content) {
  return code + Little32(size) + content;
}

std::string FormatBytes(const FormatFields& fields) {
  const std::uint32_t frameBytes = (fields.bits + 7) / 8 * fields.channels;
  return Little16(fields.tag) + Little16(fields.channels) + Little32(fields.rateHz) +
         Little32(fields.rateHz * frameBytes) + Little16(frameBytes) + Little16(fields.bits);
}

std::string Riff(const std::string& chunks) {
  return "RIFF" + Little32(static_cast<std::uint32_t>(chunks.size() + 4)) + "WAVE" + chunks;
}
std::string WaveBytes(const FormatFields& fields, const std::string& data) {
  return Riff(Chunk("fmt ", FormatBytes(fields)) + Chunk("data", data));
}

}  // namespace kiv::test
