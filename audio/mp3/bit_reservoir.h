#pragma once

// The main data of the current frame together with the bytes of earlier frames that it may still use.
//
//   Layout   history of at most kHistoryBytes, then the current frame's bytes, then kSlackBytes of zeros.
//            Readers check their place against the end only now and then: between two checks they read at most
//            the slack.
//   Threads  one at a time.

#include <cstdint>

class MP3ReadFile;

class MP3BitReservoir {
 public:
  static constexpr int kHistoryBytes = 511;
  // Scale factors (36 of 5 bits), the longest run of big values (288 pairs of 47 bits) and a whole word.
  static constexpr int kSlackBytes = 1760;

  // Forgets the history.
  void Clear() noexcept { used_ = 0; }
  // Appends the next count bytes of the file (at most a frame's), keeping the history before them. False when
  // the file has fewer.
  bool Append(MP3ReadFile& file, int count) noexcept;

  std::uint8_t const* Data() const noexcept { return data_; }
  // Where the frame's main data begin when they begin back bytes before the appended ones; negative when that
  // is more than there is.
  int BitOfFrame(int back) const noexcept { return (frameStart_ - back) * 8; }
  int EndBit() const noexcept { return used_ * 8; }

 private:
  static constexpr int kMaxBytes = kHistoryBytes + 1441;

  int used_ = 0;
  int frameStart_ = 0;
  std::uint8_t data_[kMaxBytes + kSlackBytes] = {};
};
