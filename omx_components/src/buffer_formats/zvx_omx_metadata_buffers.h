#ifndef ZVX_OMX_METADATA_BUFFERS_H
#define ZVX_OMX_METADATA_BUFFERS_H

/*
 * Store-metadata mode: a port's buffers hold a metadata record (VideoGrallocMetadata,
 * VideoNativeMetadata or VideoNativeHandleMetadata) whose pointer names the frame memory: its address,
 * or a dma-buf descriptor when dma-buf mode is on for the port. The memory may change with every
 * queueing. Each one is registered with the session once, under its own identity, kept in the port's
 * mapped buffers and counted while the firmware holds it. Fences are not waited for: a client passes
 * none.
 */

#include <OMX_Core.h>

#include "zvx_omx_common_component.h"
#include "zvx_session_interface.h"

/* Bytes a buffer needs to hold any of the records. */
OMX_U32 zvx_omx_metadata_record_size(void);

/* The frame memory the header's record names, registered with the session when it is new, and counted
 * as held by the firmware; *buffer_id receives its identity. The caller has claimed the header for
 * queueing and holds no lock. */
OMX_ERRORTYPE zvx_omx_metadata_acquire(struct zvx_omx_common_component *comp, OMX_U32 port,
                                       const struct zvx_omx_common_bufferheadertype *header,
                                       zvx_base_buffer_handle_t *buffer_id);

/* The firmware has given the memory back. A decoder may still read a frame it output as a reference, so
 * such memory is asked about (the session answers with a released-reference event); other memory is
 * free at once. Unknown identities are ignored. Caller holds no lock. */
void zvx_omx_metadata_release(struct zvx_omx_common_component *comp, OMX_U32 port, zvx_base_buffer_handle_t buffer_id);

/* Forgets every frame memory of the port and unregisters it from the session. Caller holds no lock. */
void zvx_omx_metadata_forget(struct zvx_omx_common_component *comp, OMX_U32 port);

#endif
