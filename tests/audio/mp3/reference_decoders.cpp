#include "tests/audio/mp3/reference_decoders.h"

#include <gtest/gtest.h>
#include <mpg123.h>

#include "audio/mp3/header.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/log.h>
}

namespace kiv::test {

ReferenceSound DecodeWithMpg123(std::string const& bytes, char const* core) {
  ReferenceSound sound;
  mpg123_init();
  mpg123_handle* const handle = mpg123_new(core, nullptr);
  EXPECT_NE(handle, nullptr);
  if (handle == nullptr) return sound;
  mpg123_param(handle, MPG123_REMOVE_FLAGS, MPG123_GAPLESS, 0);
  mpg123_param(handle, MPG123_ADD_FLAGS,
               MPG123_IGNORE_INFOFRAME | MPG123_QUIET | MPG123_FORCE_FLOAT | MPG123_NO_PEEK_END, 0);
  mpg123_open_feed(handle);
  mpg123_feed(handle, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  for (;;) {
    off_t number = 0;
    unsigned char* audio = nullptr;
    std::size_t count = 0;
    const int result = mpg123_decode_frame(handle, &number, &audio, &count);
    if (result == MPG123_NEW_FORMAT) {
      long rate = 0;
      int encoding = 0;
      mpg123_getformat(handle, &rate, &sound.channels, &encoding);
      sound.rate = static_cast<int>(rate);
      continue;
    }
    if (count > 0) {
      const auto* const values = reinterpret_cast<const float*>(audio);
      sound.samples.insert(sound.samples.end(), values, values + count / sizeof(float));
    }
    if (result != MPG123_OK) break;
  }
  mpg123_delete(handle);
  return sound;
}

ReferenceSound DecodeWithLibavcodec(std::string const& bytes) {
  ReferenceSound sound;
  av_log_set_level(AV_LOG_QUIET);
  const AVCodec* const codec = avcodec_find_decoder_by_name("mp3float");
  EXPECT_NE(codec, nullptr);
  if (codec == nullptr) return sound;
  AVCodecContext* context = avcodec_alloc_context3(codec);
  EXPECT_EQ(avcodec_open2(context, codec, nullptr), 0);
  AVPacket* packet = av_packet_alloc();
  AVFrame* frame = av_frame_alloc();
  std::size_t at = 0;
  while (at + 4 <= bytes.size()) {
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < 4; ++i) bits = bits << 8 | static_cast<unsigned char>(bytes[at + i]);
    MP3Header header;
    if (!header.Parse(bits)) break;
    const auto size = static_cast<std::size_t>(header.FrameBytes());
    if (at + size > bytes.size()) break;
    av_new_packet(packet, static_cast<int>(size));
    bytes.copy(reinterpret_cast<char*>(packet->data), size, at);
    at += size;
    int result = avcodec_send_packet(context, packet);
    av_packet_unref(packet);
    if (result == 0) result = avcodec_receive_frame(context, frame);
    if (result != 0) {
      // It refused the frame; keep the places of the others.
      sound.samples.resize(sound.samples.size() + static_cast<std::size_t>(header.Samples() * header.Channels()));
      continue;
    }
    sound.rate = frame->sample_rate;
    sound.channels = frame->ch_layout.nb_channels;
    for (int i = 0; i < frame->nb_samples; ++i) {
      for (int c = 0; c < sound.channels; ++c) {
        sound.samples.push_back(reinterpret_cast<const float*>(frame->extended_data[c])[i]);
      }
    }
    av_frame_unref(frame);
  }
  av_frame_free(&frame);
  av_packet_free(&packet);
  avcodec_free_context(&context);
  return sound;
}

}  // namespace kiv::test
