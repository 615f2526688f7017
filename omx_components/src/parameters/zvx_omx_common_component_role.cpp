#include "zvx_omx_common_component_role.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "core/zvx_omx_settings_stores.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_config.h"
#include "zvx_omx_log.h"
#include "zvx_omx_session.h"
#include "zvx_session_interface.h"

namespace {

using zvxp_port_config_t = OMX_ERRORTYPE (*)(uint32_t, OMX_U32, struct zvx_map *);

struct zvxp_codec_entry {
    std::string_view word;
    zvxp_port_config_t bitstream_config;
    zvx_omx_component_role_t role;
};

constexpr zvxp_codec_entry ZVXP_CODECS[] = {
    {"avc", zvx_omx_port_avc_config, ZVX_OMX_COMPONENT_ROLE_AVC},
    {"h263", zvx_omx_port_h263_config, ZVX_OMX_COMPONENT_ROLE_H263},
    {"hevc", zvx_omx_port_hevc_config, ZVX_OMX_COMPONENT_ROLE_HEVC},
    {"jpeg", zvx_omx_port_jpeg_config, ZVX_OMX_COMPONENT_ROLE_JPEG},
    {"mpeg2", zvx_omx_port_mpeg2_config, ZVX_OMX_COMPONENT_ROLE_MPEG2},
    {"mpeg4", zvx_omx_port_mpeg4_config, ZVX_OMX_COMPONENT_ROLE_MPEG4},
    {"rv", zvx_omx_port_rv_config, ZVX_OMX_COMPONENT_ROLE_RV},
    {"vc1", zvx_omx_port_vc1_config, ZVX_OMX_COMPONENT_ROLE_VC1},
    {"vp8", zvx_omx_port_vp8_config, ZVX_OMX_COMPONENT_ROLE_VP8},
    {"vp9", zvx_omx_port_vp9_config, ZVX_OMX_COMPONENT_ROLE_VP9},
};

/* A codec lists fewer pairs than the one before it may have: the old list must not show through. */
void zvxp_forget_profile_levels(struct zvx_map *map)
{
    for (uint32_t sub_index = 0;; ++sub_index) {
        if (zvx_omx_config_find(map, OMX_IndexParamVideoProfileLevelQuerySupported, sub_index) == nullptr) {
            return;
        }
        zvx_omx_config_key key = {OMX_IndexParamVideoProfileLevelQuerySupported, sub_index};
        zvx_map_erase(map, &key);
    }
}

OMX_ERRORTYPE zvxp_apply_codec(struct zvx_omx_common_component *comp, const zvxp_codec_entry &codec)
{
    const zvx_omx_component_type_t type = zvx_omx_common_component_get_type(comp);
    const OMX_U32 bitstream_port = zvx_omx_common_component_get_bitstream_port_index(comp);
    zvxp_forget_profile_levels(&comp->ports[bitstream_port].config_and_params);
    OMX_ERRORTYPE result = codec.bitstream_config(type, bitstream_port, &comp->ports[bitstream_port].config_and_params);
    if (codec.role == ZVX_OMX_COMPONENT_ROLE_JPEG) {
        const OMX_U32 picture_port = zvx_omx_common_component_get_yuv_port_index(comp);
        /* Both halves run whatever the first one returned; the caller sees either failure. */
        result = static_cast<OMX_ERRORTYPE>(
            result | zvx_omx_frame_port_jpeg_config(&comp->ports[picture_port].config_and_params));
    }
    return result;
}

/* The next session is created for the stored role, so it must name the codec just applied. */
void zvxp_store_role(struct zvx_omx_common_component *comp, std::string_view role)
{
    auto *stored = static_cast<OMX_PARAM_COMPONENTROLETYPE *>(
        zvx_omx_config_find(&comp->config_and_params, OMX_IndexParamStandardComponentRole, 0));
    if (stored == nullptr) {
        return;
    }
    const size_t length = std::min(role.size(), sizeof(stored->cRole) - 1);
    std::memcpy(stored->cRole, role.data(), length);
    std::memset(stored->cRole + length, 0, sizeof(stored->cRole) - length);
}

} // namespace

OMX_ERRORTYPE zvx_omx_common_component_set_role(struct zvx_omx_common_component *comp, const char *role)
{
    if (comp == nullptr || role == nullptr) {
        return OMX_ErrorBadParameter;
    }
    const std::string_view prefix =
        zvx_omx_common_component_get_type(comp) == ZVX_OMX_ENCODER ? "video_encoder." : "video_decoder.";
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "zvx_omx_common_component_set_role(handle=%p, role=%s) (%s:%d)",
            comp->omx_component, role);
    const std::string_view requested(role);
    if (!requested.starts_with(prefix)) {
        return OMX_ErrorUndefined;
    }
    const std::string_view word = requested.substr(prefix.size());
    for (const zvxp_codec_entry &codec : ZVXP_CODECS) {
        if (codec.word == word) {
            OMX_ERRORTYPE result;
            {
                zvx_omx_mutex_guard lock(&comp->lock);
                result = zvxp_apply_codec(comp, codec);
                zvxp_store_role(comp, requested);
                comp->role = codec.role;
            }
            zvx_omx_common_component_destroy_session(comp);
            return result;
        }
    }
    comp->role = ZVX_OMX_COMPONENT_ROLE_UNCLASSIFIED;
    return OMX_ErrorBadParameter;
}

int zvx_omx_common_component_collect_enabled_roles(const char *const *table, size_t table_size, const char **enabled)
{
    int count = 0;
    for (size_t i = 0; i < table_size && count < ZVX_OMX_MAX_ENABLED_ROLES; ++i) {
        if (zvx_is_role_supported(table[i])) {
            enabled[count++] = table[i];
        }
    }
    return count;
}

OMX_ERRORTYPE zvx_omx_common_component_role_enum(const char *const *table, size_t table_size, OMX_U8 *role,
                                                 OMX_U32 index)
{
    if (role == nullptr) {
        return OMX_ErrorBadParameter;
    }
    /* A local list rather than the kind's shared one: concurrent enumerations write nothing shared. */
    const char *enabled[ZVX_OMX_MAX_ENABLED_ROLES];
    const int count = zvx_omx_common_component_collect_enabled_roles(table, table_size, enabled);
    if (index >= static_cast<OMX_U32>(count)) {
        return OMX_ErrorNoMore;
    }
    char *out = reinterpret_cast<char *>(role);
    std::strncpy(out, enabled[index], OMX_MAX_STRINGNAME_SIZE);
    out[OMX_MAX_STRINGNAME_SIZE - 1] = '\0';
    return OMX_ErrorNone;
}
