#ifndef ZVX_OMX_SETTINGS_LOCK_H
#define ZVX_OMX_SETTINGS_LOCK_H

#include <pthread.h>

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

#endif
