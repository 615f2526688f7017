#include "zvx_omx_common_component_buffers.h"

#include <atomic>

#include "zvx_mem.h"
#include "zvx_omx_api_call_record.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_config.h"
#include "zvx_omx_log.h"
#include "zvx_session_interface.h"

namespace {

using zvxp_session_queue_t = OMX_ERRORTYPE (*)(int fd, struct zvx_base_buffer_details *details);

struct zvxp_buffer_direction {
    OMX_U32 port;
    uint32_t api_code;
    zvxp_session_queue_t session_queue;
    const char *entry_name;
    bool keeps_client_order; /* input buffers go back to the client in the order it queued them */
};

constexpr zvxp_buffer_direction ZVXP_EMPTY = {0, code_OMX_EmptyThisBuffer, zvx_empty_this_buffer, "OMX_EmptyThisBuffer",
                                              true};
constexpr zvxp_buffer_direction ZVXP_FILL = {1, code_OMX_FillThisBuffer, zvx_fill_this_buffer, "OMX_FillThisBuffer",
                                             false};

bool zvxp_port_enabled(struct zvx_omx_port &port)
{
    const OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&port);
    return definition == nullptr || definition->bEnabled != OMX_FALSE;
}

/* Caller holds the component lock. */
void zvxp_update_populated(struct zvx_omx_port &port)
{
    OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&port);
    if (definition != nullptr) {
        const bool populated = zvx_map_size(&port.registered_buffers) >= definition->nBufferCountActual;
        definition->bPopulated = populated ? OMX_TRUE : OMX_FALSE;
    }
}

enum zvx_base_omx_buffer_format zvxp_buffer_format(const struct zvx_omx_common_component *comp, OMX_U32 port,
                                                   const OMX_PARAM_PORTDEFINITIONTYPE *definition)
{
    if (port == zvx_omx_common_component_get_bitstream_port_index(comp) || definition == nullptr) {
        return ZVX_BASE_OMX_BUFFER_FORMAT_BITSTREAM;
    }
    return definition->format.video.eColorFormat == OMX_COLOR_FormatYUV420SemiPlanar
               ? ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_SEMIPLANAR
               : ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_PLANAR;
}

/* The header's own address identifies the buffer to the session and in the port's table. */
zvx_base_buffer_handle_t zvxp_buffer_id(const struct zvx_omx_common_bufferheadertype *header)
{
    return reinterpret_cast<zvx_base_buffer_handle_t>(header);
}

void zvxp_describe(struct zvx_omx_common_component *comp, OMX_U32 port, struct zvx_omx_common_bufferheadertype *header)
{
    const OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&comp->ports[port]);
    struct zvx_base_buffer_userspace &desc = header->priv.desc;
    desc.buffer_id = zvxp_buffer_id(header);
    desc.handle = reinterpret_cast<zvx_base_buffer_handle_t>(header->pub.pBuffer);
    desc.allocator = ZVX_BASE_BUFFER_ALLOCATOR_VMALLOC;
    desc.size = header->pub.nAllocLen;
    desc.format = zvxp_buffer_format(comp, port, definition);
    desc.crc_allocator = ZVX_BASE_BUFFER_ALLOCATOR_VMALLOC;
    if (definition != nullptr) {
        desc.width = definition->format.video.nFrameWidth;
        desc.height = definition->format.video.nFrameHeight;
        desc.stride = static_cast<uint32_t>(definition->format.video.nStride);
    }
}

OMX_ERRORTYPE zvxp_register_buffer(OMX_HANDLETYPE handle, OMX_BUFFERHEADERTYPE **out, OMX_U32 port, OMX_PTR app_private,
                                   OMX_U32 size, OMX_U8 *client_memory)
{
    struct zvx_omx_common_component *comp = zvx_omx_common_component_from_handle(handle);
    if (comp == nullptr || out == nullptr) {
        return OMX_ErrorBadParameter;
    }
    if (port >= ZVX_OMX_PORT_COUNT) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Illegal port index. port=%u. (%s:%d)", port);
        return OMX_ErrorBadPortIndex;
    }
    auto *header = static_cast<struct zvx_omx_common_bufferheadertype *>(
        zvx_mem_calloc(1, sizeof(struct zvx_omx_common_bufferheadertype)));
    if (header == nullptr) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Memory allocation failed. (%s:%d)");
        return OMX_ErrorInsufficientResources;
    }
    if (client_memory == nullptr) {
        header->priv.alloc_buffer = zvx_mem_valloc(size);
        if (header->priv.alloc_buffer == nullptr) {
            zvx_mem_free(header);
            ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Memory allocation failed. (%s:%d)");
            return OMX_ErrorInsufficientResources;
        }
    }
    OMX_BUFFERHEADERTYPE &pub = header->pub;
    zvx_omx_config_init_header(&pub, sizeof(pub));
    pub.pBuffer = client_memory != nullptr ? client_memory : static_cast<OMX_U8 *>(header->priv.alloc_buffer);
    pub.nAllocLen = size;
    pub.pAppPrivate = app_private;
    /* Both indices name the buffer's port, so a buffer of one port is refused by the other's flow. */
    pub.nInputPortIndex = port;
    pub.nOutputPortIndex = port;
    header->priv.owner = ZVX_OMX_BUFFER_OWNER_CLIENT;
    header->priv.buffer_size = size;
    zvxp_describe(comp, port, header);

    const OMX_ERRORTYPE error = zvx_register_buffer(comp->driver_fd, port, &header->priv.desc);
    if (error != OMX_ErrorNone) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Session refused buffer. hdr=%p, error=0x%x. (%s:%d)", &pub, error);
        zvx_omx_port_free_registered_buffer(header);
        return error;
    }
    struct zvx_omx_port &owner_port = comp->ports[port];
    pthread_mutex_lock(&comp->lock);
    const bool inserted = zvx_map_insert(&owner_port.registered_buffers, header, header);
    if (inserted) {
        zvxp_update_populated(owner_port);
    }
    pthread_mutex_unlock(&comp->lock);
    if (!inserted) {
        zvx_unregister_buffer(comp->driver_fd, header->priv.desc.buffer_id);
        zvx_omx_port_free_registered_buffer(header);
        return OMX_ErrorInsufficientResources;
    }
    *out = &pub;
    return OMX_ErrorNone;
}

/* Hands the header to the component under the port's semaphore; false if the component holds it already.
 * A client may queue a buffer again from inside its done-callback, while it is still on its way back. */
bool zvxp_take_ownership(const zvxp_buffer_direction &direction, struct zvx_omx_port &port,
                         struct zvx_omx_common_bufferheadertype *header)
{
    zvxu_semaphore_wait(&port.buffer_sem, 0);
    const zvx_omx_buffer_owner_t owner = header->priv.owner;
    const bool client_owned = owner == ZVX_OMX_BUFFER_OWNER_CLIENT || owner == ZVX_OMX_BUFFER_OWNER_COMP_TO_CLIENT;
    if (client_owned) {
        header->priv.owner = ZVX_OMX_BUFFER_OWNER_COMPONENT;
        zvx_list_push_back_value_omxbufferhdrptr(&port.tracked_buffers, header);
        if (direction.keeps_client_order) {
            /* One still on its way back is listed already; it takes its new place at the end. */
            zvx_list_remove_value_port_buffers(&port.buffer_list, header);
            zvx_list_push_back_value_port_buffers(&port.buffer_list, header);
        }
    }
    zvxu_semaphore_post(&port.buffer_sem);
    return client_owned;
}

void zvxp_return_ownership(const zvxp_buffer_direction &direction, struct zvx_omx_port &port,
                           struct zvx_omx_common_bufferheadertype *header)
{
    zvxu_semaphore_wait(&port.buffer_sem, 0);
    zvx_list_remove_value_omxbufferhdrptr(&port.tracked_buffers, header);
    if (direction.keeps_client_order) {
        zvx_list_remove_value_port_buffers(&port.buffer_list, header);
    }
    header->priv.owner = ZVX_OMX_BUFFER_OWNER_CLIENT;
    zvxu_semaphore_post(&port.buffer_sem);
}

OMX_ERRORTYPE zvxp_queue_buffer(const zvxp_buffer_direction &direction, OMX_HANDLETYPE handle,
                                OMX_BUFFERHEADERTYPE *buffer)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "%s(handle=%p, hdr=%p). (%s:%d)", direction.entry_name, handle, buffer);
    zvx_omx_api_call_record record(direction.api_code, 2);
    record.append_argument(handle);
    record.append_argument(buffer);
    record.write();

    struct zvx_omx_common_component *comp = zvx_omx_common_component_from_handle(handle);
    if (comp == nullptr || buffer == nullptr) {
        return OMX_ErrorBadParameter;
    }
    const OMX_U32 header_port = direction.port == 0 ? buffer->nInputPortIndex : buffer->nOutputPortIndex;
    if (header_port != direction.port) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Illegal port index. port=%u. (%s:%d)", header_port);
        return OMX_ErrorBadPortIndex;
    }
    struct zvx_omx_port &port = comp->ports[direction.port];
    if (!zvxp_port_enabled(port)) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Port is disabled. port=%u. (%s:%d)", direction.port);
        return OMX_ErrorIncorrectStateOperation;
    }
    struct zvx_omx_common_bufferheadertype *header = zvx_omx_common_bufferheader_from_pub(buffer);
    if (!zvxp_take_ownership(direction, port, header)) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Buffer is already queued. hdr=%p. (%s:%d)", buffer);
        return OMX_ErrorIncorrectStateOperation;
    }

    struct zvx_base_buffer_details details = {};
    details.buffer_id = header->priv.desc.buffer_id;
    details.handle = header->priv.desc.handle;
    details.filled_len = buffer->nFilledLen;
    details.flags = buffer->nFlags;
    details.zvx_flags = port.zvx_flags;
    details.timestamp = static_cast<uint64_t>(buffer->nTimeStamp);

    std::atomic_ref(port.nr_enqueue).fetch_add(1);
    const OMX_ERRORTYPE error = direction.session_queue(comp->driver_fd, &details);
    if (error != OMX_ErrorNone) {
        std::atomic_ref(port.nr_enqueue).fetch_sub(1);
        zvxp_return_ownership(direction, port, header);
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Session refused buffer. hdr=%p, error=0x%x. (%s:%d)", buffer, error);
    }
    return error;
}

} // namespace

OMX_ERRORTYPE zvx_omx_common_component_use_buffer(OMX_HANDLETYPE hComponent, OMX_BUFFERHEADERTYPE **ppBufferHdr,
                                                  OMX_U32 nPortIndex, OMX_PTR pAppPrivate, OMX_U32 nSizeBytes,
                                                  OMX_U8 *pBuffer)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_UseBuffer(handle=%p, port=%u, size=%u, buffer=%p). (%s:%d)", hComponent,
            nPortIndex, nSizeBytes, pBuffer);
    if (pBuffer == nullptr) {
        return OMX_ErrorBadParameter;
    }
    return zvxp_register_buffer(hComponent, ppBufferHdr, nPortIndex, pAppPrivate, nSizeBytes, pBuffer);
}

OMX_ERRORTYPE zvx_omx_common_component_allocate_buffer(OMX_HANDLETYPE hComponent, OMX_BUFFERHEADERTYPE **ppBufferHdr,
                                                       OMX_U32 nPortIndex, OMX_PTR pAppPrivate, OMX_U32 nSizeBytes)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_AllocateBuffer(handle=%p, port=%u, size=%u). (%s:%d)", hComponent,
            nPortIndex, nSizeBytes);
    return zvxp_register_buffer(hComponent, ppBufferHdr, nPortIndex, pAppPrivate, nSizeBytes, nullptr);
}

OMX_ERRORTYPE zvx_omx_common_component_free_buffer(OMX_HANDLETYPE hComponent, OMX_U32 nPortIndex,
                                                   OMX_BUFFERHEADERTYPE *pBufferHdr)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_FreeBuffer(handle=%p, port=%u, hdr=%p). (%s:%d)", hComponent,
            nPortIndex, pBufferHdr);
    struct zvx_omx_common_component *comp = zvx_omx_common_component_from_handle(hComponent);
    if (comp == nullptr || pBufferHdr == nullptr) {
        return OMX_ErrorBadParameter;
    }
    if (nPortIndex >= ZVX_OMX_PORT_COUNT) {
        return OMX_ErrorBadPortIndex;
    }
    struct zvx_omx_port &port = comp->ports[nPortIndex];
    struct zvx_omx_common_bufferheadertype *header = zvx_omx_common_bufferheader_from_pub(pBufferHdr);
    pthread_mutex_lock(&comp->lock);
    if (zvx_map_find(&port.registered_buffers, header) == nullptr) {
        pthread_mutex_unlock(&comp->lock);
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Unknown buffer. hdr=%p. (%s:%d)", pBufferHdr);
        return OMX_ErrorBadParameter;
    }
    zvxu_semaphore_wait(&port.buffer_sem, 0);
    zvx_list_remove_value_port_buffers(&port.buffer_list, header);
    zvx_list_remove_value_omxbufferhdrptr(&port.tracked_buffers, header);
    zvxu_semaphore_post(&port.buffer_sem);
    zvx_unregister_buffer(comp->driver_fd, header->priv.desc.buffer_id);
    zvx_map_erase(&port.registered_buffers, header);
    zvxp_update_populated(port);
    pthread_mutex_unlock(&comp->lock);
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvx_omx_common_component_empty_this_buffer(OMX_HANDLETYPE hComponent, OMX_BUFFERHEADERTYPE *pBuffer)
{
    return zvxp_queue_buffer(ZVXP_EMPTY, hComponent, pBuffer);
}

OMX_ERRORTYPE zvx_omx_common_component_fill_this_buffer(OMX_HANDLETYPE hComponent, OMX_BUFFERHEADERTYPE *pBuffer)
{
    return zvxp_queue_buffer(ZVXP_FILL, hComponent, pBuffer);
}
