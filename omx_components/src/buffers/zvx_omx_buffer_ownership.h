#ifndef ZVX_OMX_BUFFER_OWNERSHIP_H
#define ZVX_OMX_BUFFER_OWNERSHIP_H

/*
 * Who holds each buffer. A header is the client's (CLIENT) until the client queues it, then the
 * component's (COMPONENT): on its port's tracked list while the session holds it, and for an input also
 * on the port's queue-order list. An input the session has given back waits there behind the ones
 * queued before it (COMP_TO_CLIENT); an output the session refused waits to be delivered again
 * (COMP_REJECTED). The client frees only what it holds.
 *
 * Locks: the component lock guards each port's registry, so a header found there lives for as long as
 * the lock is held, and nothing reads a client's header before finding it there. A port's buffer_sem
 * guards the owner of that port's headers and both lists. The component lock is taken first when both
 * are held; neither is held across a client callback.
 */

#include <OMX_Core.h>

#include "zvx_omx_common_component.h"
#include "zvx_omx_port.h"
#include "zvx_session_interface.h"

/* Holds a port's buffer_sem for a scope. */
class zvx_omx_port_buffers_lock {
public:
    explicit zvx_omx_port_buffers_lock(zvx_omx_port *port);
    ~zvx_omx_port_buffers_lock();
    zvx_omx_port_buffers_lock(const zvx_omx_port_buffers_lock &) = delete;
    zvx_omx_port_buffers_lock &operator=(const zvx_omx_port_buffers_lock &) = delete;

private:
    zvx_omx_port *port_;
};

/* The header behind the client's pub when it is registered on the port; null for any other address.
 * Never reads *pub. Caller holds the component lock. */
struct zvx_omx_common_bufferheadertype *zvx_omx_buffer_find(struct zvx_omx_common_component *comp, OMX_U32 port,
                                                            const OMX_BUFFERHEADERTYPE *pub);

/* Appends to the queue-order list; false when memory is short. Caller holds the port's buffer_sem. */
bool zvx_omx_buffer_list_append(zvx_omx_port *port, struct zvx_omx_common_bufferheadertype *header);

/* The header is about to be queued under the session identity buffer_id (its own, or that of the frame
 * memory its metadata names): it is tracked under it at the back of the list, any older entry of the
 * header dropped. False when memory is short; the header is then not tracked. Caller holds the port's
 * buffer_sem. */
bool zvx_omx_common_component_update_buffer_handle(zvx_omx_port *port, struct zvx_omx_common_bufferheadertype *header,
                                                   zvx_base_buffer_handle_t buffer_id, zvx_base_buffer_handle_t handle);

/* A header given back through a callback stays marked from the moment it becomes the client's until the
 * callback has returned. Inside the callback the client holds it; another thread that finds its header
 * marked waits for the callback to end before it queues or frees it, so that no header is freed before
 * the callback that hands it back has run. The command thread marks under the port's buffer_sem. */
void zvx_omx_buffer_mark_returning(struct zvx_omx_common_component *comp,
                                   struct zvx_omx_common_bufferheadertype *header);
void zvx_omx_buffer_returned(struct zvx_omx_common_component *comp);
/* True when the call for pub must wait: it is being handed back by a callback on another thread. Caller
 * holds the port's buffer_sem. */
bool zvx_omx_buffer_is_returning(struct zvx_omx_common_component *comp, const OMX_BUFFERHEADERTYPE *pub);
/* Waits, holding no lock, until pub is no longer being handed back. */
void zvx_omx_buffer_wait_returned(struct zvx_omx_common_component *comp, const OMX_BUFFERHEADERTYPE *pub);

/* Unlinks and returns the first tracked header queued under buffer_id; null when there is none. */
struct zvx_omx_common_bufferheadertype *zvxp_omx_remove_from_tracked_list(struct zvx_omx_common_component *comp,
                                                                          zvx_base_buffer_handle_t buffer_id,
                                                                          OMX_U32 nPort);

#endif
