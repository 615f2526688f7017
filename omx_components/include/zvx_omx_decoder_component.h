#ifndef ZVX_OMX_DECODER_COMPONENT_H
#define ZVX_OMX_DECODER_COMPONENT_H

#include <OMX_Component.h>

#include "zvx_omx_common_component.h"

typedef OMX_ERRORTYPE (*zvx_omx_get_extension_index_fptr)(OMX_HANDLETYPE hComponent, OMX_STRING cParameterName,
                                                          OMX_INDEXTYPE *pIndexType);

struct zvx_omx_decoder_component {
    struct zvx_omx_common_component common;
    /* The handle's get-extension-index before the decoder put its own in front of it. */
    zvx_omx_get_extension_index_fptr InheritedGetExtensionIndex;
};

OMX_ERRORTYPE zvx_omx_decoder_component_init(struct zvx_omx_component *handle, struct zvx_omx_decoder_component *comp,
                                             OMX_PTR app_data, OMX_CALLBACKTYPE *callbacks);
void zvx_omx_decoder_component_destroy(struct zvx_omx_decoder_component *comp);

/* Roles of the decoder table that the session supports; null (and *count untouched) for a null count. */
const char **zvx_omx_decoder_get_enabled_roles(int *count);
OMX_ERRORTYPE zvx_omx_decoder_component_role_enum(OMX_HANDLETYPE handle, OMX_U8 *role, OMX_U32 index);
OMX_ERRORTYPE zvx_omx_decoder_component_get_extension_index(OMX_HANDLETYPE handle, OMX_STRING name,
                                                            OMX_INDEXTYPE *index);

#endif
