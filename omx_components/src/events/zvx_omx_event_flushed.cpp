// The session's flush-complete events: what the component still holds of the port goes back to the
// client, and the port's flush bookkeeping restarts; the command that asked for the flush sees it done.
#include <atomic>

#include "buffers/zvx_omx_buffer_ownership.h"
#include "buffers/zvx_omx_buffer_returns.h"
#include "core/zvx_omx_client.h"
#include "state/zvx_omx_state.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_event.h"
#include "zvx_omx_log.h"

namespace {

/* The port's flush cycle is over. */
void zvxp_end_flush_cycle(struct zvx_omx_common_component *comp, OMX_U32 port_index)
{
    zvx_omx_port &port = comp->ports[port_index];
    --port.nr_pending_flushes;
    port.flush_without_stop = false;
    std::atomic_ref(port.nr_dequeue).store(0);
    std::atomic_ref(port.nr_enqueue).store(0);
}

/* The first header of the list that the session has given back, unlinked and handed to the client;
 * null when there is none. Caller holds the port's buffer_sem. */
struct zvx_omx_common_bufferheadertype *zvxp_take_returned(struct zvx_omx_common_component *comp, zvx_omx_port &port)
{
    for (auto *it = port.buffer_list.node.next; it != &port.buffer_list.node; it = it->next) {
        struct zvx_omx_common_bufferheadertype *header = it->data;
        if (header->priv.owner == ZVX_OMX_BUFFER_OWNER_COMP_TO_CLIENT) {
            zvx_list_erase_port_buffers(&port.buffer_list, it);
            header->priv.owner = ZVX_OMX_BUFFER_OWNER_CLIENT;
            zvx_omx_buffer_mark_returning(comp, header);
            return header;
        }
    }
    return nullptr;
}

} // namespace

void zvxp_omx_handle_event_input_flushed(struct zvx_omx_common_component *comp)
{
    const OMX_U32 port_index = zvx_omx_common_component_get_input_port_index(comp);
    zvx_omx_port &port = comp->ports[port_index];
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_DEBUG, "zvxp_omx_handle_event_input_flushed, port=%d). (%s:%d)",
            static_cast<int>(port_index));
    zvx_instr_write_msg(ZVX_INSTR_FLUSHED_INPUT_RECV, 0, nullptr);
    // The semaphore is released around each callback, in which the client may queue the buffer
    // again; every search starts over from the head of the list.
    for (;;) {
        struct zvx_omx_common_bufferheadertype *header;
        OMX_TICKS timestamp = 0;
        {
            zvx_omx_port_buffers_lock lock(&port);
            header = zvxp_take_returned(comp, port);
            if (header == nullptr) {
                break;
            }
            timestamp = header->pub.nTimeStamp;
        }
        const zvx_omx_client client = zvx_omx_client_get(comp);
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "EmptyBufferDone(handle=%p, hdr=%p, timestamp=%ld). (%s:%d)",
                client.handle, static_cast<void *>(&header->pub), static_cast<long>(timestamp));
        zvx_omx_client_empty_buffer_done(client, &header->pub);
        zvx_omx_buffer_returned(comp);
        std::atomic_ref(port.nr_dequeue).fetch_add(1);
    }
    zvxp_end_flush_cycle(comp, port_index);
}

void zvxp_omx_handle_event_output_flushed(struct zvx_omx_common_component *comp)
{
    const OMX_U32 port_index = zvx_omx_common_component_get_output_port_index(comp);
    zvx_omx_port &port = comp->ports[port_index];
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_DEBUG, "zvxp_omx_handle_event_output_flushed, port=%d). (%s:%d)",
            static_cast<int>(port_index));
    zvx_instr_write_msg(ZVX_INSTR_FLUSHED_OUTPUT_RECV, 0, nullptr);
    port.buffer_produced = false;
    // A held-back buffer goes back empty, so that the client has every output buffer after a flush.
    if (OMX_BUFFERHEADERTYPE *held = port.hdr; held != nullptr) {
        port.hdr = nullptr;
        held->nFilledLen = 0;
        held->nFlags = 0;
        const zvx_omx_client client = zvx_omx_client_get(comp);
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "FillBufferDone(handle=%p, hdr=%p). (%s:%d)", client.handle,
                static_cast<void *>(held));
        zvx_omx_client_fill_buffer_done(client, held);
    }
    // Outputs the session refused, parked for a reallocation that the flush ends, go back empty too.
    zvx_omx_rejected_buffers_flush(comp);
    zvxp_end_flush_cycle(comp, port_index);
}
