#include "zvx_omx_common_component_buffers.h"

#include <atomic>

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
};

constexpr zvxp_buffer_direction ZVXP_EMPTY = {0, code_OMX_EmptyThisBuffer, zvx_empty_this_buffer, "OMX_EmptyThisBuffer"};
constexpr zvxp_buffer_direction ZVXP_FILL = {1, code_OMX_FillThisBuffer, zvx_fill_this_buffer, "OMX_FillThisBuffer"};

struct zvx_omx_common_component *zvxp_component_of(OMX_HANDLETYPE handle)
{
    if (handle == nullptr) {
        return nullptr;
    }
    return static_cast<struct zvx_omx_common_component *>(static_cast<OMX_COMPONENTTYPE *>(handle)->pComponentPrivate);
}

bool zvxp_port_enabled(struct zvx_omx_port &port)
{
    const auto *definition = static_cast<const OMX_PARAM_PORTDEFINITIONTYPE *>(
        zvx_omx_config_find(&port.config_and_params, OMX_IndexParamPortDefinition, 0));
    return definition == nullptr || definition->bEnabled != OMX_FALSE;
}

/* Hands the header to the component under the port's semaphore; false if the component holds it already.
 * A client may queue a buffer again from inside its done-callback, while it is still on its way back. */
bool zvxp_take_ownership(struct zvx_omx_port &port, struct zvx_omx_common_bufferheadertype *header)
{
    zvxu_semaphore_wait(&port.buffer_sem, 0);
    const zvx_omx_buffer_owner_t owner = header->priv.owner;
    const bool client_owned = owner == ZVX_OMX_BUFFER_OWNER_CLIENT || owner == ZVX_OMX_BUFFER_OWNER_COMP_TO_CLIENT;
    if (client_owned) {
        header->priv.owner = ZVX_OMX_BUFFER_OWNER_COMPONENT;
        zvx_list_push_back_value_zvx_buffer(&port.tracked_buffers, header);
    }
    zvxu_semaphore_post(&port.buffer_sem);
    return client_owned;
}

void zvxp_return_ownership(struct zvx_omx_port &port, struct zvx_omx_common_bufferheadertype *header)
{
    zvxu_semaphore_wait(&port.buffer_sem, 0);
    zvx_list_remove_value_zvx_buffer(&port.tracked_buffers, header);
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

    struct zvx_omx_common_component *comp = zvxp_component_of(handle);
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
    if (!zvxp_take_ownership(port, header)) {
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
        zvxp_return_ownership(port, header);
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Session refused buffer. hdr=%p, error=0x%x. (%s:%d)", buffer, error);
    }
    return error;
}

} // namespace

OMX_ERRORTYPE zvx_omx_common_component_empty_this_buffer(OMX_HANDLETYPE hComponent, OMX_BUFFERHEADERTYPE *pBuffer)
{
    return zvxp_queue_buffer(ZVXP_EMPTY, hComponent, pBuffer);
}

OMX_ERRORTYPE zvx_omx_common_component_fill_this_buffer(OMX_HANDLETYPE hComponent, OMX_BUFFERHEADERTYPE *pBuffer)
{
    return zvxp_queue_buffer(ZVXP_FILL, hComponent, pBuffer);
}
