#ifndef ZVX_OMX_CORE_CATALOGUE_H
#define ZVX_OMX_CORE_CATALOGUE_H

#include <OMX_Core.h>

#include <cstddef>
#include <span>

#include "zvx_omx_common_component.h"

/* One kind of component the core offers: its name, how to make and unmake its record behind a
 * handle, and the roles the session supports for it. */
struct zvx_omx_core_kind {
    const char *name;
    size_t record_size;
    /* On failure the record still holds what init made, and destroy releases it. */
    OMX_ERRORTYPE(*init)
    (struct zvx_omx_component *handle, void *record, OMX_PTR app_data, OMX_CALLBACKTYPE *callbacks);
    void (*destroy)(void *record);
    /* Rewrites a table the kind owns: callers take turns. */
    const char **(*enabled_roles)(int *count);
};

inline constexpr size_t ZVX_OMX_CORE_KIND_COUNT = 2;

std::span<const zvx_omx_core_kind, ZVX_OMX_CORE_KIND_COUNT> zvx_omx_core_kinds();
/* Null for a name the core does not offer. */
const zvx_omx_core_kind *zvx_omx_core_find_kind(const char *name);

#endif
