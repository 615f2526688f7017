// UseBuffer, AllocateBuffer and FreeBuffer: a port's buffers are registered on the way to Idle or while
// the port is being enabled, and freed on the way to Loaded or while the port is being disabled, each
// only while the client holds it.
#include "buffers/zvx_omx_common_component_buffers.h"

#include "buffer_formats/zvx_omx_buffer_descriptor.h"
#include "buffer_formats/zvx_omx_metadata_buffers.h"
#include "buffers/zvx_omx_buffer_ownership.h"
#include "diagnostics/zvx_omx_api_call_record.h"
#include "state/zvx_omx_state.h"
#include "zvx_mem.h"
#include "zvx_omx_buffer_memory_store.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_config.h"
#include "zvx_omx_log.h"
#include "zvx_session_interface.h"

namespace {

/* The largest buffer the component allocates: one frame of the largest size the hardware codes, in
 * 32-bit RGB. */
constexpr OMX_U32 ZVXP_MAX_ALLOCATION = 8192u * 8192u * 4u;

/* What the port's settings say of a buffer about to be registered, read under the lock. */
struct zvxp_port_facts {
    bool metadata;
    enum zvx_base_buffer_allocator allocator;
    struct zvx_base_buffer_userspace layout;
};

void zvxp_instrument(uint32_t code, OMX_HANDLETYPE handle, OMX_U32 port, OMX_U32 size, const void *memory)
{
    zvx_omx_api_call_record record(code, 4);
    record.append_argument(handle);
    record.append_argument(static_cast<uint32_t>(port));
    record.append_argument(static_cast<uint32_t>(size));
    record.append_argument(memory);
    record.write();
}

OMX_ERRORTYPE zvxp_refuse(OMX_ERRORTYPE error, const char *what, OMX_U32 port)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "%s. port=%u. (%s:%d)", what, static_cast<unsigned>(port));
    return error;
}

/* OpenMAX takes buffers on the way to Idle, or outside Loaded on a port being enabled until it is
 * populated. */
bool zvxp_may_register(struct zvx_omx_common_component *comp, OMX_U32 port,
                       const OMX_PARAM_PORTDEFINITIONTYPE &definition)
{
    if (definition.bEnabled == OMX_FALSE) {
        return false;
    }
    switch (zvx_omx_state_get(comp)) {
    case OMX_StateLoaded:
    case OMX_StateWaitForResources:
        return zvx_omx_state_is_requested(comp, OMX_StateIdle);
    case OMX_StateIdle:
    case OMX_StateExecuting:
    case OMX_StatePause:
        return definition.bPopulated == OMX_FALSE && zvx_omx_state_port_transition(comp, port) == ZVX_OMX_PORT_ENABLING;
    default:
        return false;
    }
}

/* OpenMAX frees buffers on the way to Loaded or on a disabled port; a component that is loaded, waiting
 * or invalid holds nothing that a free could pull away. */
bool zvxp_may_free(struct zvx_omx_common_component *comp, const OMX_PARAM_PORTDEFINITIONTYPE *definition)
{
    switch (zvx_omx_state_get(comp)) {
    case OMX_StateLoaded:
    case OMX_StateWaitForResources:
    case OMX_StateInvalid:
        return true;
    case OMX_StateIdle:
        if (zvx_omx_state_is_requested(comp, OMX_StateLoaded)) {
            return true;
        }
        break;
    default:
        break;
    }
    return definition == nullptr || definition->bEnabled == OMX_FALSE;
}

/* Checks the request against the port and counts it against nBufferCountActual until it is entered or
 * given up. */
OMX_ERRORTYPE zvxp_reserve(struct zvx_omx_common_component *comp, OMX_U32 port, OMX_U32 size, bool allocating,
                           zvxp_port_facts *facts)
{
    zvx_omx_mutex_guard guard(&comp->lock);
    struct zvx_omx_port &owner = comp->ports[port];
    const OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&owner);
    if (definition == nullptr) {
        return zvxp_refuse(OMX_ErrorBadPortIndex, "Port has no definition", port);
    }
    if (!zvxp_may_register(comp, port, *definition)) {
        return zvxp_refuse(OMX_ErrorIncorrectStateOperation, "Buffers are not taken in this state", port);
    }
    if (size < definition->nBufferSize || (allocating && size > ZVXP_MAX_ALLOCATION)) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Illegal buffer size. port=%u, size=%u, required=%u. (%s:%d)",
                static_cast<unsigned>(port), static_cast<unsigned>(size),
                static_cast<unsigned>(definition->nBufferSize));
        return OMX_ErrorBadParameter;
    }
    if (zvx_map_size(&owner.registered_buffers) + owner.registrations_pending >= definition->nBufferCountActual) {
        return zvxp_refuse(OMX_ErrorInsufficientResources, "Port holds all its buffers", port);
    }
    facts->metadata = zvx_omx_common_component_is_metadata_in_buffer_enabled(comp, port) != OMX_FALSE;
    facts->allocator = zvx_omx_buffer_client_allocator(comp, port);
    if (allocating && facts->allocator != ZVX_BASE_BUFFER_ALLOCATOR_VMALLOC) {
        return zvxp_refuse(OMX_ErrorUnsupportedSetting, "Dma-buf memory is the client's to allocate", port);
    }
    zvx_omx_buffer_describe(comp, port, &facts->layout);
    ++owner.registrations_pending;
    return OMX_ErrorNone;
}

void zvxp_give_up_reservation(struct zvx_omx_common_component *comp, OMX_U32 port)
{
    zvx_omx_mutex_guard guard(&comp->lock);
    --comp->ports[port].registrations_pending;
}

/* Memory for a buffer the component allocates: a block the port kept, else a new one. */
void *zvxp_buffer_memory(struct zvx_omx_common_component *comp, OMX_U32 port, OMX_U32 size)
{
    void *block;
    {
        zvx_omx_mutex_guard guard(&comp->lock);
        block = zvx_omx_port_take_spare_block(&comp->ports[port], size);
    }
    return block != nullptr ? block : zvx_mem_valloc(size);
}

struct zvx_omx_common_bufferheadertype *zvxp_new_header(struct zvx_omx_common_component *comp, OMX_U32 port,
                                                        OMX_PTR app_private, OMX_U32 size, OMX_U8 *client_memory,
                                                        const zvxp_port_facts &facts)
{
    auto *header = static_cast<struct zvx_omx_common_bufferheadertype *>(
        zvx_mem_calloc(1, sizeof(struct zvx_omx_common_bufferheadertype)));
    if (header == nullptr) {
        return nullptr;
    }
    if (client_memory == nullptr) {
        header->priv.alloc_buffer = zvxp_buffer_memory(comp, port, size);
        if (header->priv.alloc_buffer == nullptr) {
            zvx_mem_free(header);
            return nullptr;
        }
    }
    OMX_BUFFERHEADERTYPE &pub = header->pub;
    zvx_omx_config_init_header(&pub, sizeof(pub));
    pub.pBuffer = client_memory != nullptr ? client_memory : static_cast<OMX_U8 *>(header->priv.alloc_buffer);
    pub.nAllocLen = size;
    pub.pAppPrivate = app_private;
    pub.nInputPortIndex = port;
    pub.nOutputPortIndex = port;
    header->priv.owner = ZVX_OMX_BUFFER_OWNER_CLIENT;
    header->priv.buffer_size = size;
    header->priv.metadata = facts.metadata;
    header->priv.tcx_alloc_bytes = facts.layout.tcx_alloc_bytes;
    header->priv.tcx_width_in_superblocks = static_cast<uint16_t>(facts.layout.tcx_width_in_superblocks);
    struct zvx_base_buffer_userspace &desc = header->priv.desc;
    desc = facts.layout;
    desc.buffer_id = reinterpret_cast<zvx_base_buffer_handle_t>(header);
    desc.handle = reinterpret_cast<zvx_base_buffer_handle_t>(pub.pBuffer);
    desc.allocator = facts.allocator;
    desc.size = size;
    return header;
}

OMX_ERRORTYPE zvxp_register_buffer(OMX_HANDLETYPE handle, OMX_BUFFERHEADERTYPE **out, OMX_U32 port, OMX_PTR app_private,
                                   OMX_U32 size, OMX_U8 *client_memory)
{
    struct zvx_omx_common_component *comp = zvx_omx_common_component_from_handle(handle);
    if (comp == nullptr || out == nullptr) {
        return OMX_ErrorBadParameter;
    }
    if (port >= ZVX_OMX_PORT_COUNT) {
        return zvxp_refuse(OMX_ErrorBadPortIndex, "Illegal port index", port);
    }
    zvxp_port_facts facts = {};
    OMX_ERRORTYPE error = zvxp_reserve(comp, port, size, client_memory == nullptr, &facts);
    if (error != OMX_ErrorNone) {
        return error;
    }
    struct zvx_omx_common_bufferheadertype *header =
        zvxp_new_header(comp, port, app_private, size, client_memory, facts);
    if (header == nullptr) {
        zvxp_give_up_reservation(comp, port);
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Memory allocation failed. (%s:%d)");
        return OMX_ErrorInsufficientResources;
    }
    // A metadata buffer only names frame memory: that memory is registered when it is queued.
    if (!facts.metadata) {
        error = zvx_register_buffer(comp->driver_fd, port, &header->priv.desc);
        if (error != OMX_ErrorNone) {
            ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Session refused buffer. hdr=%p, error=0x%x. (%s:%d)",
                    static_cast<void *>(header), error);
            zvxp_give_up_reservation(comp, port);
            zvx_omx_port_free_registered_buffer(header);
            return error;
        }
    }
    bool entered;
    bool may_unblock = false;
    {
        zvx_omx_mutex_guard guard(&comp->lock);
        struct zvx_omx_port &owner = comp->ports[port];
        --owner.registrations_pending;
        entered = zvx_map_insert(&owner.registered_buffers, header, header);
        if (entered) {
            owner.had_buffers = true;
            may_unblock = zvx_omx_port_update_populated(&owner);
        }
    }
    if (may_unblock) {
        zvx_omx_common_cproc_invoker_signal(&comp->cproc_invoker);
    }
    if (!entered) {
        if (!facts.metadata) {
            zvx_unregister_buffer(comp->driver_fd, header->priv.desc.buffer_id);
        }
        zvx_omx_port_free_registered_buffer(header);
        return OMX_ErrorInsufficientResources;
    }
    *out = &header->pub;
    return OMX_ErrorNone;
}

/* Takes the header from the client for good: the session forgets it before it is freed. The header
 * stays registered, but owned by the component, while the session is told. */
OMX_ERRORTYPE zvxp_claim_for_freeing(struct zvx_omx_common_component *comp, OMX_U32 port,
                                     const OMX_BUFFERHEADERTYPE *pub, struct zvx_omx_common_bufferheadertype **found,
                                     bool *returning)
{
    zvx_omx_mutex_guard guard(&comp->lock);
    struct zvx_omx_common_bufferheadertype *header = zvx_omx_buffer_find(comp, port, pub);
    if (header == nullptr) {
        if (zvx_omx_buffer_find(comp, 1 - port, pub) != nullptr) {
            return zvxp_refuse(OMX_ErrorBadPortIndex, "Buffer belongs to the other port", port);
        }
        return zvxp_refuse(OMX_ErrorBadParameter, "Unknown buffer", port);
    }
    struct zvx_omx_port &owner = comp->ports[port];
    if (!zvxp_may_free(comp, zvx_omx_port_get_definition(&owner))) {
        return zvxp_refuse(OMX_ErrorIncorrectStateOperation, "Buffers are not freed in this state", port);
    }
    zvx_omx_port_buffers_lock lock(&owner);
    if (zvx_omx_buffer_is_returning(comp, pub)) {
        *returning = true;
        return OMX_ErrorNone;
    }
    if (header->priv.owner != ZVX_OMX_BUFFER_OWNER_CLIENT) {
        return zvxp_refuse(OMX_ErrorIncorrectStateOperation, "Buffer is still held by the component", port);
    }
    header->priv.owner = ZVX_OMX_BUFFER_OWNER_COMPONENT;
    // From now on the port counts as short of it: a move to Idle decided meanwhile waits for it again.
    ++owner.frees_pending;
    zvx_omx_port_update_populated(&owner);
    *found = header;
    return OMX_ErrorNone;
}

} // namespace

OMX_ERRORTYPE zvx_omx_common_component_use_buffer(OMX_HANDLETYPE hComponent, OMX_BUFFERHEADERTYPE **ppBufferHdr,
                                                  OMX_U32 nPortIndex, OMX_PTR pAppPrivate, OMX_U32 nSizeBytes,
                                                  OMX_U8 *pBuffer)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_UseBuffer(handle=%p, port=%u, size=%u, buffer=%p). (%s:%d)", hComponent,
            static_cast<unsigned>(nPortIndex), static_cast<unsigned>(nSizeBytes), pBuffer);
    zvxp_instrument(code_OMX_UseBuffer, hComponent, nPortIndex, nSizeBytes, pBuffer);
    if (pBuffer == nullptr) {
        return OMX_ErrorBadParameter;
    }
    return zvxp_register_buffer(hComponent, ppBufferHdr, nPortIndex, pAppPrivate, nSizeBytes, pBuffer);
}

OMX_ERRORTYPE zvx_omx_common_component_allocate_buffer(OMX_HANDLETYPE hComponent, OMX_BUFFERHEADERTYPE **ppBufferHdr,
                                                       OMX_U32 nPortIndex, OMX_PTR pAppPrivate, OMX_U32 nSizeBytes)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_AllocateBuffer(handle=%p, port=%u, size=%u). (%s:%d)", hComponent,
            static_cast<unsigned>(nPortIndex), static_cast<unsigned>(nSizeBytes));
    zvxp_instrument(code_OMX_AllocateBuffer, hComponent, nPortIndex, nSizeBytes, nullptr);
    return zvxp_register_buffer(hComponent, ppBufferHdr, nPortIndex, pAppPrivate, nSizeBytes, nullptr);
}

OMX_ERRORTYPE zvx_omx_common_component_free_buffer(OMX_HANDLETYPE hComponent, OMX_U32 nPortIndex,
                                                   OMX_BUFFERHEADERTYPE *pBufferHdr)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_FreeBuffer(handle=%p, port=%u, hdr=%p). (%s:%d)", hComponent,
            static_cast<unsigned>(nPortIndex), pBufferHdr);
    zvx_omx_api_call_record record(code_OMX_FreeBuffer, 3);
    record.append_argument(hComponent);
    record.append_argument(static_cast<uint32_t>(nPortIndex));
    record.append_argument(pBufferHdr);
    record.write();
    struct zvx_omx_common_component *comp = zvx_omx_common_component_from_handle(hComponent);
    if (comp == nullptr || pBufferHdr == nullptr) {
        return OMX_ErrorBadParameter;
    }
    if (nPortIndex >= ZVX_OMX_PORT_COUNT) {
        return zvxp_refuse(OMX_ErrorBadPortIndex, "Illegal port index", nPortIndex);
    }
    struct zvx_omx_common_bufferheadertype *header = nullptr;
    for (;;) {
        bool returning = false;
        const OMX_ERRORTYPE error = zvxp_claim_for_freeing(comp, nPortIndex, pBufferHdr, &header, &returning);
        if (error != OMX_ErrorNone) {
            return error;
        }
        if (!returning) {
            break;
        }
        zvx_omx_buffer_wait_returned(comp, pBufferHdr);
    }
    if (!header->priv.metadata) {
        zvx_unregister_buffer(comp->driver_fd, header->priv.desc.buffer_id);
    }
    struct zvx_omx_port &port = comp->ports[nPortIndex];
    bool emptied;
    bool may_unblock;
    void *released = nullptr;
    const uint32_t released_size = header->priv.buffer_size;
    {
        zvx_omx_mutex_guard guard(&comp->lock);
        {
            zvx_omx_port_buffers_lock lock(&port);
            zvx_list_remove_value_port_buffers(&port.buffer_list, header);
            zvx_list_remove_value_omxbufferhdrptr(&port.tracked_buffers, header);
        }
        // The memory is kept for the next allocation or given back after the lock is dropped: unmapping
        // it here would hold up the command thread and every other client call.
        if (!zvx_omx_port_keep_spare_block(&port, header->priv.alloc_buffer, released_size)) {
            released = header->priv.alloc_buffer;
        }
        header->priv.alloc_buffer = nullptr;
        zvx_map_erase(&port.registered_buffers, header);
        --port.frees_pending;
        may_unblock = zvx_omx_port_update_populated(&port);
        emptied = zvx_map_size(&port.registered_buffers) == 0;
    }
    zvx_omx_buffer_memory_store_give(released, released_size);
    if (may_unblock) {
        zvx_omx_common_cproc_invoker_signal(&comp->cproc_invoker);
    }
    // The frame memory named by metadata is known to the session only while the port has buffers.
    if (emptied) {
        zvx_omx_metadata_forget(comp, nPortIndex);
    }
    return OMX_ErrorNone;
}
