#ifndef ZVX_OMX_BUFFER_DESCRIPTOR_H
#define ZVX_OMX_BUFFER_DESCRIPTOR_H

/* What the session is told about a buffer of a port when it is registered: layout, geometry and where
 * the memory is. */

#include <OMX_Core.h>

#include "zvx_omx_common_component.h"
#include "zvx_session_interface.h"

/* Bytes of one frame of the port as its definition lays it out, extra data included. Caller holds the
 * component lock. */
OMX_U32 zvx_omx_buffer_frame_bytes(struct zvx_omx_common_component *comp, OMX_U32 port);

/* Fills the port's layout and geometry into desc: format, frame size, stride and the compressed
 * layout's allocation; identity, memory and size are the caller's. Caller holds the component lock. */
void zvx_omx_buffer_describe(struct zvx_omx_common_component *comp, OMX_U32 port,
                             struct zvx_base_buffer_userspace *desc);

/* The allocator of memory handed in by the client on the port: a dma-buf descriptor in dma-buf mode,
 * else an address. Caller holds the component lock. */
enum zvx_base_buffer_allocator zvx_omx_buffer_client_allocator(struct zvx_omx_common_component *comp, OMX_U32 port);

#endif
