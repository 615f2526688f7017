#ifndef ZVX_OMX_COMMON_COMPONENT_COMMANDS_H
#define ZVX_OMX_COMMON_COMPONENT_COMMANDS_H

/* The client's commands: SendCommand and its neighbours, and the flush command. The state change,
 * which the state machine runs, comes with zvx_omx_state_change.h. */

#include <OMX_Component.h>
#include <stdint.h>
#include <time.h>

#include "zvx_omx_common_cproc.h"
#include "zvx_omx_state_change.h"
#include "zvx_session_interface.h"

/* Milliseconds a flush on running hardware waits for the codec configuration. */
#define ZVX_OMX_FLUSH_IN_EXECUTING_TIMEOUT_MS 200

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

/* The command thread: runs one queued command and fetches one session event per wake-up. Started by the
 * decoder's and encoder's init; exit runs everything queued so far, then stops and joins it. */
void zvx_omx_common_cproc_invoker_start(struct zvx_omx_common_component *comp);
void zvx_omx_common_cproc_invoker_exit(struct zvx_omx_common_component *comp);

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
