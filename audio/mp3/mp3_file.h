#pragma once

// MP3 files (MPEG-1, 2 and 2.5 Layer III) as sources.
//
//   Units    frames in the interface; "MPEG frame" is the coded unit of 1152 or 576 frames.
//   Errors   a file that cannot be opened or that holds no acceptable MPEG frame is an empty stream (end 0,
//            44100 Hz, one channel) with error 0: callers see its zero length. Damage inside a file never is
//            an error: what can be decoded is delivered.
//   Threads  as every source: opened on one thread, then Read and Seek on one.
//   Owns     the file, open until the last handle goes. Nothing is allocated after opening.

#include <cstdint>

#include "audio/mp3/bit_reservoir.h"
#include "audio/mp3/header.h"
#include "audio/mp3/imdct.h"
#include "audio/mp3/read_file.h"
#include "audio/mp3/scale_factors.h"
#include "audio/mp3/side_info.h"
#include "audio/mp3/synth.h"
#include "audio/sound_source.h"

struct LMP3File {
  // Never empty; the object is always an LMP3Source.
  static LSoundSource OpenSource(char const* path);
};

class LMP3Source : public LSoundSourceBase {
 public:
  explicit LMP3Source(char const* path) noexcept;

  void Read(std::int32_t* buffer, std::int32_t frames) override;
  std::int32_t GetPositionSample() const override { return position_; }
  // From a frame count in the file where it has one; otherwise an estimate, corrected after every MPEG frame that
  // Read decodes. Where decoding ends earlier it becomes that place.
  std::int32_t GetEndSample() const override { return end_; }
  // Any frame index; before 0 and from the end on there is silence. The place of an MPEG frame in the file is
  // calculated from the mean frame size, so in files of variable bit rate it is an approximation.
  void Seek(std::int32_t frame) override;

 private:
  static constexpr int kHeadersForMean = 8;
  static constexpr int kWarmUpFrames = 4;

  // Layout and length of the stream, from its first frames. False when there is no frame.
  bool DecodeInitialHeader() noexcept;
  std::uint32_t ReadFrameCount() noexcept;
  double MeanBitrate() noexcept;

  // The next MPEG frame as samplesPerFrame_ frames. False at the end of the data.
  bool DecodeFrame(std::int32_t* out) noexcept;
  bool DecodeHeader() noexcept { return header_.ReadHeader(file_); }
  bool DecodeSideInformation() noexcept;
  // Spectra of all channels of a granule; false when bytes that it needs are missing.
  bool DecodeGranule(int gr, int& bit) noexcept;
  void SynthesizeGranule(int gr, std::int32_t* out) noexcept;

  std::int32_t EstimateEnd(std::int64_t reached) const noexcept;

  MP3ReadFile file_;
  std::int32_t position_ = 0;
  std::int32_t end_ = 0;
  std::int32_t samplesPerFrame_ = MP3Header::kMaxSamples;
  std::int32_t delivered_ = MP3Header::kMaxSamples;  // of the frame in frame_
  std::uint32_t frameCount_ = 0;                     // as the file says; 0 when it does not
  double bytesPerFrame_ = 0.0;

  MP3Header header_;
  MP3SideInfo sideInfo_ = {};
  MP3BitReservoir reservoir_;
  MP3ScaleFactors scaleFactors_[2] = {};
  bool lostScaleFactors_ = false;  // of the frame's first granule
  MP3Overlap overlap_[2];
  MP3PolyphaseSynth synth_[2];
  alignas(32) float spectrum_[2][kMp3Slots * kMp3Subbands];
  int lines_[2] = {};
  std::int32_t frame_[2 * MP3Header::kMaxSamples];
};
