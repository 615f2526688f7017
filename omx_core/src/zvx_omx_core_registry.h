#ifndef ZVX_OMX_CORE_REGISTRY_H
#define ZVX_OMX_CORE_REGISTRY_H

/*
 * What the core shares between client threads: the OMX_Init count, the handles it has given out and
 * the session side they run on. The session side comes up at the first OMX_Init and goes down once
 * the count is back at zero and every handle has been freed: a client that calls OMX_Deinit before
 * OMX_FreeHandle keeps working handles, frees them afterwards, and the last free shuts down.
 */

#include <OMX_Core.h>

#include "zvx_omx_common_component_role.h"
#include "zvx_omx_core_catalogue.h"

struct zvx_omx_core_role_list {
    const char *roles[ZVX_OMX_MAX_ENABLED_ROLES];
    int count;
};

OMX_ERRORTYPE zvx_omx_core_init(void);
/* OMX_ErrorNotReady without a matching zvx_omx_core_init. */
OMX_ERRORTYPE zvx_omx_core_deinit(void);
bool zvx_omx_core_initialised(void);

/* The roles the session supported for the kind when the session side came up; false while the core
 * is not initialised. */
bool zvx_omx_core_enabled_roles(const zvx_omx_core_kind *kind, zvx_omx_core_role_list *list);

/* Makes a component of the kind and gives out its handle; OMX_ErrorNotReady while the core is not
 * initialised. */
OMX_ERRORTYPE zvx_omx_core_make_handle(const zvx_omx_core_kind *kind, OMX_PTR app_data, OMX_CALLBACKTYPE *callbacks,
                                       OMX_HANDLETYPE *handle);
/* OMX_ErrorInvalidComponent for a handle the core did not give out or has already taken back. */
OMX_ERRORTYPE zvx_omx_core_free_handle(OMX_HANDLETYPE handle);

#endif
