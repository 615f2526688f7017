#ifndef ZVX_OMX_SESSION_SETTINGS_H
#define ZVX_OMX_SESSION_SETTINGS_H

/* Passing settings to the session: a port definition goes in the session's 1.2.0 form, every other
 * record as the client's. Each call is a no-op without an open session only where it says so. */

#include <OMX_Core.h>
#include <stdint.h>

#include "settings/zvx_omx_parameter_table.h"
#include "zvx_omx_common_component.h"

bool zvx_omx_session_is_open(zvx_omx_common_component *comp);
/* The caller's record; the lock need not be held. */
void zvx_omx_session_pass_record(zvx_omx_common_component *comp, OMX_INDEXTYPE index, const void *record,
                                 uint32_t size);
/* The stored record of the entry for the port, if any; takes the lock itself. */
void zvx_omx_session_pass_stored(zvx_omx_common_component *comp, const zvx_omx_parameter_entry &entry, OMX_U32 port);

#endif
