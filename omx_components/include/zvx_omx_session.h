#ifndef ZVX_OMX_SESSION_H
#define ZVX_OMX_SESSION_H

#include "zvx_omx_common_component.h"

/* Creates and activates a session for the stored role and sends it the current settings. */
bool zvx_omx_common_component_create_session(zvx_omx_common_component *comp);
/* Only a created session on an open device is destroyed, so a second call does nothing. */
void zvx_omx_common_component_destroy_session(zvx_omx_common_component *comp);
/* Asks the session to flush the ports in mask (ZVX_BASE_FLUSH_INPUT_PORT, _OUTPUT_PORT or both) with one
 * request, counting one outstanding flush on each. Command thread only. */
void zvx_omx_port_flush_session(zvx_omx_common_component *comp, OMX_U32 mask);
/* Passes every stored setting the session must know to it, port definitions first. */
void zvx_omx_common_component_send_current_settings(zvx_omx_common_component *comp);

#endif
