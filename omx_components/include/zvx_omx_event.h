#ifndef ZVX_OMX_EVENT_H
#define ZVX_OMX_EVENT_H

#include <stdint.h>

struct zvx_omx_common_component;
struct zvx_base_event_header;

/* Runs on the command thread only; the event stays owned by the caller. */
void zvxp_omx_handle_event(struct zvx_omx_common_component *comp, const struct zvx_base_event_header *desc);
void zvxp_omx_handle_event_state_changed(struct zvx_omx_common_component *comp, int32_t state);

#endif
