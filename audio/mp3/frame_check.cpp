#include "audio/mp3/frame_check.h"

#include <cstdint>

#include "audio/mp3/header.h"
#include "audio/mp3/read_file.h"

namespace kiv {
namespace {

constexpr int kInARow = 3;
// Pictures in tags in front of the sound have false headers, about one in 16 KB.
constexpr int kMostHeaders = 1000;

}  // namespace

bool HoldsMp3Frames(char const* path) noexcept {
  MP3ReadFile file(path);
  // Finds the next header; true in direct when nothing lay before it.
  const auto next = [&file](MP3Header& header, bool& direct) {
    const std::int64_t before = file.Remaining();
    if (!header.ReadHeader(file)) return false;
    direct = before - file.Remaining() == MP3Header::kBytes + (header.hasCrc ? MP3Header::kCrcBytes : 0);
    return true;
  };

  MP3Header last;
  bool onlyFrames = false;
  if (!next(last, onlyFrames)) return false;
  int inARow = 1;
  for (int headers = 1; headers < kMostHeaders; ++headers) {
    file.Skip(last.BodyBytes());
    MP3Header header;
    bool direct = false;
    if (!next(header, direct)) return onlyFrames;
    onlyFrames = onlyFrames && direct;
    inARow = direct && header.RateRow() == last.RateRow() ? inARow + 1 : 1;
    if (inARow == kInARow) return true;
    last = header;
  }
  return false;
}

}  // namespace kiv
