// Construction and teardown of a port's settings store, buffer tables, lists and semaphore.
#include "zvx_omx_port.h"

#include "zvx_mem.h"
#include "zvx_omx_buffer_memory_store.h"
#include "zvx_omx_config.h"

void zvx_omx_port_free_registered_buffer(zvx_map_pointer header)
{
    auto *buffer = static_cast<zvx_omx_common_bufferheadertype *>(header);
    if (buffer == nullptr)
        return;
    zvx_mem_free(buffer->priv.alloc_buffer);
    zvx_mem_free(buffer->priv.yuv_buffer);
    zvx_mem_free(buffer);
}

namespace {

void zvxp_release_spare_blocks(zvx_omx_port *port)
{
    while (port->spare_count != 0) {
        zvx_omx_buffer_memory_store_give(port->spare_blocks[--port->spare_count], port->spare_size);
    }
}

} // namespace

void zvx_omx_port_free_mapped_buffer(zvx_map_pointer mapped_buffer)
{
    auto *mapping = static_cast<struct zvx_omx_common_mapped_buffer *>(mapped_buffer);
    if (mapping == nullptr)
        return;
    zvx_mem_free(mapping->alloc_buffer);
    zvx_mem_free(mapping);
}

OMX_ERRORTYPE zvx_omx_port_init(zvx_omx_port *port)
{
    // Everything that cannot fail comes first and the maps start zeroed, so that a port whose init
    // failed half-way can still be destroyed.
    *port = zvx_omx_port{};
    zvx_list_construct_omxbufferhdrptr(&port->tracked_buffers);
    zvx_list_construct_port_buffers(&port->buffer_list);
    zvxu_semaphore_init(&port->buffer_sem);
    pthread_mutex_init(&port->send_lock, nullptr);

    OMX_ERRORTYPE error = zvx_omx_config_construct(&port->config_and_params);
    if (error != OMX_ErrorNone)
        return error;
    if (!zvx_map_construct(&port->registered_buffers, zvx_map_int_hash, zvx_map_int_equal, nullptr,
                           zvx_omx_port_free_registered_buffer))
        return OMX_ErrorInsufficientResources;
    if (!zvx_map_construct(&port->mapped_buffers, zvx_map_int_hash, zvx_map_int_equal, nullptr,
                           zvx_omx_port_free_mapped_buffer))
        return OMX_ErrorInsufficientResources;
    return OMX_ErrorNone;
}

void zvx_omx_port_destroy(zvx_omx_port *port)
{
    zvx_omx_config_destruct(&port->config_and_params);
    zvx_map_destruct(&port->registered_buffers);
    zvx_map_destruct(&port->mapped_buffers);
    zvx_list_destruct_omxbufferhdrptr(&port->tracked_buffers);
    zvx_list_destruct_port_buffers(&port->buffer_list);
    zvxu_semaphore_destroy(&port->buffer_sem);
    pthread_mutex_destroy(&port->send_lock);
    port->hdr = nullptr;
    zvxp_release_spare_blocks(port);
}

void *zvx_omx_port_take_spare_block(zvx_omx_port *port, uint32_t size)
{
    if (port->spare_size != size) {
        zvxp_release_spare_blocks(port);
        port->spare_size = size;
    }
    return port->spare_count == 0 ? zvx_omx_buffer_memory_store_take(size) : port->spare_blocks[--port->spare_count];
}

bool zvx_omx_port_keep_spare_block(zvx_omx_port *port, void *block, uint32_t size)
{
    if (block == nullptr) {
        return false;
    }
    if (port->spare_size != size) {
        zvxp_release_spare_blocks(port);
        port->spare_size = size;
    }
    if (port->spare_count == ZVX_OMX_PORT_SPARE_BLOCKS) {
        return false;
    }
    port->spare_blocks[port->spare_count++] = block;
    return true;
}

OMX_PARAM_PORTDEFINITIONTYPE *zvx_omx_port_get_definition(zvx_omx_port *port)
{
    return static_cast<OMX_PARAM_PORTDEFINITIONTYPE *>(
        zvx_omx_config_find(&port->config_and_params, OMX_IndexParamPortDefinition, 0));
}

bool zvxp_omx_port_has_buffers(zvx_omx_port *port)
{
    return zvx_map_size(&port->registered_buffers) != 0;
}

bool zvx_omx_port_update_populated(zvx_omx_port *port)
{
    OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(port);
    if (definition == nullptr) {
        return false;
    }
    const OMX_BOOL was = definition->bPopulated;
    const size_t held = zvx_map_size(&port->registered_buffers);
    const size_t registered = held - port->frees_pending;
    definition->bPopulated = registered != 0 && registered >= definition->nBufferCountActual ? OMX_TRUE : OMX_FALSE;
    return definition->bPopulated != was || held == 0 || held == definition->nBufferCountMin;
}
