#include "zvx_omx_decoder_component.h"

#include <iterator>
#include <string_view>

#include "zvx_omx_common_component_commands.h"
#include "zvx_omx_common_component_role.h"
#include "zvx_omx_common_cproc.h"
#include "zvx_omx_config.h"
#include "zvx_omx_extensions.h"
#include "zvx_omx_log.h"

namespace {

constexpr const char *ZVXP_DECODER_ROLES[] = {
    "video_decoder.avc", "video_decoder.h263", "video_decoder.mpeg4", "video_decoder.vp8",  "video_decoder.vp9",
    "video_decoder.rv",  "video_decoder.vc1",  "video_decoder.mpeg2", "video_decoder.hevc",
};

const char *zvxp_enabled_decoder_roles[ZVX_OMX_MAX_ENABLED_ROLES];

OMX_COMPONENTTYPE *zvxp_handle_of(struct zvx_omx_decoder_component *comp)
{
    return reinterpret_cast<OMX_COMPONENTTYPE *>(comp->common.omx_component);
}

} // namespace

OMX_ERRORTYPE zvx_omx_decoder_component_init(struct zvx_omx_component *handle, struct zvx_omx_decoder_component *comp,
                                             OMX_PTR app_data, OMX_CALLBACKTYPE *callbacks)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO,
            "zvx_omx_decoder_component_init(handle=%p, comp=%p, app_data=%p, callbacks=%p) (%s:%d)", handle, comp,
            app_data, callbacks);
    if (handle == nullptr || comp == nullptr) {
        return OMX_ErrorBadParameter;
    }
    /* A failed common init leaves nothing to put back at destroy. */
    comp->InheritedGetExtensionIndex = nullptr;
    zvx_omx_common_component_set_type(&comp->common, ZVX_OMX_DECODER);
    const OMX_ERRORTYPE error = zvx_omx_common_component_init(handle, &comp->common, app_data, callbacks);
    if (error != OMX_ErrorNone) {
        return error;
    }
    auto *omx = reinterpret_cast<OMX_COMPONENTTYPE *>(handle);
    omx->pComponentPrivate = comp;
    comp->InheritedGetExtensionIndex = omx->GetExtensionIndex;
    omx->ComponentRoleEnum = zvx_omx_decoder_component_role_enum;
    omx->GetExtensionIndex = zvx_omx_decoder_component_get_extension_index;
    const OMX_ERRORTYPE config_error =
        zvx_omx_config_decoder(&comp->common.ports[0].config_and_params, &comp->common.ports[1].config_and_params);
    if (config_error != OMX_ErrorNone) {
        zvx_omx_decoder_component_destroy(comp);
        return config_error;
    }
    zvx_omx_common_cproc_invoker_start(&comp->common);
    return OMX_ErrorNone;
}

void zvx_omx_decoder_component_destroy(struct zvx_omx_decoder_component *comp)
{
    if (comp == nullptr) {
        return;
    }
    zvx_omx_common_cproc_invoker_exit(&comp->common);
    if (OMX_COMPONENTTYPE *omx = zvxp_handle_of(comp); omx != nullptr && comp->InheritedGetExtensionIndex != nullptr) {
        omx->GetExtensionIndex = comp->InheritedGetExtensionIndex;
    }
    zvx_omx_common_component_destroy(&comp->common);
}

const char **zvx_omx_decoder_get_enabled_roles(int *count)
{
    if (count == nullptr) {
        return nullptr;
    }
    *count = zvx_omx_common_component_collect_enabled_roles(ZVXP_DECODER_ROLES, std::size(ZVXP_DECODER_ROLES),
                                                            zvxp_enabled_decoder_roles);
    return zvxp_enabled_decoder_roles;
}

OMX_ERRORTYPE zvx_omx_decoder_component_role_enum(OMX_HANDLETYPE handle, OMX_U8 *role, OMX_U32 index)
{
    (void)handle;
    return zvx_omx_common_component_role_enum(ZVXP_DECODER_ROLES, std::size(ZVXP_DECODER_ROLES), role, index);
}

OMX_ERRORTYPE zvx_omx_decoder_component_get_extension_index(OMX_HANDLETYPE handle, OMX_STRING name,
                                                            OMX_INDEXTYPE *index)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO,
            "zvx_omx_decoder_component_get_extension_index(handle=%p, name=%s, index_type=%p). (%s:%d)", handle,
            name != nullptr ? name : "(null)", index);
    if (handle == nullptr || index == nullptr || name == nullptr) {
        return OMX_ErrorBadParameter;
    }
    auto *comp =
        static_cast<struct zvx_omx_decoder_component *>(static_cast<OMX_COMPONENTTYPE *>(handle)->pComponentPrivate);
    if (comp == nullptr) {
        return OMX_ErrorBadParameter;
    }
    const std::string_view requested(name);
    if (requested == "OMX.google.android.index.useAndroidNativeBuffer2") {
        *index = OMX_IndexParamUseAndroidNativeBuffer2;
        return OMX_ErrorNone;
    }
    if (requested == "OMX.google.android.index.getAndroidNativeBufferUsage") {
        *index = OMX_IndexParamGetAndroidNativeBufferUsage;
        return OMX_ErrorNone;
    }
    return comp->InheritedGetExtensionIndex(handle, name, index);
}
