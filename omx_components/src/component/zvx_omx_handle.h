#ifndef ZVX_OMX_HANDLE_H
#define ZVX_OMX_HANDLE_H

#include "zvx_omx_common_component.h"

/* Zeroes the handle and fills it: size, version 1.1.0.0, the record, the application data and the
 * entry points every component shares. The decoder and encoder add their own afterwards. */
void zvx_omx_handle_fill(struct zvx_omx_component *handle, zvx_omx_common_component *comp, OMX_PTR app_data);

#endif
