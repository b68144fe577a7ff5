#pragma once

// Two decoders of other people, to compare with: libmpg123 with float output and libavcodec's "mp3float". Both are
// made to decode every frame from the first on, tag frames too, and to trim nothing.

#include <string>
#include <vector>

namespace kiv::test {

struct ReferenceSound {
  int rate = 0;
  int channels = 0;
  std::vector<float> samples;  // interleaved, 1.0 is full scale
};

// core: a decoder name of libmpg123 such as "generic"; null for its choice.
ReferenceSound DecodeWithMpg123(std::string const& bytes, char const* core = nullptr);
// Takes the frames by their headers, from the first byte on (which must begin one).
ReferenceSound DecodeWithLibavcodec(std::string const& bytes);

}  // namespace kiv::test
