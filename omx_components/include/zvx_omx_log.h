#ifndef ZVX_OMX_LOG_H
#define ZVX_OMX_LOG_H

#include "zvx_log.h"

// The component's one log group: tag "ZVX_OMX_IF", registered as "omx_if", WARNING on the "alog"
// drain unless "ZVX_LOG_CONFIGURE" says otherwise. Bound at program load, before main.
//
//   ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_GetState(handle=%p). (%s:%d)", handle);
extern struct zvx_log_group zvx_log_omx_if;

// Run by the program image itself (load-time constructor, exit-time destructor).
void zvx_omx_log_init(void);
void zvx_omx_log_destroy(void);

#endif
