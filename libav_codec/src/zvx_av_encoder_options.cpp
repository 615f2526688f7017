#include "zvx_av_encoder_options.h"

#include <array>
#include <charconv>
#include <string>

extern "C" {
#include <libavutil/dict.h>
}

namespace zvx_av {

namespace {

struct SpeedNames {
    const char *x26x_preset;
    const char *vpx_deadline;
    const char *vpx_cpu_used;
};

constexpr std::array<SpeedNames, 5> SPEEDS = {{
    {"veryslow", "good", "0"},
    {"slow", "good", "2"},
    {"medium", "good", "4"},
    {"veryfast", "realtime", "6"},
    {"ultrafast", "realtime", "8"},
}};

bool supports_format(const AVCodec &encoder, AVPixelFormat format)
{
    for (const AVPixelFormat *at = encoder.pix_fmts; at && *at != AV_PIX_FMT_NONE; ++at)
        if (*at == format)
            return true;
    return false;
}

/* x265 takes what its wrapper has no option for as one "key=value:key=value" string. */
void add_x265_param(std::string &params, const std::string &key, const std::string &value)
{
    if (!params.empty())
        params += ':';
    params += key + '=' + value;
}

Status set_rate_control(const EncoderSettings &settings, AVCodecContext &context, AVDictionary **options)
{
    switch (settings.rate_control) {
    case RateControl::constant_bitrate:
        // A one-second buffer that may not fill beyond the rate; libvpx takes min == max as CBR.
        context.bit_rate = settings.bitrate;
        context.rc_max_rate = settings.bitrate;
        context.rc_min_rate = settings.bitrate;
        context.rc_buffer_size = static_cast<int>(settings.bitrate);
        return Status();
    case RateControl::variable_bitrate:
        context.bit_rate = settings.bitrate;
        return Status();
    case RateControl::constant_quality:
        // vp8's constant quality keeps the rate under bit_rate; the others ignore it.
        context.bit_rate = settings.codec == Codec::vp8 ? settings.bitrate : 0;
        return Status(av_dict_set_int(options, "crf", settings.quality, 0));
    }
    return Status(AVERROR(EINVAL));
}

Status set_x26x_options(const EncoderSettings &settings, AVDictionary **options)
{
    const SpeedNames &speed = SPEEDS.at(static_cast<size_t>(settings.speed));
    int set = av_dict_set(options, "preset", speed.x26x_preset, 0);
    if (set >= 0 && settings.low_delay)
        set = av_dict_set(options, "tune", "zerolatency", 0);
    if (set >= 0 && !settings.profile.empty())
        set = av_dict_set(options, "profile", settings.profile.c_str(), 0);
    if (set < 0)
        return Status(set);
    if (settings.codec == Codec::avc) {
        if (!settings.level.empty())
            set = av_dict_set(options, "level", settings.level.c_str(), 0);
        // Key frames only where asked: no extra ones at scene cuts.
        if (set >= 0 && settings.key_frame_interval > 0)
            set = av_dict_set(options, "x264-params", "scenecut=0", 0);
        return Status(set);
    }
    // A request for a key frame gives an IDR picture, and periodic key frames close their GOPs, so
    // that each is a place to start decoding.
    std::string params = "log-level=error:open-gop=0";
    if (!settings.level.empty())
        add_x265_param(params, "level-idc", settings.level);
    if (settings.key_frame_interval > 0)
        add_x265_param(params, "scenecut", "0");
    set = av_dict_set(options, "forced-idr", "1", 0);
    if (set >= 0)
        set = av_dict_set(options, "x265-params", params.c_str(), 0);
    return Status(set);
}

Status set_vpx_options(const EncoderSettings &settings, AVCodecContext &context, AVDictionary **options)
{
    const SpeedNames &speed = SPEEDS.at(static_cast<size_t>(settings.speed));
    int set = av_dict_set(options, "deadline", speed.vpx_deadline, 0);
    if (set >= 0)
        set = av_dict_set(options, "cpu-used", speed.vpx_cpu_used, 0);
    if (set >= 0 && settings.low_delay)
        set = av_dict_set(options, "lag-in-frames", "0", 0);
    if (set < 0)
        return Status(set);
    if (settings.codec == Codec::vp9 && !settings.profile.empty()) {
        int profile = 0;
        const char *end = settings.profile.data() + settings.profile.size();
        if (std::from_chars(settings.profile.data(), end, profile).ptr != end)
            return Status(AVERROR(EINVAL));
        context.profile = profile;
    }
    return Status();
}

} // namespace

Status configure_encoder(const EncoderSettings &settings, const AVCodec &encoder, AVCodecContext &context,
                         AVDictionary **options)
{
    if (settings.width <= 0 || settings.height <= 0 || settings.frame_rate.num <= 0 || settings.frame_rate.den <= 0)
        return Status(AVERROR(EINVAL));
    context.width = settings.width;
    context.height = settings.height;
    context.pix_fmt = supports_format(encoder, settings.input_format) ? settings.input_format : AV_PIX_FMT_YUV420P;
    // One tick a picture: libvpx reads a picture's duration as one tick of the time base.
    context.time_base = av_inv_q(settings.frame_rate);
    context.framerate = settings.frame_rate;
    // libvpx's vp8 threads wait for each other by spinning: where cores are shared they cost many
    // times what they give, so vp8 takes more than one only when asked.
    context.thread_count = settings.codec == Codec::vp8 && settings.thread_count == 0 ? 1 : settings.thread_count;
    context.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (settings.key_frame_interval > 0) {
        context.gop_size = settings.key_frame_interval;
        context.keyint_min = settings.key_frame_interval;
    }
    if (settings.b_frames >= 0)
        context.max_b_frames = settings.b_frames;
    const Status rate = set_rate_control(settings, context, options);
    if (!rate.ok())
        return rate;
    if (settings.codec == Codec::avc || settings.codec == Codec::hevc)
        return set_x26x_options(settings, options);
    return set_vpx_options(settings, context, options);
}

} // namespace zvx_av
