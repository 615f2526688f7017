// EmptyThisBuffer and FillThisBuffer: a registered header the client holds goes to the session while
// the component is idle, executing or paused and its port is enabled.
#include <atomic>
#include <cstring>

#include "buffer_formats/zvx_omx_metadata_buffers.h"
#include "buffers/zvx_omx_buffer_ownership.h"
#include "buffers/zvx_omx_buffer_returns.h"
#include "buffers/zvx_omx_common_component_buffers.h"
#include "buffers/zvx_omx_frame_rate.h"
#include "diagnostics/zvx_omx_api_call_record.h"
#include "state/zvx_omx_state.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_log.h"
#include "zvx_session_interface.h"

namespace {

using zvxp_session_queue_t = OMX_ERRORTYPE (*)(int fd, struct zvx_base_buffer_details *details);

struct zvxp_direction {
    OMX_U32 port;
    uint32_t api_code;
    uint32_t sent_code;
    zvxp_session_queue_t session_queue;
    const char *entry_name;
    OMX_U32 OMX_BUFFERHEADERTYPE::*port_field;
    bool keeps_client_order; /* input buffers go back to the client in the order it queued them */
};

constexpr zvxp_direction ZVXP_EMPTY = {0,
                                       code_OMX_EmptyThisBuffer,
                                       ZVX_INSTR_BUFFER_INPUT_SEND,
                                       zvx_empty_this_buffer,
                                       "OMX_EmptyThisBuffer",
                                       &OMX_BUFFERHEADERTYPE::nInputPortIndex,
                                       true};
constexpr zvxp_direction ZVXP_FILL = {1,
                                      code_OMX_FillThisBuffer,
                                      ZVX_INSTR_BUFFER_OUTPUT_SEND,
                                      zvx_fill_this_buffer,
                                      "OMX_FillThisBuffer",
                                      &OMX_BUFFERHEADERTYPE::nOutputPortIndex,
                                      false};

/* A header as the component claimed it for queueing. */
struct zvxp_claim {
    struct zvx_omx_common_bufferheadertype *header;
    zvx_base_buffer_handle_t buffer_id;
    uint32_t zvx_flags;
    uint32_t lend; /* the header's lends when this call took it */
};

OMX_ERRORTYPE zvxp_refuse(const zvxp_direction &direction, OMX_ERRORTYPE error, const char *why,
                          const OMX_BUFFERHEADERTYPE *pub)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "%s refused: %s. hdr=%p. (%s:%d)", direction.entry_name, why,
            static_cast<const void *>(pub));
    return error;
}

/* An encoder client may end a stream it never started with an empty end-of-stream buffer of its own. In
 * Loaded, in a component that has never had a buffer on either port (so the address cannot be a header
 * it freed, an output's included), such a header carries nothing to anyone: the call succeeds, and
 * nothing of it beyond its public part is read or kept. Caller holds the lock. */
bool zvxp_is_empty_stream_end(struct zvx_omx_common_component *comp, const zvxp_direction &direction,
                              const OMX_BUFFERHEADERTYPE *pub)
{
    return direction.keeps_client_order && zvx_omx_state_get(comp) == OMX_StateLoaded && !comp->ports[0].had_buffers &&
           !comp->ports[1].had_buffers && pub->nInputPortIndex == direction.port && pub->nFilledLen == 0 &&
           (pub->nFlags & OMX_BUFFERFLAG_EOS) != 0;
}

OMX_ERRORTYPE zvxp_check_header(const zvxp_direction &direction, const OMX_BUFFERHEADERTYPE *pub)
{
    if (pub->nSize != sizeof(OMX_BUFFERHEADERTYPE)) {
        return zvxp_refuse(direction, OMX_ErrorBadParameter, "header size", pub);
    }
    if (pub->nVersion.s.nVersionMajor != 1 || pub->nVersion.s.nVersionMinor != 1) {
        return zvxp_refuse(direction, OMX_ErrorVersionMismatch, "header version", pub);
    }
    if (pub->*direction.port_field != direction.port) {
        return zvxp_refuse(direction, OMX_ErrorBadPortIndex, "port index", pub);
    }
    if (static_cast<uint64_t>(pub->nOffset) + pub->nFilledLen > pub->nAllocLen) {
        return zvxp_refuse(direction, OMX_ErrorBadParameter, "data beyond the buffer", pub);
    }
    return OMX_ErrorNone;
}

bool zvxp_may_flow(struct zvx_omx_common_component *comp, OMX_U32 port)
{
    const OMX_STATETYPE state = zvx_omx_state_get(comp);
    if (state != OMX_StateIdle && state != OMX_StateExecuting && state != OMX_StatePause) {
        return false;
    }
    const OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&comp->ports[port]);
    return definition != nullptr && definition->bEnabled != OMX_FALSE;
}

/* The session reads input from the start of the buffer. */
OMX_ERRORTYPE zvxp_move_data_to_start(const zvxp_direction &direction, struct zvx_omx_common_bufferheadertype *header)
{
    OMX_BUFFERHEADERTYPE &pub = header->pub;
    if (!direction.keeps_client_order || pub.nOffset == 0) {
        return OMX_ErrorNone;
    }
    if (header->priv.metadata || header->priv.desc.allocator != ZVX_BASE_BUFFER_ALLOCATOR_VMALLOC) {
        return zvxp_refuse(direction, OMX_ErrorUnsupportedSetting, "data at an offset in memory out of reach", &pub);
    }
    std::memmove(pub.pBuffer, pub.pBuffer + pub.nOffset, pub.nFilledLen);
    pub.nOffset = 0;
    return OMX_ErrorNone;
}

/* Finds the header and takes it from the client: owned by the component, not yet tracked. A stray empty
 * end of stream is answered with no header. */
OMX_ERRORTYPE zvxp_take_from_client(struct zvx_omx_common_component *comp, const zvxp_direction &direction,
                                    OMX_BUFFERHEADERTYPE *pub, zvxp_claim *claim, bool *returning)
{
    zvx_omx_mutex_guard guard(&comp->lock);
    struct zvx_omx_common_bufferheadertype *header = zvx_omx_buffer_find(comp, direction.port, pub);
    if (header == nullptr) {
        if (zvx_omx_buffer_find(comp, 1 - direction.port, pub) != nullptr) {
            return zvxp_refuse(direction, OMX_ErrorBadPortIndex, "buffer of the other port", pub);
        }
        if (zvxp_is_empty_stream_end(comp, direction, pub)) {
            ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "Empty end of stream before any buffer. hdr=%p. (%s:%d)",
                    static_cast<void *>(pub));
            return OMX_ErrorNone;
        }
        return zvxp_refuse(direction, OMX_ErrorBadParameter, "unknown buffer", pub);
    }
    if (const OMX_ERRORTYPE error = zvxp_check_header(direction, pub); error != OMX_ErrorNone) {
        return error;
    }
    if (!zvxp_may_flow(comp, direction.port)) {
        return zvxp_refuse(direction, OMX_ErrorIncorrectStateOperation, "state or disabled port", pub);
    }
    struct zvx_omx_port &port = comp->ports[direction.port];
    zvx_omx_port_buffers_lock lock(&port);
    if (zvx_omx_buffer_is_returning(comp, pub)) {
        *returning = true;
        return OMX_ErrorNone;
    }
    if (header->priv.owner != ZVX_OMX_BUFFER_OWNER_CLIENT) {
        return zvxp_refuse(direction, OMX_ErrorIncorrectStateOperation, "buffer is already queued", pub);
    }
    if (const OMX_ERRORTYPE error = zvxp_move_data_to_start(direction, header); error != OMX_ErrorNone) {
        return error;
    }
    header->priv.owner = ZVX_OMX_BUFFER_OWNER_COMPONENT;
    claim->lend = ++header->priv.lends;
    claim->header = header;
    claim->buffer_id = reinterpret_cast<zvx_base_buffer_handle_t>(header);
    claim->zvx_flags = port.zvx_flags;
    return OMX_ErrorNone;
}

/* Back to the client, untracked, after the session refused it or it could not be tracked; false when it
 * has gone back already: a session destroyed meanwhile left it to the component, which returned it. */
bool zvxp_give_back(struct zvx_omx_common_component *comp, const zvxp_direction &direction, const zvxp_claim &claim)
{
    // Returned meanwhile, the client may have freed it: it is looked up before anything of it is read.
    zvx_omx_mutex_guard guard(&comp->lock);
    if (zvx_omx_buffer_find(comp, direction.port, reinterpret_cast<OMX_BUFFERHEADERTYPE *>(claim.header)) !=
        claim.header) {
        return false;
    }
    struct zvx_omx_port &port = comp->ports[direction.port];
    zvx_omx_port_buffers_lock lock(&port);
    if (claim.header->priv.lends != claim.lend || claim.header->priv.owner != ZVX_OMX_BUFFER_OWNER_COMPONENT) {
        return false;
    }
    zvx_list_remove_value_omxbufferhdrptr(&port.tracked_buffers, claim.header);
    zvx_list_remove_value_port_buffers(&port.buffer_list, claim.header);
    claim.header->priv.owner = ZVX_OMX_BUFFER_OWNER_CLIENT;
    return true;
}

bool zvxp_track(struct zvx_omx_common_component *comp, const zvxp_direction &direction, const zvxp_claim &claim)
{
    struct zvx_omx_port &port = comp->ports[direction.port];
    zvx_omx_port_buffers_lock lock(&port);
    const zvx_base_buffer_handle_t memory =
        claim.header->priv.metadata ? claim.buffer_id : claim.header->priv.desc.handle;
    if (!zvx_omx_common_component_update_buffer_handle(&port, claim.header, claim.buffer_id, memory)) {
        return false;
    }
    if (direction.keeps_client_order) {
        zvx_list_remove_value_port_buffers(&port.buffer_list, claim.header);
        return zvx_omx_buffer_list_append(&port, claim.header);
    }
    return true;
}

OMX_ERRORTYPE zvxp_send(struct zvx_omx_common_component *comp, const zvxp_direction &direction, const zvxp_claim &claim)
{
    const OMX_BUFFERHEADERTYPE &pub = claim.header->pub;
    struct zvx_base_buffer_details details = {};
    details.buffer_id = claim.buffer_id;
    details.handle = claim.header->priv.desc.handle;
    details.filled_len = pub.nFilledLen;
    details.flags = pub.nFlags;
    details.zvx_flags = claim.zvx_flags;
    details.timestamp = static_cast<uint64_t>(pub.nTimeStamp);
    if (direction.keeps_client_order && (pub.nFlags & OMX_BUFFERFLAG_CODECCONFIG) != 0) {
        std::atomic_ref(comp->ports[direction.port].conf_buffers_queued).fetch_add(1);
    }
    std::atomic_ref(comp->ports[direction.port].nr_enqueue).fetch_add(1);
    const OMX_ERRORTYPE error = direction.session_queue(comp->driver_fd, &details);
    if (error != OMX_ErrorNone) {
        std::atomic_ref(comp->ports[direction.port].nr_enqueue).fetch_sub(1);
        if (direction.keeps_client_order && (pub.nFlags & OMX_BUFFERFLAG_CODECCONFIG) != 0) {
            std::atomic_ref(comp->ports[direction.port].conf_buffers_queued).fetch_sub(1);
        }
        return error;
    }
    zvx_instr_write_msg(direction.sent_code, sizeof(details), &details);
    return OMX_ErrorNone;
}

/* The encoder's pictures carry the frame rate in their timestamps. */
void zvxp_observe_input(struct zvx_omx_common_component *comp, const zvxp_direction &direction,
                        const OMX_BUFFERHEADERTYPE &pub)
{
    if (direction.keeps_client_order && comp->type == ZVX_OMX_ENCODER && pub.nFilledLen != 0 &&
        (pub.nFlags & OMX_BUFFERFLAG_CODECCONFIG) == 0) {
        zvx_omx_frame_rate_observe(comp, direction.port, pub.nTimeStamp);
    }
}

/* The rest of a queue call, once the header is taken (or refused). */
OMX_ERRORTYPE zvxp_hand_over(struct zvx_omx_common_component *comp, const zvxp_direction &direction,
                             OMX_BUFFERHEADERTYPE *buffer, zvxp_claim &claim, OMX_ERRORTYPE error)
{
    if (error != OMX_ErrorNone || claim.header == nullptr) {
        return error;
    }
    const bool metadata = claim.header->priv.metadata;
    if (metadata) {
        error = zvx_omx_metadata_acquire(comp, direction.port, claim.header, &claim.buffer_id);
        if (error != OMX_ErrorNone) {
            zvxp_give_back(comp, direction, claim);
            return zvxp_refuse(direction, error, "metadata names no usable memory", buffer);
        }
    }
    if (!zvxp_track(comp, direction, claim)) {
        error = zvxp_refuse(direction, OMX_ErrorInsufficientResources, "no memory to track it", buffer);
    } else {
        zvxp_observe_input(comp, direction, claim.header->pub);
        error = zvxp_send(comp, direction, claim);
        if (error != OMX_ErrorNone) {
            zvxp_refuse(direction, error, "the session refused it", buffer);
        }
    }
    if (error != OMX_ErrorNone) {
        // From here the client may free the header. One that went back meanwhile was taken, then returned.
        if (!zvxp_give_back(comp, direction, claim)) {
            return OMX_ErrorNone;
        }
        if (metadata) {
            zvx_omx_metadata_release(comp, direction.port, claim.buffer_id);
        }
    }
    return error;
}

OMX_ERRORTYPE zvxp_queue_buffer(const zvxp_direction &direction, OMX_HANDLETYPE handle, OMX_BUFFERHEADERTYPE *buffer)
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
    // Held until the session has the buffer: a flush of the port requested meanwhile comes after it. Not
    // while waiting for a callback to end: that callback may queue a buffer of its own.
    pthread_mutex_t *send_lock = &comp->ports[direction.port].send_lock;
    zvxp_claim claim = {};
    OMX_ERRORTYPE error;
    for (;;) {
        bool returning = false;
        pthread_mutex_lock(send_lock);
        error = zvxp_take_from_client(comp, direction, buffer, &claim, &returning);
        if (!returning) {
            break;
        }
        pthread_mutex_unlock(send_lock);
        zvx_omx_buffer_wait_returned(comp, buffer);
    }
    error = zvxp_hand_over(comp, direction, buffer, claim, error);
    pthread_mutex_unlock(send_lock);
    return error;
}

} // namespace

OMX_ERRORTYPE zvx_omx_common_component_empty_this_buffer(OMX_HANDLETYPE hComponent, OMX_BUFFERHEADERTYPE *pBuffer)
{
    return zvxp_queue_buffer(ZVXP_EMPTY, hComponent, pBuffer);
}

OMX_ERRORTYPE zvx_omx_common_component_fill_this_buffer(OMX_HANDLETYPE hComponent, OMX_BUFFERHEADERTYPE *pBuffer)
{
    const OMX_ERRORTYPE error = zvxp_queue_buffer(ZVXP_FILL, hComponent, pBuffer);
    struct zvx_omx_common_component *comp = zvx_omx_common_component_from_handle(hComponent);
    // An output buffer more may be what input buffers held back at the start of a stream wait for.
    if (error == OMX_ErrorNone && zvx_omx_input_returns_waiting(comp)) {
        zvx_omx_queue_input_returns(comp);
    }
    return error;
}
