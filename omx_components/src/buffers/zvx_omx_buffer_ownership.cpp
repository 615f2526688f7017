// The bookkeeping of who holds a buffer: the port registry, the tracked list and the queue-order list.
#include "buffers/zvx_omx_buffer_ownership.h"

#include <atomic>

zvx_omx_port_buffers_lock::zvx_omx_port_buffers_lock(zvx_omx_port *port) : port_(port)
{
    // A wait cut short by a signal has not taken the semaphore.
    while (zvxu_semaphore_wait(&port_->buffer_sem, 0) != 0) {
    }
}

zvx_omx_port_buffers_lock::~zvx_omx_port_buffers_lock()
{
    zvxu_semaphore_post(&port_->buffer_sem);
}

struct zvx_omx_common_bufferheadertype *zvx_omx_buffer_find(struct zvx_omx_common_component *comp, OMX_U32 port,
                                                            const OMX_BUFFERHEADERTYPE *pub)
{
    if (port >= ZVX_OMX_PORT_COUNT || pub == nullptr) {
        return nullptr;
    }
    return static_cast<struct zvx_omx_common_bufferheadertype *>(
        zvx_map_find(&comp->ports[port].registered_buffers, pub));
}

bool zvx_omx_buffer_list_append(zvx_omx_port *port, struct zvx_omx_common_bufferheadertype *header)
{
    zvx_list_push_back_value_port_buffers(&port->buffer_list, header);
    const auto *last = port->buffer_list.node.prev;
    return last != &port->buffer_list.node && last->data == header;
}

bool zvx_omx_common_component_update_buffer_handle(zvx_omx_port *port, struct zvx_omx_common_bufferheadertype *header,
                                                   zvx_base_buffer_handle_t buffer_id, zvx_base_buffer_handle_t handle)
{
    zvx_list_remove_value_omxbufferhdrptr(&port->tracked_buffers, header);
    header->priv.desc.buffer_id = buffer_id;
    header->priv.desc.handle = handle;
    zvx_list_push_back_value_omxbufferhdrptr(&port->tracked_buffers, header);
    const auto *last = port->tracked_buffers.node.prev;
    return last != &port->tracked_buffers.node && last->data == header;
}

struct zvx_omx_common_bufferheadertype *zvxp_omx_remove_from_tracked_list(struct zvx_omx_common_component *comp,
                                                                          zvx_base_buffer_handle_t buffer_id,
                                                                          OMX_U32 nPort)
{
    if (nPort >= ZVX_OMX_PORT_COUNT) {
        return nullptr;
    }
    zvx_omx_port &port = comp->ports[nPort];
    zvx_omx_port_buffers_lock lock(&port);
    for (auto *it = port.tracked_buffers.node.next; it != &port.tracked_buffers.node; it = it->next) {
        struct zvx_omx_common_bufferheadertype *header = it->data;
        if (header->priv.desc.buffer_id == buffer_id) {
            zvx_list_erase_omxbufferhdrptr(&port.tracked_buffers, it);
            return header;
        }
    }
    return nullptr;
}

void zvx_omx_buffer_mark_returning(struct zvx_omx_common_component *comp,
                                   struct zvx_omx_common_bufferheadertype *header)
{
    std::atomic_ref(comp->returning_buffer).store(&header->pub);
}

void zvx_omx_buffer_returned(struct zvx_omx_common_component *comp)
{
    std::atomic_ref returning(comp->returning_buffer);
    returning.store(nullptr);
    returning.notify_all();
}

bool zvx_omx_buffer_is_returning(struct zvx_omx_common_component *comp, const OMX_BUFFERHEADERTYPE *pub)
{
    return std::atomic_ref(comp->returning_buffer).load() == pub && !zvx_omx_common_cproc_on_command_thread(comp);
}

void zvx_omx_buffer_wait_returned(struct zvx_omx_common_component *comp, const OMX_BUFFERHEADERTYPE *pub)
{
    std::atomic_ref returning(comp->returning_buffer);
    // The mark is cleared before the wake-up, so a wait that starts after it sees the new value at once.
    while (returning.load() == pub) {
        returning.wait(const_cast<OMX_BUFFERHEADERTYPE *>(pub));
    }
}
