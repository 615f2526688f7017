#include "zvx_dev_encoder_settings.h"

#include <OMX_Video.h>

#include <algorithm>
#include <array>
#include <bit>

#include "zvx_dev_client_layout.h"
#include "zvx_omx_extensions.h"

namespace zvx_dev {

namespace {

constexpr uint32_t ZVXP_Q16_ONE = 1u << 16;
constexpr int ZVXP_DEFAULT_FRAME_RATE = 30;

/* OpenMAX levels are one bit each, in ascending order. */
constexpr std::array<const char *, 17> ZVXP_AVC_LEVELS = {"1",   "1b",  "1.1", "1.2", "1.3", "2", "2.1", "2.2", "3",
                                                          "3.1", "3.2", "4",   "4.1", "4.2", "5", "5.1", "5.2"};
/* Two bits a level: main tier, then high tier. */
constexpr std::array<const char *, 13> ZVXP_HEVC_LEVELS = {"1", "2",   "2.1", "3", "3.1", "4",  "4.1",
                                                           "5", "5.1", "5.2", "6", "6.1", "6.2"};

/* The largest picture each level holds: AVC in macroblocks (MaxFS), HEVC in luma samples (MaxLumaPs). */
constexpr std::array<uint64_t, 17> ZVXP_AVC_LEVEL_MACROBLOCKS = {99,   99,   396,  396,  396,  396,   792,   1620, 1620,
                                                                 3600, 5120, 8192, 8192, 8704, 22080, 36864, 36864};
constexpr std::array<uint64_t, 13> ZVXP_HEVC_LEVEL_SAMPLES = {
    36864, 122880, 245760, 552960, 983040, 2228224, 2228224, 8912896, 8912896, 8912896, 35651584, 35651584, 35651584};

/* A level that cannot hold the picture is not the client's choice but a default it never changed (clients
 * leave the level alone far more often than they set a low one): the encoder then picks the level itself. */
template <size_t N>
const char *zvxp_level_name(const std::array<const char *, N> &names, const std::array<uint64_t, N> &capacity,
                            uint64_t picture, uint32_t level, int bits_per_level)
{
    if (!std::has_single_bit(level))
        return "";
    const size_t at = static_cast<size_t>(std::countr_zero(level) / bits_per_level);
    return at < names.size() && picture <= capacity[at] ? names[at] : "";
}

const char *zvxp_avc_profile(uint32_t profile)
{
    switch (profile) {
    case OMX_VIDEO_AVCProfileBaseline:
        return "baseline";
    case OMX_VIDEO_AVCProfileMain:
        return "main";
    case OMX_VIDEO_AVCProfileHigh:
        return "high";
    case OMX_VIDEO_AVCProfileHigh10:
        return "high10";
    case OMX_VIDEO_AVCProfileHigh422:
        return "high422";
    case OMX_VIDEO_AVCProfileHigh444:
        return "high444";
    default:
        return "";
    }
}

const char *zvxp_hevc_profile(uint32_t profile)
{
    switch (profile) {
    case OMX_VIDEO_HEVCProfileMain:
        return "main";
    case OMX_VIDEO_HEVCProfileMain10:
    case OMX_VIDEO_HEVCProfileMain10HDR10:
    case OMX_VIDEO_HEVCProfileMain10HDR10Plus:
        return "main10";
    case OMX_VIDEO_HEVCProfileMainStill:
        return "mainstillpicture";
    default:
        return "";
    }
}

const char *zvxp_vp9_profile(uint32_t profile)
{
    switch (profile) {
    case OMX_VIDEO_VP9Profile0:
        return "0";
    case OMX_VIDEO_VP9Profile1:
        return "1";
    case OMX_VIDEO_VP9Profile2:
    case OMX_VIDEO_VP9Profile2HDR:
    case OMX_VIDEO_VP9Profile2HDR10Plus:
        return "2";
    case OMX_VIDEO_VP9Profile3:
    case OMX_VIDEO_VP9Profile3HDR:
    case OMX_VIDEO_VP9Profile3HDR10Plus:
        return "3";
    default:
        return "";
    }
}

/* P pictures between key pictures, each run of them with its B pictures. */
int zvxp_interval(uint32_t p_frames, uint32_t b_frames)
{
    const uint64_t interval = (uint64_t{p_frames} + 1) * (uint64_t{b_frames} + 1);
    return static_cast<int>(std::min<uint64_t>(interval, INT32_MAX));
}

void zvxp_codec_records(zvx_av::Codec codec, const ParameterStore &parameters, zvx_av::EncoderSettings &settings)
{
    switch (codec) {
    case zvx_av::Codec::avc:
        if (const auto avc = parameters.latest<OMX_VIDEO_PARAM_AVCTYPE>(OMX_IndexParamVideoAvc)) {
            settings.key_frame_interval = zvxp_interval(avc->nPFrames, avc->nBFrames);
            settings.b_frames = static_cast<int>(std::min<OMX_U32>(avc->nBFrames, 16));
            settings.profile = zvxp_avc_profile(avc->eProfile);
            const uint64_t macroblocks = uint64_t{static_cast<uint32_t>(settings.width + 15) / 16} *
                                         static_cast<uint32_t>(settings.height + 15) / 16;
            settings.level = zvxp_level_name(ZVXP_AVC_LEVELS, ZVXP_AVC_LEVEL_MACROBLOCKS, macroblocks, avc->eLevel, 1);
        }
        break;
    case zvx_av::Codec::hevc:
        if (const auto hevc = parameters.latest<OMX_VIDEO_PARAM_HEVCTYPE>(OMX_IndexParamVideoHevc)) {
            settings.key_frame_interval = static_cast<int>(std::min<OMX_U32>(hevc->nKeyFrameInterval, INT32_MAX));
            settings.profile = zvxp_hevc_profile(hevc->eProfile);
            const uint64_t samples =
                uint64_t{static_cast<uint32_t>(settings.width)} * static_cast<uint32_t>(settings.height);
            settings.level = zvxp_level_name(ZVXP_HEVC_LEVELS, ZVXP_HEVC_LEVEL_SAMPLES, samples, hevc->eLevel, 2);
        }
        break;
    case zvx_av::Codec::vp8:
        if (const auto vp8 =
                parameters.latest<OMX_VIDEO_PARAM_ANDROID_VP8ENCODERTYPE>(OMX_IndexParamVideoAndroidVp8Encoder))
            settings.key_frame_interval = static_cast<int>(std::min<OMX_U32>(vp8->nKeyFrameInterval, INT32_MAX));
        break;
    case zvx_av::Codec::vp9:
        if (const auto vp9 = parameters.latest<OMX_VIDEO_PARAM_VP9TYPE>(OMX_IndexParamVideoVp9))
            settings.profile = zvxp_vp9_profile(vp9->eProfile);
        break;
    default:
        break;
    }
}

} // namespace

zvx_av::EncoderSettings encoder_settings(zvx_av::Codec codec, const ParameterStore &parameters)
{
    zvx_av::EncoderSettings settings;
    settings.codec = codec;
    settings.low_delay = true;
    settings.speed = zvx_av::EncoderSpeed::fast;
    const std::optional<zvx_dev_port_definition> input = parameters.port_definition(INPUT_PORT);
    if (input) {
        settings.width = static_cast<int>(std::min<uint32_t>(input->nFrameWidth, INT16_MAX));
        settings.height = static_cast<int>(std::min<uint32_t>(input->nFrameHeight, INT16_MAX));
        settings.input_format = zvx_av::pixel_format_of(client_colour_format(input->eColorFormat));
    }
    uint32_t frame_rate = input ? input->xFramerate : 0;
    if (const auto rate = parameters.latest<OMX_CONFIG_FRAMERATETYPE>(OMX_IndexConfigVideoFramerate))
        frame_rate = rate->xEncodeFramerate;
    settings.frame_rate = frame_rate >= ZVXP_Q16_ONE ? AVRational{static_cast<int>(frame_rate), int{ZVXP_Q16_ONE}}
                                                     : AVRational{ZVXP_DEFAULT_FRAME_RATE, 1};
    av_reduce(&settings.frame_rate.num, &settings.frame_rate.den, settings.frame_rate.num, settings.frame_rate.den,
              INT32_MAX);

    if (const auto bitrate = parameters.latest<OMX_VIDEO_PARAM_BITRATETYPE>(OMX_IndexParamVideoBitrate)) {
        switch (bitrate->eControlRate) {
        case OMX_Video_ControlRateConstant:
        case OMX_Video_ControlRateConstantSkipFrames:
            settings.rate_control = zvx_av::RateControl::constant_bitrate;
            break;
        case OMX_Video_ControlRateDisable:
            settings.rate_control = zvx_av::RateControl::constant_quality;
            break;
        default:
            settings.rate_control = zvx_av::RateControl::variable_bitrate;
            break;
        }
        if (bitrate->nTargetBitrate > 0)
            settings.bitrate = bitrate->nTargetBitrate;
    }

    zvxp_codec_records(codec, parameters, settings);
    if (const auto period = parameters.latest<QURO_CONFIG_INTRAPERIODTYPE>(OMX_IndexConfigVideoIntraPeriod)) {
        settings.key_frame_interval = zvxp_interval(period->nPFrames, period->nBFrames);
        if (codec == zvx_av::Codec::avc || codec == zvx_av::Codec::hevc)
            settings.b_frames = static_cast<int>(std::min<OMX_U32>(period->nBFrames, 16));
    }
    return settings;
}

zvx_av::PictureLayout input_layout(const ParameterStore &parameters, int width, int height)
{
    const std::optional<zvx_dev_port_definition> input = parameters.port_definition(INPUT_PORT);
    if (!input)
        return client_layout(0, 0, 0, width, height);
    return client_layout(input->eColorFormat, input->nStride, input->nSliceHeight, width, height);
}

std::optional<int64_t> bitrate_change(const ParameterStore &parameters)
{
    const auto bitrate = parameters.latest<OMX_VIDEO_CONFIG_BITRATETYPE>(OMX_IndexConfigVideoBitrate);
    if (!bitrate || bitrate->nEncodeBitrate == 0)
        return std::nullopt;
    return bitrate->nEncodeBitrate;
}

bool key_frame_requested(const ParameterStore &parameters)
{
    const auto refresh = parameters.latest<OMX_CONFIG_INTRAREFRESHVOPTYPE>(OMX_IndexConfigVideoIntraVOPRefresh);
    return refresh && refresh->IntraRefreshVOP == OMX_TRUE;
}

} // namespace zvx_dev
