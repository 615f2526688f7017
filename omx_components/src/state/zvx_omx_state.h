#ifndef ZVX_OMX_STATE_H
#define ZVX_OMX_STATE_H

/*
 * The component's state machine, run by its command thread only: the OpenMAX state with its
 * transition table, the hardware state asked of the session, and what each port is doing for the
 * client. The commands that move it are in zvx_omx_common_component_commands.h.
 */

#include <OMX_Core.h>
#include <stdint.h>

#include "zvx_omx_port.h"

struct zvx_omx_common_component;

OMX_STATETYPE zvx_omx_state_get(struct zvx_omx_common_component *comp);
void zvx_omx_state_set(struct zvx_omx_common_component *comp, OMX_STATETYPE state);
const char *zvx_omx_state_name(OMX_STATETYPE state);

/* The hardware state last reported by the session, or a requested one while it is outstanding. */
int32_t zvx_omx_state_hw(struct zvx_omx_common_component *comp);
void zvx_omx_state_set_hw(struct zvx_omx_common_component *comp, int32_t hw_state);
bool zvx_omx_state_has_session(struct zvx_omx_common_component *comp);

/* What the port is doing for the client; any thread may ask. */
zvx_omx_port_transition zvx_omx_state_port_transition(struct zvx_omx_common_component *comp, OMX_U32 port);
/* Marks the port, unless it is carrying out another transition already. */
void zvx_omx_state_port_begin(struct zvx_omx_common_component *comp, OMX_U32 port, zvx_omx_port_transition transition);
/* Back to STABLE, unless the port has gone on to another transition meanwhile. */
void zvx_omx_state_port_end(struct zvx_omx_common_component *comp, OMX_U32 port, zvx_omx_port_transition transition);

/* The client's state change under way, as any thread sees it: marked when SendCommand accepts it and
 * settled when the command thread completes or refuses it. A newer request replaces an older one. */
void zvx_omx_state_request(struct zvx_omx_common_component *comp, OMX_STATETYPE target);
void zvx_omx_state_settle_request(struct zvx_omx_common_component *comp, OMX_STATETYPE target);
bool zvx_omx_state_is_requested(struct zvx_omx_common_component *comp, OMX_STATETYPE target);

/* A pending command of a component gone invalid can never complete: it ends with
 * OMX_EventError(OMX_ErrorInvalidState, data2). False while the component is valid. */
bool zvx_omx_state_abandon_if_invalid(struct zvx_omx_common_component *comp, OMX_U32 data2);

/* Run by the command thread after every command and every session event: completes what is
 * pending and can complete now, or can no longer complete as asked. */
void zvx_omx_state_check_transitions(struct zvx_omx_common_component *comp);

#endif
