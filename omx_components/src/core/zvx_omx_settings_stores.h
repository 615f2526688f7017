#ifndef ZVX_OMX_SETTINGS_STORES_H
#define ZVX_OMX_SETTINGS_STORES_H

/* The component's settings stores as the parameter entries reach them: which store an index lives in, and
 * the component's `lock` guards them all. */

#include "settings/zvx_omx_parameter_table.h"
#include "zvx_omx_common_component.h"

/* The settings store an index of this scope lives in; null for a port beyond the component's. */
inline struct zvx_map *zvx_omx_parameter_store(zvx_omx_common_component *comp, zvx_omx_parameter_scope scope,
                                               OMX_U32 port)
{
    if (scope == zvx_omx_parameter_scope::component)
        return &comp->config_and_params;
    return port < ZVX_OMX_PORT_COUNT ? &comp->ports[port].config_and_params : nullptr;
}

#endif
