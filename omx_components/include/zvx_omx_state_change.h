#ifndef ZVX_OMX_STATE_CHANGE_H
#define ZVX_OMX_STATE_CHANGE_H

/* OMX_CommandStateSet on the command thread: the transition table's checks, the hardware state asked
 * of the session, and the delayed steps that complete the change once the session and the ports are
 * ready. */

#include <OMX_Core.h>
#include <stdint.h>

#include "zvx_omx_common_cproc.h"
#include "zvx_session_interface.h"

/* Retry budget of a state change whose readiness check keeps failing. */
#define ZVX_OMX_STATE_CHANGE_ATTEMPTS 5000
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
/* The component sends itself to Invalid: the state change runs as one of its own commands, ahead of the
 * client's, which may be waiting for the very session that has failed; they then end in
 * OMX_ErrorInvalidState. False when nothing could be queued. */
bool zvx_omx_state_queue_invalidation(struct zvx_omx_common_component *comp);
/* Asks the session for a hardware state unless it is there already. */
void zvx_enqueue_state_change_helper(struct zvx_omx_common_component *comp, enum zvx_base_hw_state state);
/* False when nothing could be queued. */
bool queue_delayed_state_change(struct zvx_omx_common_component *comp, OMX_STATETYPE state,
                                enum zvx_base_hw_state hw_state);

#endif
