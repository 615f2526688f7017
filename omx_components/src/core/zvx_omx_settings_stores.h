#ifndef ZVX_OMX_SETTINGS_STORES_H
#define ZVX_OMX_SETTINGS_STORES_H

/* The component's settings stores as the parameter entries reach them: which store an index lives in, and
 * the lock that guards them all. */

#include <pthread.h>

#include "settings/zvx_omx_parameter_table.h"
#include "zvx_omx_common_component.h"

/* Holds the component lock for a scope: client threads read the settings stores while the command
 * thread changes them. Never held across a client callback or a session call. */
class zvx_omx_settings_lock {
public:
    explicit zvx_omx_settings_lock(zvx_omx_common_component *comp) : mutex_(&comp->lock) { pthread_mutex_lock(mutex_); }
    ~zvx_omx_settings_lock() { pthread_mutex_unlock(mutex_); }
    zvx_omx_settings_lock(const zvx_omx_settings_lock &) = delete;
    zvx_omx_settings_lock &operator=(const zvx_omx_settings_lock &) = delete;

private:
    pthread_mutex_t *mutex_;
};

/* The settings store an index of this scope lives in; null for a port beyond the component's. */
inline struct zvx_map *zvx_omx_parameter_store(zvx_omx_common_component *comp, zvx_omx_parameter_scope scope,
                                               OMX_U32 port)
{
    if (scope == zvx_omx_parameter_scope::component)
        return &comp->config_and_params;
    return port < ZVX_OMX_PORT_COUNT ? &comp->ports[port].config_and_params : nullptr;
}

#endif
