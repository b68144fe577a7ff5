#pragma once

// Lets a reader of small blocks take a source in large pieces, so that a file is read in few system calls.
//
//   Rule     samples, positions and end are those of the input, whatever the sizes of the reads. Near its end the
//            input is read as asked, so a position there is the input's own to the frame, also where a source
//            counts differently from what it delivers (a rate converter).
//   Threads  as in sound_source.h.
//   Errors   as LSoundProcessBase.
//   Owns     one reference to the input, a buffer of at least 64 KiB.

#include <cstdint>
#include <vector>

#include "audio/sound_process.h"

namespace kiv {

class LSRCReadAhead : public LSoundProcessBase {
 public:
  explicit LSRCReadAhead(LSoundSource& input);
  void Read(std::int32_t* buffer, std::int32_t frames) override;
  std::int32_t GetPositionSample() const override;
  void Seek(std::int32_t frame) override;

 private:
  std::int32_t bufferFrames_;
  std::int32_t framesLeft_ = 0;  // At the end of the buffer.
  std::vector<std::int32_t> buffer_;
};

}  // namespace kiv
