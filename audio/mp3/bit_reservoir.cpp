#include "audio/mp3/bit_reservoir.h"

#include <algorithm>
#include <cstring>

#include "audio/mp3/read_file.h"

bool MP3BitReservoir::Append(MP3ReadFile& file, int count) noexcept {
  const int kept = std::min(used_, kHistoryBytes);
  std::memmove(data_, data_ + used_ - kept, static_cast<std::size_t>(kept));
  frameStart_ = kept;
  used_ = kept;
  const auto wanted = static_cast<std::size_t>(std::clamp(count, 0, kMaxBytes - kHistoryBytes));
  if (file.Read(data_ + kept, wanted) != wanted) return false;
  used_ += static_cast<int>(wanted);
  std::memset(data_ + used_, 0, kSlackBytes);
  return true;
}
