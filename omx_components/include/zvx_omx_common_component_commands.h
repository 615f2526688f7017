#ifndef ZVX_OMX_COMMON_COMPONENT_COMMANDS_H
#define ZVX_OMX_COMMON_COMPONENT_COMMANDS_H

#include <OMX_Component.h>
#include <stdint.h>
#include <time.h>

#include "zvx_omx_common_cproc.h"
#include "zvx_session_interface.h"

/* Retry budget of a state change whose readiness check keeps failing. */
#define ZVX_OMX_STATE_CHANGE_ATTEMPTS 5000
/* Milliseconds a flush on running hardware waits for the codec configuration. */
#define ZVX_OMX_FLUSH_IN_EXECUTING_TIMEOUT_MS 200

/* Command functions run on the command thread and return true when done (the record is freed) or
 * false to run again later. Each takes a null component or record as done, unless said otherwise. */

struct command_state_change_data {
    struct zvx_omx_common_cproc_command_data command_data;
    int32_t state; /* target OMX_STATETYPE */
    int32_t remaining_attempts;
};

/* Waits for the session to reach hw_state, then completes the change to state. */
struct command_delayed_state_change_data {
    struct zvx_omx_common_cproc_command_data command_data;
    int32_t state;    /* target OMX_STATETYPE */
    int32_t hw_state; /* enum zvx_base_hw_state */
};
static_assert(sizeof(struct command_delayed_state_change_data) == 16);

bool common_component_cmd_state_change(struct zvx_omx_common_component *comp,
                                       struct zvx_omx_common_cproc_command_data *command);
bool delayed_statechange(struct zvx_omx_common_component *comp, struct zvx_omx_common_cproc_command_data *command);
/* The rest of a change to Idle from Executing, once both ports' flushes are done. */
bool delayed_statechange_onflush(struct zvx_omx_common_component *comp,
                                 struct zvx_omx_common_cproc_command_data *command);
/* Asks the session for a hardware state unless it is there already. */
void zvx_enqueue_state_change_helper(struct zvx_omx_common_component *comp, enum zvx_base_hw_state state);
/* False when nothing could be queued. */
bool queue_delayed_state_change(struct zvx_omx_common_component *comp, OMX_STATETYPE state,
                                enum zvx_base_hw_state hw_state);

enum command_flush_in_executing_state_t {
    WAIT_FOR_CODEC_CONFIG = 0,
    CHANGING_STATE_TO_STOPPED = 1,
    FLUSHING = 2,
    CHANGING_STATE_TO_RUNNING = 3,
};

struct command_flush_buffers_in_executing_state {
    struct zvx_omx_common_cproc_command_data command_data;
    uint32_t state; /* enum command_flush_in_executing_state_t */
    OMX_U32 nParam; /* port index or OMX_ALL */
    int32_t hw_state;
    struct timespec start_time; /* monotonic, when the client's flush was queued */
    long timeout;               /* milliseconds to wait for codec-configuration input */
};

/* A client's OMX_CommandFlush, carried out when it reaches the command thread: at once without a
 * session, through common_component_cmd_flush_buffers_in_executing_state on running hardware, else
 * handed to the session, whose flush events complete it. */
bool common_component_cmd_flush_buffers(struct zvx_omx_common_component *comp,
                                        struct zvx_omx_common_cproc_command_data *command);
/* Stops the hardware, flushes, restarts it and completes; a null component or record is not done. */
bool common_component_cmd_flush_buffers_in_executing_state(struct zvx_omx_common_component *comp,
                                                           struct zvx_omx_common_cproc_command_data *command);
/* True when at least timeout milliseconds lie between start and end. */
bool check_timeout(struct timespec start, struct timespec end, long timeout);

OMX_ERRORTYPE zvx_omx_common_component_send_command(OMX_HANDLETYPE hComponent, OMX_COMMANDTYPE Cmd, OMX_U32 nParam1,
                                                    OMX_PTR pCmdData);
OMX_ERRORTYPE zvx_omx_common_component_get_state(OMX_HANDLETYPE hComponent, OMX_STATETYPE *pState);
OMX_ERRORTYPE zvx_omx_common_component_get_component_version(OMX_HANDLETYPE hComponent, OMX_STRING pComponentName,
                                                             OMX_VERSIONTYPE *pComponentVersion,
                                                             OMX_VERSIONTYPE *pSpecVersion,
                                                             OMX_UUIDTYPE *pComponentUUID);
OMX_ERRORTYPE zvx_omx_common_component_set_callbacks(OMX_HANDLETYPE hComponent, OMX_CALLBACKTYPE *pCallbacks,
                                                     OMX_PTR pAppData);
OMX_ERRORTYPE zvx_omx_common_component_get_extension_index(OMX_HANDLETYPE hComponent, OMX_STRING cParameterName,
                                                           OMX_INDEXTYPE *pIndexType);

#endif
