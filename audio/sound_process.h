#pragma once

// Base of every processing source (names beginning LSRC): a source that reads another one.
//
// A process object (names beginning LSP) holds parameters only. Its OpenSource(LSoundSource& input) returns a
// handle on the matching processing source, or the input itself where there is nothing to do; chains are
// built by feeding each result to the next.

#include "audio/sound_source.h"

class LSoundProcessBase : public LSoundSourceBase {
 public:
  // Rate, channels and peak of the input; holds a reference to it. Error kSourceInput when the input is in error.
  explicit LSoundProcessBase(LSoundSource& input) noexcept;

  std::int32_t GetPositionSample() const override;
  std::int32_t GetEndSample() const override;
  void Seek(std::int32_t frame) override;

 protected:
  LSoundSource input_;
};
