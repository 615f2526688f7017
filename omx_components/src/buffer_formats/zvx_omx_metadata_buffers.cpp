// Store-metadata mode: the frame memory a metadata record names, registered with the session once and
// counted while the firmware holds it.
#include "buffer_formats/zvx_omx_metadata_buffers.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "buffer_formats/zvx_omx_buffer_descriptor.h"
#include "zvx_mem.h"
#include "zvx_omx_extensions.h"
#include "zvx_omx_log.h"

namespace {

// Every record keeps its type first and the pointer that names the memory at the same place.
static_assert(offsetof(VideoNativeMetadata, pBuffer) == offsetof(VideoGrallocMetadata, pHandle));
static_assert(offsetof(VideoNativeHandleMetadata, pHandle) == offsetof(VideoGrallocMetadata, pHandle));
constexpr size_t ZVXP_POINTER_OFFSET = offsetof(VideoGrallocMetadata, pHandle);

/* Bytes of the record of the type; 0 for a type this component does not take. */
OMX_U32 zvxp_record_size(int32_t type)
{
    switch (type) {
    case kMetadataBufferTypeGrallocSource:
        return sizeof(VideoGrallocMetadata);
    case kMetadataBufferTypeANWBuffer:
        return sizeof(VideoNativeMetadata);
    case kMetadataBufferTypeNativeHandleSource:
        return sizeof(VideoNativeHandleMetadata);
    default:
        return 0;
    }
}

/* The memory handle the header's record names; 0 when the record is not one this component takes. */
zvx_base_buffer_handle_t zvxp_named_memory(const OMX_BUFFERHEADERTYPE &pub)
{
    int32_t type;
    if (pub.pBuffer == nullptr || pub.nAllocLen < sizeof(type)) {
        return 0;
    }
    std::memcpy(&type, pub.pBuffer, sizeof(type));
    const OMX_U32 size = zvxp_record_size(type);
    if (size == 0 || pub.nAllocLen < size) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Unsupported metadata. type=%d, size=%u. (%s:%d)", type,
                static_cast<unsigned>(pub.nAllocLen));
        return 0;
    }
    uintptr_t memory;
    std::memcpy(&memory, pub.pBuffer + ZVXP_POINTER_OFFSET, sizeof(memory));
    return memory;
}

struct zvx_omx_common_mapped_buffer *zvxp_find(struct zvx_omx_common_component *comp, OMX_U32 port,
                                               zvx_base_buffer_handle_t memory)
{
    return static_cast<struct zvx_omx_common_mapped_buffer *>(
        zvx_map_find(&comp->ports[port].mapped_buffers, reinterpret_cast<zvx_map_constpointer>(memory)));
}

/* Counts one more hold by the firmware; false when the memory is not mapped. Caller holds the lock. */
bool zvxp_hold(struct zvx_omx_common_component *comp, OMX_U32 port, zvx_base_buffer_handle_t memory)
{
    struct zvx_omx_common_mapped_buffer *mapping = zvxp_find(comp, port, memory);
    if (mapping == nullptr) {
        return false;
    }
    zvxu_atomic_add(&mapping->refcnt_fw, 1);
    mapping->ref_state = ZVX_OMX_BUFFER_REF_STATE_USED;
    return true;
}

/* Registers new memory with the session and maps it, held once; another thread may have done so
 * meanwhile, and then that mapping is held. */
OMX_ERRORTYPE zvxp_map(struct zvx_omx_common_component *comp, OMX_U32 port, zvx_base_buffer_handle_t memory)
{
    struct zvx_base_buffer_userspace desc = {};
    {
        zvx_omx_mutex_guard guard(&comp->lock);
        desc.buffer_id = memory;
        desc.handle = memory;
        desc.allocator = zvx_omx_buffer_client_allocator(comp, port);
        desc.size = zvx_omx_buffer_frame_bytes(comp, port);
        zvx_omx_buffer_describe(comp, port, &desc);
    }
    const OMX_ERRORTYPE registered = zvx_register_buffer(comp->driver_fd, port, &desc);

    zvx_omx_mutex_guard guard(&comp->lock);
    if (zvxp_hold(comp, port, memory)) {
        return OMX_ErrorNone;
    }
    if (registered != OMX_ErrorNone) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Session refused frame memory. memory=0x%lx, error=0x%x. (%s:%d)",
                static_cast<unsigned long>(memory), registered);
        return registered;
    }
    auto *mapping = static_cast<struct zvx_omx_common_mapped_buffer *>(
        zvx_mem_calloc(1, sizeof(struct zvx_omx_common_mapped_buffer)));
    if (mapping == nullptr ||
        !zvx_map_insert(&comp->ports[port].mapped_buffers, reinterpret_cast<zvx_map_pointer>(memory), mapping)) {
        zvx_mem_free(mapping);
        zvx_unregister_buffer(comp->driver_fd, memory);
        return OMX_ErrorInsufficientResources;
    }
    mapping->buffer_id = memory;
    mapping->handle = memory;
    mapping->type = ZVX_OMX_BUFFER_TYPE_GRALLOC;
    mapping->allocator = desc.allocator;
    mapping->ref_state = ZVX_OMX_BUFFER_REF_STATE_USED;
    mapping->width = desc.width;
    mapping->height = desc.height;
    mapping->size = desc.size;
    zvxu_atomic_set(&mapping->refcnt_fw, 1);
    return OMX_ErrorNone;
}

bool zvxp_collect_identity(zvx_map_constpointer key, zvx_map_pointer, void *cursor)
{
    auto **next = static_cast<zvx_base_buffer_handle_t **>(cursor);
    *(*next)++ = reinterpret_cast<zvx_base_buffer_handle_t>(key);
    return true;
}

} // namespace

OMX_U32 zvx_omx_metadata_record_size(void)
{
    return std::max({sizeof(VideoGrallocMetadata), sizeof(VideoNativeMetadata), sizeof(VideoNativeHandleMetadata)});
}

OMX_ERRORTYPE zvx_omx_metadata_acquire(struct zvx_omx_common_component *comp, OMX_U32 port,
                                       const struct zvx_omx_common_bufferheadertype *header,
                                       zvx_base_buffer_handle_t *buffer_id)
{
    const zvx_base_buffer_handle_t memory = zvxp_named_memory(header->pub);
    if (memory == 0) {
        return OMX_ErrorBadParameter;
    }
    *buffer_id = memory;
    {
        zvx_omx_mutex_guard guard(&comp->lock);
        if (zvxp_hold(comp, port, memory)) {
            return OMX_ErrorNone;
        }
    }
    return zvxp_map(comp, port, memory);
}

void zvx_omx_metadata_release(struct zvx_omx_common_component *comp, OMX_U32 port, zvx_base_buffer_handle_t buffer_id)
{
    bool ask_firmware = false;
    {
        zvx_omx_mutex_guard guard(&comp->lock);
        struct zvx_omx_common_mapped_buffer *mapping = zvxp_find(comp, port, buffer_id);
        if (mapping == nullptr || zvxu_atomic_get(&mapping->refcnt_fw) == 0) {
            return;
        }
        zvxu_atomic_sub(&mapping->refcnt_fw, 1);
        if (zvxu_atomic_get(&mapping->refcnt_fw) != 0) {
            return;
        }
        ask_firmware = comp->type == ZVX_OMX_DECODER && port == zvx_omx_common_component_get_output_port_index(comp);
        mapping->ref_state = ask_firmware ? ZVX_OMX_BUFFER_REF_STATE_QUERY : ZVX_OMX_BUFFER_REF_STATE_UNUSED;
    }
    if (ask_firmware) {
        zvx_notify_ref_frame_release(comp->driver_fd, buffer_id);
    }
}

void zvx_omx_metadata_forget(struct zvx_omx_common_component *comp, OMX_U32 port)
{
    zvx_base_buffer_handle_t *identities = nullptr;
    size_t count = 0;
    {
        zvx_omx_mutex_guard guard(&comp->lock);
        struct zvx_map &mapped = comp->ports[port].mapped_buffers;
        count = zvx_map_size(&mapped);
        if (count == 0) {
            return;
        }
        identities = static_cast<zvx_base_buffer_handle_t *>(zvx_mem_malloc(count * sizeof(*identities)));
        if (identities == nullptr) {
            return;
        }
        zvx_base_buffer_handle_t *cursor = identities;
        zvx_map_foreach(&mapped, zvxp_collect_identity, &cursor);
        zvx_map_clear(&mapped);
    }
    for (size_t i = 0; i < count; ++i) {
        zvx_unregister_buffer(comp->driver_fd, identities[i]);
    }
    zvx_mem_free(identities);
}
