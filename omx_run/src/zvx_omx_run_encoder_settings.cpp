#include "zvx_omx_run_encoder_settings.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "zvx_omx_config.h"
#include "zvx_omx_extensions.h"

namespace {

constexpr uint32_t ZVXP_Q16 = 16;

template <typename Value> struct zvxp_name {
    std::string_view name;
    Value value;
};

constexpr zvxp_name<OMX_VIDEO_AVCPROFILETYPE> ZVXP_AVC_PROFILES[] = {
    {"baseline", OMX_VIDEO_AVCProfileBaseline},
    {"main", OMX_VIDEO_AVCProfileMain},
    {"high", OMX_VIDEO_AVCProfileHigh},
};

constexpr zvxp_name<OMX_VIDEO_AVCLEVELTYPE> ZVXP_AVC_LEVELS[] = {
    {"1", OMX_VIDEO_AVCLevel1},    {"1b", OMX_VIDEO_AVCLevel1b},  {"1.1", OMX_VIDEO_AVCLevel11},
    {"1.2", OMX_VIDEO_AVCLevel12}, {"1.3", OMX_VIDEO_AVCLevel13}, {"2", OMX_VIDEO_AVCLevel2},
    {"2.1", OMX_VIDEO_AVCLevel21}, {"2.2", OMX_VIDEO_AVCLevel22}, {"3", OMX_VIDEO_AVCLevel3},
    {"3.1", OMX_VIDEO_AVCLevel31}, {"3.2", OMX_VIDEO_AVCLevel32}, {"4", OMX_VIDEO_AVCLevel4},
    {"4.1", OMX_VIDEO_AVCLevel41}, {"4.2", OMX_VIDEO_AVCLevel42}, {"5", OMX_VIDEO_AVCLevel5},
    {"5.1", OMX_VIDEO_AVCLevel51}, {"5.2", OMX_VIDEO_AVCLevel52},
};

constexpr zvxp_name<OMX_VIDEO_HEVCPROFILETYPE> ZVXP_HEVC_PROFILES[] = {
    {"main", OMX_VIDEO_HEVCProfileMain},
    {"main10", OMX_VIDEO_HEVCProfileMain10},
};

constexpr zvxp_name<OMX_VIDEO_HEVCLEVELTYPE> ZVXP_HEVC_LEVELS[] = {
    {"1", OMX_VIDEO_HEVCMainTierLevel1},    {"2", OMX_VIDEO_HEVCMainTierLevel2},
    {"2.1", OMX_VIDEO_HEVCMainTierLevel21}, {"3", OMX_VIDEO_HEVCMainTierLevel3},
    {"3.1", OMX_VIDEO_HEVCMainTierLevel31}, {"4", OMX_VIDEO_HEVCMainTierLevel4},
    {"4.1", OMX_VIDEO_HEVCMainTierLevel41}, {"5", OMX_VIDEO_HEVCMainTierLevel5},
    {"5.1", OMX_VIDEO_HEVCMainTierLevel51}, {"5.2", OMX_VIDEO_HEVCMainTierLevel52},
    {"6", OMX_VIDEO_HEVCMainTierLevel6},    {"6.1", OMX_VIDEO_HEVCMainTierLevel61},
    {"6.2", OMX_VIDEO_HEVCMainTierLevel62},
};

template <typename Value, size_t N>
const zvxp_name<Value> *zvxp_find(const zvxp_name<Value> (&names)[N], std::string_view name)
{
    const auto *found =
        std::find_if(std::begin(names), std::end(names), [&](const auto &entry) { return entry.name == name; });
    return found == std::end(names) ? nullptr : found;
}

bool zvxp_set(zvx_flow_client &client, OMX_INDEXTYPE index, void *record, const char *what)
{
    if (client.set_parameter(index, record) == OMX_ErrorNone) {
        return true;
    }
    client.note_problem(std::string(what) + " refused");
    return false;
}

bool zvxp_set_ports(zvx_flow_client &client, const zvx_run_encoder_settings &settings)
{
    OMX_PARAM_PORTDEFINITIONTYPE input;
    client.get_port_definition(zvx_flow_client::INPUT, &input);
    input.format.video.eColorFormat = OMX_COLOR_FormatYUV420Planar;
    input.format.video.xFramerate = settings.frame_rate << ZVXP_Q16;
    OMX_PARAM_PORTDEFINITIONTYPE output;
    client.get_port_definition(zvx_flow_client::OUTPUT, &output);
    output.format.video.nBitrate = settings.bitrate;
    auto bitrate = zvx_omx_stamped_record<OMX_VIDEO_PARAM_BITRATETYPE>(zvx_flow_client::OUTPUT);
    bitrate.eControlRate = settings.constant_bitrate ? OMX_Video_ControlRateConstant : OMX_Video_ControlRateVariable;
    bitrate.nTargetBitrate = settings.bitrate;
    /* The rate the encoder spends its bits over, also as the config a client changes mid-stream. */
    auto frame_rate = zvx_omx_stamped_record<OMX_CONFIG_FRAMERATETYPE>(zvx_flow_client::OUTPUT);
    frame_rate.xEncodeFramerate = settings.frame_rate << ZVXP_Q16;
    if (!zvxp_set(client, OMX_IndexParamPortDefinition, &input, "the input port's frame rate and colour format") ||
        !zvxp_set(client, OMX_IndexParamPortDefinition, &output, "the output port's bitrate") ||
        !zvxp_set(client, OMX_IndexParamVideoBitrate, &bitrate, "OMX_IndexParamVideoBitrate")) {
        return false;
    }
    if (client.set_config(OMX_IndexConfigVideoFramerate, &frame_rate) != OMX_ErrorNone) {
        client.note_problem("OMX_IndexConfigVideoFramerate refused");
        return false;
    }
    return true;
}

/* The component's own record of the key-frame interval, for every codec; it goes beside the codec's. */
bool zvxp_set_intra_period(zvx_flow_client &client, const zvx_run_encoder_settings &settings)
{
    if (settings.key_interval == 0) {
        return true;
    }
    const auto index = static_cast<OMX_INDEXTYPE>(OMX_IndexConfigVideoIntraPeriod);
    auto period = zvx_omx_stamped_record<QURO_CONFIG_INTRAPERIODTYPE>(zvx_flow_client::OUTPUT);
    client.get_config(index, &period);
    period.nPFrames = settings.key_interval - 1;
    period.nBFrames = 0;
    if (client.set_config(index, &period) == OMX_ErrorNone) {
        return true;
    }
    client.note_problem("OMX_IndexConfigVideoIntraPeriod refused");
    return false;
}

bool zvxp_set_avc(zvx_flow_client &client, const zvx_run_encoder_settings &settings)
{
    auto avc = zvx_omx_stamped_record<OMX_VIDEO_PARAM_AVCTYPE>(zvx_flow_client::OUTPUT);
    client.get_parameter(OMX_IndexParamVideoAvc, &avc);
    if (settings.key_interval != 0) {
        avc.nPFrames = settings.key_interval - 1;
        avc.nBFrames = 0;
    }
    if (const auto *profile = zvxp_find(ZVXP_AVC_PROFILES, settings.profile)) {
        avc.eProfile = profile->value;
    }
    if (const auto *level = zvxp_find(ZVXP_AVC_LEVELS, settings.level)) {
        avc.eLevel = level->value;
    }
    return zvxp_set(client, OMX_IndexParamVideoAvc, &avc, "OMX_IndexParamVideoAvc");
}

bool zvxp_set_hevc(zvx_flow_client &client, const zvx_run_encoder_settings &settings)
{
    auto hevc = zvx_omx_stamped_record<OMX_VIDEO_PARAM_HEVCTYPE>(zvx_flow_client::OUTPUT);
    client.get_parameter(static_cast<OMX_INDEXTYPE>(OMX_IndexParamVideoHevc), &hevc);
    if (settings.key_interval != 0) {
        hevc.nKeyFrameInterval = settings.key_interval;
    }
    if (const auto *profile = zvxp_find(ZVXP_HEVC_PROFILES, settings.profile)) {
        hevc.eProfile = profile->value;
    }
    if (const auto *level = zvxp_find(ZVXP_HEVC_LEVELS, settings.level)) {
        hevc.eLevel = level->value;
    }
    return zvxp_set(client, static_cast<OMX_INDEXTYPE>(OMX_IndexParamVideoHevc), &hevc, "OMX_IndexParamVideoHevc");
}

/* Android's VP8 encoder record carries the key-frame interval of both VPx codecs. */
bool zvxp_set_vpx(zvx_flow_client &client, const zvx_run_encoder_settings &settings)
{
    if (settings.key_interval == 0) {
        return true;
    }
    const auto index = static_cast<OMX_INDEXTYPE>(OMX_IndexParamVideoAndroidVp8Encoder);
    auto vpx = zvx_omx_stamped_record<OMX_VIDEO_PARAM_ANDROID_VP8ENCODERTYPE>(zvx_flow_client::OUTPUT);
    client.get_parameter(index, &vpx);
    vpx.nKeyFrameInterval = settings.key_interval;
    return zvxp_set(client, index, &vpx, "OMX_IndexParamVideoAndroidVp8Encoder");
}

} // namespace

bool zvx_run_known_profile(const std::string &codec, const std::string &profile)
{
    return (codec == "avc" && zvxp_find(ZVXP_AVC_PROFILES, profile) != nullptr) ||
           (codec == "hevc" && zvxp_find(ZVXP_HEVC_PROFILES, profile) != nullptr);
}

bool zvx_run_known_level(const std::string &codec, const std::string &level)
{
    return (codec == "avc" && zvxp_find(ZVXP_AVC_LEVELS, level) != nullptr) ||
           (codec == "hevc" && zvxp_find(ZVXP_HEVC_LEVELS, level) != nullptr);
}

bool zvx_run_apply_encoder_settings(zvx_flow_client &client, const std::string &codec,
                                    const zvx_run_encoder_settings &settings)
{
    if (!zvxp_set_ports(client, settings) || !zvxp_set_intra_period(client, settings)) {
        return false;
    }
    /* The codec's record is left as the component has it unless something in it is asked for. */
    if (settings.key_interval == 0 && settings.profile.empty() && settings.level.empty()) {
        return true;
    }
    if (codec == "avc") {
        return zvxp_set_avc(client, settings);
    }
    if (codec == "hevc") {
        return zvxp_set_hevc(client, settings);
    }
    return zvxp_set_vpx(client, settings);
}
