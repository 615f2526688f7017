#include "zvx_omx_encoder_component.h"

#include <iterator>

#include "zvx_omx_common_component_commands.h"
#include "zvx_omx_common_component_role.h"
#include "zvx_omx_common_cproc.h"
#include "zvx_omx_config.h"

namespace {

constexpr const char *ZVXP_ENCODER_ROLES[] = {
    "video_encoder.avc",
    "video_encoder.vp8",
    "video_encoder.vp9",
    "video_encoder.hevc",
};

const char *zvxp_enabled_encoder_roles[ZVX_OMX_MAX_ENABLED_ROLES];

} // namespace

OMX_ERRORTYPE zvx_omx_encoder_component_init(struct zvx_omx_component *handle, struct zvx_omx_encoder_component *comp,
                                             OMX_PTR app_data, OMX_CALLBACKTYPE *callbacks)
{
    if (handle == nullptr || comp == nullptr) {
        return OMX_ErrorBadParameter;
    }
    zvx_omx_common_component_set_type(&comp->common, ZVX_OMX_ENCODER);
    const OMX_ERRORTYPE error = zvx_omx_common_component_init(handle, &comp->common, app_data, callbacks);
    if (error != OMX_ErrorNone) {
        return error;
    }
    auto *omx = reinterpret_cast<OMX_COMPONENTTYPE *>(handle);
    omx->pComponentPrivate = comp;
    omx->ComponentRoleEnum = zvx_omx_encoder_component_role_enum;
    const OMX_ERRORTYPE config_error =
        zvx_omx_config_encoder(&comp->common.ports[0].config_and_params, &comp->common.ports[1].config_and_params);
    if (config_error != OMX_ErrorNone) {
        zvx_omx_encoder_component_destroy(comp);
        return config_error;
    }
    zvx_omx_common_cproc_invoker_start(&comp->common);
    return OMX_ErrorNone;
}

void zvx_omx_encoder_component_destroy(struct zvx_omx_encoder_component *comp)
{
    if (comp == nullptr) {
        return;
    }
    zvx_omx_common_cproc_invoker_exit(&comp->common);
    zvx_omx_common_component_destroy(&comp->common);
}

const char **zvx_omx_encoder_get_enabled_roles(int *count)
{
    if (count == nullptr) {
        return nullptr;
    }
    *count = zvx_omx_common_component_collect_enabled_roles(ZVXP_ENCODER_ROLES, std::size(ZVXP_ENCODER_ROLES),
                                                            zvxp_enabled_encoder_roles);
    return zvxp_enabled_encoder_roles;
}

OMX_ERRORTYPE zvx_omx_encoder_component_role_enum(OMX_HANDLETYPE handle, OMX_U8 *role, OMX_U32 index)
{
    (void)handle;
    return zvx_omx_common_component_role_enum(ZVXP_ENCODER_ROLES, std::size(ZVXP_ENCODER_ROLES), role, index);
}
