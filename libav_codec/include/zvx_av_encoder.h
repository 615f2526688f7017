#ifndef ZVX_AV_ENCODER_H
#define ZVX_AV_ENCODER_H

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <span>
#include <string>

#include "zvx_av_codec.h"
#include "zvx_av_format_converter.h"
#include "zvx_av_ptr.h"
#include "zvx_av_status.h"
#include "zvx_av_time.h"

namespace zvx_av {

enum class RateControl : uint8_t { constant_bitrate, variable_bitrate, constant_quality };

/* Mapped onto x264/x265 presets (veryslow .. ultrafast) and libvpx's deadline and cpu-used. */
enum class EncoderSpeed : uint8_t { slowest, slow, medium, fast, fastest };

struct EncoderSettings {
    Codec codec = Codec::avc;
    int width = 0;
    int height = 0;
    /* What pictures will be sent as; one the encoder does not take is converted to one it does. */
    AVPixelFormat input_format = AV_PIX_FMT_YUV420P;
    AVRational frame_rate = {30, 1};
    RateControl rate_control = RateControl::variable_bitrate;
    int64_t bitrate = 1000000;  /* bits per second; with constant quality, vp8's ceiling */
    int quality = 28;           /* constant quality: x264/x265 crf, libvpx cq-level; lower is better */
    int key_frame_interval = 0; /* pictures from one key frame to the next, none elsewhere; 0: encoder's choice */
    int b_frames = -1;          /* -1: the encoder's default */
    /* FFmpeg's names: profile "baseline", "main", "high" (avc), "main", "main10" (hevc), "0".."3"
     * (vp9); level "3.1", "4" (avc, hevc). Empty: the encoder's choice. */
    std::string profile;
    std::string level;
    int thread_count = 0; /* 0: as many as the machine has (vp8: one) */
    /* Each picture's packet comes out as the picture goes in, as from a hardware encoder: no
     * look-ahead and no B pictures unless b_frames asks for them. */
    bool low_delay = false;
    EncoderSpeed speed = EncoderSpeed::medium;
};

struct EncodedPacket {
    PacketPtr packet;
    int64_t timestamp_us = no_timestamp;
    bool key = false;

    std::span<const uint8_t> data() const { return {packet->data, static_cast<size_t>(packet->size)}; }
};

/* An encoder of the avc, hevc, vp8 or vp9 role. Codec configuration comes apart from the packets
 * (codec_config()); packets come out in decode order with their pictures' timestamps. Not
 * thread-safe: one caller at a time. */
class Encoder {
public:
    Status open(const EncoderSettings &settings);

    /* SPS and PPS (and VPS) for avc and hevc; empty for vp8 and vp9, whose frames carry their own. */
    std::span<const uint8_t> codec_config() const;

    /* The picture may live in a client's buffer (wrap_picture): it is copied before this returns. */
    Status send(const AVFrame &picture, int64_t timestamp_us);
    /* The next picture sent becomes a key frame. */
    void request_key_frame() { key_frame_requested_ = true; }
    /* From the next picture on. x264 takes it in place; x265 and libvpx are drained and reopened,
     * and go on from a key frame (an hevc one carrying its parameter sets again). */
    Status set_bitrate(int64_t bits_per_second);
    /* Every packet still held comes out; open() again for another stream. */
    Status end_stream();

    std::optional<EncodedPacket> receive();

private:
    Status open_context();
    FramePtr input_frame(const AVFrame &picture);
    Status encode(AVFrame *frame);
    Status collect_packets();

    EncoderSettings settings_;
    const AVCodec *encoder_ = nullptr;
    CodecContextPtr context_;
    FormatConverter converter_;
    int64_t next_pts_ = 0;
    std::map<int64_t, int64_t> timestamps_; /* pts -> microseconds, until its packet is out */
    bool key_frame_requested_ = false;
    bool config_in_next_packet_ = false;
    std::deque<EncodedPacket> packets_;
};

} // namespace zvx_av

#endif
