#ifndef ZVX_OMX_BUFFER_RETURNS_H
#define ZVX_OMX_BUFFER_RETURNS_H

/* Buffers back to the client: consumed inputs in the order they were queued, filled outputs with what
 * the session wrote, refused outputs parked until they can all go back. Command thread, except where
 * said. */

#include <OMX_Types.h>
#include <stdint.h>

#include "zvx_session_interface.h"

struct zvx_omx_common_component;

/* The session gives a buffer back; desc is an aligned copy of the event's descriptor. */
void zvxp_omx_handle_event_input(struct zvx_omx_common_component *comp, const struct zvx_base_buffer_userspace *desc);
void zvxp_omx_handle_event_output(struct zvx_omx_common_component *comp, const struct zvx_base_buffer_userspace *desc);

/* Refused outputs parked while the session waits for buffers of a new size: counted, delivered all
 * together once every output the session owes has been refused, or given back empty by a flush. */
int32_t zvxp_omx_rejected_buffers_count(struct zvx_omx_common_component *comp);
void zvxp_omx_rejected_buffers_check_return(struct zvx_omx_common_component *comp);
void zvxp_omx_rejected_buffers_return_all(struct zvx_omx_common_component *comp, OMX_U32 index);
void zvx_omx_rejected_buffers_flush(struct zvx_omx_common_component *comp);

/* Gives consumed inputs back in the order they were queued, holding them back at the start of a stream
 * as the output side requires. */
void zvx_omx_return_input_buffers(struct zvx_omx_common_component *comp);
/* Any thread: whether consumed inputs wait, and a command that gives back what may go now. */
bool zvx_omx_input_returns_waiting(struct zvx_omx_common_component *comp);
void zvx_omx_queue_input_returns(struct zvx_omx_common_component *comp);

/* Without a session nothing more will come back from it: every buffer the component still holds goes back
 * to the client at once, outputs empty. Command thread. */
void zvx_omx_return_orphaned_buffers(struct zvx_omx_common_component *comp);

#endif
