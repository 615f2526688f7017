#ifndef ZVX_OMX_COMMON_COMPONENT_COMMANDS_H
#define ZVX_OMX_COMMON_COMPONENT_COMMANDS_H

#include <OMX_Component.h>
#include <stdint.h>
#include <time.h>

#include "zvx_omx_common_cproc.h"

/* Retry budget of a state change whose readiness check keeps failing. */
#define ZVX_OMX_STATE_CHANGE_ATTEMPTS 5000
/* Milliseconds a flush on running hardware waits for the codec configuration. */
#define ZVX_OMX_FLUSH_IN_EXECUTING_TIMEOUT_MS 200

struct command_state_change_data {
    struct zvx_omx_common_cproc_command_data command_data;
    int32_t state; /* target OMX_STATETYPE */
    int32_t remaining_attempts;
};

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
    struct timespec start_time;
    uint32_t timeout;
};

bool common_component_cmd_state_change(struct zvx_omx_common_component *comp,
                                       struct zvx_omx_common_cproc_command_data *command);
bool common_component_cmd_flush_buffers_in_executing_state(struct zvx_omx_common_component *comp,
                                                           struct zvx_omx_common_cproc_command_data *command);

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
