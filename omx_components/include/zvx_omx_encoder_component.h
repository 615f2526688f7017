#ifndef ZVX_OMX_ENCODER_COMPONENT_H
#define ZVX_OMX_ENCODER_COMPONENT_H

#include <OMX_Component.h>

#include "zvx_omx_common_component.h"

struct zvx_omx_encoder_component {
    struct zvx_omx_common_component common;
};

OMX_ERRORTYPE zvx_omx_encoder_component_init(struct zvx_omx_component *handle, struct zvx_omx_encoder_component *comp,
                                             OMX_PTR app_data, OMX_CALLBACKTYPE *callbacks);
void zvx_omx_encoder_component_destroy(struct zvx_omx_encoder_component *comp);

/* Roles of the encoder table that the session supports; null (and *count untouched) for a null count. */
const char **zvx_omx_encoder_get_enabled_roles(int *count);
OMX_ERRORTYPE zvx_omx_encoder_component_role_enum(OMX_HANDLETYPE handle, OMX_U8 *role, OMX_U32 index);

#endif
