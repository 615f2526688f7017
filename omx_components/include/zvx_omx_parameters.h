#ifndef ZVX_OMX_PARAMETERS_H
#define ZVX_OMX_PARAMETERS_H

/*
 * GetParameter/GetConfig and SetParameter/SetConfig. Getting copies from the settings stores under the
 * component lock on the caller's thread. Setting runs as a command on the command thread, which alone
 * changes the stores' structure and talks to the session; the client waits for its outcome.
 */

#include <OMX_Core.h>

#include "zvx_omx_common_cproc.h"
#include "zvx_util_semaphore.h"

struct zvx_omx_common_component;

/* A client waiting on its stack for a queued set; posted once `error` is written. */
struct zvx_omx_set_parameter_waiter {
    struct zvx_util_semaphore_t done;
    OMX_ERRORTYPE error;
};

struct command_set_parameter_data {
    struct zvx_omx_common_cproc_command_data command_data;
    OMX_INDEXTYPE index;
    OMX_PTR param; /* the record, read only while the command runs; its nSize is not looked at */
    OMX_ERRORTYPE error;
    struct zvx_omx_set_parameter_waiter *waiter; /* null when nobody waits */
};

/* Stores the record, applies what follows from it and passes what the session must know to the
 * session, or keeps it for the next session. Always done (true); the outcome is in `error`. Runs on the
 * command thread, or on any thread while no command thread runs. */
bool common_component_cmd_set_parameter(struct zvx_omx_common_component *comp,
                                        struct zvx_omx_common_cproc_command_data *command);

OMX_ERRORTYPE zvx_omx_common_component_get_parameter(OMX_HANDLETYPE hComponent, OMX_INDEXTYPE nIndex,
                                                     OMX_PTR pComponentParameterStructure);
OMX_ERRORTYPE zvx_omx_common_component_set_parameter(OMX_HANDLETYPE hComponent, OMX_INDEXTYPE nIndex,
                                                     OMX_PTR pComponentParameterStructure);

#endif
